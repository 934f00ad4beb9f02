#include "filestorage.h"

#include "openwithdefaultapp.h"
#include "qdatatable.h"
#include "qinputdialogex.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "scriptbridge.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QImage>
#include <QMessageBox>
#include <QProgressDialog>
#include <QSaveFile>
#include <QSqlQuery>
#include <memory>

namespace {

QString cachedFilePath;
QString cachedHelpPath;

const qint64 readChunk = 4 * 1024 * 1024;
const qint64 progressFrom = 16 * 1024 * 1024;

// The translation context of the storage's messages.
struct FileStorage
{
    Q_DECLARE_TR_FUNCTIONS(FileStorage)
};

QString readAttribute(const char *sql)
{
    QSqlConnection *connection = appConnection();
    if (!connection)
        return QString();
    QSqlQuery query = connection->execScript(QLatin1String(sql), QList<QVariant>());
    return query.isActive() && query.isValid() ? query.value(0).toString() : QString();
}

void fillCachedPaths()
{
    if (cachedFilePath.isEmpty())
        cachedFilePath =
            readAttribute("SELECT c_value FROM sys.t_sys_attr WHERE c_attr = 'FilePath';");
    if (cachedHelpPath.isEmpty())
        cachedHelpPath =
            readAttribute("SELECT c_value FROM sys.t_sys_attr WHERE c_attr = 'FileHelpPath';");
}

// Copies `source` over `target`.
bool replaceCopy(const QString &source, const QString &target)
{
    QFile::remove(target);
    return QFile::copy(source, target);
}

// The content kept in the database for the name; empty when there is none.
QByteArray databaseContent(const QString &fileName, bool help)
{
    QSqlConnection *connection = appConnection();
    if (!connection)
        return QByteArray();
    QString name = fileName;
    name.replace(QLatin1Char('\''), QLatin1String("''"));
    QSqlQuery query = connection->execScript(
        QStringLiteral("SELECT lrg.bl_get_file('%1', :bHelp);").arg(name), QList<QVariant>{help});
    return query.isActive() && query.isValid() ? query.value(0).toByteArray() : QByteArray();
}

// The first lrg.t_file row the statement finds; `answered` says whether the
// database could be asked at all (an empty record then means "none").
QSqlRecord findStoredFile(const char *sql, const QVariant &value, bool *answered = nullptr)
{
    QSqlConnection *connection = appConnection();
    QSqlQuery query;
    if (connection)
        query = connection->execScript(QLatin1String(sql), QList<QVariant>{value});
    if (answered)
        *answered = query.isActive() && query.isSelect();
    if (!query.isActive() || !query.isSelect() || !query.isValid())
        return QSqlRecord();
    return query.record();
}

// Tells the user that the file could not be stored, with the database's
// reason.
void tellNotStored(const QString &name)
{
    QSqlConnection *connection = appConnection();
    QMessageBox::warning(nullptr, FileStorage::tr("Внимание"),
                         FileStorage::tr("Файл %1 не сохранен.\n%2")
                             .arg(name, connection ? connection->lastErrorText() : QString()));
}

bool writeWhole(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const bool written = file.write(content) == content.size() && file.flush();
    file.close();
    return written;
}

QString askDirectory()
{
    return QFileDialog::getExistingDirectory(nullptr, FileStorage::tr("Извлечь вложение"),
                                             QString(), QFileDialog::ShowDirsOnly);
}

// Where a file is extracted to: the temporary directory, or one the user
// chooses; empty when the user cancels.
QString extractTarget(const QString &fileName, bool ask)
{
    if (!ask)
        return QDir(QDir::tempPath()).filePath(fileName);
    const QString directory = askDirectory();
    return directory.isEmpty() ? QString() : QDir(directory).filePath(fileName);
}

// The bytes of a row added since the table was saved; empty for any other.
QByteArray pendingContent(QDataTable *table, int row)
{
    if (table->getRowState(row) != rsInserted)
        return QByteArray();
    return table->getField(QStringLiteral("bl_file"), row).toByteArray();
}

// Extracts the file of a row into `target` (see getRowFile).
bool extractRowFile(QDataTable *table, int row, const QString &target, bool help)
{
    const QString name = table->getField(QStringLiteral("c_file"), row).toString();
    const QByteArray pending = pendingContent(table, row);
    if (!pending.isEmpty())
        return writeWhole(target, pending);
    return extractStoredFile(name, target, help);
}

quint32 crcTableEntry(quint32 index)
{
    quint32 value = index;
    for (int bit = 0; bit < 8; ++bit)
        value = (value & 1) ? (value >> 1) ^ 0xEDB88320u : value >> 1;
    return value;
}

const quint32 *crcTable()
{
    static quint32 table[256];
    static bool ready = false;
    if (!ready) {
        for (quint32 i = 0; i < 256; ++i)
            table[i] = crcTableEntry(i);
        ready = true;
    }
    return table;
}

// Extends a running (not yet complemented) CRC register over `size` bytes.
quint32 crcUpdate(quint32 crc, const char *data, qint64 size)
{
    const quint32 *table = crcTable();
    for (qint64 i = 0; i < size; ++i)
        crc = table[(crc ^ static_cast<quint8>(data[i])) & 0xFF] ^ (crc >> 8);
    return crc;
}

bool sameContent(const QString &path, const QByteArray &content)
{
    QFile file(path);
    if (file.size() != content.size() || !file.open(QIODevice::ReadOnly))
        return false;
    return file.readAll() == content;
}

// Whether the stored file `stored` (a lrg.t_file row) holds `content`: by its
// CRC when it has one, otherwise by its bytes in either tier.
bool storedContentEquals(const QSqlRecord &stored, const QString &directory,
                         const QByteArray &content)
{
    const QVariant crc = stored.value(QStringLiteral("n_crc"));
    if (!crc.isNull())
        return crc.toULongLong() == crc32(content);
    const QString name = stored.value(QStringLiteral("c_file")).toString();
    const QString path = QDir(directory).filePath(name);
    if (!directory.isEmpty() && QFileInfo(path).isFile())
        return sameContent(path, content);
    return databaseContent(name, false) == content;
}

} // namespace

