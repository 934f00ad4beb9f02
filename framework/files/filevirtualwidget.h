#pragma once

#include "celldata.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "rejects_global.h"

#include <QHash>
#include <QPointer>
#include <QSqlRecord>
#include <QWidget>

class Ui_FileWidget;

// The list of files attached to one owner record (owner table name + key),
// with the buttons that add, describe, replace, delete, copy, paste, extract
// and open them. Abstract: the subclasses decide when changes reach the
// database (FileWidget with the owner's save, FileInstantWidget at once).
//
// The attachment table (a QDataTable over the FILE_OWNER_* scripts, not
// owned) holds per row: id (the stored file, lrg.t_file), c_table, n_key,
// c_comment, c_file, n_crc, n_size, id_creator, c_creator, and for a file
// added since the table was last saved bl_file with its whole content.
// bl_file is null for a row that attaches an already stored file.
//
// Identical content is stored once: a new file whose CRC-32 matches a stored
// file attaches that file instead. A name already stored with another content
// opens FileExistDialog and nothing is added.
//
// Photo, add and paste need a saved owner (key not 0), a table and an owner
// table name. Edit, delete, load and open need exactly one selected row; copy
// at least one; load-all at least one row.
class REJECTS_EXPORT FileVirtualWidget : public QWidget
{
    Q_OBJECT
public:
    FileVirtualWidget(QString ownerTable, QWidget *parent = nullptr);
    ~FileVirtualWidget() override;

    // Declares the attachment columns on `table` (for owners that build
    // their own attachment table over the FILE_OWNER_* scripts).
    static void addAttachmentColumns(QDataTable *table);

    void setData(qint64 key);
    void setData(QString ownerTable, qint64 key);
    // Reads the owner's attachments again.
    void refresh();
    // Read-only: photo, add, paste, edit and delete are disabled.
    void setReadOnly(bool readOnly);

    QDataTable *table() const { return m_table; }
    QString ownerTable() const { return m_ownerTable; }
    qint64 key() const { return m_key; }
    QString storagePath() const { return m_filePath; }

    // The stored file with this CRC-32; an empty record when there is none.
    QSqlRecord findFileByCRC(quint64 crc);
    // False (after showing FileExistDialog) when a file of this name is
    // already stored.
    bool canAddFile(const QString &name);
    // Moves the file out of the storage directory when nothing stores it any
    // more (see tryDeleteStoredFile).
    void tryDeleteFile(const QString &name);

signals:
    // After every change of the attachment table.
    void dataChanged();

public slots:
    virtual void init() = 0;
    virtual void photo() = 0;
    virtual void addFile() = 0;
    virtual void addImageClipboard() = 0;
    virtual void addImageToClipboard();
    virtual void editFile();
    virtual void delFile();

    void loadFile();
    void loadFileAll();
    void openFile();
    void updateButtons();
    void onGetDispInfo(int column, QVariant *value, QCellData *cell, QSqlRecord *record,
                       int rowState);

protected:
    // Binds the table to the view (see init).
    void bindTable(QDataTable *table);
    // Adds a new attachment for `content` named `name` (see the class
    // comment); false when nothing was added.
    bool addFileContent(const QByteArray &content, const QString &name);
    // Asks for a file and adds it.
    bool chooseAndAddFile();
    // Takes a photo with the camera dialog and adds it.
    bool addPhoto();
    // Attaches the stored files copied to the clipboard, or else offers the
    // clipboard's image; false when nothing was added.
    bool pasteFromClipboard();
    // Appends a row attaching the stored file `stored` (no content); false
    // when the owner already has it.
    bool attachStoredFile(const QSqlRecord &stored);
    // Stores the contents of the pending rows and attaches pending stored
    // files (see FileWidget::saveFiles); the names of deleted rows are
    // collected for moveDeletedFiles.
    bool storePendingFiles();
    // Moves the files collected by storePendingFiles out of storage.
    void moveDeletedFiles();
    // Asks, then marks the current row deleted; false when refused.
    bool deleteCurrentRow();
    // Replaces the stored file of the current row with the file at `path`.
    bool replaceFile(const QString &path);
    int currentRow() const;
    QDataSet *dataSet() const { return m_dataSet; }
    void setDataSet(QDataSet *set) { m_dataSet = set; }

    Ui_FileWidget *ui;
    QString m_ownerTable;
    qint64 m_key = 0;
    QPointer<QDataTable> m_table;
    QPointer<QDataSet> m_dataSet;
    QString m_filePath;
    QStringList m_deleteFiles;

private:
    void finishChange();
    QString creatorName(const QSqlRecord &record);
    void relinkToMatch(int row, const QSqlRecord &match);
    void renameStoredFile(int row, const QString &path, const QByteArray &content);

    bool m_readOnly = false;
};
