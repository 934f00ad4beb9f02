// Opens the defect list on a database and measures how long the list takes to
// open, to refresh, to change a filter and to search, then (with --show N)
// keeps the window on screen for N seconds, e.g. for a screenshot:
//
//   PGDATABASE=rejects_bench bench_list [--login kuznetsova --password kuznetsova] [--show 20]
//
// The database is chosen by the PG* environment variables (PGHOST, PGPORT,
// PGDATABASE, PGUSER), as the driver reads them.

#include "benchsession.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejectsview.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QLibrary>
#include <QTableView>
#include <QTextStream>
#include <QTimer>
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

// Prints the wall-clock and the CPU time of one step (the machine may be
// shared, so the CPU time is the steadier figure); returns the CPU time.
template <typename F> double measure(const QString &what, F &&step)
{
    QElapsedTimer timer;
    timer.start();
    const double cpu = cpuMs();
    step();
    QCoreApplication::processEvents();
    const double ms = timer.nsecsElapsed() / 1e6;
    const double used = cpuMs() - cpu;
    out << qSetFieldWidth(40) << Qt::left << what << qSetFieldWidth(0) << "wall "
        << QString::number(ms, 'f', 1) << " ms, cpu " << QString::number(used, 'f', 1) << " ms"
        << Qt::endl;
    return used;
}

int visible(QTableView *view, int rows)
{
    int count = 0;
    for (int row = 0; row < rows; ++row)
        count += view->isRowHidden(row) ? 0 : 1;
    return count;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    BenchSession session;
    session.addOptions(parser);
    parser.addOption({QStringLiteral("show"), QStringLiteral("Keep the list on screen N seconds."),
                      QStringLiteral("seconds"), QStringLiteral("0")});
    parser.process(app);

    if (!session.open(parser))
        return 1;

    QDataSet *set = getDocument(&app);
    {
        // The table alone, without a view or a decoration receiver.
        QDataTable *table = set->getTable(QStringLiteral("t_process_exam"));
        measure(QStringLiteral("table open alone"), [&] { table->open(false, false); });
        measure(QStringLiteral("distinct values of 3 fields"), [&] {
            table->getValuesList(QStringLiteral("c_exam_stage"));
            table->getValuesList(QStringLiteral("c_status"));
            table->getValuesList(QStringLiteral("c_version"));
        });
        table->close();
    }
    RejectsView view(set);
    view.resize(1400, 800);
    view.setWindowTitle(QStringLiteral("Учет брака"));
    view.show();
    QCoreApplication::processEvents();
    QDataTable *table = set->getTable(QStringLiteral("t_process_exam"));
    auto *tv = view.findChild<QTableView *>(QStringLiteral("tvRejects"));
    auto *status = view.findChild<QComboBox *>(QStringLiteral("cbStatus"));
    auto *stage = view.findChild<QComboBox *>(QStringLiteral("cbStage"));
    auto *product = view.findChild<QComboBox *>(QStringLiteral("cbProduct"));
    auto *hide = view.findChild<QCheckBox *>(QStringLiteral("chkHideReady"));

    const double open = measure(QStringLiteral("open (first refresh)"), [&] { view.refresh(); });
    const int rows = table->rowCount();
    out << "defects: " << rows << ", shown: " << visible(tv, rows) << Qt::endl;
    measure(QStringLiteral("refresh"), [&] { view.refresh(); });
    measure(QStringLiteral("hide analysed off"), [&] { hide->setChecked(false); });
    measure(QStringLiteral("status filter"), [&] { status->setCurrentIndex(1); });
    out << "  shown: " << visible(tv, rows) << Qt::endl;
    measure(QStringLiteral("stage filter"), [&] { stage->setCurrentIndex(1); });
    measure(QStringLiteral("product filter"),
            [&] { product->setCurrentIndex(product->count() / 2); });
    out << "  shown: " << visible(tv, rows) << Qt::endl;
    measure(QStringLiteral("all filters off"), [&] {
        status->setCurrentIndex(0);
        stage->setCurrentIndex(0);
        product->setCurrentIndex(0);
    });
    double search = measure(QStringLiteral("search \"12\" over all rows"),
                            [&] { view.search(QStringLiteral("12")); });
    out << "  shown: " << visible(tv, rows) << Qt::endl;
    search += measure(QStringLiteral("search cleared"), [&] { view.search(QString()); });
    measure(QStringLiteral("hide analysed on"), [&] { hide->setChecked(true); });
    out << "  shown: " << visible(tv, rows) << Qt::endl;
    measure(QStringLiteral("select a row (updateButtons)"),
            [&] { tv->setCurrentIndex(tv->model()->index(rows / 2, 0)); });
    out << "per row: open " << QString::number(open * 1000.0 / qMax(rows, 1), 'f', 2)
        << " us, search " << QString::number(search * 1000.0 / qMax(rows, 1), 'f', 2) << " us"
        << Qt::endl;

    const int seconds = parser.value(QStringLiteral("show")).toInt();
    if (seconds <= 0)
        return 0;
    hide->setChecked(false);
    tv->setCurrentIndex(tv->model()->index(0, 0));
    QTimer::singleShot(seconds * 1000, &app, &QApplication::quit);
    return app.exec();
}
