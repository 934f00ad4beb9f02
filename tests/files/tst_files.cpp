// File storage, attachment widgets and the picture dialog against a real
// database and a temporary storage directory.

#include "fileinstantdialog.h"
#include "fileinstantwidget.h"
#include "filestorage.h"
#include "filewidget.h"
#include "modalresponder.h"
#include "picsdialog.h"
#include "picturestore.h"
#include "recordhelpers.h"
#include "rejectsview.h"
#include "testfixture.h"
#include "testmain.h"

#include <QAbstractButton>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QGraphicsPixmapItem>
#include <QGraphicsView>
#include <QGroupBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
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

// Chooses `path` (a file or a directory) in the file dialog that is open.
ModalResponder::Answer chooseFile(const QString &path)
{
    return [path](QWidget *modal) {
        QVERIFY(qobject_cast<QFileDialog *>(modal));
        modal->findChild<QLineEdit *>("fileNameEdit")->setText(path);
        static_cast<QDialog *>(modal)->accept();
    };
}

void click(QWidget *parent, const char *button)
{
    parent->findChild<QAbstractButton *>(button)->click();
}

bool enabled(QWidget *parent, const char *button)
{
    return parent->findChild<QAbstractButton *>(button)->isEnabled();
}

// The attachment table of a defect editor's data set.
struct AttachmentSet
{
    AttachmentSet()
    {
        table->setScripts("FILE_OWNER_SELECT", "FILE_OWNER_UPDATE", "FILE_OWNER_INSERT",
                          "FILE_OWNER_DELETE");
        FileVirtualWidget::addAttachmentColumns(table);
        set.addTable(table);
        widget.setTable("t_file_owner");
    }
    // Saves as an editor does: contents, the data set's commit, files aside.
    bool save()
    {
        if (!widget.saveFiles() || !set.commit(appConnection()))
            return false;
        widget.deleteFiles();
        return true;
    }
    QDataSet set;
    QDataTable *table = new QDataTable("t_file_owner", appConnection(), &set);
    FileWidget widget{&set, "t_process_exam"};
};

} // namespace

extern "C" QDataSet *getDocument(QObject *parent);

class TestFiles : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestFixture> m_fx;
    std::unique_ptr<QTemporaryDir> m_storage;

    qlonglong defectWithoutFiles()
    {
        return m_fx
            ->value("SELECT min(id) FROM docs.t_process_exam WHERE id NOT IN (SELECT n_key "
                    "FROM lrg.t_file_owner)")
            .toLongLong();
    }

    // Points the system attribute "FilePath" at `path` and drops the cache.
    void setStoragePath(const QString &path)
    {
        QVERIFY(m_fx->db().exec("UPDATE sys.t_system_attr SET c_value = '" + path +
                                "' WHERE c_name = 'FilePath'"));
        forgetFileStoragePaths();
        QCOMPARE(fileStoragePath(), path);
    }

    // Adds the file `path` through the widget's add button, described.
    void addThroughButton(QWidget *widget, const QString &path)
    {
        ModalResponder modal;
        modal.expect(chooseFile(path));
        modal.expect(ModalResponder::enterText("Снимок дефекта"));
        click(widget, "buttonAddFile");
        QCOMPARE(modal.pending() + modal.unexpected(), 0);
    }

