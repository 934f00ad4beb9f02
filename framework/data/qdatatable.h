#pragma once

#include "celldata.h"
#include "infolist.h"
#include "rejects_global.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QMetaObject>
#include <QObject>
#include <QPersistentModelIndex>
#include <QPointer>
#include <QSet>
#include <QSqlDatabase>
#include <QSqlRecord>
#include <QStringList>
#include <QVariant>
#include <QVector>
#include <functional>

class QDataTableModel;
class QDataTableItem;
class QIcon;
class QSqlConnection;
class QSqlQuery;
class QStandardItem;
class QStandardItemModel;
class QTableView;

// Row states: stored as an int in role 259 of a row's first item. Their letters
// in dumps are "O", "A", "M" and "D".
enum rowState { rsUnchanged = 0, rsInserted = 1, rsUpdated = 2, rsDeleted = 3 };

// A locked row cannot be edited in the view nor deleted.
enum lockState { lsUnlocked = 0, lsLocked = 1 };

// How setFilter compares a row's value text with the filter's values; a row
// passes when it matches any of them.
enum filterType {
    ftEqual = 0,      // equal texts (a null value reads as the empty text)
    ftNotEqual = 1,   // differs from every value
    ftContains = 2,   // contains the value (case-sensitive)
    ftBeginsWith = 3, // begins with the value (case-sensitive)
};

// Index kinds of addSearchIndex. Both kinds keep, per value text of the column,
// the rows holding it; a kind-1 index is meant for unique keys.
enum idxType { itNone = 0, itKey = 1, itValue = 2 };

// The in-memory image of one database result set that the user can edit and
// write back.
//
// A table has four statements (select, update, insert, delete): named scripts
// that the connection resolves (setScripts(..., false)) or literal texts
// (setScripts(..., true), setNativeScripts). The select takes its named
// parameters from setSelectParam; the others take theirs from the row being
// written (getRecord). The columns (infoList) are declared with addColumn or,
// when none are declared, made from the first result.
//
// The rows live in a QStandardItemModel (getModel(), named table + "_data_"),
// one item per cell, holding per role:
//   Qt::DisplayRole / Qt::EditRole  the shown value (a display-info receiver may
//                                   change it; the user edits it)
//   Qt::UserRole + 1 (257)          the value as last read from the database
//   Qt::UserRole + 2 (258)          the current value: getRecord returns it,
//                                   commit writes it
//   Qt::UserRole + 3 (259)          the row state, first column only
//   Qt::UserRole + 4 (260)          the lock state, first column only
// A row is identified by its serial number in the table, tagged with the
// table's fill generation, so that the identity survives sorting and the
// removal of other rows, and an identity of a row that is gone (removed, or
// from before a refill or clear) answers -1 from rowOf; the three pending lists
// (inserted, updated, deleted rows) hold identities, in the order in which
// the rows got their state. A row added and deleted again before commit is
// dropped by commit without any statement.
//
// Every row that is set emits getDispInfo once per visible column, so that the
// owner of the view can change the shown value and the cell's icon, brushes,
// font and tool tip (cellData; its text is not applied). Connections are made
// by signature text with the QCellData spelling:
//   connect(table, SIGNAL(getDispInfo(int, QVariant*, QCellData*, QSqlRecord*, int)),
//           view, SLOT(onGetDispInfo(int, QVariant*, QCellData*, QSqlRecord*)));
// Keep receivers direct: the signal runs for every visible cell of a load.
//
// commit is the only place that writes: deletes, then inserts, then updates,
// row by row, stopping at the first failing statement (what was written stays
// written, the rest stays pending for a later commit). A data set (QDataSet)
// wraps the commits of its tables in one transaction.
//
// Filters (setFilter) hide, in the attached view, the rows that fail any active
// filter, and show every row that passes them all (also a row someone else
// hid). Columns with flag 1 or 2, and the key column, keep a value index from
// each value text to its rows: a filter tests each distinct text once and
// counts only the rows of the texts that fail, then one pass over the rows
// changes only those whose visibility changes, with the view's updates
// suspended. A value's text is QVariant::toString(); a null value reads as
// the empty text.
//
// Memory: a cell stores its current value; the database value and the shown
// value are kept apart only when they differ from it, decorations are pooled
// per table, and texts repeated down a column are shared while loading.
//
// GUI thread only. Loads and commits may let the event loop run.
class REJECTS_EXPORT QDataTable : public QObject
{
    Q_OBJECT
public:
    static const int OriginalRole = Qt::UserRole + 1;
    static const int CurrentRole = Qt::UserRole + 2;
    static const int StateRole = Qt::UserRole + 3;
    static const int LockRole = Qt::UserRole + 4;

