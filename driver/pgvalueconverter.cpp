#include "pgvalueconverter.h"

#include <QStringList>

QVariant PgValueConverter::convert(const QVariant &value, QVariant::Type type)
{
    if (type == QVariant::Invalid)
        return QVariant();
    if (!value.isValid() || value.isNull())
        return QVariant(type);
    if (value.type() == type)
        return value;
    if (type == QVariant::Bool &&
        (value.type() == QVariant::String || value.type() == QVariant::ByteArray)) {
        static const QStringList yes{QStringLiteral("t"),  QStringLiteral("true"),
                                     QStringLiteral("y"),  QStringLiteral("yes"),
                                     QStringLiteral("on"), QStringLiteral("1")};
        static const QStringList no{QStringLiteral("f"),   QStringLiteral("false"),
                                    QStringLiteral("n"),   QStringLiteral("no"),
                                    QStringLiteral("off"), QStringLiteral("0")};
        const QString text = value.toString().trimmed().toLower();
        if (yes.contains(text))
            return QVariant(true);
        if (no.contains(text))
            return QVariant(false);
        return QVariant(type);
    }
    QVariant converted = value;
    if (!converted.convert(static_cast<int>(type)))
        return QVariant(type);
    return converted;
}
