#pragma once

#include "rejects_global.h"

#include <QDialog>
#include <QHash>
#include <QList>
#include <QStringList>

class QDataSet;
class QDataTable;
class QTreeWidgetItem;

namespace Ui {
class ProductTreeDialog;
}

// Picks a product version from the tree product type -> product -> version.
// In RecursiveMode the user may ask for the version's analog versions as well
// ("учитывать вложенные"); ProductMode also accepts a product without a version.
class REJECTS_EXPORT ProductTreeDialog : public QDialog
{
    Q_OBJECT
public:
    enum Mode { VersionMode = 0, ProductMode = 1, RecursiveMode = 2 };
    // What a tree item stands for (item data role Qt::UserRole + 1).
    enum ItemKind { TypeItem = 0, ProductItem = 1, VersionItem = 2 };

    explicit ProductTreeDialog(QWidget *parent = nullptr, Mode mode = VersionMode);
    ~ProductTreeDialog() override;

    // The chosen version (0 when none) and "<version> <product>".
    qint64 getCurrentVersion() const;
    QString getCurrentVersionName() const;
    // The chosen product, or the product of the chosen version (0 when none).
    qint64 getCurrentProduct() const;
    QString getCurrentProductName() const;
    // The chosen version and, with checkBoxRecursive checked, its analog
    // versions as the database returns them; the names are those of the tree.
    QList<qint64> getCurrentVersionList() const;
    QStringList getCurrentVersionListName() const;

    // Finds the version with this id in the tree and makes it current.
    bool selectVersion(qint64 idVersion);

public slots:
    void createTree();
    void updateButtons();

private slots:
    void on_trvProducts_itemDoubleClicked(QTreeWidgetItem *item, int column);

private:
    void fillType(QTreeWidgetItem *parent, qint64 idParent);
    void fillProduct(QTreeWidgetItem *parent, qint64 idType);
    QTreeWidgetItem *versionItem() const;
    QTreeWidgetItem *productItem() const;
    QString versionName(const QTreeWidgetItem *item) const;

    static QHash<qint64, QList<int>> rowsBy(QDataTable *table, const QString &field);

    Mode m_mode;
    QHash<qint64, QList<int>> m_productsByType;
    QHash<qint64, QList<int>> m_versionsByProduct;
    QDataSet *m_dataSet = nullptr;
    QDataTable *m_types = nullptr;
    QDataTable *m_products = nullptr;
    QDataTable *m_versions = nullptr;
    Ui::ProductTreeDialog *ui = nullptr;
};
