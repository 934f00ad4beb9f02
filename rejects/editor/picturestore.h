#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

class QDataTable;
class QSqlConnection;
class QSqlRecord;
class QTextEdit;
class QWidget;

// The defect editor's side of the file store (filestorage.h): new pictures of
// a defect on save, a picture opened from the list, and an appeal shown with
// its files.
class PictureStore
{
public:
    explicit PictureStore(QSqlConnection *connection);

    // The storage directory; empty without a connection or attribute.
    QString directory() const;

    // Stores the bytes of every inserted row of `pictures` (storeFileContent:
    // the storage directory, else the database); a row whose name the store
    // refuses is dropped. False when the store could take a file nowhere or
    // holds another file of that name: the save must not go on.
    bool storeNew(QDataTable *pictures) const;

    // Fills a new picture row of a defect from a file's bytes and name.
    static void fillRow(QSqlRecord *row, const QByteArray &data, const QString &fileName,
                        const QVariant &defectId);

    // Opens a stored file with the desktop's application for it; the store
    // warns "Файл %1 не найден" when it has no such file.
    bool open(const QString &fileName) const;

    // Shows an appeal in `edit`: its text, then one line per attached file
    // (rows of `files`) with the picture itself below pictures. A file found
    // neither in the storage directory nor in the database is reported.
    void showAppeal(QTextEdit *edit, const QString &text, QDataTable *files, QWidget *parent) const;

private:
    QByteArray content(const QString &fileName) const;

    QSqlConnection *m_connection;
};
