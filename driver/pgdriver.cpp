#include "pgdriver.h"

#include <QFile>

// Temporary: only the creation script until the driver is written.
PGDRIVER_EXPORT void getStart(QString &script)
{
    script.clear();
    for (const char *part : {":/db/schema.sql", ":/db/scripts.sql", ":/db/init.sql"}) {
        QFile f{QString::fromLatin1(part)};
        if (f.open(QIODevice::ReadOnly))
            script += QString::fromUtf8(f.readAll()) + QLatin1Char('\n');
    }
}