QString fileStoragePath(bool help)
{
    fillCachedPaths();
    return help ? cachedHelpPath : cachedFilePath;
}

void forgetFileStoragePaths()
{
    cachedFilePath.clear();
    cachedHelpPath.clear();
}

QByteArray readStoredFile(const QString &fileName, bool help)
{
    const QString directory = fileStoragePath(help);
    QFile file(QDir(directory).filePath(fileName));
    if (!directory.isEmpty() && !fileName.isEmpty() && file.open(QIODevice::ReadOnly))
        return file.readAll();
    return databaseContent(fileName, help);
}

bool extractStoredFile(const QString &fileName, const QString &target, bool help)
{
    const QString directory = fileStoragePath(help);
    const QString source = QDir(directory).filePath(fileName);
    if (!directory.isEmpty() && QFileInfo(source).isFile()) {
        replaceCopy(source, target);
        return true;
    }
    const QByteArray content = databaseContent(fileName, help);
    if (content.isEmpty()) {
        QMessageBox::warning(nullptr, FileStorage::tr("Внимание!"),
                             FileStorage::tr("Файл %1 не найден").arg(fileName));
        return false;
    }
    return writeWhole(target, content);
}

QString getFileFromBase(QString fileName, bool askForDirectory, bool help)
{
    const QString target = extractTarget(fileName, askForDirectory);
    if (target.isEmpty() || !extractStoredFile(fileName, target, help))
        return QString();
    if (!askForDirectory)
        openWithDefaultApp(target);
    return target;
}

QString getFileFromContent(QString fileName, const QByteArray &content, bool askForDirectory)
{
    const QString target = extractTarget(fileName, askForDirectory);
    if (target.isEmpty() || !writeWhole(target, content))
        return QString();
    if (!askForDirectory)
        openWithDefaultApp(target);
    return target;
}

