#pragma once

// Internal to QDataTable: one cell of a table's model.

#include "qdatatable.h"

#include <QStandardItem>
#include <QVariant>
#include <memory>

// One cell. The values the table works with are plain members, so that loading
// and redrawing a row neither allocates role vectors nor emits per-cell
// notifications; the roles map onto them. The database value and the shown
// value are stored apart only when they differ from the current value, and a
// decoration is an index into the model's pool.
class QDataTableItem : public QStandardItem
{
public:
    QVariant current;
    quint32 decoration = 0; // 0: none
    qint8 state = rsUnchanged;
    qint8 lock = lsUnlocked;
    bool first = false;
    bool edited = false;
    quint32 serial = 0; // the row's serial number (first item only)

    const QVariant &original() const
    {
        return m_extra && m_extra->hasOriginal ? m_extra->original : current;
    }
    const QVariant &shown() const
    {
        return m_extra && m_extra->hasShown ? m_extra->shown : current;
    }
    // A new current value; from the database it is the original value too,
    // otherwise the original value is kept.
    void setValue(const QVariant &value, bool fromDatabase)
    {
        if (fromDatabase) {
            if (m_extra)
                m_extra->hasOriginal = false, m_extra->original = QVariant();
        } else if (!m_extra || !m_extra->hasOriginal) {
            extra().original = current;
            m_extra->hasOriginal = true;
        }
        current = value;
        tidy();
    }
    void setShown(const QVariant &value)
    {
        if (value.userType() == current.userType() && value == current) {
            if (m_extra)
                m_extra->hasShown = false, m_extra->shown = QVariant();
        } else {
            extra().shown = value;
            m_extra->hasShown = true;
        }
        tidy();
    }

    // Null equals null only; otherwise equal values, or equal texts.
    static bool sameValue(const QVariant &a, const QVariant &b);
    // The text of a value as filters, indexes, value lists and dumps compare
    // it: a null value (of any type: a null number is not "0") is empty.
    static QString text(const QVariant &value)
    {
        return value.isNull() ? QString() : value.toString();
    }
    bool hasOriginal() const { return m_extra && m_extra->hasOriginal; }
    // Puts back an original value remembered with hasOriginal().
    void restoreOriginal(const QVariant &value, bool has)
    {
        if (has) {
            extra().original = value;
            m_extra->hasOriginal = true;
        } else if (m_extra) {
            m_extra->hasOriginal = false;
            m_extra->original = QVariant();
        }
        tidy();
    }

    QVariant data(int role) const override;
    void setData(const QVariant &value, int role) override;
    QStandardItem *clone() const override { return new QDataTableItem; }

private:
    struct Extra
    {
        QVariant original;
        QVariant shown;
        bool hasOriginal = false;
        bool hasShown = false;
    };
    Extra &extra()
    {
        if (!m_extra)
            m_extra.reset(new Extra);
        return *m_extra;
    }
    void tidy()
    {
        if (m_extra && !m_extra->hasOriginal && !m_extra->hasShown)
            m_extra.reset();
    }
    std::unique_ptr<Extra> m_extra;
};
