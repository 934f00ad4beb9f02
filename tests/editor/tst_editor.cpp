#include "qdataeditor.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "recordhelpers.h"
#include "testfixture.h"
#include "testmain.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLibrary>
#include <QLineEdit>
#include <QPushButton>
#include <QSqlQuery>
#include <QStandardItemModel>
#include <QTableView>
#include <QVBoxLayout>
#include <QWindow>
#include <memory>

namespace {

QPushButton *button(QDataEditor &frame, QDialogButtonBox::StandardButton which)
{
    auto *box = frame.findChild<QDialogButtonBox *>(QStringLiteral("bButtons"));
    return box ? box->button(which) : nullptr;
}

QLabel *caption(QDataEditor &frame)
{
    return frame.findChild<QLabel *>(QStringLiteral("lbCaption"));
}

// A record editor as modules write them: it reports every change.
class RecordEditor : public QWidget
{
    Q_OBJECT
public:
    explicit RecordEditor(QWidget *parent = nullptr)
        : QWidget(parent)
        , name(new QLineEdit(this))
    {
        setWindowTitle(QStringLiteral("Дефект"));
        auto *layout = new QVBoxLayout(this);
        layout->addWidget(name);
        connect(name, SIGNAL(textEdited(QString)), this, SIGNAL(dataChanged()));
    }
    QLineEdit *name;

signals:
    void dataChanged();
};

} // namespace

class tst_Editor : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();

    void dataEditor_buttons();
    void dataEditor_initEditor_hostsEditorUnderItsTitle();
    void dataEditor_changeThenApply_emitsOkAndResets();
    void dataEditor_doubleClickOnCaption_asksForPopup();
    void dataEditor_initModal_buttonsCloseTheDialog_data();
    void dataEditor_initModal_buttonsCloseTheDialog();

    void bounds_findsHostMainWindow_data();
    void bounds_findsHostMainWindow();
    void delayMs_keepsEventLoopRunning();

    // record helpers on the database
    void fillComboBox_rowsInModelOrder_data();
    void fillComboBox_rowsInModelOrder();
    void fillComboBox_rereadsTheTable();
    void fillComboBox_failingTable_keepsOnlyFirstEntry_data();
    void fillComboBox_failingTable_keepsOnlyFirstEntry();
    void fillComboBox_withoutComboTableOrField_changesNothing();
    void getValueById_table();
    void getValueById_dataSet();
    void getCurrentRecord_followsTheView();

private:
    QDataTable *faultTypes(QObject *parent);
    // (id, c_name) of qms.t_fault_type in the order of its select.
    QList<QPair<qlonglong, QString>> storedFaultTypes();

    std::unique_ptr<TestFixture> fx;
};

void tst_Editor::initTestCase()
{
    START_FIXTURE(fx, QStringLiteral("editor"));
}

void tst_Editor::cleanupTestCase()
{
    fx.reset();
}

QDataTable *tst_Editor::faultTypes(QObject *parent)
{
    auto *table = new QDataTable(QStringLiteral("t_fault_type"), fx->connection(), parent);
    table->setScripts(QStringLiteral("FAULT_TYPE_SELECT"), QString(), QString(), QString(), false);
    return table;
}

QList<QPair<qlonglong, QString>> tst_Editor::storedFaultTypes()
{
    QList<QPair<qlonglong, QString>> rows;
    QSqlQuery query(fx->db().directConnection());
    if (!query.exec(QStringLiteral("SELECT id, c_name FROM qms.t_fault_type ORDER BY c_name")))
        return rows;
    while (query.next())
        rows.append({query.value(0).toLongLong(), query.value(1).toString()});
    return rows;
}

void tst_Editor::fillComboBox_rowsInModelOrder_data()
{
    QTest::addColumn<QString>("firstText");
    QTest::addColumn<QVariant>("firstData");
    QTest::newRow("without first entry") << QString() << QVariant();
    QTest::newRow("with first entry") << QStringLiteral("Все типы") << QVariant(qlonglong(0));
}

