// Benchmark of the table model on the defect register (not a test: it prints
// figures and ratios against their targets).
//
// It needs a database with the demo register and generated defects, reached
// through the PG* environment (PGHOST, PGPORT, PGUSER, PGDATABASE):
//   createdb rejects_bench
//   psql -d rejects_bench -f db/schema.sql -f db/scripts.sql -f db/init.sql -f db/demo.sql
//   psql -d rejects_bench -v n=100000 -f db/generate.sql
//   PGDATABASE=rejects_bench build/bin/bench_table
// scripts/bench does all of it in a throw-away cluster, for 10 000 and then
// 100 000 generated defects.
//
// Figures, for "t_process_exam" (the module's own table and columns):
//   - QDataTable::open with a shown QTableView and a display-info receiver,
//     next to a forward-only QSqlQuery reading every value of the same select
//     (target: within 3x);
//   - one applyFilters after changing an equality filter on "c_status", and
//     clearing it, with every row in the view (target: under 100 ms);
//   - commit of 1 000 edited rows, next to the same updates as one prepared
//     statement executed with bound values;
//   - the peak memory (VmHWM) of the process after the load (target: 1 GiB).

#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejectsdocument.h"

#include <QApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QHeaderView>
#include <QLibrary>
#include <QLocale>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTableView>
#include <cstdio>

namespace {

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

QString vmStatus(const char *key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return QStringLiteral("?");
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return QString::fromLatin1(line.mid(qstrlen(key)).trimmed());
    }
    return QStringLiteral("?");
}

double kibToMib(const QString &text)
{
    return text.section(QLatin1Char(' '), 0, 0).toDouble() / 1024.0;
}

} // namespace

// Decorates cells the way the defect list does: colours by decision and
// rejection, a marked font for defects needing preventive actions, the date
// in the locale's short format, the rejection as a word.
class ListReceiver : public QObject
{
    Q_OBJECT
public:
    QFont font;
    qint64 calls = 0;

public slots:
    void onGetDispInfo(int column, QVariant *value, QCellData *cell, QSqlRecord *record)
    {
        ++calls;
        if (!record->value(11).toString().isEmpty()) { // c_solution
            cell->background = QBrush(Qt::gray);
            cell->foreground = QBrush(Qt::white);
        }
        if (record->value(12).toBool()) { // b_reject
            cell->background = QBrush(Qt::red);
            cell->foreground = QBrush(Qt::white);
        }
        if (record->value(18).toBool()) { // b_reaction
            cell->font = font;
            cell->font.setBold(true);
            cell->font.setItalic(true);
            cell->font.setUnderline(true);
        }
        if (column == 2)
            *value = QLocale::system().toString(value->toDateTime(), QLocale::ShortFormat);
        else if (column == 12)
            *value = value->toBool() ? QStringLiteral("Забракован") : QString();
        else if (column == 1)
            *value = QString();
    }
};

// Filters on the status, every row in the view to begin with.
void measureFilters(QDataTable *table)
{
    const QStringList statuses = table->getValuesList(QStringLiteral("c_status"));
    if (!statuses.isEmpty()) {
        QElapsedTimer timer;
        timer.start();
        table->setFilter(QStringLiteral("c_status"), statuses.first());
        const qint64 setMs = timer.elapsed();
        const int shown = table->visibleRowCount();
        timer.restart();
        table->setFilter(QStringLiteral("c_status"), statuses.last());
        const qint64 changeMs = timer.elapsed();
        timer.restart();
        table->clearFilter(QStringLiteral("c_status"));
        const qint64 clearMs = timer.elapsed();
        QCoreApplication::processEvents();
        print(QStringLiteral("applyFilters c_status = \"%1\" (%2 of %3 rows left): %4 ms; "
                             "changed to \"%5\": %6 ms; cleared: %7 ms (target 100 ms)")
                  .arg(statuses.first())
                  .arg(shown)
                  .arg(table->rowCount())
                  .arg(setMs)
                  .arg(statuses.last())
                  .arg(changeMs)
                  .arg(clearMs));
    }
}

// 1 000 edited rows: commit through the update script, then the same
// changes as one prepared statement with bound values.
void measureCommit(QDataTable *table, QSqlDatabase database, int edits)
{
    const int rows = qMin(edits, table->rowCount());
    const int description = table->getColumns().indexOf(QStringLiteral("c_description"));
    for (int row = 0; row < rows; ++row) {
        QSqlRecord record = table->getRecord(row);
        record.setValue(description,
                        QString(record.value(description).toString() + QStringLiteral(" *")));
        table->setRow(row, record);
    }
    QElapsedTimer timer;
    timer.start();
    const bool committed = table->commit(false);
    const qint64 commitMs = timer.elapsed();

    QVariantList texts;
    QVariantList ids;
    for (int row = 0; row < rows; ++row) {
        const QString text = table->getField(QStringLiteral("c_description"), row).toString();
        texts.append(QString(text + QLatin1Char('+')));
        ids.append(table->getField(QStringLiteral("id"), row));
    }
    timer.restart();
    database.transaction();
    QSqlQuery prepared(database);
    prepared.prepare(
        QStringLiteral("UPDATE docs.t_process_exam SET c_description = ? WHERE id = ?"));
    prepared.addBindValue(texts);
    prepared.addBindValue(ids);
    const bool batched = prepared.execBatch();
    database.commit();
    const qint64 preparedMs = timer.elapsed();
    print(QStringLiteral("commit of %1 edited rows (PROC_EXAM_UPDATE):   %2 ms%3; one prepared "
                         "statement, bound values: %4 ms%5   ratio %6x")
              .arg(rows)
              .arg(commitMs)
              .arg(committed ? QString() : QStringLiteral(" FAILED"))
              .arg(preparedMs)
              .arg(batched ? QString() : QStringLiteral(" FAILED"))
              .arg(preparedMs ? double(commitMs) / preparedMs : 0.0, 0, 'f', 1));
}

