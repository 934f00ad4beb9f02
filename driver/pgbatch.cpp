#include "pgbatch.h"

#include "pgsqllexer.h"

#include <QDebug>
#include <QPlainTextEdit>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

namespace {

const char savepoint[] = "pgdriver_batch";

void write(QPlainTextEdit *log, const QString &line)
{
    if (log)
        log->appendPlainText(line);
}

// The first line of code, past leading comments.
QString firstLine(const QString &statement)
{
    int i = 0;
    while (i < statement.size()) {
        if (statement.at(i).isSpace()) {
            ++i;
            continue;
        }
        const int skipped = PgSqlLexer::skipNonCode(statement, i);
        if (skipped == i || !PgSqlLexer::isBlank(statement.mid(i, skipped - i)))
            break;
        i = skipped;
    }
    const QString line = statement.mid(i).section(QLatin1Char('\n'), 0, 0).trimmed();
    return line.size() > 120 ? line.left(117) + QLatin1String("...") : line;
}

bool run(const QSqlDatabase &db, const QString &sql)
{
    QSqlQuery q(db);
    return q.exec(sql);
}

} // namespace

bool PgBatch::exec(const QSqlDatabase &db, const QString &script, QPlainTextEdit *log,
                   QList<QSqlQuery> *results)
{
    if (!db.isOpen()) {
        write(log, QStringLiteral("Error: the database is not connected"));
        return false;
    }
    const QStringList statements = PgSqlLexer::splitStatements(script);
    // A savepoint succeeds only inside a transaction: then the caller owns it.
    const bool nested = run(db, QStringLiteral("SAVEPOINT ") + QLatin1String(savepoint));
    if (!nested && !run(db, QStringLiteral("BEGIN"))) {
        write(log, QStringLiteral("Error: cannot start a transaction"));
        return false;
    }
    bool ok = true;
    int done = 0;
    for (const QString &statement : statements) {
        write(log, firstLine(statement));
        QSqlQuery q(db);
        if (!q.exec(statement)) {
            write(log, QStringLiteral("Error: ") + q.lastError().text().trimmed());
            qWarning().noquote() << QStringLiteral("batchExec: ") + firstLine(statement)
                                 << q.lastError().text().trimmed();
            ok = false;
            break;
        }
        ++done;
        if (results)
            results->append(q);
    }
    if (nested) {
        run(db, ok ? QStringLiteral("RELEASE SAVEPOINT ") + QLatin1String(savepoint)
                   : QStringLiteral("ROLLBACK TO SAVEPOINT ") + QLatin1String(savepoint));
    } else if (ok) {
        if (!run(db, QStringLiteral("COMMIT"))) {
            write(log, QStringLiteral("Error: commit failed"));
            ok = false;
        }
    } else {
        run(db, QStringLiteral("ROLLBACK"));
    }
    write(log, ok ? QStringLiteral("Done: %1 statements").arg(done)
                  : QStringLiteral("Rolled back after %1 of %2 statements")
                        .arg(done)
                        .arg(statements.size()));
    return ok;
}
