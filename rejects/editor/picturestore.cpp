#include "picturestore.h"

#include "filestorage.h"
#include "qdatatable.h"
#include "qsqlconnection.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QMessageBox>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>
#include <QUrl>

namespace {

bool isPicture(const QString &fileName)
{
    static const QStringList suffixes = {QStringLiteral("png"), QStringLiteral("jpg"),
                                         QStringLiteral("jpeg"), QStringLiteral("bmp"),
                                         QStringLiteral("gif")};
    return suffixes.contains(QFileInfo(fileName).suffix().toLower());
}

} // namespace

PictureStore::PictureStore(QSqlConnection *connection)
    : m_connection(connection)
{
}

QString PictureStore::directory() const
{
    return fileStoragePath();
}

bool PictureStore::storeNew(QDataTable *pictures) const
{
    if (!pictures)
        return true;
    const QString folder = directory();
    for (int row = pictures->rowCount() - 1; row >= 0; --row) {
        if (pictures->getRowState(row) != rsInserted)
            continue;
        const QString name = pictures->getField(QStringLiteral("c_file"), row).toString();
        switch (storeFileContent(
            folder, name, pictures->getField(QStringLiteral("bl_file"), row).toByteArray())) {
        case srDirectory:
        case srDatabase:
            break;
        case srNameRefused:
            pictures->killRow(row); // the user was told why
            break;
        case srConflict:
        case srFailed:
            return false;
        }
    }
    return true;
}

void PictureStore::fillRow(QSqlRecord *row, const QByteArray &data, const QString &fileName,
                           const QVariant &defectId)
{
    row->setValue(QStringLiteral("n_size"), qlonglong(data.size()));
    row->setValue(QStringLiteral("c_file"), fileName);
    row->setValue(QStringLiteral("bl_file"), data);
    row->setValue(QStringLiteral("n_crc"), qlonglong(crc32(data)));
    row->setValue(QStringLiteral("n_key"), defectId);
    row->setValue(QStringLiteral("c_table"), QStringLiteral("t_process_exam"));
}

bool PictureStore::open(const QString &fileName) const
{
    return !getFileFromBase(fileName, false, false).isEmpty();
}

QByteArray PictureStore::content(const QString &fileName) const
{
    QFile file(QDir(directory()).absoluteFilePath(fileName));
    if (file.open(QIODevice::ReadOnly))
        return file.readAll();
    if (!m_connection)
        return QByteArray();
    QSqlRecord name;
    name.append(QSqlField(QStringLiteral("c_file"), QVariant::String));
    name.setValue(0, fileName);
    QSqlQuery query =
        m_connection->execScript(QStringLiteral("SELECT lrg.bl_get_file(:c_file, true);"), name);
    return query.isValid() ? query.value(0).toByteArray() : QByteArray();
}

void PictureStore::showAppeal(QTextEdit *edit, const QString &text, QDataTable *files,
                              QWidget *parent) const
{
    edit->clear();
    QTextDocument *document = edit->document();
    QTextCursor cursor(document);
    cursor.insertText(text);
    for (int row = 0; files && row < files->rowCount(); ++row) {
        const QString name = files->getField(QStringLiteral("c_file"), row).toString();
        cursor.insertBlock();
        cursor.insertBlock();
        cursor.insertText(
            QObject::tr("Файл: %1 (%2 кБ) %3")
                .arg(name)
                .arg(fileSizeKb(files->getField(QStringLiteral("n_size"), row).toLongLong()))
                .arg(files->getField(QStringLiteral("c_comment"), row).toString()));
        if (!isPicture(name))
            continue;
        QImage image;
        if (!image.loadFromData(content(name))) {
            QMessageBox::warning(parent, QObject::tr("Внимание!"),
                                 QObject::tr("Файл %1 не найден").arg(name));
            continue;
        }
        const QUrl url(QStringLiteral("appeal:%1").arg(row));
        document->addResource(QTextDocument::ImageResource, url,
                              image.width() > 400 ? image.scaledToWidth(400) : image);
        cursor.insertBlock();
        cursor.insertImage(url.toString());
    }
}