void tst_Editor::fillComboBox_rowsInModelOrder()
{
    QFETCH(QString, firstText);
    QFETCH(QVariant, firstData);
    QObject owner;
    QDataTable *table = faultTypes(&owner);
    const auto expected = storedFaultTypes();
    QVERIFY(expected.count() >= 2);

    QComboBox combo;
    combo.addItem(QStringLiteral("старый пункт"));
    fillComboBox(&combo, table, QStringLiteral("c_name"), QStringLiteral("id"), firstText,
                 firstData);
    const int offset = firstText.isEmpty() ? 0 : 1;
    QCOMPARE(combo.count(), expected.count() + offset);
    if (offset) {
        QCOMPARE(combo.itemText(0), firstText);
        QCOMPARE(combo.itemData(0), firstData);
    }
    for (int i = 0; i < expected.count(); ++i) {
        QCOMPARE(combo.itemText(i + offset), expected.at(i).second);
        QCOMPARE(combo.itemData(i + offset).toLongLong(), expected.at(i).first);
    }
}

void tst_Editor::fillComboBox_rereadsTheTable()
{
    QObject owner;
    QDataTable *table = faultTypes(&owner);
    QComboBox combo;
    fillComboBox(&combo, table, QStringLiteral("c_name"), QStringLiteral("id"));
    const int before = combo.count();
    QVERIFY(
        fx->db().exec(QStringLiteral("INSERT INTO qms.t_fault_type (c_name, c_sys_name, c_prefix) "
                                     "VALUES ('ААА Новый тип', 'NEW_TYPE', 'N')")));
    fillComboBox(&combo, table, QStringLiteral("c_name"), QStringLiteral("id"));
    QVERIFY(fx->db().exec(
        QStringLiteral("DELETE FROM qms.t_fault_type WHERE c_sys_name = 'NEW_TYPE'")));
    QCOMPARE(combo.count(), before + 1);
    QCOMPARE(combo.itemText(0), QStringLiteral("ААА Новый тип"));
}

void tst_Editor::fillComboBox_failingTable_keepsOnlyFirstEntry_data()
{
    QTest::addColumn<QString>("firstText");
    QTest::addColumn<int>("count");
    QTest::newRow("with first entry") << QStringLiteral("Не выбрано") << 1;
    QTest::newRow("without first entry") << QString() << 0;
}

void tst_Editor::fillComboBox_failingTable_keepsOnlyFirstEntry()
{
    QFETCH(QString, firstText);
    QFETCH(int, count);
    QDataTable broken(QStringLiteral("t_broken"), fx->connection());
    broken.setScripts(QStringLiteral("SELECT id, c_name FROM qms.t_no_such_table"), QString(),
                      QString(), QString(), true);
    QComboBox combo;
    combo.addItems({QStringLiteral("a"), QStringLiteral("b")});
    fillComboBox(&combo, &broken, QStringLiteral("c_name"), QStringLiteral("id"), firstText, -1);
    QVERIFY(broken.getTableState() != 0);
    QCOMPARE(combo.count(), count);
    if (count)
        QCOMPARE(combo.itemData(0), QVariant(-1));
}

void tst_Editor::fillComboBox_withoutComboTableOrField_changesNothing()
{
    QObject owner;
    QDataTable *table = faultTypes(&owner);
    QComboBox combo;
    combo.addItem(QStringLiteral("пункт"));
    fillComboBox(&combo, nullptr, QStringLiteral("c_name"), QStringLiteral("id"),
                 QStringLiteral("x"));
    fillComboBox(&combo, table, QString(), QStringLiteral("id"), QStringLiteral("x"));
    fillComboBox(nullptr, table, QStringLiteral("c_name"), QStringLiteral("id"));
    QCOMPARE(combo.count(), 1);
    QCOMPARE(combo.itemText(0), QStringLiteral("пункт"));
    QCOMPARE(table->rowCount(), 0); // never read
}

