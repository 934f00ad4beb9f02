// Opens the repair page of the defect editor on a database with a large stock
// catalogue and measures the first display of the item tree, the expansion
// of a type (the first one also reads the stock) and searches:
//
//   PGDATABASE=rejects_bench bench_repair [--login kuznetsova --password kuznetsova]
//
// The database is chosen by the PG* environment variables, as the driver
// reads them. db/generate.sql fills the catalogue (20 000 families in 2 000
// types by default).

#include "benchsession.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "tabitemseditor.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QLibrary>
#include <QLineEdit>
#include <QMessageBox>
#include <QTextStream>
#include <QTimer>
#include <QTreeWidget>
#include <ctime>

extern "C" QDataSet *getDocument(QObject *parent);

namespace {

QTextStream &out = benchOut();

double cpuMs()
{
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

// Prints the wall-clock and the CPU time of one step, the events it caused
// included.
template <typename F> void measure(const QString &what, F &&step)
{
    QElapsedTimer timer;
    timer.start();
    const double cpu = cpuMs();
    step();
    QCoreApplication::processEvents();
    out << qSetFieldWidth(44) << Qt::left << what << qSetFieldWidth(0) << "wall "
        << QString::number(timer.nsecsElapsed() / 1e6, 'f', 1) << " ms, cpu "
        << QString::number(cpuMs() - cpu, 'f', 1) << " ms" << Qt::endl;
}

int visibleTopLevel(QTreeWidget *tree)
{
    int count = 0;
    for (int i = 0; i < tree->topLevelItemCount(); ++i)
        count += tree->topLevelItem(i)->isHidden() ? 0 : 1;
    return count;
}

// The visible top-level type with the most children once expanded is not
// known beforehand: take the first one, which has sub-types.
QTreeWidgetItem *firstWithChildren(QTreeWidget *tree, QTreeWidgetItem *parent)
{
    const int count = parent ? parent->childCount() : tree->topLevelItemCount();
    for (int i = 0; i < count; ++i) {
        QTreeWidgetItem *item = parent ? parent->child(i) : tree->topLevelItem(i);
        if (!item->isHidden() && item->childCount() > 0)
            return item;
    }
    return nullptr;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    BenchSession session;
    session.addOptions(parser);
    parser.process(app);

    if (!session.open(parser))
        return 1;
    // A message box would wait for a user: print it and close it.
    QTimer boxes;
    QObject::connect(&boxes, &QTimer::timeout, [] {
        if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
            out << "  message: " << box->text() << Qt::endl;
            box->close();
        }
    });
    boxes.start(50);

    QDataSet *set = getDocument(&app);
    set->getTable(QStringLiteral("t_process_exam"))->open(false, false);
    for (const char *name : {"t_item_type", "t_item_family", "t_family_in_store"}) {
        QDataTable *table = set->getTable(QLatin1String(name));
        measure(QStringLiteral("open %1 alone").arg(QLatin1String(name)),
                [&] { table->open(false, false); });
        table->close();
    }
    TabItemsEditor tab;
    tab.resize(1200, 700);
    auto *tree = tab.findChild<QTreeWidget *>(QStringLiteral("trwItems"));
    auto *search = tab.findChild<QLineEdit *>(QStringLiteral("leSearch"));

    measure(QStringLiteral("first display (tree of the root types)"), [&] { tab.show(); });
    out << "types: " << set->getTable(QStringLiteral("t_item_type"))->rowCount()
        << ", families: " << set->getTable(QStringLiteral("t_item_family"))->rowCount()
        << ", root types: " << tree->topLevelItemCount() << Qt::endl;
    measure(QStringLiteral("rebuild (createTree)"), [&] { tab.createTree(); });

    QTreeWidgetItem *root = firstWithChildren(tree, nullptr);
    measure(QStringLiteral("expand a root type"), [&] { root->setExpanded(true); });
    out << "  children: " << root->childCount() << Qt::endl;
    QTreeWidgetItem *middle = firstWithChildren(tree, root);
    measure(QStringLiteral("expand a sub-type (first: reads stock)"),
            [&] { middle->setExpanded(true); });
    out << "  children: " << middle->childCount() << Qt::endl;
    QTreeWidgetItem *leaf = firstWithChildren(tree, middle);
    if (leaf) {
        measure(QStringLiteral("expand a type of families"), [&] { leaf->setExpanded(true); });
        out << "  children: " << leaf->childCount() << Qt::endl;
    }
    QTreeWidgetItem *other = root->childCount() > 1 ? root->child(root->childCount() - 1) : nullptr;
    if (other) {
        measure(QStringLiteral("expand another sub-type"), [&] { other->setExpanded(true); });
        out << "  children: " << other->childCount() << Qt::endl;
    }

    measure(QStringLiteral("search \"резистор 0402\""),
            [&] { search->setText(QStringLiteral("резистор 0402")); });
    out << "  roots shown: " << visibleTopLevel(tree) << Qt::endl;
    measure(QStringLiteral("search one deep family \"ТУ-12345\""),
            [&] { search->setText(QStringLiteral("ТУ-12345")); });
    out << "  roots shown: " << visibleTopLevel(tree) << Qt::endl;
    measure(QStringLiteral("search cleared"), [&] { search->clear(); });
    out << "  roots shown: " << visibleTopLevel(tree) << Qt::endl;
    return 0;
}
