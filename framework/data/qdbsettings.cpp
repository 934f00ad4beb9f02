#include "qdbsettings.h"

#include "qdatatable.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"

#include <QCoreApplication>
#include <QDebug>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QSqlError>
#include <QSqlField>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTableView>

namespace {

const char globalGroup[] = "GLOBAL";

QSqlField textField(const QString &name, const QVariant &value)
{
    QSqlField field(name, QVariant::String);
    field.setValue(value);
    return field;
}

// The parameters ":group" and ":key" of the user-attribute scripts.
QSqlRecord addressRecord(const QStringList &address)
{
    QSqlRecord record;
    record.append(textField(QStringLiteral("group"), address.at(0)));
    record.append(textField(QStringLiteral("key"), address.at(1)));
    return record;
}

// The text a value is stored as. A value that is not null is never stored
// as NULL (which reads back as the default), also when its text is empty.
QString storedText(const QVariant &value)
{
    QString text;
    switch (value.type()) {
    case QVariant::Bool:
        text = value.toBool() ? QStringLiteral("1") : QStringLiteral("0");
        break;
    case QVariant::ByteArray:
        text = QString::fromLatin1(value.toByteArray().toHex());
        break;
    default:
        text = value.toString();
        break;
    }
    if (text.isNull() && value.isValid() && !value.isNull())
        text = QLatin1String("");
    return text;
}

} // namespace

QDbSettings::QDbSettings(QObject *parent)
    : QObject(parent)
    , currentGroup(QLatin1String(globalGroup))
{
    qDebug() << "QDbSettings::QDbSettings(QObject*)";
}

void QDbSettings::beginGroup(QString group)
{
    currentGroup = group;
}

void QDbSettings::endGroup()
{
    currentGroup = QLatin1String(globalGroup);
}

QStringList QDbSettings::splitPath(QString path)
{
    QStringList parts = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (parts.count() < 2)
        return {currentGroup, path};
    const QString key = parts.takeLast();
    return {parts.join(QLatin1Char('/')), key};
}

bool QDbSettings::setValue(QString path, QVariant value)
{
    QSqlConnection *connection = appConnection();
    if (!connection)
        return false;
    QSqlRecord record = addressRecord(splitPath(path));
    record.append(textField(QStringLiteral("value"), storedText(value)));
    QSqlField type(QStringLiteral("type"), QVariant::Int);
    type.setValue(int(value.type()));
    record.append(type);

    QSqlQuery query =
        connection->execScript(connection->getScript(QStringLiteral("USER_ATTR_WRITE")), record);
    return query.isActive() && query.lastError().type() == QSqlError::NoError;
}

QVariant QDbSettings::value(QString path, QVariant defaultValue)
{
    QSqlConnection *connection = appConnection();
    if (!connection)
        return defaultValue;
    const QSqlRecord record = addressRecord(splitPath(path));
    QSqlQuery query =
        connection->execScript(connection->getScript(QStringLiteral("USER_ATTR_READ")), record);
    // execScript leaves a successful query on its first row.
    if (!query.isActive() || !query.isSelect() || !query.isValid())
        return defaultValue;

    const QVariant stored = query.value(0);
    if (stored.isNull())
        return defaultValue;
    const int type = query.value(1).toInt();
    if (type == QVariant::ByteArray)
        return QByteArray::fromHex(stored.toString().toLatin1());
    QVariant result(stored.toString());
    if (type != QVariant::Invalid && type != QVariant::String &&
        !result.convert(QVariant::Type(type)))
        return defaultValue;
    return result;
}

bool QDbSettings::saveTableHeader(QString name, QDataTable *table)
{
    if (!appConnection() || !table || !table->getView())
        return false;
    QTableView *view = table->getView();
    const QHeaderView *header = view->horizontalHeader();
    const infoList &columns = table->getColumns();

    QJsonArray layout;
    for (int column = 0; column < columns.count(); ++column) {
        QJsonObject item;
        item.insert(QStringLiteral("name"), columns.at(column).name);
        item.insert(QStringLiteral("visible"), !view->isColumnHidden(column));
        item.insert(QStringLiteral("width"), view->columnWidth(column));
        item.insert(QStringLiteral("index"), header->visualIndex(column));
        layout.append(item);
    }
    // The stored form is Qt's binary JSON, which other clients of these
    // settings read as well.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    const QByteArray binary = QJsonDocument(layout).toBinaryData();
    QT_WARNING_POP
    return setValue(name, QVariant(binary));
}

bool QDbSettings::restoreTableHeader(QString name, QDataTable *table)
{
    if (!appConnection() || !table || !table->getView())
        return false;
    const QByteArray stored = value(name).toByteArray();
    if (stored.isEmpty())
        return false;
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    const QJsonDocument document = QJsonDocument::fromBinaryData(stored);
    QT_WARNING_POP
    if (!document.isArray())
        return false;

    QTableView *view = table->getView();
    QHeaderView *header = view->horizontalHeader();
    const infoList &columns = table->getColumns();

    // Stored position -> logical column, for the columns the table still has.
    QMap<int, int> byPosition;
    const QJsonArray layout = document.array();
    for (const QJsonValue &entry : layout) {
        const QJsonObject item = entry.toObject();
        const int column = columns.indexOf(item.value(QStringLiteral("name")).toString());
        if (column < 0 || column >= header->count())
            continue;
        const int width = item.value(QStringLiteral("width")).toInt();
        const bool visible = item.value(QStringLiteral("visible")).toBool(true);
        view->setColumnHidden(column, !visible);
        if (visible && width > 0)
            view->setColumnWidth(column, width);
        byPosition.insert(item.value(QStringLiteral("index")).toInt(), column);
    }

    // Move the sections in ascending order of their stored position, each to
    // the next free place: the stored order is kept even when some stored
    // columns are gone, and columns missing from the layout end up after.
    int target = 0;
    for (auto it = byPosition.constBegin(); it != byPosition.constEnd(); ++it, ++target) {
        const int from = header->visualIndex(it.value());
        if (from != target)
            header->moveSection(from, target);
    }
    return true;
}