    QDataTable(QString name, QSqlConnection *connection, QObject *parent = nullptr);
    // A copy of another table: connection, scripts, columns, key field,
    // indexes, select parameters and rows (values, original values, states).
    explicit QDataTable(QDataTable *source);
    ~QDataTable() override;

    // Setup
    void setConnection(QSqlConnection *connection);
    QSqlConnection *getConnection() const { return m_connection; }
    // The four statements in this order (update before insert). With
    // `literal` the strings are the statement texts; otherwise they are
    // script names, resolved through the connection now and on every
    // fillTable and commit.
    void setScripts(QString select, QString update, QString insert, QString remove,
                    bool literal = false);
    // Sets the statement texts directly (in the order of setScripts).
    void setNativeScripts(QString select, QString update, QString insert, QString remove);
    QString selectSql() const { return m_selectSql; }
    QString updateSql() const { return m_updateSql; }
    QString insertSql() const { return m_insertSql; }
    QString deleteSql() const { return m_deleteSql; }

    void addColumn(QString name, int type, bool visible = true, QString header = QString(),
                   int step = 0, int width = 100, QVariant defaultValue = QVariant(), int flags = 0,
                   QString toolTip = QString(), QIcon *icon = nullptr);
    // Makes one column per field of `record` (used when none are declared).
    void generateColumns(QSqlRecord record);
    void dropColumns();
    const infoList &getColumns() const { return m_columns; }
    int columnCount() const { return m_columns.count(); }
    // The key column; it gets a value index unless it has one.
    void setKeyField(QString name);
    QString keyField() const { return m_keyField; }
    void addSearchIndex(QString name, idxType kind = itValue);
    // Sets (or appends) a named value of the select statement.
    void setSelectParam(QString name, QVariant value);
    QSqlRecord selectParams() const { return m_selectParams; }
    // With direct edit, a value the user edits in the view becomes the current
    // value at once; otherwise the edit only marks the row updated.
    void setDirectEdit(bool on) { m_directEdit = on; }
    bool directEdit() const { return m_directEdit; }

    // Reading
    // Runs the select and fills the model; the columns' header items are
    // set. False when the select did not give a result (the rows are kept
    // and the table state becomes -1).
    bool open(bool processEvents = false, bool debug = false);
    bool fillTable(bool processEvents = false, bool debug = false);
    // Clears the rows and stops watching edits.
    void close();
    bool isOpen() const { return m_open; }
    int rowCount() const;
    // Rows not hidden in the attached view; without a view, the rows that
    // pass the active filters.
    int visibleRowCount() const;
    // The row as a record with one field per column (current values). Empty
    // for a row out of range, and for a deleted row when skipDeleted.
    QSqlRecord getRecord(int row, bool skipDeleted = false) const;
    // A record of the columns with no values.
    QSqlRecord emptyRecord() const { return m_emptyRecord; }
    // The current value of a field; row -1 is the current row.
    QVariant getField(QString name, int row = -1) const;
    // The distinct value texts of a column, in row order.
    QStringList getValuesList(int column) const;
    QStringList getValuesList(QString name) const;
    int getRowState(int row) const;
    int getTableState() const { return m_tableState; }
    // 0 is idle; -1 follows a failed select; a data set does not pass new
    // keys into a table in state -2. Any non-zero state refuses deleteRow.
    void setTableState(int state) { m_tableState = state; }
    int getLock(int row) const;
    void setLock(int row, lockState lock);
    QStandardItemModel *getModel() const;
    // True when rows wait for commit.
    bool isModified() const;
    QList<qlonglong> insertedRows() const { return m_inserted; }
    QList<qlonglong> updatedRows() const { return m_updated; }
    QList<qlonglong> deletedRows() const { return m_deleted; }
    // The row of an identity (see above), -1 if gone; any value is safe to pass.
    int rowOf(qlonglong identity) const;
    qlonglong identityOf(int row) const;

    // The attached view: shows the model, is prepared once (widths, hidden
    // columns, header modes) and takes the filters. Not owned.
    void setView(QTableView *view);
    QTableView *getView() const;
    void prepareView(QTableView *view);

