// The defect register as the host shows it (module object, list and editor):
// how long moving the list's current row takes until the editor shows the
// defect with all its tabs reselected, and how long saving one edited defect
// with a new comment and two changed notification links takes, each as the
// median over many runs:
//
//   PGDATABASE=rejects_bench bench_editor [--moves 100] [--saves 20]
//
// The database is chosen by the PG* environment variables, as the driver
// reads them. Saves write into that database.

#include "benchsession.h"
#include "qdataeditor.h"
#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "rejects.h"
#include "rejectseditor.h"

#include <QApplication>
#include <QCheckBox>
#include <QCommandLineParser>
#include <QDateTime>
#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QLibrary>
#include <QPushButton>
#include <QTableView>
#include <QTextEdit>
#include <QTextStream>
#include <algorithm>

namespace {

QTextStream &out = benchOut();

struct Figures
{
    QVector<double> ms;
    double median() const
    {
        QVector<double> sorted = ms;
        std::sort(sorted.begin(), sorted.end());
        return sorted.isEmpty() ? 0 : sorted.at(sorted.size() / 2);
    }
    double worst() const { return ms.isEmpty() ? 0 : *std::max_element(ms.begin(), ms.end()); }
};

template <typename F> double timed(F &&step)
{
    QElapsedTimer timer;
    timer.start();
    step();
    QCoreApplication::processEvents();
    return timer.nsecsElapsed() / 1e6;
}

void print(const QString &what, const Figures &figures, double goal)
{
    out << qSetFieldWidth(44) << Qt::left << what << qSetFieldWidth(0) << "median "
        << QString::number(figures.median(), 'f', 1) << " ms, worst "
        << QString::number(figures.worst(), 'f', 1) << " ms over " << figures.ms.size() << " (goal "
        << goal << " ms: " << (figures.median() <= goal ? "met" : "MISSED") << ")" << Qt::endl;
}

// Toggles the check column of a row of a link table, as a click does.
void toggle(QDataTable *links, int row)
{
    QSqlRecord record = links->getRecord(row);
    record.setValue(QStringLiteral("v"), !record.value(QStringLiteral("v")).toBool());
    links->setRow(row, record);
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    BenchSession session;
    session.addOptions(parser);
    parser.addOption({QStringLiteral("moves"), QStringLiteral("Row moves to time."),
                      QStringLiteral("n"), QStringLiteral("100")});
    parser.addOption({QStringLiteral("saves"), QStringLiteral("Saves to time."),
                      QStringLiteral("n"), QStringLiteral("20")});
    parser.process(app);

    if (!session.open(parser))
        return 1;

    auto *module = static_cast<Rejects *>(getInterface(nullptr));
    module->resize(1400, 900);
    module->show();
    module->findChild<QCheckBox *>(QStringLiteral("chkHideReady"))->setChecked(false);
    const double open = timed([&] { module->refresh(); });
    QDataSet *set = module->document();
    QDataTable *defects = set->getTable(QStringLiteral("t_process_exam"));
    auto *list = module->findChild<QTableView *>(QStringLiteral("tvRejects"));
    const int rows = defects->rowCount();
    out << "defects: " << rows << ", module open " << QString::number(open, 'f', 1) << " ms"
        << Qt::endl;
    if (rows < 2)
        return 1;

    // Moves: rows spread over the whole list, each a different defect.
    Figures moves;
    const int moveCount = parser.value(QStringLiteral("moves")).toInt();
    for (int i = 0; i < moveCount; ++i) {
        const int row = int((qint64(i) * 7919 + 13) % rows);
        moves.ms << timed([&] { list->setCurrentIndex(list->model()->index(row, 3)); });
    }
    print(QStringLiteral("move to another defect (8 tabs)"), moves, 50);

    // Saves: a changed description, a new comment and two notification links
    // toggled, then Apply (commit, the list re-reading the row, the editor
    // reloading it).
    RejectsEditor *editor = module->editor();
    QDataTable *discussion = set->getTable(QStringLiteral("t_process_exam_disc"));
    QDataTable *users = set->getTable(QStringLiteral("t_notification"));
    auto *description = editor->findChild<QTextEdit *>(QStringLiteral("teDescr"));
    QPushButton *apply = module->dataEditor()
                             ->findChild<QDialogButtonBox *>(QStringLiteral("bButtons"))
                             ->button(QDialogButtonBox::Ok);
    Figures saves;
    const int saveCount = parser.value(QStringLiteral("saves")).toInt();
    for (int i = 0; i < saveCount && users->rowCount() >= 2; ++i) {
        list->setCurrentIndex(list->model()->index(i * 3 % rows, 3));
        QCoreApplication::processEvents();
        const qint64 id = editor->record().value(QStringLiteral("id")).toLongLong();
        description->setPlainText(description->toPlainText() + QStringLiteral(" *"));
        discussion->append({QStringLiteral("id_process_exam"), QStringLiteral("c_text"),
                            QStringLiteral("c_author"), QStringLiteral("d_create")},
                           {id, QStringLiteral("Замер сохранения %1").arg(i),
                            app.property("LogedIn").toString(), QDateTime::currentDateTime()});
        toggle(users, 0);
        toggle(users, 1);
        saves.ms << timed([&] { apply->click(); });
        if (set->isModified()) {
            out << "save " << i << " failed: " << session.connection()->lastErrorText() << Qt::endl;
            return 1;
        }
    }
    print(QStringLiteral("save: comment + 2 link changes"), saves, 100);
    return 0;
}
