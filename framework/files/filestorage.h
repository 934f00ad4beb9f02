#pragma once

#include "rejects_global.h"

#include <QByteArray>
#include <QSqlRecord>
#include <QString>

class QDataTable;
class QImage;
class QWidget;

// File storage: every attached file is stored once, under its name, which is
// unique in the store, and may be attached to many records
// (lrg.t_file_owner: owner table name + owner key -> lrg.t_file).
//
// Two tiers hold the bytes:
//   - the shared storage directory named by the system attribute "FilePath"
//     (help documents: "FileHelpPath"), one plain file per stored name;
//   - the database (lrg.t_file.bl_file, written by the script
//     FILE_BYTEA_INSERT, read by lrg.bl_get_file) for files that could not
//     be written to that directory.
// Extraction asks the directory first and the database second.
//
// The client never destroys a stored file: a file no stored name refers to
// any more is moved into the subdirectory "DELETE" of the storage directory.
//
// Everything here runs on the GUI thread over the application's connection
// (appConnection()); without it the functions answer false or empty.

// The storage directory (help: the help directory), read from the system
// attributes when first needed and kept for the rest of the process.
REJECTS_EXPORT QString fileStoragePath(bool help = false);
// Forgets both cached directories, so that the next call reads them again
// (after the administrator has moved the storage).
REJECTS_EXPORT void forgetFileStoragePaths();

// Extracts the stored file `fileName` into `target` (a full path): the
// directory's copy when there is one, otherwise the database's. An unknown
// file gives the warning "Файл %1 не найден" and false; nothing is written.
REJECTS_EXPORT bool extractStoredFile(const QString &fileName, const QString &target, bool help);

// The content of the stored file `fileName`: the directory's copy when there
// is one, otherwise the database's; empty when the file is unknown. Nothing
// is shown to the user.
REJECTS_EXPORT QByteArray readStoredFile(const QString &fileName, bool help = false);

// Extracts one stored file. Without `askDirectory` into the temporary
// directory, and opens it with the desktop's default application; with it,
// into a directory the user chooses, without opening it. Returns the path
// written, empty when cancelled or not found.
REJECTS_EXPORT QString getFileFromBase(QString fileName, bool askDirectory, bool help);

// Writes `content`, the bytes of a file added but not saved yet, as the file
// `fileName` where getFileFromBase would extract it, and opens it the same
// way. Returns the path written, empty when cancelled or not writable.
REJECTS_EXPORT QString getFileFromContent(QString fileName, const QByteArray &content,
                                          bool askDirectory);

// Extracts the file of one row of an attachment or picture table as
// getFileFromBase does: a row added since the table was saved (inserted,
// with its content in "bl_file") gives its own bytes, any other row the
// stored file named in "c_file".
REJECTS_EXPORT QString getRowFile(QDataTable *table, int row, bool askDirectory);

// Extracts every file named in the "c_file" column of `table` into a
// directory the user chooses (optionally a new subdirectory of it); rows not
// saved yet give their own bytes, as in getRowFile.
REJECTS_EXPORT void loadFileAllFromBase(QDataTable *table, bool help);

// True when the store accepts every character of the name: a-z, 0-9, the
// blank and !?()-_=+*/.,<>:;[]{}. Otherwise a message lists each refused
// character and the answer is false. Case-sensitive on purpose.
REJECTS_EXPORT bool checkFileName(QString &fileName);

// CRC-32 (IEEE 802.3, as zlib and PNG) of data[start, start + length);
// length 0 means up to the end; an empty range gives 0.
REJECTS_EXPORT quint64 crc32(QByteArray data, quint64 start = 0, quint64 length = 0);

// MD5 of the text's UTF-8 bytes, 32 lower-case hexadecimal digits.
REJECTS_EXPORT QString makeMD5(QString text);

// The lrg.t_file row with this CRC (the first one) or with this name; an
// empty record when there is none.
REJECTS_EXPORT QSqlRecord findStoredFileByCrc(quint64 crc);
REJECTS_EXPORT QSqlRecord findStoredFileByName(const QString &name);

// Where storeFileContent put the bytes.
enum StoreResult {
    srDirectory,   // written to the storage directory (or already there)
    srDatabase,    // the directory could not be written: kept in the database
    srNameRefused, // checkFileName refused the name (the user was told)
    srConflict,    // another content is stored under this name (the user was told)
    srFailed       // neither tier took the bytes (the database refused)
};

// Stores the content of a new file named `name`: into `directory` as a whole
// file (written under a temporary name and renamed, so a full disk or a lost
// connection never leaves half a file), or, when the directory cannot be
// written, into the database with FILE_BYTEA_INSERT. A file of that name
// already in the directory with the same content is left as it is; an
// unreferenced one with another content is moved into "DELETE" first. A name
// already stored with another content is refused with a message. When the
// database cannot be asked whether the name is stored, or refuses the bytes,
// the user is told why and the answer is srFailed; the directory is not
// touched before the database has answered.
REJECTS_EXPORT StoreResult storeFileContent(const QString &directory, const QString &name,
                                            const QByteArray &content);

// Moves `directory`/`name` into `directory`/DELETE (replacing a file of that
// name there). False when the file is not there or could not be moved.
REJECTS_EXPORT bool moveToDeleted(const QString &directory, const QString &name);

// Moves the file `name` out of `directory` into "DELETE" when no lrg.t_file
// row has that name any more; true when it was moved.
REJECTS_EXPORT bool tryDeleteStoredFile(const QString &directory, const QString &name);

// Reads a file whole for attaching it, with a progress dialog for large
// files. An unreadable file gives the warning titled "Ошибка"; a file over
// maxAttachmentSize() is refused with a message; cancelling the progress
// reads nothing. False in each of these cases.
REJECTS_EXPORT bool readFileContent(const QString &path, QByteArray *content,
                                    QWidget *parent = nullptr);
REJECTS_EXPORT qint64 maxAttachmentSize();

// The size of a file in kilobytes to a tenth (bytes / 1024: "0.3", "38.5",
// "240"), as every list of files shows it.
REJECTS_EXPORT QString fileSizeKb(qint64 bytes);

// The current local date and time as it begins the names of photos and
// pasted pictures: "yyyy-MM-dd_HH-mm-ss".
REJECTS_EXPORT QString fileTimeStamp();

// The image as the bytes of a PNG file: what a photo or a pasted picture is
// stored as.
REJECTS_EXPORT QByteArray imagePng(const QImage &image);