private slots:
    void init()
    {
        // File dialogs as widgets, so that the test can answer them.
        QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
        START_FIXTURE(m_fx, "files");
        m_storage = std::make_unique<QTemporaryDir>();
        setStoragePath(m_storage->path());
    }

    void storage_checksumsDirectoryFirstRefusalsKeepStoredBytes()
    {
        QCOMPARE(crc32("123456789"), quint64(0xCBF43926));
        QCOMPARE(crc32("xx123456789", 2, 100), quint64(0xCBF43926));
        QCOMPARE(crc32(QByteArray()) + crc32("abc", 3), quint64(0));
        QCOMPARE(makeMD5("abc"), QStringLiteral("900150983cd24fb0d6963f7d28e17f72"));
        QVERIFY(m_fx->db().exec("SELECT lrg.f_file_bytea_insert('both.txt', "
                                "convert_to('database copy', 'UTF8'), false)"));
        QVERIFY(writeFile(m_storage->filePath("both.txt"), "directory copy"));
        QTemporaryDir out;
        const QString target = out.filePath("both.txt");
        QVERIFY(extractStoredFile("both.txt", target, false));
        QCOMPARE(readAll(target), QByteArray("directory copy"));

        // Unknown everywhere: said.
        ModalResponder modal;
        QVERIFY(!extractStoredFile("missing.txt", out.filePath("missing.txt"), false));
        // A refused name is stored nowhere (the directory below a regular
        // file cannot be written, not even by root); each refused character
        // is named, case matters.
        QCOMPARE(storeFileContent(target + "/files", "Rep#фо.png", "x"), srNameRefused);
        QString allowed = "report 1!?()-_=+*/.,<>:;[]{}.pdf";
        QVERIFY(checkFileName(allowed));
        // Another content under a name kept in the database only is refused;
        // the stored bytes stay.
        QVERIFY(QFile::remove(m_storage->filePath("both.txt")));
        QCOMPARE(storeFileContent(m_storage->path(), "both.txt", "other"), srConflict);
        QVERIFY(extractStoredFile("both.txt", target, false));
        QCOMPARE(readAll(target), QByteArray("database copy"));
        QCOMPARE(modal.messages().count(), 3);
        QCOMPARE(modal.messages().first(), QStringLiteral("Внимание!|Файл missing.txt не найден"));
        QVERIFY(modal.messages().at(1).endsWith(":\nR, #, ф, о"));
    }

    void fileWidget_sameContentStoredOnce_data()
    {
        QTest::addColumn<bool>("directoryWritable");
        QTest::newRow("storage directory") << true;
        QTest::newRow("directory unwritable: database") << false;
    }

    void fileWidget_sameContentStoredOnce()
    {
        QFETCH(bool, directoryWritable);
        const QString storage =
            directoryWritable ? m_storage->path() : m_storage->filePath("blocker/files");
        QVERIFY(directoryWritable || writeFile(m_storage->filePath("blocker"), "a regular file"));
        setStoragePath(storage);
        const QVariant first = m_fx->value("SELECT min(id) FROM docs.t_process_exam");
        const QVariant second = m_fx->value("SELECT max(id) FROM docs.t_process_exam");
        QTemporaryDir source;
        const QByteArray content(2048, 'p');
        QVERIFY(writeFile(source.filePath("a.png"), content));
        QVERIFY(writeFile(source.filePath("b copy.png"), content));

        AttachmentSet files;
        files.widget.setData(first.toLongLong());
        addThroughButton(&files.widget, source.filePath("a.png"));
        // Not saved yet: Load gives the bytes the user added; size in kB.
        files.table->getView()->selectRow(0);
        ModalResponder modal;
        QTemporaryDir out;
        modal.expect(chooseFile(out.path()));
        click(&files.widget, "buttonLoad");
        QCOMPARE(readAll(out.filePath("a.png")), content);
        QCOMPARE(files.table->getModel()->index(0, 2).data().toString(), QStringLiteral("2"));
        QVERIFY(files.save());
        // The same bytes under another name, on another defect: no
        // description is asked, the stored file is attached.
        files.widget.setData(second.toLongLong());
        modal.expect(chooseFile(source.filePath("b copy.png")));
        click(&files.widget, "buttonAddFile");
        QVERIFY(files.save());
        QCOMPARE(modal.pending() + modal.unexpected(), 0);
        QCOMPARE(
            m_fx->value("SELECT count(*) FROM lrg.v_file_owner WHERE c_file = 'a.png'").toInt(), 2);
        if (!directoryWritable) {
            QCOMPARE(m_fx->value("SELECT lrg.bl_get_file('a.png', false)").toByteArray(), content);
            // Deleting needs the storage directory.
            files.table->getView()->selectRow(0);
            click(&files.widget, "buttonDelFile");
            QCOMPARE(modal.messages().last(),
                     QStringLiteral("Нельзя удалить|Нет доступа к хранилищу"));
            QVERIFY(!files.table->isModified());
            return;
        }
        QCOMPARE(QDir(storage).entryList(QDir::Files), QStringList{"a.png"});
        // The file leaves the directory only with its last attachment, and
        // only into DELETE.
        for (const QVariant &owner : {second, first}) {
            files.widget.setData(owner.toLongLong());
            files.table->getView()->selectRow(0);
            modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
            click(&files.widget, "buttonDelFile");
            QVERIFY(files.save());
            QCOMPARE(QFile::exists(storage + "/a.png"), owner == second);
        }
        QCOMPARE(readAll(storage + "/DELETE/a.png"), content);
    }

    void fileWidget_copyPasteAttachesStoredFiles()
    {
        const QVariant source =
            m_fx->value("SELECT min(n_key) FROM lrg.t_file_owner WHERE c_table = 't_process_exam'");
        const qlonglong target = defectWithoutFiles();
        const QVariant stored = m_fx->value("SELECT count(*) FROM lrg.t_file");
        AttachmentSet files;
        QVERIFY(!enabled(&files.widget, "buttonAddFile") &&
                !enabled(&files.widget, "buttonClipboard"));
        files.widget.setData(source.toLongLong());
        files.table->getView()->selectAll();
        const int copied = files.table->rowCount();
        QCOMPARE(enabled(&files.widget, "buttonEditFile"), copied == 1);
        click(&files.widget, "buttonToClipboard");

        files.widget.setData(target);
        click(&files.widget, "buttonClipboard");
        QVERIFY(files.save());
        QCOMPARE(m_fx->value("SELECT count(*) FROM lrg.t_file"), stored);
        const QString pasted = "SELECT count(*) FROM lrg.t_file_owner WHERE n_key = %1";
        QCOMPARE(m_fx->value(pasted.arg(target)), QVariant(copied));
    }

    void fileWidget_serverLostInSaveKeepsRowsPendingAndDirectoryClean()
    {
        // A folder named b.txt keeps that file out of the directory, so it
        // goes to the database, where the server is lost on its insert.
        QVERIFY(QDir(m_storage->path()).mkdir("b.txt"));
        QVERIFY(m_fx->db().exec(
            "CREATE FUNCTION lrg.f_lose() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN PERFORM "
            "pg_terminate_backend(pg_backend_pid()), pg_sleep(5); RETURN NEW; END $$; CREATE "
            "TRIGGER t_lose BEFORE INSERT ON lrg.t_file FOR EACH ROW WHEN (NEW.c_file = 'b.txt') "
            "EXECUTE FUNCTION lrg.f_lose()"));
        QTemporaryDir source;
        AttachmentSet files;
        files.widget.setData(defectWithoutFiles());
        // Saved last row first: a.txt is written before b.txt fails.
        for (const char *name : {"b.txt", "a.txt"}) {
            QVERIFY(writeFile(source.filePath(name), name));
            addThroughButton(&files.widget, source.filePath(name));
        }
        ModalResponder modal;
        QVERIFY(!files.widget.saveFiles());
        QVERIFY(modal.messages().value(0).startsWith("Внимание|Файл b.txt не сохранен"));
        QCOMPARE(files.table->insertedRows().count(), 2);
        QCOMPARE(QDir(m_storage->path()).entryList(QDir::Files | QDir::Hidden), QStringList());
    }

    void fileInstantDialog_writesAtOnceReplaceKeepsOldContentRefusesHugeFile()
    {
        const qlonglong defect = defectWithoutFiles();
        QTemporaryDir source;
        QVERIFY(writeFile(source.filePath("old.txt"), "old content"));
        QVERIFY(writeFile(source.filePath("new.txt"), "new content"));
        const QString files = QString("SELECT string_agg(c_file || '=' || n_crc, ',') FROM "
                                      "lrg.v_file_owner WHERE n_key = %1")
                                  .arg(defect);
        FileInstantDialog dialog("t_process_exam", defect);
        FileInstantWidget *widget = dialog.fileWidget();
        addThroughButton(widget, source.filePath("old.txt"));
        QCOMPARE(m_fx->value(files).toString(), QString("old.txt=%1").arg(crc32("old content")));

        // A new content for the stored file: the old one is moved aside.
        widget->table()->getView()->selectRow(0);
        ModalResponder modal;
        modal.expect([](QWidget *edit) {
            edit->findChild<QGroupBox *>("gbReplace")->setChecked(true);
            click(edit, "btSelectFile");
            static_cast<QDialog *>(edit)->accept();
        });
        modal.expect(chooseFile(source.filePath("new.txt")));
        click(widget, "buttonEditFile");
        QCOMPARE(m_fx->value(files).toString(), QString("new.txt=%1").arg(crc32("new content")));
        QCOMPARE(readAll(m_storage->filePath("new.txt")), QByteArray("new content"));
        QCOMPARE(readAll(m_storage->filePath("DELETE/old.txt")), QByteArray("old content"));

        // Over the size limit (a sparse file): refused with a message.
        QFile huge(source.filePath("huge.bin"));
        QVERIFY(huge.open(QIODevice::WriteOnly) && huge.resize(maxAttachmentSize() + 1));
        modal.expect(chooseFile(huge.fileName()));
        click(widget, "buttonAddFile");
        QVERIFY(modal.messages().value(0).contains("huge.bin слишком велик"));
        QCOMPARE(widget->table()->rowCount(), 1);
    }

    void picsDialog_emptyNoCameraThenPendingPictureLoadsOwnBytes()
    {
        AttachmentSet pics;
        pics.widget.setData(defectWithoutFiles());
        QTableView *ownerView = pics.table->getView();
        QTemporaryDir source;
        QVERIFY(writeFile(source.filePath("new.jpg"), "not saved yet"));
        {
            PicsDialog dialog(pics.table);
            connect(&dialog, &PicsDialog::fillTableRow,
                    [](QSqlRecord *row, QByteArray *data, QString name) {
                        PictureStore::fillRow(row, *data, name, 1);
                    });
            QPushButton *ok = dialog.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok);
            QVERIFY(!enabled(&dialog, "buttonOpen") && !enabled(&dialog, "buttonLoad"));
            // No camera on this machine: said so, nothing added.
            ModalResponder modal;
            click(&dialog, "btPhoto");
            QCOMPARE(modal.messages(), QStringList{"Внимание|Камера не найдена"});
            QVERIFY(pics.table->rowCount() == 0 && !ok->isEnabled());

            // A picture added, not saved: Load writes its own bytes.
            modal.expect(chooseFile(source.filePath("new.jpg")));
            click(&dialog, "btAdd");
            QVERIFY(ok->isEnabled());
            modal.expect(chooseFile(m_storage->path()));
            click(&dialog, "buttonLoad");
            QCOMPARE(readAll(m_storage->filePath("new.jpg")), QByteArray("not saved yet"));
        }
        QCOMPARE(pics.table->getView(), ownerView);
    }

    void listPictureColumn_opensStoredPicturesReadOnly()
    {
        // The module's document is built once per process, over this case's
        // connection: no other case of this program may use it.
        QDataSet *document = getDocument(QCoreApplication::instance());
        QDataTable *defects = document->getTable("t_process_exam");
        QDataTable *pics = document->getTable("t_process_exam_pics");
        RejectsView view(document);
        view.refresh();
        // The demo pictures are kept in the database only.
        const int row = defects->locate(
            "id",
            m_fx->value("SELECT n_key FROM lrg.v_file_owner WHERE c_table = "
                        "'t_process_exam' AND c_file LIKE '%.png' ORDER BY id_file_owner LIMIT 1"));
        const QModelIndex index = defects->getModel()->index(row, 1);
        view.findChild<QTableView *>("tvRejects")->setCurrentIndex(index);
        QStringList seen;
        ModalResponder modal;
        modal.expect([&](QWidget *dialog) {
            QVERIFY(qobject_cast<PicsDialog *>(dialog));
            dialog->findChild<QTableView *>("tvPics")->selectRow(0);
            for (const char *button : {"btPhoto", "btAdd", "buttonClipboard", "buttonOpen"})
                seen << QString::number(dialog->findChild<QAbstractButton *>(button)->isHidden());
            const QList<QGraphicsItem *> items =
                dialog->findChild<QGraphicsView *>("gvView")->scene()->items();
            seen << QString::number(items.count() == 1 &&
                                    items.first()->type() == QGraphicsPixmapItem::Type);
            seen << QString::number(pics->rowCount())
                 << pics->getModel()->index(0, 2).data().toString();
            static_cast<QDialog *>(dialog)->reject();
        });
        QMetaObject::invokeMethod(&view, "on_tvRejects_doubleClicked", Q_ARG(QModelIndex, index));
        QCOMPARE(seen, QStringList({"1", "1", "1", "0", "1", "1",
                                    fileSizeKb(pics->getField("n_size", 0).toLongLong())}));
        // The bytes stay cached in the row, which remains unchanged.
        QVERIFY(!pics->getField("bl_file", 0).toByteArray().isEmpty() && !pics->isModified());
    }
};

REJECTS_TEST_MAIN(TestFiles)
#include "tst_files.moc"
