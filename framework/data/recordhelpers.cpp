#include "recordhelpers.h"

#include "qdataset.h"
#include "qdatatable.h"
#include "qsqlconnection.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QEventLoop>
#include <QGuiApplication>
#include <QMessageBox>
#include <QTimer>
#include <QWindow>

QVariant objToVar(void *object)
{
    return QVariant(qlonglong(object));
}

void *varToObj(QVariant value)
{
    return reinterpret_cast<void *>(value.toLongLong());
}

QSqlConnection *appConnection()
{
    QCoreApplication *app = QCoreApplication::instance();
    return app ? static_cast<QSqlConnection *>(varToObj(app->property("Connection"))) : nullptr;
}

void fillComboBox(QComboBox *combo, QDataTable *table, QString textField, QString dataField,
                  QString firstText, QVariant firstData)
{
    if (!combo || !table || textField.isEmpty())
        return;
    combo->clear();
    table->close();
    table->open(false, false);
    if (!firstText.isEmpty())
        combo->addItem(firstText, firstData);
    if (table->getTableState() != 0)
        return;
    for (int row = 0; row < table->rowCount(); ++row) {
        const QSqlRecord record = table->getRecord(row);
        combo->addItem(record.value(textField).toString(),
                       dataField.isEmpty() ? QVariant() : record.value(dataField));
    }
}

QVariant getValueById(QDataTable *table, qlonglong id, QString field)
{
    if (!table)
        return QVariant();
    table->open(false, false);
    const int row = table->locate(QStringLiteral("id"), id);
    if (row < 0)
        return QVariant();
    const QSqlRecord record = table->getRecord(row);
    if (!record.contains(field))
        return QVariant();
    return record.value(field);
}

QVariant getValueById(QDataSet *set, QString table, qlonglong id, QString field)
{
    if (!set)
        return QVariant();
    return getValueById(set->getTable(table), id, field);
}

QSqlRecord getCurrentRecord(QDataTable *table)
{
    if (!table)
        return QSqlRecord();
    return table->getViewCurrentRecord();
}

void showRefusal(QWidget *parent, const QString &fallback)
{
    QSqlConnection *connection = appConnection();
    const QString reason = connection ? connection->lastErrorText() : QString();
    QMessageBox::warning(parent, QCoreApplication::translate("showRefusal", "Внимание"),
                         reason.isEmpty() ? fallback : reason);
}

QRect bounds()
{
    const QWindowList windows = QGuiApplication::topLevelWindows();
    for (QWindow *window : windows) {
        const QString name = window->objectName();
        if (name == QLatin1String("WorkplaceWindowWindow") || name == QLatin1String("KovaWindow"))
            return window->geometry();
    }
    return QRect();
}

void delayMs(unsigned int ms)
{
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    timer.setInterval(int(ms));
    QObject::connect(&timer, SIGNAL(timeout()), &loop, SLOT(quit()));
    timer.start();
    loop.exec();
}