int main(int argc, char *argv[])
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.contains(QStringLiteral("--help")) || args.contains(QStringLiteral("-h"))) {
        print(QStringLiteral(
            "usage: bench_table [--login L --password P] [--edits N]\n"
            "Measures QDataTable on the defect register of the database named by the PG*\n"
            "environment (PGHOST, PGPORT, PGUSER, PGDATABASE), which must hold the demo\n"
            "register and generated defects (db/demo.sql, then psql -v n=100000 -f\n"
            "db/generate.sql). scripts/bench builds, starts a throw-away cluster, generates\n"
            "10 000 and then 100 000 defects and runs this program for each."));
        return 0;
    }
    auto option = [&](const char *name, const QString &fallback) {
        const int i = args.indexOf(QLatin1String(name));
        return i >= 0 && i + 1 < args.size() ? args.at(i + 1) : fallback;
    };
    const QString login = option("--login", QStringLiteral("kuznetsova"));
    const QString password = option("--password", QStringLiteral("kuznetsova"));
    const int edits = option("--edits", QStringLiteral("1000")).toInt();

    QLibrary driver(QStringLiteral(PGDRIVER_PATH));
    QSqlConnection connection(&driver);
    if (!connection.Connect(QStringLiteral("MainConnection"), true) ||
        !connection.login(login, password)) {
        print(QStringLiteral("cannot connect and log in as %1 (PG* environment?)").arg(login));
        return 1;
    }
    app.setProperty("Connection", objToVar(&connection));
    app.setProperty("bNoGUI", true);
    QSqlDatabase database = connection.getDatabase();

    QObject owner;
    QDataSet document;
    RejectsDocument::build(&document, &connection, &owner);
    QDataTable *table = document.getTable(QStringLiteral("t_process_exam"));
    const QString select = connection.getScript(QStringLiteral("PROC_EXAM_SELECT"));

    // Plain reading: every value of the same select, forward only (after one
    // warm-up run, so that both sides find the database's cache warm).
    qint64 plainMs = 0;
    int defects = 0;
    int fields = 0;
    for (int run = 0; run < 2; ++run) {
        QElapsedTimer timer;
        timer.start();
        QSqlQuery query(database);
        query.setForwardOnly(true);
        if (!query.exec(select)) {
            print(QStringLiteral("select failed: %1").arg(query.lastError().text()));
            return 1;
        }
        fields = query.record().count();
        defects = 0;
        qint64 sum = 0;
        while (query.next()) {
            for (int i = 0; i < fields; ++i)
                sum += query.value(i).isNull() ? 0 : 1;
            ++defects;
        }
        plainMs = timer.elapsed();
        Q_UNUSED(sum)
    }
    print(QStringLiteral("defects: %1 (PROC_EXAM_SELECT, %2 fields; %3 columns declared)")
              .arg(defects)
              .arg(fields)
              .arg(table->columnCount()));
    print(QStringLiteral("plain forward-only QSqlQuery, every value:   %1 ms").arg(plainMs));

    // The table with its view and a display-info receiver.
    QTableView view;
    view.resize(1200, 800);
    view.setSortingEnabled(true);
    view.show();
    ListReceiver receiver;
    receiver.font = view.font();
    QObject::connect(table, SIGNAL(getDispInfo(int, QVariant *, QCellData *, QSqlRecord *, int)),
                     &receiver, SLOT(onGetDispInfo(int, QVariant *, QCellData *, QSqlRecord *)));
    table->setView(&view);
    QElapsedTimer timer;
    timer.start();
    if (!table->open()) {
        print(QStringLiteral("QDataTable::open failed"));
        return 1;
    }
    const qint64 loadMs = timer.elapsed();
    QCoreApplication::processEvents();
    const qint64 openMs = timer.elapsed();
    print(QStringLiteral("QDataTable::open, shown view + receiver:     %1 ms   ratio %2x "
                         "(target 3x; %3 display-info calls; %4 ms of it in the view's events)")
              .arg(openMs)
              .arg(plainMs ? double(openMs) / plainMs : 0.0, 0, 'f', 2)
              .arg(receiver.calls)
              .arg(openMs - loadMs));
    const QString peak = vmStatus("VmHWM:");
    print(QStringLiteral("peak memory after the load (VmHWM):          %1 MiB (target 1024 MiB; "
                         "VmRSS %2 MiB)")
              .arg(kibToMib(peak), 0, 'f', 0)
              .arg(kibToMib(vmStatus("VmRSS:")), 0, 'f', 0));

    measureFilters(table);
    measureCommit(table, database, edits);
    table->setView(nullptr);
    return 0;
}

#include "bench_table.moc"