QString getRowFile(QDataTable *table, int row, bool askForDirectory)
{
    if (!table || row < 0 || row >= table->rowCount())
        return QString();
    const QString name = table->getField(QStringLiteral("c_file"), row).toString();
    const QByteArray pending = pendingContent(table, row);
    if (name.isEmpty())
        return QString();
    return pending.isEmpty() ? getFileFromBase(name, askForDirectory, false)
                             : getFileFromContent(name, pending, askForDirectory);
}

void loadFileAllFromBase(QDataTable *table, bool help)
{
    if (!table)
        return;
    QString directory = askDirectory();
    if (directory.isEmpty())
        return;
    bool accepted = false;
    const QString subdirectory =
        QInputDialogEx::getString(nullptr, FileStorage::tr("Создать подкаталог для файлов"),
                                  FileStorage::tr("Новый каталог"), QString(), &accepted);
    if (accepted) {
        if (subdirectory.isEmpty()) {
            QMessageBox::warning(nullptr, FileStorage::tr("Внимане"),
                                 FileStorage::tr("Не задан каталог"));
        } else if (QDir(directory).exists(subdirectory)) {
            QMessageBox::warning(nullptr, FileStorage::tr("Внимане"),
                                 FileStorage::tr("Каталог уже существует"));
        } else if (QDir(directory).mkdir(subdirectory)) {
            directory += QLatin1Char('/') + subdirectory;
        }
    }
    for (int row = 0; row < table->rowCount(); ++row) {
        const QString name = table->getField(QStringLiteral("c_file"), row).toString();
        if (!name.isEmpty())
            extractRowFile(table, row, QDir(directory).filePath(name), help);
    }
    QMessageBox::information(nullptr, FileStorage::tr("Загрузка файлов"),
                             FileStorage::tr("Файлы сохранены"));
}

bool checkFileName(QString &fileName)
{
    static const QString allowed = QStringLiteral("abcdefghijklmnopqrstuvwxyz1234567890"
                                                  "!?()-_=+*/.,<>:;[]{} ");
    QStringList refused;
    for (const QChar c : fileName) {
        if (!allowed.contains(c))
            refused << QString(c);
    }
    if (refused.isEmpty())
        return true;
    QMessageBox::critical(
        nullptr, FileStorage::tr("Внимание"),
        FileStorage::tr("Не удалось загрузить файл :\n") + fileName +
            FileStorage::tr("\nСледующие символы в имени файла не могут быть обработаны:\n") +
            refused.join(QStringLiteral(", ")));
    return false;
}

quint64 crc32(QByteArray data, quint64 start, quint64 length)
{
    quint64 end = static_cast<quint64>(data.size());
    if (length != 0)
        end = qMin(start + length, end);
    if (start >= end)
        return 0;
    const quint32 crc =
        crcUpdate(0xFFFFFFFFu, data.constData() + start, static_cast<qint64>(end - start));
    return static_cast<quint64>(~crc);
}

QString makeMD5(QString text)
{
    return QString::fromLatin1(
        QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toHex());
}

QSqlRecord findStoredFileByCrc(quint64 crc)
{
    return findStoredFile("SELECT * FROM lrg.t_file WHERE n_crc = :1 ;",
                          QVariant(static_cast<qlonglong>(crc)));
}

QSqlRecord findStoredFileByName(const QString &name)
{
    return findStoredFile("SELECT * FROM lrg.t_file WHERE c_file = :1 ;", name);
}

StoreResult storeFileContent(const QString &directory, const QString &name,
                             const QByteArray &content)
{
    bool answered = false;
    const QSqlRecord stored =
        findStoredFile("SELECT * FROM lrg.t_file WHERE c_file = :1 ;", name, &answered);
    if (!answered) {
        // A lost server would make every name look new: nothing is touched.
        tellNotStored(name);
        return srFailed;
    }
    if (!stored.isEmpty() && !storedContentEquals(stored, directory, content)) {
        QMessageBox::warning(nullptr, FileStorage::tr("Внимание"),
                             FileStorage::tr("В хранилище уже есть другой файл с именем %1.\n"
                                             "Переименуйте файл и прикрепите его снова.")
                                 .arg(name));
        return srConflict;
    }
    const QString path = QDir(directory).filePath(name);
    if (!directory.isEmpty() && QFileInfo(path).isFile()) {
        if (sameContent(path, content))
            return srDirectory;
        if (stored.isEmpty())
            moveToDeleted(directory, name);
    }
    if (!directory.isEmpty() && QFileInfo(directory).isDir()) {
        QSaveFile file(path);
        if (file.open(QIODevice::WriteOnly) && file.write(content) == content.size() &&
            file.commit())
            return srDirectory;
    }
    QString checked = name;
    if (!checkFileName(checked))
        return srNameRefused;
    const QSqlQuery query =
        runScript(QStringLiteral("FILE_BYTEA_INSERT"), QList<QVariant>{name, content, false});
    if (query.isActive())
        return srDatabase;
    tellNotStored(name);
    return srFailed;
}

