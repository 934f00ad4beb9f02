// File storage, attachment widgets and the picture dialog against a real
// database and a temporary storage directory.

#include "filestorage.h"
#include "loggedinconnection.h"
#include "modalresponder.h"
#include "pgtestdb.h"
#include "qsqlconnection.h"
#include "testmain.h"

#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <memory>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

} // namespace

class TestFiles : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void checksums_data();
    void checksums();
    void checkFileName_data();
    void checkFileName();
    void unwritableDirectory_contentGoesToDatabase();
    void extract_prefersDirectoryCopy();

private:
    QVariant dbValue(const QString &sql);
    // Points the system attribute "FilePath" at `path` and drops the cache.
    void setStoragePath(const QString &path);

    std::unique_ptr<PgTestDb> m_db;
    std::unique_ptr<LoggedInConnection> m_connection;
    std::unique_ptr<QTemporaryDir> m_storage;
};

void TestFiles::init()
{
    m_db = std::make_unique<PgTestDb>(QStringLiteral("files"));
    QVERIFY2(m_db->isValid(), qPrintable(m_db->error()));
    m_connection = std::make_unique<LoggedInConnection>(*m_db);
    QVERIFY2(m_connection->isValid(), qPrintable(m_connection->error()));
    m_storage = std::make_unique<QTemporaryDir>();
    QVERIFY(m_storage->isValid());
    setStoragePath(m_storage->path());
}

void TestFiles::cleanup()
{
    forgetFileStoragePaths();
    m_connection.reset();
    m_db.reset();
    m_storage.reset();
}

QVariant TestFiles::dbValue(const QString &sql)
{
    QSqlQuery query(m_db->directConnection());
    return query.exec(sql) && query.next() ? query.value(0) : QVariant();
}

void TestFiles::setStoragePath(const QString &path)
{
    QString literal = path;
    literal.replace(QLatin1Char('\''), QLatin1String("''"));
    QVERIFY(m_db->exec(QStringLiteral("UPDATE sys.t_system_attr SET c_value = '%1' "
                                      "WHERE c_name = 'FilePath'")
                           .arg(literal)));
    forgetFileStoragePaths();
    QCOMPARE(fileStoragePath(), path);
}

void TestFiles::checksums_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<quint64>("start");
    QTest::addColumn<quint64>("length");
    QTest::addColumn<quint64>("crc");
    QTest::newRow("check value") << QByteArray("123456789") << quint64(0) << quint64(0)
                                 << quint64(0xCBF43926);
    QTest::newRow("range inside") << QByteArray("xx123456789yy") << quint64(2) << quint64(9)
                                  << quint64(0xCBF43926);
    QTest::newRow("length past the end")
        << QByteArray("xx123456789") << quint64(2) << quint64(100) << quint64(0xCBF43926);
    QTest::newRow("empty") << QByteArray() << quint64(0) << quint64(0) << quint64(0);
    QTest::newRow("start at the end")
        << QByteArray("abc") << quint64(3) << quint64(0) << quint64(0);
}

void TestFiles::checksums()
{
    QFETCH(QByteArray, data);
    QFETCH(quint64, start);
    QFETCH(quint64, length);
    QFETCH(quint64, crc);
    QCOMPARE(crc32(data, start, length), crc);
    QCOMPARE(makeMD5(QStringLiteral("abc")), QStringLiteral("900150983cd24fb0d6963f7d28e17f72"));
}

void TestFiles::checkFileName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("refused");
    QTest::newRow("allowed") << QStringLiteral("report 1.pdf") << QString();
    QTest::newRow("punctuation") << QStringLiteral("a!?()-_=+*/.,<>:;[]{}z.txt") << QString();
    QTest::newRow("capital") << QStringLiteral("Report.pdf") << QStringLiteral("R");
    QTest::newRow("cyrillic") << QStringLiteral("фото.png") << QStringLiteral("ф, о, т, о");
    QTest::newRow("symbols") << QStringLiteral("a#b&c'd\\e") << QStringLiteral("#, &, ', \\");
}

void TestFiles::checkFileName()
{
    QFETCH(QString, name);
    QFETCH(QString, refused);
    ModalResponder modal;
    if (!refused.isEmpty())
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    QCOMPARE(::checkFileName(name), refused.isEmpty());
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(modal.unexpected(), 0);
    if (!refused.isEmpty())
        QVERIFY2(modal.messages().value(0).endsWith(QStringLiteral(":\n") + refused),
                 qPrintable(modal.messages().value(0)));
}

void TestFiles::unwritableDirectory_contentGoesToDatabase()
{
    // A directory below a regular file cannot be created, not even by root.
    const QString blocker = m_storage->filePath(QStringLiteral("blocker"));
    QVERIFY(writeFile(blocker, "not a directory"));
    const QString unwritable = blocker + QStringLiteral("/files");
    const QByteArray content("\x89PNG defect photo", 17);

    QCOMPARE(storeFileContent(unwritable, QStringLiteral("photo.png"), content), srDatabase);
    QCOMPARE(dbValue(QStringLiteral("SELECT count(*) FROM lrg.t_file WHERE c_file = 'photo.png' "
                                    "AND bl_file IS NOT NULL"))
                 .toInt(),
             1);
    const QString target = m_storage->filePath(QStringLiteral("extracted.png"));
    QVERIFY(extractStoredFile(QStringLiteral("photo.png"), target, false));
    QCOMPARE(readAll(target), content);

    // A refused name is not stored anywhere.
    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    QCOMPARE(storeFileContent(unwritable, QStringLiteral("Фото.png"), content), srNameRefused);
    QCOMPARE(modal.pending(), 0);

    // Another content under a stored name is refused, the stored bytes stay.
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    QCOMPARE(storeFileContent(m_storage->path(), QStringLiteral("photo.png"), "other"), srConflict);
    QCOMPARE(modal.pending(), 0);
    QVERIFY(!QFile::exists(m_storage->filePath(QStringLiteral("photo.png"))));
    QVERIFY(extractStoredFile(QStringLiteral("photo.png"), target, false));
    QCOMPARE(readAll(target), content);
}

void TestFiles::extract_prefersDirectoryCopy()
{
    QVERIFY(m_db->exec(QStringLiteral("SELECT lrg.f_file_bytea_insert('both.txt', "
                                      "convert_to('database copy', 'UTF8'), false)")));
    QVERIFY(writeFile(m_storage->filePath(QStringLiteral("both.txt")), "directory copy"));
    QTemporaryDir out;
    const QString target = out.filePath(QStringLiteral("both.txt"));
    QVERIFY(extractStoredFile(QStringLiteral("both.txt"), target, false));
    QCOMPARE(readAll(target), QByteArray("directory copy"));

    // Unknown everywhere: a warning and nothing written.
    ModalResponder modal;
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    const QString missing = out.filePath(QStringLiteral("missing.txt"));
    QVERIFY(!extractStoredFile(QStringLiteral("missing.txt"), missing, false));
    QCOMPARE(modal.messages(), QStringList{QStringLiteral("Внимание!|Файл missing.txt не найден")});
    QVERIFY(!QFile::exists(missing));
}

REJECTS_TEST_MAIN(TestFiles)
#include "tst_files.moc"
