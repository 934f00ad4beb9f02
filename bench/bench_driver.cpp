// Figures of the driver's text work that every statement goes through:
// binding placeholders (the positional run of the connection) and rendering
// large values. No database is needed.
#include "pgdriverapi.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLibrary>
#include <QTextStream>

namespace {

template <typename F> double perCallMicroseconds(int calls, F &&work)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < calls; ++i)
        work();
    return double(timer.nsecsElapsed()) / 1000.0 / calls;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    QLibrary driver(QStringLiteral(PGDRIVER_PATH));
    auto bind = reinterpret_cast<PgBindQueryParamFn>(driver.resolve("bindQueryParam"));
    if (!bind) {
        out << "driver not loadable: " << driver.errorString() << '\n';
        return 1;
    }

    // A typical insert script: 30 columns, one value each.
    QString insert = QStringLiteral("INSERT INTO qms.t_process_exam (");
    QString values;
    QStringList names;
    for (int i = 0; i < 30; ++i) {
        names << QStringLiteral("c_column_%1").arg(i);
        insert += (i ? QStringLiteral(", ") : QString()) + names.last();
        values += (i ? QStringLiteral(", :") : QStringLiteral(":")) + names.last();
    }
    insert += QStringLiteral(") VALUES (") + values + QStringLiteral(") RETURNING * ");
    const double row = perCallMicroseconds(2000, [&] {
        QString sql = bind(insert, QStringLiteral("NULL"), QVariant(QStringLiteral("NULL")));
        for (int i = 0; i < names.size(); ++i)
            sql = bind(sql, names.at(i), QVariant(QStringLiteral("значение 'x' %1").arg(i)));
    });
    out << "30-placeholder insert, NULL pre-pass + 30 binds: " << row << " us per row\n";

    QString big;
    while (big.size() < (1 << 20))
        big += QStringLiteral("text with 'quotes' and \\backslashes\\ ");
    const double mb = perCallMicroseconds(20, [&] {
        bind(QStringLiteral("UPDATE t SET c = :c WHERE id = :id "), QStringLiteral("c"), big);
    });
    out << "1 MB text literal: " << mb / 1000.0 << " ms (" << (1 << 20) / mb << " MB/s)\n";

    QByteArray bytes(1 << 20, '\xab');
    const double blob = perCallMicroseconds(
        20, [&] { bind(QStringLiteral("UPDATE t SET b = :b "), QStringLiteral("b"), bytes); });
    out << "1 MB bytea literal: " << blob / 1000.0 << " ms\n";
    return 0;
}