    // The table's cursor: follows the view's current row and is moved by
    // first/last/next/prev (which also move the view over its shown rows),
    // locate, newRow and append. setField and setNull act on it.
    int currentRow() const { return m_cursor.isValid() ? m_cursor.row() : -1; }
    void setCurrentRow(int row);
    bool first();
    bool last();
    bool next();
    bool prev();
    int lastRow() const { return rowCount() - 1; }
    int getViewCurrentRow() const;
    QSqlRecord getViewCurrentRecord() const;

    // The first row whose fields equal the values (a null value matches a
    // null field), -1 when none; it becomes the current row.
    int locate(QString field, QVariant value);
    int locate(QStringList fields, QList<QVariant> values);
    static bool match(QSqlRecord record, QStringList fields, QList<QVariant> values);
    // Appends the matching rows to `target` as read from the database; a
    // target without columns takes this table's. Returns how many.
    int getRows(QDataTable *target, QStringList fields, QList<QVariant> values);
    int getRows(QDataTable *target, QString field, QVariant value);

    // Filters: a row passes a filter when its value text matches one of the
    // values. Each change re-applies all filters.
    void setFilter(QString field, QStringList values, filterType type = ftEqual);
    void setFilter(QString field, QString value, filterType type = ftEqual);
    void clearFilter(QString field);
    void clearFilter(QStringList fields);
    void clearAllFilters();
    bool hasFilter(QString field) const { return m_filters.contains(field); }
    void applyFilters();

    // Editing
    // A new row in state inserted: columns with a step get their next
    // generated value, the others their default. With `makeCurrent` the row
    // becomes current in the view too. Returns the row.
    int newRow(bool makeCurrent = false);
    int addRow() { return newRow(false); }
    int newFirstRow(bool makeCurrent = false);
    int addFirstRow() { return newFirstRow(false); }
    // A new row with these values.
    int append(QStringList fields, QList<QVariant> values, bool makeCurrent = false);
    int append(QString field, QVariant value, bool makeCurrent = false);
    // Appends a row as read from the database (state unchanged).
    int addRecord(QSqlRecord record);
    bool setField(QString name, QVariant value);
    bool setNull(QString name);
    // Writes the fields of `record` that name columns into the row. From the
    // database they are also the original values and the row becomes
    // unchanged; otherwise an unchanged row becomes updated. False for a row
    // beyond the model.
    bool setRow(int row, QSqlRecord record, bool fromDatabase = false);
    void setRowState(int row, rowState state);
    // Marks a row (every row when negative) for insert / update.
    void forceInsert(int row);
    void forceUpdate(int row);
    // Marks a row deleted; it is removed by commit. Refused (false) when the
    // table state is non-zero, the row is beyond the model or locked.
    bool deleteRow(int row);
    // Removes a row at once, without any statement.
    bool killRow(int row);
    // Puts back the values last read from the database; the row becomes
    // unchanged. With `redraw` the row is offered to getDispInfo again.
    void resetOriginalData(int row, bool redraw = true);
    // Undoes every pending change: new rows go, changed and deleted rows get
    // their database values back and become unchanged.
    void rollback();
    // Empties the model and the pending lists.
    void clear();

    // Writes the pending rows: deletes, inserts, updates, in one transaction
    // (a data set's, or the table's own). A statement that fails or touches
    // no row (an insert that returns nothing, an update or delete of a record
    // that is gone) fails the commit; lastError() says why. Rows change state
    // only once the transaction has committed: after a failure every row is
    // pending exactly as before, with its temporary keys, and edits are
    // tracked as before, so that the user can correct and save again.
    bool commit(bool processEvents = false);
    // Why the last commit failed, in plain words; empty after a success.
    QString lastError() const { return m_lastError; }
    // A data set brackets its transaction with these: beginCommit remembers
    // every pending row as it is, endCommit(true) settles the written rows,
    // endCommit(false) puts every pending row back as it was remembered.
    void beginCommit();
    void endCommit(bool committed);

