// Figures of the defect register database at scale: how long the generator
// needs to add N defects to the demo register, and how long the defect list's
// select (PROC_EXAM_SELECT) takes to deliver all rows afterwards.
//
// Needs a PostgreSQL cluster reachable through PGHOST/PGPORT/PGUSER (for
// example the one scripts/run keeps in .pgdata) and psql on the path:
//   PGHOST=$PWD/.pgdata/sock PGPORT=54329 PGUSER=postgres build/bin/bench_db 100000
// It creates and drops a database of its own.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTextStream>
#include <QUuid>

namespace {

QTextStream out(stdout);

bool psql(const QStringList &arguments, qint64 *elapsedMs = nullptr)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    p.setStandardOutputFile(QProcess::nullDevice());
    QElapsedTimer timer;
    timer.start();
    p.start(QStringLiteral("psql"), QStringList{"-X", "-q", "-v", "ON_ERROR_STOP=1"} + arguments);
    const bool ok =
        p.waitForFinished(-1) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
    if (elapsedMs)
        *elapsedMs = timer.elapsed();
    return ok;
}

QString dbFile(const char *name)
{
    return QStringLiteral(DB_DIR "/") + QLatin1String(name);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const int n = argc > 1 ? QString::fromLatin1(argv[1]).toInt() : 100000;
    const QString name =
        QStringLiteral("bench_db_") + QUuid::createUuid().toString(QUuid::Id128).left(8);

    if (!psql({"-d", "postgres", "-c", QStringLiteral("CREATE DATABASE %1").arg(name)})) {
        out << "no cluster: set PGHOST, PGPORT and PGUSER\n";
        return 1;
    }
    int result = 1;
    qint64 loadMs = 0, generateMs = 0;
    if (psql({"-d", name, "-f", dbFile("schema.sql"), "-f", dbFile("scripts.sql"), "-f",
              dbFile("init.sql"), "-f", dbFile("demo.sql")},
             &loadMs) &&
        psql({"-d", name, "-v", QStringLiteral("n=%1").arg(n), "-f", dbFile("generate.sql")},
             &generateMs)) {
        out << "demo register loaded in " << loadMs << " ms\n";
        out << "generator: " << n << " defects in " << generateMs << " ms ("
            << (generateMs > 0 ? qint64(n) * 1000 / generateMs : 0) << " defects/s)\n";
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QPSQL"), name);
            db.setHostName(qEnvironmentVariable("PGHOST"));
            db.setPort(qEnvironmentVariableIntValue("PGPORT"));
            db.setUserName(qEnvironmentVariable("PGUSER", QStringLiteral("postgres")));
            db.setDatabaseName(name);
            if (db.open()) {
                QSqlQuery script(db);
                script.exec(QStringLiteral(
                    "SELECT c_text FROM sys.t_script WHERE c_name = 'PROC_EXAM_SELECT'"));
                const QString select = script.next() ? script.value(0).toString() : QString();
                for (int round = 1; round <= 3; ++round) {
                    QElapsedTimer timer;
                    timer.start();
                    QSqlQuery q(db);
                    q.setForwardOnly(true);
                    int rows = 0;
                    if (q.exec(select))
                        while (q.next())
                            ++rows;
                    out << "PROC_EXAM_SELECT round " << round << ": " << rows << " rows in "
                        << timer.elapsed() << " ms\n";
                }
                result = 0;
            } else {
                out << db.lastError().text() << '\n';
            }
        }
        QSqlDatabase::removeDatabase(name);
    }
    psql({"-d", "postgres", "-c",
          QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(name)});
    return result;
}