bool moveToDeleted(const QString &directory, const QString &name)
{
    const QString source = QDir(directory).filePath(name);
    if (directory.isEmpty() || !QFileInfo(source).isFile())
        return false;
    QDir deleted(directory + QStringLiteral("/DELETE"));
    if (!deleted.exists() && !deleted.mkpath(QStringLiteral(".")))
        return false;
    if (!replaceCopy(source, deleted.filePath(name)))
        return false;
    return QFile::remove(source);
}

bool tryDeleteStoredFile(const QString &directory, const QString &name)
{
    if (directory.isEmpty() || name.isEmpty() ||
        !QFileInfo(QDir(directory).filePath(name)).isFile())
        return false;
    if (!appConnection() || !findStoredFileByName(name).isEmpty())
        return false;
    return moveToDeleted(directory, name);
}

qint64 maxAttachmentSize()
{
    return 100 * 1024 * 1024;
}

bool readFileContent(const QString &path, QByteArray *content, QWidget *parent)
{
    QFile file(path);
    const QString name = QFileInfo(path).fileName();
    if (!content || !file.open(QIODevice::ReadOnly)) {
        QMessageBox::warning(parent, FileStorage::tr("Ошибка"),
                             FileStorage::tr("Не удалось прочитать файл %1").arg(path));
        return false;
    }
    const qint64 size = file.size();
    if (size > maxAttachmentSize()) {
        QMessageBox::warning(
            parent, FileStorage::tr("Внимание"),
            FileStorage::tr("Файл %1 слишком велик (%2 МБ).\nНаибольший размер вложения - "
                            "%3 МБ.")
                .arg(name)
                .arg(size / (1024 * 1024))
                .arg(maxAttachmentSize() / (1024 * 1024)));
        return false;
    }
    QByteArray data;
    data.reserve(static_cast<int>(size));
    // Large files are read in pieces behind a progress dialog, so the window
    // keeps answering and the user may give up.
    std::unique_ptr<QProgressDialog> progress;
    if (size >= progressFrom) {
        progress = std::make_unique<QProgressDialog>(
            FileStorage::tr("Чтение файла %1").arg(name), FileStorage::tr("Отмена"), 0,
            static_cast<int>(size / readChunk) + 1, parent);
        progress->setWindowModality(Qt::WindowModal);
        progress->setMinimumDuration(0);
    }
    while (!file.atEnd()) {
        const QByteArray chunk = file.read(readChunk);
        if (chunk.isEmpty())
            break;
        data.append(chunk);
        if (progress) {
            progress->setValue(progress->value() + 1);
            if (progress->wasCanceled())
                return false;
        }
    }
    if (data.size() != size) {
        QMessageBox::warning(parent, FileStorage::tr("Ошибка"),
                             FileStorage::tr("Не удалось прочитать файл %1").arg(path));
        return false;
    }
    *content = data;
    return true;
}

QString fileSizeKb(qint64 bytes)
{
    // Tenths of a kilobyte; a file that is not empty never shows as 0.
    const qint64 tenths = qRound64(bytes / 102.4);
    return QString::number((bytes > 0 ? qMax<qint64>(tenths, 1) : 0) / 10.0, 'g', 15);
}

QString fileTimeStamp()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd_HH-mm-ss"));
}

QByteArray imagePng(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}
