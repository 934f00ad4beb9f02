// Documents from templates on the demo register: the defect act read back from
// its PDF with pdftotext, template choice, broken templates and file names,
// and merging another module's data set through the host's module loader.

#include "modalresponder.h"
#include "moduleloader.h"
#include "qdataset.h"
#include "qdoccreator.h"
#include "recordhelpers.h"
#include "testfixture.h"
#include "testmain.h"

#include <QListView>
#include <QMessageBox>
#include <QProcess>
#include <QTemporaryDir>

namespace {

QString documentText(QDocCreator *creator)
{
    return creator->findChild<QObject *>(QStringLiteral("tbDocument"))
        ->property("plainText")
        .toString();
}

// A template of the type, named after its text.
qint64 addTemplate(TestFixture &fx, QString type, QString script, QString html = QString())
{
    const QString sql = QStringLiteral("INSERT INTO docs.t_doc_template (c_type, c_name, c_html, "
                                       "c_script) VALUES ($t$%1$t$, $t$%2$t$, $t$%2$t$, $t$%3$t$) "
                                       "RETURNING id");
    return fx.value(sql.arg(type, html, script)).toLongLong();
}

} // namespace

class TestDocs : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void demoAct_builtAtOnceAndSavedAsPdf();
    void severalTemplates_firstBuiltChoiceRebuilds();
    void brokenTemplates_data();
    void brokenTemplates();
    void mergeDocument_needsLoaderLibraryAndEntryPoint();

private:
    std::unique_ptr<TestFixture> m_fx;
    QTemporaryDir m_dir;
};

void TestDocs::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("docs"));
}

// The act of a defect with a fault code and a discussion: one template, so it
// is built at once with the list hidden; its PDF carries the defect's number,
// fault code and discussion.
void TestDocs::demoAct_builtAtOnceAndSavedAsPdf()
{
    const QString sql("SELECT concat_ws(chr(31), e.id, e.c_name, e.c_fault, d.c_text) FROM "
                      "docs.v_process_exam e JOIN docs.t_process_exam_disc d ON d.id_process_exam "
                      "= e.id WHERE e.c_fault IS NOT NULL ORDER BY e.id, d.id LIMIT 1");
    const QStringList defect = m_fx->value(sql).toString().split(QChar(31));
    QCOMPARE(defect.size(), 4);

    ModalResponder modal;
    QDocCreator creator(QStringLiteral("t_process_exam"));
    creator.makeDocument(defect.at(0).toLongLong(), false);
    QVERIFY(creator.findChild<QWidget *>("lvTemplates")->isHidden());

    // The suffix is added to a name without one, another one is kept, and a
    // file that cannot be written is refused with a message.
    QVERIFY(creator.savePdf(m_dir.filePath("act")));
    const QString other = m_dir.filePath("act.txt");
    QVERIFY(creator.savePdf(other) && QFile::exists(other));
    modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    QVERIFY(!creator.savePdf(m_dir.filePath("missing/act")));
    QCOMPARE(modal.messages().size(), 1);

    QProcess pdftotext;
    pdftotext.start("pdftotext", {"-layout", m_dir.filePath("act.pdf"), "-"});
    QVERIFY2(pdftotext.waitForFinished(30000) && pdftotext.exitCode() == 0,
             "pdftotext (poppler-utils) failed");
    const QString text = QString::fromUtf8(pdftotext.readAllStandardOutput()).simplified();
    QVERIFY2(text.contains(QStringLiteral("АКТ О БРАКЕ № ") + defect.at(1)) &&
                 text.contains(defect.at(2)) && text.contains(defect.at(3).simplified().left(30)),
             qPrintable(text));
}

void TestDocs::severalTemplates_firstBuiltChoiceRebuilds()
{
    const QString script("document.setHtml(params.getParam(\"c_html\") + \" \" + "
                         "params.getParam(\"id_reason\"));");
    for (const char *html : {"первый", "второй"})
        addTemplate(*m_fx, "tst_two", script, html);
    QDocCreator creator(QStringLiteral("tst_two"));
    creator.makeDocument(77, true);
    auto *list = creator.findChild<QListView *>(QStringLiteral("lvTemplates"));
    QVERIFY(!list->isHidden());
    QVERIFY(creator.findChild<QObject *>("acSaveToBase")->property("visible").toBool());
    QCOMPARE(documentText(&creator), QStringLiteral("второй 77")); // by name
    list->setCurrentIndex(list->model()->index(1, 2));
    QCOMPARE(documentText(&creator), QStringLiteral("первый 77"));
    // A ready document is shown without the templates.
    creator.setDocument(QStringLiteral("<p>Готовый акт</p>"));
    QVERIFY(list->isHidden());
    QCOMPARE(documentText(&creator), QStringLiteral("Готовый акт"));
}

void TestDocs::brokenTemplates_data()
{
    QTest::addColumn<QString>("script"); // null: no such template
    QTest::addColumn<QString>("box");    // the "Script error" text, empty: no box

    const QString start = QStringLiteral("document.setHtml(\"начало\");");
    QTest::newRow("throws") << start + "throw new Error(\"нет данных\");"
                            << QStringLiteral("Error: нет данных");
    QTest::newRow("throws a text") << start + "throw \"сломано\";" << QStringLiteral("сломано");
    QTest::newRow("loops") << start + "while (true) {}"
                           << "Сценарий шаблона выполнялся дольше 1 с и был остановлен";
    QTest::newRow("no HTML") << "document.setHtml(params.getParam(\"c_html\"));" << QString();
    QTest::newRow("unknown template") << QString() << QString();
}

// A stopped script leaves the document as far as it got; an empty document is
// not saved, silently.
void TestDocs::brokenTemplates()
{
    QFETCH(QString, script);
    QFETCH(QString, box);

    const QString type = QTest::currentDataTag();
    const qint64 id = script.isNull() ? -1 : addTemplate(*m_fx, type, script);
    ModalResponder modal;
    if (!box.isEmpty())
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    QDocCreator creator(type);
    creator.setScriptTimeLimit(300);
    QCOMPARE(creator.createDocument(id, 1) == nullptr, script.isNull());
    QCOMPARE(modal.messages(), box.isEmpty() ? QStringList() : QStringList{"Script error|" + box});
    QCOMPARE(documentText(&creator), box.isEmpty() ? QString() : QStringLiteral("начало"));
    QCOMPARE(creator.savePdf(m_dir.filePath("broken")), !box.isEmpty());
}

// Another module's data set is merged only through the host's published
// loader, from a library that has the entry point.
void TestDocs::mergeDocument_needsLoaderLibraryAndEntryPoint()
{
    ModuleLoader loader(QStringLiteral(LIB_DIR));
    QDataSet set;
    QVERIFY(!::mergeDocument(QStringLiteral("rejects"), &set, nullptr));
    qApp->setProperty("libList", objToVar(&loader));
    QVERIFY(!::mergeDocument(QStringLiteral("NoSuchModule"), &set, nullptr));
    QVERIFY(!::mergeDocument(QStringLiteral("pgdriver"), &set, nullptr));
    QVERIFY(::mergeDocument(QStringLiteral("rejects"), &set, nullptr));
    qApp->setProperty("libList", QVariant());
}

REJECTS_TEST_MAIN(TestDocs)
#include "tst_docs.moc"
