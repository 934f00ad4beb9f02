// File storage, attachment widgets and the picture dialog against a real
// database and a temporary storage directory.

#include "fileclipboard.h"
#include "filestorage.h"
#include "filewidget.h"
#include "modalresponder.h"
#include "picsdialog.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejectsview.h"
#include "testfixture.h"
#include "testmain.h"

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QGraphicsPixmapItem>
#include <QGraphicsView>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSqlQuery>
#include <QStandardItemModel>
#include <QTableView>
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

// Chooses `path` in the file dialog that is open.
ModalResponder::Answer chooseFile(const QString &path)
{
    return [path](QWidget *modal) {
        if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
            dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(path);
            static_cast<QDialog *>(dialog)->accept();
        }
    };
}

void click(QWidget *parent, const char *button)
{
    parent->findChild<QAbstractButton *>(QLatin1String(button))->click();
}

bool enabled(QWidget *parent, const char *button)
{
    return parent->findChild<QAbstractButton *>(QLatin1String(button))->isEnabled();
}

// The attachment table of a defect editor's data set.
struct AttachmentSet
{
    AttachmentSet()
    {
        table->setScripts(QStringLiteral("FILE_OWNER_SELECT"), QStringLiteral("FILE_OWNER_UPDATE"),
                          QStringLiteral("FILE_OWNER_INSERT"), QStringLiteral("FILE_OWNER_DELETE"));
        FileVirtualWidget::addAttachmentColumns(table);
        set.addTable(table);
    }
    // Saves as an editor does: contents, the data set's commit, files aside.
    bool save(FileWidget &widget)
    {
        if (!widget.saveFiles() || !set.commit(appConnection()))
            return false;
        widget.deleteFiles();
        widget.refresh();
        return true;
    }
    QDataSet set;
    QDataTable *table = new QDataTable(QStringLiteral("t_file_owner"), appConnection(), &set);
};

} // namespace

extern "C" QDataSet *getDocument(QObject *parent);

class TestFiles : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void checksums_data();
    void checksums();
    void checkFileName_data();
    void checkFileName();
    void unwritableDirectory_contentGoesToDatabase();
    void extract_prefersDirectoryCopy();
    void fileWidget_sameContentStoredOnce_data();
    void fileWidget_sameContentStoredOnce();
    void fileWidget_copyPasteAttachesStoredFiles();
    void picsDialog_emptyReadOnlyNoCamera();
    void picsDialog_showsStoredPicture();
    void listPictureColumn_opensPicturesReadOnly();

private:
    QVariant dbValue(const QString &sql);
    // The picture rows of a defect, as the defect editor reads them.
    void openPictures(QDataTable *pics, qlonglong defect);
    // Adds the file `path` through the widget's add button, described.
    void addThroughButton(FileWidget &widget, const QString &path);
    // Points the system attribute "FilePath" at `path` and drops the cache.
    void setStoragePath(const QString &path);

    std::unique_ptr<TestFixture> m_fx;
    std::unique_ptr<QTemporaryDir> m_storage;
};

void TestFiles::initTestCase()
{
    // File dialogs as widgets, so that the test can answer them.
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
}

void TestFiles::init()
{
    START_FIXTURE(m_fx, "files");
    m_storage = std::make_unique<QTemporaryDir>();
    QVERIFY(m_storage->isValid());
    setStoragePath(m_storage->path());
}

void TestFiles::cleanup()
{
    forgetFileStoragePaths();
    m_fx.reset();
    m_storage.reset();
}

QVariant TestFiles::dbValue(const QString &sql)
{
    return m_fx->value(sql);
}