    // Export
    // Writes prepareDump into "<table>_yyyy_MM_dd hh_mm.csv" in `directory`
    // (created when missing) in the local 8-bit encoding; returns the file
    // path, empty on failure.
    QString dumpTable(QString directory, bool withState = false);
    // Semicolon-separated text: a header of the quoted column names, then one
    // line per row ("value"; per column); with state, each line begins with
    // the row-state letter and deleted rows are included.
    QString prepareDump(bool withState = false) const;
    // The visible columns' headers and the visible rows, each value quoted
    // and separated by ";", lines ended by a line feed, in cp1251.
    bool makeReport(QString fileName) const;

signals:
    void getDispInfo(int column, QVariant *value, QCellData *cell, QSqlRecord *record,
                     int rowState);
    void dataChanged(QString table, QVariant oldValue, QVariant newValue, QString field);
    // The filters have been applied: once per pass over the rows.
    void filtered();

public slots:
    void onIDRequest();

private slots:
    void onItemChanged(QStandardItem *item);

private:
    // Puts one row (or every row, for a negative row) into the given state.
    void forceState(int row, rowState state);
    struct FilterInfo
    {
        QStringList values;
        filterType type = ftEqual;
    };
    // Value text -> serial numbers of the rows holding it (see m_serialItems).
    typedef QHash<QString, QVector<int>> ValueIndex;

    void resolveScripts();
    void watchEdits(bool on);
    void rebuildEmptyRecord();
    void rebuildIndexes();
    void columnsChanged();
    void setHeaderItems();
    QDataTableItem *firstItem(int row) const;
    QDataTableItem *cell(int row, int column) const;
    QVariant toColumnType(const QVariant &value, int type) const;
    // Writes record values into an existing row; no model signals.
    void writeRow(int row, const QSqlRecord &record, bool fromDatabase);
    void emitRowChanged(int row);
    void makeRowItems(QList<QStandardItem *> &items, int state);
    int insertNewRow(int at, bool makeCurrent);
    void indexInsert(int column, const QString &text, int serial);
    void indexRemove(int column, const QString &text, int serial);
    int serialOf(int row) const;
    void giveSerial(QDataTableItem *first);
    void dropSerial(int row);
    void ensureRowSerials();
    bool rowFails(int row) const;
    void unindexRow(int row);
    void dropIdentity(qlonglong identity);
    bool passes(const FilterInfo &filter, const QString &text) const;
    void setViewRowHidden(int row, bool hide);
    bool runStatement(const QString &sql, int row, QSqlQuery &query);
    // Runs one statement per pending row, in order, until the list is empty
    // or a statement fails; written(row, query) takes the row off the list.
    bool commitPending(QList<qlonglong> &pending, const QString &sql, const char *kind,
                       bool processEvents, const std::function<bool(int, QSqlQuery &)> &written);
    void removeCommittedRow(int row);
    void takeWrittenRow(int row, QSqlQuery &query);
    // A pending row as beginCommit found it.
    struct SavedRow
    {
        int state = rsUnchanged;
        QVector<QVariant> current, original;
        QVector<bool> hasOriginal;
    };
    struct CommitJournal
    {
        bool active = false;
        QList<qlonglong> inserted, updated, deleted;
        QHash<qlonglong, SavedRow> rows;
        QList<qlonglong> written; // inserted and updated rows the database took
        QList<qlonglong> removed; // deleted rows the database removed
    };

    QString m_selectSql, m_updateSql, m_insertSql, m_deleteSql;
    QString m_selectName, m_updateName, m_insertName, m_deleteName;
    bool m_literal = false;
    infoList m_columns;
    QSqlRecord m_emptyRecord;
    QSqlConnection *m_connection = nullptr;
    QSqlDatabase m_database;
    QDataTableModel *m_model = nullptr;
    int m_tableState = 0;
    QList<qlonglong> m_inserted, m_updated, m_deleted;
    QMap<QString, int> m_generated;
    QSqlRecord m_selectParams;
    QString m_keyField;
    // Per column position: the value text -> rows index, for indexed columns.
    QVector<ValueIndex *> m_indexes;
    QMap<QString, idxType> m_indexKinds;
    QMap<QString, FilterInfo> m_filters;
    // Every row gets a serial number when it is made; the value indexes and
    // the filter counts work on serials, so that filtering runs over compact
    // arrays instead of the cells.
    QVector<QDataTableItem *> m_serialItems; // serial -> first item, null when gone
    quint32 m_generation = 0;                // bumped by clear(): part of every identity
    QVector<int> m_rowSerials;               // row -> serial, rebuilt after moves
    QVector<quint16> m_failed;               // serial -> active filters failed
    bool m_rowsMoved = false;
    QPointer<QTableView> m_view;
    QMetaObject::Connection m_currentConnection, m_activatedConnection;
    bool m_directEdit = false;
    bool m_watching = false;
    bool m_open = false;
    // The cursor: follows its row through sorting, inserts and removals.
    QPersistentModelIndex m_cursor;
    CommitJournal m_journal;
    QString m_lastError;
};
