// The spell-checking editors over the system's Russian dictionary (Debian's
// hunspell-ru) and over a small dictionary written by the test.

#include "spelllineedit.h"
#include "spellplaintextedit.h"
#include "spelltextedit.h"
#include "testmain.h"

#include <QMenu>
#include <QTextBlock>

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

// What an editor of this kind underlines in the text with this dictionary
// ("" the default).
template <typename Editor> QStringList underlined(const QString &dictionary, const QString &text)
{
    Editor editor;
    editor.setDict(dictionary);
    editor.setPlainText(text);
    QCoreApplication::processEvents();
    return underlined(editor.document());
}

// Opens the editor's context menu over the character at `position`, triggers
// the menu's action number `pick` and gives back the texts of the first seven.
QStringList pickFromMenu(SpellTextEdit *edit, int position, int pick)
{
    QTextCursor at(edit->document());
    at.setPosition(position);
    const QPoint pos = edit->cursorRect(at).center();
    QStringList shown;
    QObject guard; // no answer once the menu has gone
    QTimer::singleShot(0, &guard, [&shown, pick] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        QVERIFY(menu);
        for (QAction *action : menu->actions())
            shown << action->text();
        menu->actions().at(pick)->trigger();
        menu->close();
    });
    QContextMenuEvent event(QContextMenuEvent::Mouse, pos, edit->viewport()->mapToGlobal(pos));
    QApplication::sendEvent(edit->viewport(), &event);
    return shown.mid(0, 7);
}

} // namespace

class TestSpell : public QObject
{
    Q_OBJECT

private slots:
    void underline_data();
    void underline();
    void lineEdit_menuCorrectsIgnoresAndEnterFinishes();
};

void TestSpell::underline_data()
{
    QTest::addColumn<QString>("dictionary"); // "" the default; "local" the default in local/
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("expected");

    const QString longWord(10000, QChar(0x0430));
    QTest::newRow("misspelt, every occurrence but tags")
        << QString() << "Деффект, пайки деффект. Дефект \\деффект \\тегг"
        << QStringList{"Деффект", "деффект"};
    QTest::newRow("10 000 letters") << QString() << longWord << QStringList{longWord};
    QTest::newRow("./Dict/ru_RU.dic comes first") << "local"
                                                  << "деффект дефект" << QStringList{"дефект"};
    QTest::newRow("missing dictionary") << "/nonexistent/ru_RU.dic"
                                        << "деффект" << QStringList();
}

void TestSpell::underline()
{
    QFETCH(QString, dictionary);
    QFETCH(QString, text);
    QFETCH(QStringList, expected);

    // A working directory with its own ./Dict/ru_RU.dic that knows "деффект" only.
    const QString start = QDir::currentPath();
    if (dictionary == QLatin1String("local")) {
        QVERIFY(QDir::setCurrent(QStringLiteral(SPELL_DATA_DIR "/local")));
        dictionary.clear();
    }
    const QStringList found = underlined<SpellTextEdit>(dictionary, text) +
                              underlined<SpellPlainTextEdit>(dictionary, text) +
                              underlined<SpellLineEdit>(dictionary, text);
    QDir::setCurrent(start);
    QCOMPARE(found, expected + expected + expected); // the same in each kind of editor
}

// The one-line editor where users type names: its menu corrects a word, then
// ignores one for the rest of the run, everywhere in the text; Enter finishes
// the edit without a line break and is left to the dialog's default button.
void TestSpell::lineEdit_menuCorrectsIgnoresAndEnterFinishes()
{
    SpellLineEdit edit;
    edit.show();
    edit.setPlainText(QStringLiteral("платта и платта, платта"));
    // Five of the dictionary's eight suggestions, a separator, the ignore action.
    const QStringList menu{"плата", "платна", "пласта", "платка", "плат та", "", "Игнорировать .."};
    QCOMPARE(pickFromMenu(&edit, 2, 0), menu);
    QCOMPARE(edit.toPlainText(), QStringLiteral("плата и платта, платта"));
    QCOMPARE(underlined(edit.document()), (QStringList{"платта", "платта"}));
    QCOMPARE(pickFromMenu(&edit, 10, 6), menu);
    QCOMPARE(underlined(edit.document()), QStringList());

    QSignalSpy finished(&edit, &SpellLineEdit::editingFinished);
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(&edit, &enter);
    QVERIFY(!enter.isAccepted());
    QCOMPARE(edit.toPlainText(), QStringLiteral("плата и платта, платта"));
    QCOMPARE(finished.count(), 1);
}

REJECTS_TEST_MAIN(TestSpell)
#include "tst_spell.moc"
