#pragma once

#include <QByteArray>
#include <QString>

// SCRAM-SHA-256 arithmetic of the login (RFC 5802, 7677), the client's half:
// the password (NFKC) salted with PBKDF2-HMAC-SHA256, the keys derived from
// it and the text of a verifier as PostgreSQL keeps it. The password stays in
// the client: what the database gets is a verifier or a one-time proof.
class PgScram
{
public:
    static QByteArray saltedPassword(const QString &password, const QByteArray &salt,
                                     int iterations);
    // ClientKey XOR HMAC(StoredKey, nonce): proves the password for one nonce.
    static QByteArray proof(const QString &password, const QByteArray &salt, int iterations,
                            const QByteArray &nonce);
    // "SCRAM-SHA-256$4096:<salt>$<StoredKey>:<ServerKey>" with a random salt.
    static QString verifier(const QString &password);
};
