// Documents from templates on the demo register: the defect act read back from
// its PDF with pdftotext, template choice, broken templates and file names,
// and merging another module's data set through the host's module loader.

#include "modalresponder.h"
#include "qdataset.h"
#include "qdoccreator.h"
#include "recordhelpers.h"
#include "testfixture.h"
#include "testmain.h"

#include <QAction>
#include <QLabel>
#include <QLibrary>
#include <QListView>
#include <QMessageBox>
#include <QProcess>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTextBrowser>
#include <memory>

namespace {

QString documentText(QDocCreator *creator)
{
    return creator->findChild<QTextBrowser *>(QStringLiteral("tbDocument"))->toPlainText();
}

bool isShown(QDocCreator *creator, const char *name)
{
    if (auto *action = creator->findChild<QAction *>(QLatin1String(name)))
        return action->isVisible();
    return !creator->findChild<QWidget *>(QLatin1String(name))->isHidden();
}

// Hands out module libraries the way the host's loader does.
class Loader : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE QLibrary *library(const QString &moduleName)
    {
        m_library.setFileName(QStringLiteral(LIB_DIR "/lib") + moduleName + QStringLiteral(".so"));
        return m_library.load() ? &m_library : nullptr;
    }

private:
    QLibrary m_library;
};

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
    void pdfName_data();
    void pdfName();
    void mergeDocument_data();
    void mergeDocument();

private:
    qint64 addTemplate(const QString &type, const QString &name, const QString &html,
                       const QString &script);

    std::unique_ptr<TestFixture> m_fx;
    QTemporaryDir m_dir;
};

void TestDocs::initTestCase()
{
    START_FIXTURE(m_fx, QStringLiteral("docs"));
    QVERIFY(m_dir.isValid());
}

qint64 TestDocs::addTemplate(const QString &type, const QString &name, const QString &html,
                             const QString &script)
{
    QSqlQuery query(m_fx->db().directConnection(QStringLiteral("tst_docs_direct")));
    query.prepare(QStringLiteral("INSERT INTO docs.t_doc_template (c_type, c_name, c_html, "
                                 "c_script) VALUES (?, ?, ?, ?) RETURNING id"));
    query.addBindValue(type);
    query.addBindValue(name);
    query.addBindValue(html);
    query.addBindValue(script);
    if (!query.exec() || !query.next())
        qWarning() << query.lastError().text();
    return query.value(0).toLongLong();
}

// The act of a defect with a fault code and a discussion: one template, so it
// is built at once with the list hidden; its PDF carries the defect's number,
// fault code and discussion.
void TestDocs::demoAct_builtAtOnceAndSavedAsPdf()
{
    const qint64 id =
        m_fx->value(QStringLiteral("SELECT min(e.id) FROM docs.v_process_exam e WHERE e.c_fault "
                                   "IS NOT NULL AND EXISTS (SELECT 1 FROM docs.t_process_exam_disc "
                                   "d WHERE d.id_process_exam = e.id)"))
            .toLongLong();
    QVERIFY(id > 0);
    const auto field = [&](const QString &sql) { return m_fx->value(sql.arg(id)).toString(); };
    const QString number =
        field(QStringLiteral("SELECT c_name FROM docs.v_process_exam WHERE id = %1"));
    const QString fault =
        field(QStringLiteral("SELECT c_fault FROM docs.v_process_exam WHERE id = %1"));
    const QString comment = field(QStringLiteral("SELECT c_text FROM docs.t_process_exam_disc "
                                                 "WHERE id_process_exam = %1 ORDER BY id LIMIT 1"));

    ModalResponder modal;
    QDocCreator creator(QStringLiteral("t_process_exam"));
    creator.makeDocument(id, false);
    QCOMPARE(modal.unexpected(), 0);
    QCOMPARE(creator.templateCount(), 1);
    QVERIFY(!isShown(&creator, "lvTemplates"));
    QVERIFY(!isShown(&creator, "lbTemplates"));
    QVERIFY(!isShown(&creator, "acSaveToBase"));

    const QString pdf = m_dir.filePath(QStringLiteral("act.pdf"));
    QVERIFY(creator.savePdf(m_dir.filePath(QStringLiteral("act"))));
    QProcess pdftotext;
    pdftotext.start(QStringLiteral("pdftotext"),
                    {QStringLiteral("-layout"), pdf, QStringLiteral("-")});
    QVERIFY2(pdftotext.waitForFinished(30000) && pdftotext.exitCode() == 0,
             "pdftotext (poppler-utils) failed");
    const QString text = QString::fromUtf8(pdftotext.readAllStandardOutput()).simplified();
    QVERIFY2(text.contains(QStringLiteral("АКТ О БРАКЕ № ") + number), qPrintable(text));
    QVERIFY2(text.contains(fault), qPrintable(text));
    QVERIFY2(text.contains(comment.simplified().left(30)), qPrintable(text));
}

