#include "pgscram.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QRandomGenerator>

namespace {

const int defaultIterations = 4096;

QByteArray hmac(const QByteArray &key, const QByteArray &message)
{
    return QMessageAuthenticationCode::hash(message, key, QCryptographicHash::Sha256);
}

QByteArray sha256(const QByteArray &data)
{
    return QCryptographicHash::hash(data, QCryptographicHash::Sha256);
}

QByteArray xorBytes(QByteArray a, const QByteArray &b)
{
    for (int i = 0; i < a.size() && i < b.size(); ++i)
        a[i] = char(a.at(i) ^ b.at(i));
    return a;
}

} // namespace

QByteArray PgScram::saltedPassword(const QString &password, const QByteArray &salt, int iterations)
{
    const QByteArray key = password.normalized(QString::NormalizationForm_KC).toUtf8();
    QMessageAuthenticationCode mac(QCryptographicHash::Sha256, key);
    mac.addData(salt);
    mac.addData(QByteArray::fromHex("00000001"));
    QByteArray u = mac.result();
    QByteArray result = u;
    for (int i = 1; i < iterations; ++i) {
        mac.reset();
        mac.addData(u);
        u = mac.result();
        result = xorBytes(result, u);
    }
    return result;
}

QByteArray PgScram::proof(const QString &password, const QByteArray &salt, int iterations,
                          const QByteArray &nonce)
{
    const QByteArray clientKey = hmac(saltedPassword(password, salt, iterations), "Client Key");
    return xorBytes(clientKey, hmac(sha256(clientKey), nonce));
}

QString PgScram::verifier(const QString &password)
{
    QByteArray salt(16, '\0');
    for (char &c : salt)
        c = char(QRandomGenerator::system()->bounded(256));
    const QByteArray salted = saltedPassword(password, salt, defaultIterations);
    return QStringLiteral("SCRAM-SHA-256$%1:%2$%3:%4")
        .arg(defaultIterations)
        .arg(QString::fromLatin1(salt.toBase64()),
             QString::fromLatin1(sha256(hmac(salted, "Client Key")).toBase64()),
             QString::fromLatin1(hmac(salted, "Server Key").toBase64()));
}