void tst_Editor::getValueById_table()
{
    QObject owner;
    QDataTable *table = faultTypes(&owner);
    const auto expected = storedFaultTypes();
    QVERIFY(!expected.isEmpty());
    const auto last = expected.last();

    QCOMPARE(getValueById(table, last.first, QStringLiteral("c_name")).toString(), last.second);
    QCOMPARE(getValueById(table, expected.first().first, QStringLiteral("id")).toLongLong(),
             expected.first().first);
    QVERIFY(!getValueById(table, -777, QStringLiteral("c_name")).isValid());
    QVERIFY(!getValueById(table, last.first, QStringLiteral("c_no_such_field")).isValid());
    QVERIFY(!getValueById(static_cast<QDataTable *>(nullptr), last.first, QStringLiteral("c_name"))
                 .isValid());

    // Read again on every call: a renamed type is seen at once.
    QVERIFY(fx->db().exec(QStringLiteral("UPDATE qms.t_fault_type SET c_name = c_name || ' (изм.)' "
                                         "WHERE id = %1")
                              .arg(last.first)));
    const QString renamed = getValueById(table, last.first, QStringLiteral("c_name")).toString();
    QVERIFY(fx->db().exec(QStringLiteral("UPDATE qms.t_fault_type SET c_name = '%1' WHERE id = %2")
                              .arg(last.second)
                              .arg(last.first)));
    QCOMPARE(renamed, last.second + QStringLiteral(" (изм.)"));
}

void tst_Editor::getValueById_dataSet()
{
    QDataSet set;
    QDataTable *table = faultTypes(&set);
    set.addTable(table);
    const auto expected = storedFaultTypes();
    QVERIFY(!expected.isEmpty());

    QCOMPARE(getValueById(&set, QStringLiteral("t_fault_type"), expected.first().first,
                          QStringLiteral("c_name"))
                 .toString(),
             expected.first().second);
    QVERIFY(!getValueById(&set, QStringLiteral("t_fault_type"), -1, QStringLiteral("c_name"))
                 .isValid());
    QVERIFY(!getValueById(static_cast<QDataSet *>(nullptr), QStringLiteral("t_fault_type"),
                          expected.first().first, QStringLiteral("c_name"))
                 .isValid());
}

void tst_Editor::getCurrentRecord_followsTheView()
{
    QVERIFY(getCurrentRecord(nullptr).isEmpty());

    QObject owner;
    QDataTable *table = faultTypes(&owner);
    QTableView view;
    table->setView(&view);
    QVERIFY(table->open(false, false));
    QVERIFY(table->rowCount() >= 2);
    view.show();
    view.setCurrentIndex(table->getModel()->index(1, 0));

    const QSqlRecord record = getCurrentRecord(table);
    QCOMPARE(record.value(QStringLiteral("id")), table->getRecord(1).value(QStringLiteral("id")));
    QCOMPARE(record.value(QStringLiteral("c_name")), storedFaultTypes().at(1).second);
}

void tst_Editor::dataEditor_buttons()
{
    QDataEditor frame;
    QPushButton *ok = button(frame, QDialogButtonBox::Ok);
    QPushButton *cancel = button(frame, QDialogButtonBox::Cancel);
    // Return in the hosted editor must not apply the record.
    QVERIFY(!ok->isDefault());
    QVERIFY(!ok->autoDefault());
    QVERIFY(!cancel->isDefault());
    QVERIFY(!cancel->autoDefault());
}

void tst_Editor::dataEditor_initEditor_hostsEditorUnderItsTitle()
{
    QDataEditor frame;
    auto *editor = new RecordEditor;
    frame.initEditor(editor);
    QCOMPARE(caption(frame)->text(), QStringLiteral("Дефект"));
    QCOMPARE(frame.editor(), static_cast<QWidget *>(editor));
    QVERIFY(frame.isAncestorOf(editor));
    QVERIFY(frame.findChild<QLayout *>(QStringLiteral("editorLayout"))->indexOf(editor) >= 0);

    frame.initEditor(nullptr); // nothing to host: nothing breaks
    QVERIFY(!frame.editor());
}