void TestFiles::setStoragePath(const QString &path)
{
    QString literal = path;
    literal.replace(QLatin1Char('\''), QLatin1String("''"));
    QVERIFY(m_fx->db().exec(QStringLiteral("UPDATE sys.t_system_attr SET c_value = '%1' "
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
    QVERIFY(m_fx->db().exec(QStringLiteral("SELECT lrg.f_file_bytea_insert('both.txt', "
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

void TestFiles::addThroughButton(FileWidget &widget, const QString &path)
{
    ModalResponder modal;
    modal.expect(chooseFile(path));
    modal.expect(ModalResponder::enterText(QStringLiteral("Снимок дефекта")));
    click(&widget, "buttonAddFile");
    QTRY_COMPARE(modal.pending(), 0);
    QCOMPARE(modal.unexpected(), 0);
}

void TestFiles::fileWidget_sameContentStoredOnce_data()
{
    QTest::addColumn<bool>("directoryWritable");
    QTest::newRow("storage directory") << true;
    QTest::newRow("directory unwritable: database") << false;
}

void TestFiles::fileWidget_sameContentStoredOnce()
{
    QFETCH(bool, directoryWritable);
    const QString storage = directoryWritable
                                ? m_storage->path()
                                : m_storage->filePath(QStringLiteral("blocker/files"));
    if (!directoryWritable)
        QVERIFY(writeFile(m_storage->filePath(QStringLiteral("blocker")), "a regular file"));
    setStoragePath(storage);
    const qlonglong first =
        dbValue(QStringLiteral("SELECT min(id) FROM docs.t_process_exam")).toLongLong();
    const qlonglong second =
        dbValue(QStringLiteral("SELECT max(id) FROM docs.t_process_exam")).toLongLong();
    QTemporaryDir source;
    const QByteArray content("defect photo bytes");
    QVERIFY(writeFile(source.filePath(QStringLiteral("a.png")), content));
    QVERIFY(writeFile(source.filePath(QStringLiteral("b copy.png")), content));

    AttachmentSet attachments;
    FileWidget widget(&attachments.set, QStringLiteral("t_process_exam"));
    widget.setData(first);
    addThroughButton(widget, source.filePath(QStringLiteral("a.png")));
    QVERIFY(attachments.save(widget));
    // The same bytes under another name, on another defect: no description
    // is asked, the stored file is attached.
    widget.setData(second);
    ModalResponder modal;
    modal.expect(chooseFile(source.filePath(QStringLiteral("b copy.png"))));
    click(&widget, "buttonAddFile");
    QTRY_COMPARE(modal.pending(), 0);
    QCOMPARE(modal.unexpected(), 0);
    QVERIFY(attachments.save(widget));

    const QString crc = QString::number(crc32(content));
    QCOMPARE(dbValue("SELECT count(*) FROM lrg.t_file WHERE n_crc = " + crc).toInt(), 1);
    QCOMPARE(dbValue("SELECT count(*) FROM lrg.t_file_owner o JOIN lrg.t_file f ON f.id = "
                     "o.id_file WHERE f.c_file = 'a.png'")
                 .toInt(),
             2);
    QCOMPARE(attachments.table->getField(QStringLiteral("c_file"), 0).toString(),
             QStringLiteral("a.png"));
    if (!directoryWritable) {
        QCOMPARE(dbValue("SELECT lrg.bl_get_file('a.png', false)").toByteArray(), content);
        // Deleting needs the storage directory.
        attachments.table->getView()->selectRow(0);
        click(&widget, "buttonDelFile");
        QCOMPARE(modal.messages().last(), QStringLiteral("Нельзя удалить|Нет доступа к хранилищу"));
        QVERIFY(!attachments.table->isModified());
        return;
    }
    QCOMPARE(QDir(storage).entryList(QDir::Files), QStringList{QStringLiteral("a.png")});

    // The file leaves the directory only with its last attachment, and
    // only into DELETE.
    const QString deleted = storage + QStringLiteral("/DELETE/a.png");
    for (const qlonglong owner : {second, first}) {
        widget.setData(owner);
        attachments.table->getView()->selectRow(0);
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
        click(&widget, "buttonDelFile");
        QTRY_COMPARE(modal.pending(), 0);
        QVERIFY(attachments.save(widget));
        QCOMPARE(QFile::exists(deleted), owner == first);
        QCOMPARE(QFile::exists(QDir(storage).filePath(QStringLiteral("a.png"))), owner != first);
    }
    QCOMPARE(readAll(deleted), content);
}

void TestFiles::fileWidget_copyPasteAttachesStoredFiles()
{
    const qlonglong source =
        dbValue(
            QStringLiteral("SELECT n_key FROM lrg.t_file_owner WHERE c_table = 't_process_exam' "
                           "GROUP BY n_key ORDER BY count(*) DESC, n_key LIMIT 1"))
            .toLongLong();
    const qlonglong target =
        dbValue(QStringLiteral(
                    "SELECT min(id) FROM docs.t_process_exam WHERE id NOT IN (SELECT n_key FROM "
                    "lrg.t_file_owner WHERE c_table = 't_process_exam')"))
            .toLongLong();
    const int stored = dbValue(QStringLiteral("SELECT count(*) FROM lrg.t_file")).toInt();
    AttachmentSet attachments;
    FileWidget widget(&attachments.set, QStringLiteral("t_process_exam"));
    QVERIFY(!enabled(&widget, "buttonAddFile") && !enabled(&widget, "buttonClipboard"));
    widget.setData(source);
    QVERIFY(attachments.table->rowCount() >= 1);
    attachments.table->getView()->selectAll();
    const int copied = attachments.table->rowCount();
    QCOMPARE(enabled(&widget, "buttonEditFile"), copied == 1);
    QVERIFY(enabled(&widget, "buttonToClipboard"));
    click(&widget, "buttonToClipboard");
    QCOMPARE(attachmentIds(QApplication::clipboard()->mimeData()).count(), copied);

    widget.setData(target);
    click(&widget, "buttonClipboard");
    QCOMPARE(attachments.table->rowCount(), copied);
    QVERIFY(attachments.table->getField(QStringLiteral("bl_file"), 0).isNull());
    QVERIFY(attachments.save(widget));
    QCOMPARE(attachments.table->rowCount(), copied);
    QCOMPARE(dbValue(QStringLiteral("SELECT count(*) FROM lrg.t_file")).toInt(), stored);
    QCOMPARE(dbValue(QStringLiteral("SELECT count(*) FROM lrg.t_file_owner a JOIN "
                                    "lrg.t_file_owner b ON b.id_file = a.id_file WHERE "
                                    "a.c_table = 't_process_exam' AND a.n_key = %1 AND "
                                    "b.c_table = 't_process_exam' AND b.n_key = %2")
                         .arg(source)
                         .arg(target))
                 .toInt(),
             copied);
}

void TestFiles::openPictures(QDataTable *pics, qlonglong defect)
{
    pics->setScripts(QStringLiteral("FILE_OWNER_SELECT"), QStringLiteral("FILE_OWNER_UPDATE"),
                     QStringLiteral("FILE_OWNER_INSERT"), QStringLiteral("FILE_OWNER_DELETE"));
    FileVirtualWidget::addAttachmentColumns(pics);
    pics->setSelectParam(QStringLiteral("c_table"), QStringLiteral("t_process_exam"));
    pics->setSelectParam(QStringLiteral("n_key"), defect);
    QVERIFY(pics->open());
}

void TestFiles::picsDialog_emptyReadOnlyNoCamera()
{
    QDataTable pics(QStringLiteral("t_process_exam_pics"), appConnection());
    openPictures(
        &pics,
        dbValue(QStringLiteral(
                    "SELECT min(id) FROM docs.t_process_exam WHERE id NOT IN (SELECT n_key FROM "
                    "lrg.t_file_owner WHERE c_table = 't_process_exam')"))
            .toLongLong());
    QTableView editorView;
    pics.setView(&editorView);
    {
        PicsDialog dialog(&pics);
        QPushButton *ok = dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok);
        QVERIFY(!ok->isEnabled());
        QVERIFY(!enabled(&dialog, "buttonOpen") && !enabled(&dialog, "buttonLoad"));
        // No camera on this machine: said so, nothing added.
        ModalResponder modal;
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
        click(&dialog, "btPhoto");
        QTRY_COMPARE(modal.pending(), 0);
        QCOMPARE(modal.messages(), QStringList{QStringLiteral("Внимание|Камера не найдена")});
        QCOMPARE(pics.rowCount(), 0);
        QVERIFY(!ok->isEnabled());

        dialog.setReadOnly(true);
        for (const char *button : {"btPhoto", "btAdd", "buttonClipboard"})
            QVERIFY(dialog.findChild<QAbstractButton *>(QLatin1String(button))->isHidden());
        QVERIFY(!dialog.findChild<QAbstractButton *>(QStringLiteral("buttonOpen"))->isHidden());
    }
    QCOMPARE(pics.getView(), &editorView);
}

void TestFiles::picsDialog_showsStoredPicture()
{
    // The demo pictures are kept in the database only.
    QDataTable pics(QStringLiteral("t_process_exam_pics"), appConnection());
    openPictures(
        &pics,
        dbValue(
            QStringLiteral(
                "SELECT n_key FROM lrg.t_file_owner o JOIN lrg.t_file f ON f.id = o.id_file WHERE "
                "o.c_table = 't_process_exam' AND f.c_file LIKE '%.png' ORDER BY o.id LIMIT 1"))
            .toLongLong());
    QCOMPARE(pics.rowCount(), 1);
    PicsDialog dialog(&pics);
    dialog.findChild<QTableView *>(QStringLiteral("tvPics"))->selectRow(0);
    QVERIFY(enabled(&dialog, "buttonOpen") && enabled(&dialog, "buttonLoad"));
    const QList<QGraphicsItem *> items =
        dialog.findChild<QGraphicsView *>(QStringLiteral("gvView"))->scene()->items();
    QCOMPARE(items.count(), 1);
    QCOMPARE(items.first()->type(), int(QGraphicsPixmapItem::Type));
    // The bytes stay cached in the row, which remains unchanged.
    QVERIFY(!pics.getField(QStringLiteral("bl_file"), 0).toByteArray().isEmpty());
    QVERIFY(!pics.isModified());
}

void TestFiles::listPictureColumn_opensPicturesReadOnly()
{
    // The module's document is built once per process, over this case's
    // connection: no other case of this program may use it.
    QDataSet *document = getDocument(qApp);
    QDataTable *defects = document->getTable(QStringLiteral("t_process_exam"));
    QVERIFY(defects);
    RejectsView view(document);
    view.refresh();
    const qlonglong pictured =
        dbValue(QStringLiteral(
                    "SELECT min(n_key) FROM lrg.t_file_owner WHERE c_table = 't_process_exam'"))
            .toLongLong();
    const int row = defects->locate(QStringLiteral("id"), pictured);
    QVERIFY(row >= 0);
    const QModelIndex index = defects->getModel()->index(row, 1);
    view.findChild<QTableView *>(QStringLiteral("tvRejects"))->setCurrentIndex(index);

    int shown = -1;
    bool adding = true;
    ModalResponder modal;
    modal.expect([&](QWidget *window) {
        auto *dialog = qobject_cast<PicsDialog *>(window);
        if (!dialog)
            return;
        shown = dialog->findChild<QTableView *>(QStringLiteral("tvPics"))->model()->rowCount();
        adding = !dialog->findChild<QAbstractButton *>(QStringLiteral("btAdd"))->isHidden();
        dialog->reject();
    });
    QMetaObject::invokeMethod(&view, "on_tvRejects_doubleClicked", Q_ARG(QModelIndex, index));
    QCOMPARE(modal.pending(), 0);
    QCOMPARE(shown, 1);
    QVERIFY(!adding);
}

REJECTS_TEST_MAIN(TestFiles)
#include "tst_files.moc"