void TestDocs::severalTemplates_firstBuiltChoiceRebuilds()
{
    const QString script = QStringLiteral("document.setHtml(params.getParam(\"c_html\") + \" \" + "
                                          "params.getParam(\"id_reason\"));");
    addTemplate(QStringLiteral("tst_two"), QStringLiteral("А"), QStringLiteral("первый"), script);
    addTemplate(QStringLiteral("tst_two"), QStringLiteral("Б"), QStringLiteral("второй"), script);

    QDocCreator creator(QStringLiteral("tst_two"));
    creator.makeDocument(77, true);
    QCOMPARE(creator.templateCount(), 2);
    QVERIFY(isShown(&creator, "lvTemplates"));
    QVERIFY(isShown(&creator, "acSaveToBase"));
    QCOMPARE(documentText(&creator), QStringLiteral("первый 77"));

    auto *list = creator.findChild<QListView *>(QStringLiteral("lvTemplates"));
    list->setCurrentIndex(list->model()->index(1, 2));
    QCOMPARE(documentText(&creator), QStringLiteral("второй 77"));
}

void TestDocs::brokenTemplates_data()
{
    QTest::addColumn<QString>("html");
    QTest::addColumn<QString>("script"); // null: no such template
    QTest::addColumn<QString>("box");    // the "Script error" text, empty: no box
    QTest::addColumn<QString>("document");

    const QString start = QStringLiteral("document.setHtml(\"начало\");");
    QTest::newRow("throws") << "" << start + "throw new Error(\"нет данных\");"
                            << "Error: нет данных"
                            << "начало";
    QTest::newRow("throws a text") << "" << start + "throw \"сломано\";"
                                   << "сломано"
                                   << "начало";
    QTest::newRow("loops") << "" << start + "while (true) {}"
                           << "Сценарий шаблона выполнялся дольше 1 с и был остановлен"
                           << "начало";
    QTest::newRow("no HTML") << ""
                             << "document.setHtml(params.getParam(\"c_html\"));"
                             << ""
                             << "";
    QTest::newRow("unknown template") << "" << QString() << ""
                                      << "";
}

void TestDocs::brokenTemplates()
{
    QFETCH(QString, html);
    QFETCH(QString, script);
    QFETCH(QString, box);
    QFETCH(QString, document);

    const qint64 id = script.isNull()
                          ? -1
                          : addTemplate(QStringLiteral("tst_broken"),
                                        QString::fromLatin1(QTest::currentDataTag()), html, script);
    ModalResponder modal;
    if (!box.isEmpty())
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    QDocCreator creator(QStringLiteral("tst_broken"));
    creator.setScriptTimeLimit(300);
    QTextDocument *result = creator.createDocument(id, 1);

    QCOMPARE(result == nullptr, script.isNull());
    QCOMPARE(modal.unexpected(), 0);
    QCOMPARE(modal.messages(),
             box.isEmpty() ? QStringList() : QStringList{QStringLiteral("Script error|") + box});
    QCOMPARE(documentText(&creator), document);
    if (document.isEmpty())
        QVERIFY(!creator.savePdf(m_dir.filePath(QStringLiteral("empty"))));
}

void TestDocs::pdfName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("written"); // empty: refused with a message

    QTest::newRow("no suffix") << "report"
                               << "report.pdf";
    QTest::newRow("other suffix") << "report.txt"
                                  << "report.txt";
    QTest::newRow("folder missing") << "missing/report"
                                    << "";
}

void TestDocs::pdfName()
{
    QFETCH(QString, name);
    QFETCH(QString, written);

    ModalResponder modal;
    if (written.isEmpty())
        modal.expect(ModalResponder::pressButton(QMessageBox::Ok));
    QDocCreator creator(QStringLiteral("t_process_exam"));
    creator.setDocument(QStringLiteral("<p>Акт</p>"));
    QCOMPARE(creator.savePdf(m_dir.filePath(name)), !written.isEmpty());
    QCOMPARE(modal.messages().size(), written.isEmpty() ? 1 : 0);
    if (written.isEmpty())
        return;
    QFile file(m_dir.filePath(written));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.read(4), QByteArray("%PDF"));
}

void TestDocs::mergeDocument_data()
{
    QTest::addColumn<bool>("loader");
    QTest::addColumn<QString>("module");
    QTest::addColumn<bool>("merged");

    QTest::newRow("no loader") << false << "rejects" << false;
    QTest::newRow("no such module") << true << "NoSuchModule" << false;
    QTest::newRow("module without getDocument") << true << "pgdriver" << false;
    QTest::newRow("defect register") << true << "rejects" << true;
}

void TestDocs::mergeDocument()
{
    QFETCH(bool, loader);
    QFETCH(QString, module);
    QFETCH(bool, merged);

    Loader libraries;
    qApp->setProperty("libList", loader ? objToVar(&libraries) : QVariant());
    QDataSet set;
    QCOMPARE(::mergeDocument(module, &set, nullptr), merged);
    qApp->setProperty("libList", QVariant());
}

REJECTS_TEST_MAIN(TestDocs)
#include "tst_docs.moc"