void tst_Editor::dataEditor_changeThenApply_emitsOkAndResets()
{
    QDataEditor frame;
    auto *editor = new RecordEditor;
    frame.initEditor(editor);
    connect(editor, SIGNAL(dataChanged()), &frame, SLOT(OnChange()));
    frame.show();
    QSignalSpy ok(&frame, SIGNAL(ok()));
    QSignalSpy cancel(&frame, SIGNAL(cancel()));
    QPushButton *apply = button(frame, QDialogButtonBox::Ok);

    frame.onReset();
    QVERIFY(!apply->isEnabled());
    QTest::keyClicks(editor->name, QStringLiteral("crack"));
    QVERIFY(apply->isEnabled());

    QTest::mouseClick(apply, Qt::LeftButton);
    QCOMPARE(ok.count(), 1);
    QCOMPARE(cancel.count(), 0);
    QVERIFY(!apply->isEnabled());

    // Disabled Apply cannot be pressed again until the next change.
    QTest::mouseClick(apply, Qt::LeftButton);
    QCOMPARE(ok.count(), 1);
    frame.OnChange();
    QVERIFY(apply->isEnabled());

    // Cancel tells the module and resets the frame.
    QTest::mouseClick(button(frame, QDialogButtonBox::Cancel), Qt::LeftButton);
    QCOMPARE(cancel.count(), 1);
    QCOMPARE(ok.count(), 1);
    QVERIFY(!apply->isEnabled());
}

void tst_Editor::dataEditor_doubleClickOnCaption_asksForPopup()
{
    QDataEditor frame;
    frame.initEditor(new RecordEditor);
    frame.show();
    QSignalSpy popup(&frame, SIGNAL(popup(QWidget *)));
    QTest::mouseClick(caption(frame), Qt::LeftButton);
    QCOMPARE(popup.count(), 0);
    QTest::mouseDClick(caption(frame), Qt::LeftButton);
    QCOMPARE(popup.count(), 1);
    QCOMPARE(qvariant_cast<QWidget *>(popup.at(0).at(0)), static_cast<QWidget *>(&frame));
}

void tst_Editor::dataEditor_initModal_buttonsCloseTheDialog_data()
{
    QTest::addColumn<int>("which");
    QTest::addColumn<int>("result");
    QTest::newRow("apply") << int(QDialogButtonBox::Ok) << int(QDialog::Accepted);
    QTest::newRow("cancel") << int(QDialogButtonBox::Cancel) << int(QDialog::Rejected);
}

void tst_Editor::dataEditor_initModal_buttonsCloseTheDialog()
{
    QFETCH(int, which);
    QFETCH(int, result);
    QDialog dialog;
    auto *frame = new QDataEditor(&dialog);
    (new QVBoxLayout(&dialog))->addWidget(frame);
    frame->initModal(&dialog, new RecordEditor);
    frame->OnChange();
    QSignalSpy ok(frame, SIGNAL(ok()));
    QSignalSpy accepted(&dialog, SIGNAL(accepted()));
    QSignalSpy rejected(&dialog, SIGNAL(rejected()));

    QTimer::singleShot(0, frame, [frame, which] {
        button(*frame, QDialogButtonBox::StandardButton(which))->click();
    });
    QCOMPARE(dialog.exec(), result);
    QCOMPARE(accepted.count(), result == QDialog::Accepted ? 1 : 0);
    QCOMPARE(rejected.count(), result == QDialog::Rejected ? 1 : 0);
    QCOMPARE(ok.count(), result == QDialog::Accepted ? 1 : 0);
}

void tst_Editor::bounds_findsHostMainWindow_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("found");
    QTest::newRow("workplace") << QStringLiteral("WorkplaceWindow") << true;
    QTest::newRow("kova") << QStringLiteral("Kova") << true;
    QTest::newRow("other window") << QStringLiteral("SomeDialog") << false;
}

void tst_Editor::bounds_findsHostMainWindow()
{
    QFETCH(QString, name);
    QFETCH(bool, found);
    QVERIFY(bounds().isNull());

    QWidget other;
    other.setObjectName(QStringLiteral("Other"));
    other.setGeometry(10, 10, 100, 100);
    other.show();
    QWidget main;
    main.setObjectName(name);
    main.setGeometry(40, 60, 640, 480);
    main.show();
    QVERIFY(QTest::qWaitForWindowExposed(&main));
    if (found)
        QCOMPARE(bounds(), main.windowHandle()->geometry());
    else
        QVERIFY(bounds().isNull());
}

void tst_Editor::delayMs_keepsEventLoopRunning()
{
    int fired = 0;
    QTimer::singleShot(10, [&fired] { ++fired; });
    QElapsedTimer clock;
    clock.start();
    delayMs(80);
    QVERIFY(clock.elapsed() >= 70);
    QCOMPARE(fired, 1);
}

REJECTS_TEST_MAIN(tst_Editor)
#include "tst_editor.moc"
