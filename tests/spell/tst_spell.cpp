// The spell-checking editors over the system's Russian dictionary (Debian's
// hunspell-ru) and over small dictionaries written by the test.

#include "highlighter.h"
#include "spelllineedit.h"
#include "spellplaintextedit.h"
#include "spelltextedit.h"
#include "testmain.h"

#include <QDialog>
#include <QMenu>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QVBoxLayout>
#include <memory>

namespace {

// The texts the highlighter underlined, in document order.
QStringList underlined(QTextDocument *document)
{
    QStringList words;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        for (const QTextLayout::FormatRange &range : block.layout()->formats()) {
            if (range.format.underlineStyle() == QTextCharFormat::SpellCheckUnderline)
                words << block.text().mid(range.start, range.length);
        }
    }
    return words;
}

bool writeFile(const QString &path, const QByteArray &content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

enum Editor { Text, Plain, Line };

} // namespace

class TestSpell : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();

    void underline_data();
    void underline();
    void contextMenu_data();
    void contextMenu();
    void lineEdit_enterFinishesWithoutLineBreak();

private:
    QTemporaryDir m_dir;
    QString m_startDir;
};

void TestSpell::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_startDir = QDir::currentPath();
    // A working directory with its own ./Dict/ru_RU.dic that knows "деффект"
    // only, and a ".dic" that is a folder.
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("local/Dict")));
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("broken.dic")));
    QVERIFY(writeFile(m_dir.filePath(QStringLiteral("broken.aff")), "SET UTF-8\n"));
    QVERIFY(writeFile(m_dir.filePath(QStringLiteral("local/Dict/ru_RU.aff")), "SET UTF-8\n"));
    QVERIFY(writeFile(m_dir.filePath(QStringLiteral("local/Dict/ru_RU.dic")),
                      QStringLiteral("1\nдеффект\n").toUtf8()));
}

void TestSpell::cleanup()
{
    QDir::setCurrent(m_startDir);
}

void TestSpell::underline_data()
{
    QTest::addColumn<int>("editor");
    QTest::addColumn<QString>("dictionary"); // "" the default, "local" the default in ./local
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("expected");

    const QString longWord(10000, QChar(0x0430));
    QTest::newRow("misspelt, every occurrence")
        << int(Text) << QString() << "Деффект пайки, деффект. Дефект платы"
        << QStringList{"Деффект", "деффект"};
    QTest::newRow("correct Russian")
        << int(Plain) << QString() << "Дефект пайки платы" << QStringList();
    QTest::newRow("tag after a backslash")
        << int(Text) << QString() << "\\деффект и \\тег" << QStringList();
    QTest::newRow("before a comma")
        << int(Line) << QString() << "деффект, пайка" << QStringList{"деффект"};
    QTest::newRow("10 000 letters") << int(Plain) << QString() << longWord << QStringList{longWord};
    QTest::newRow("./Dict/ru_RU.dic comes first") << int(Text) << "local"
                                                  << "деффект дефект" << QStringList{"дефект"};
    QTest::newRow("missing dictionary") << int(Text) << "/nonexistent/ru_RU.dic"
                                        << "деффект" << QStringList();
    QTest::newRow("dictionary that is a folder")
        << int(Plain) << m_dir.filePath(QStringLiteral("broken.dic")) << "деффект" << QStringList();
}

void TestSpell::underline()
{
    QFETCH(int, editor);
    QFETCH(QString, dictionary);
    QFETCH(QString, text);
    QFETCH(QStringList, expected);

    if (dictionary == QLatin1String("local")) {
        QVERIFY(QDir::setCurrent(m_dir.filePath(QStringLiteral("local"))));
        dictionary.clear();
    }
    std::unique_ptr<QWidget> widget;
    QTextDocument *document = nullptr;
    if (editor == Plain) {
        auto *plain = new SpellPlainTextEdit(nullptr, dictionary);
        widget.reset(plain);
        plain->setPlainText(text);
        document = plain->document();
    } else {
        auto *edit = editor == Line ? new SpellLineEdit : new SpellTextEdit(nullptr, dictionary);
        widget.reset(edit);
        edit->setPlainText(text);
        document = edit->document();
    }
    QCoreApplication::processEvents();
    QCOMPARE(underlined(document), expected);
}

void TestSpell::contextMenu_data()
{
    QTest::addColumn<bool>("ignore");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("underlines");

    // Ignoring lasts for the rest of the run: the correction comes first.
    QTest::newRow("first suggestion") << false << "плата и платта" << QStringList{"платта"};
    QTest::newRow("ignore") << true << "платта и платта" << QStringList();
}

void TestSpell::contextMenu()
{
    QFETCH(bool, ignore);
    QFETCH(QString, text);
    QFETCH(QStringList, underlines);

    SpellTextEdit edit;
    edit.resize(400, 200);
    edit.show();
    QVERIFY(QTest::qWaitForWindowExposed(&edit));
    edit.setPlainText(QStringLiteral("платта и платта"));
    QTextCursor at(edit.document());
    at.setPosition(2);
    const QPoint pos = edit.cursorRect(at).center();

    QStringList shown;
    QTimer answer;
    answer.setInterval(10);
    connect(&answer, &QTimer::timeout, this, [&] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        answer.stop();
        const QList<QAction *> actions = menu->actions();
        for (QAction *action : actions)
            shown << action->text();
        actions.at(ignore ? 6 : 0)->trigger();
        menu->close();
    });
    answer.start();
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, edit.viewport()->mapToGlobal(pos));
    QApplication::sendEvent(edit.viewport(), &event);

    // Five of the dictionary's eight suggestions, a separator, the ignore action.
    QCOMPARE(shown.mid(0, 5), (QStringList{"плата", "платна", "пласта", "платка", "плат та"}));
    QCOMPARE(shown.at(5), QString());
    QCOMPARE(shown.at(6), QStringLiteral("Игнорировать .."));
    QCOMPARE(edit.toPlainText(), text);
    QCOMPARE(underlined(edit.document()), underlines);
}

void TestSpell::lineEdit_enterFinishesWithoutLineBreak()
{
    QDialog dialog;
    auto *edit = new SpellLineEdit(&dialog);
    auto *ok = new QPushButton(QStringLiteral("Ok"), &dialog);
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, &dialog, &QDialog::accept);
    auto *layout = new QVBoxLayout(&dialog);
    layout->addWidget(edit);
    layout->addWidget(ok);
    dialog.show();
    QVERIFY(QTest::qWaitForWindowExposed(&dialog));
    edit->setFocus();
    QSignalSpy finished(edit, &SpellLineEdit::editingFinished);
    QSignalSpy accepted(&dialog, &QDialog::accepted);

    edit->setPlainText(QStringLiteral("пайка"));
    edit->moveCursor(QTextCursor::End);
    QTest::keyClick(edit, Qt::Key_Return);
    QCOMPARE(edit->toPlainText(), QStringLiteral("пайка"));
    QCOMPARE(accepted.count(), 1);
    // Once for Enter, once more as the closing dialog takes the focus away.
    QVERIFY(finished.count() >= 1);
}

REJECTS_TEST_MAIN(TestSpell)
#include "tst_spell.moc"
