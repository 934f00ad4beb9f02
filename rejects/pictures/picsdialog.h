#pragma once

#include "celldata.h"

#include <QDialog>
#include <QModelIndex>
#include <QPointer>
#include <QSqlRecord>

class QDataTable;
class QGraphicsScene;
class QTableView;

namespace Ui {
class PicsDialog;
}

// The pictures of one defect: the list of its picture rows with a zoomable
// preview (Control + wheel), and additions from files, the clipboard and the
// camera.
//
// The dialog edits the given table (rows over the FILE_OWNER_* scripts) in
// memory only and never commits: the owner keeps or rolls back all additions
// as one unit when it closes. It does not fill the storage columns either:
// fillTableRow asks the owner to fill each new row from the file's bytes and
// name. Ok is enabled only after something was added.
//
// A picture's bytes are fetched from the storage (directory, else database)
// when it is first shown and kept in the row's bl_file for the dialog's
// lifetime. Open and Load give a picture added but not saved yet from its own
// bytes. Sizes show in kilobytes. The table's previous view gets the table
// back when the dialog goes away.
class PicsDialog : public QDialog
{
    Q_OBJECT
public:
    PicsDialog(QDataTable *pics, QWidget *parent = nullptr);
    ~PicsDialog() override;

    // Hides the three adding buttons; browsing, opening and extracting stay.
    void setReadOnly(bool readOnly);

signals:
    // The owner fills `row` (a new row) from the file's bytes and name; the
    // row is written into the table right after the signal returns.
    void fillTableRow(QSqlRecord *row, QByteArray *data, QString fileName);
    // The owner opens or extracts the picture of `row`.
    void extractRow(QSqlRecord row);

public slots:
    void onSelectPic();
    void on_tvPics_doubleClicked(QModelIndex index);
    void on_btAdd_clicked();
    void on_btPhoto_clicked();
    void on_buttonClipboard_clicked();
    void on_buttonOpen_clicked();
    void on_buttonLoad_clicked();
    // Shows each size in kilobytes, whatever the owner shows elsewhere.
    void onGetDispInfo(int column, QVariant *value, QCellData *cell, QSqlRecord *record,
                       int rowState);

protected:
    void wheelEvent(QWheelEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    // Adds a new row for the bytes and makes it current; Ok is enabled.
    void addPicture(QByteArray data, const QString &fileName);
    bool zoom(QWheelEvent *event);
    // Offers every row's size to getDispInfo again.
    void redrawSizes();

    Ui::PicsDialog *ui;
    QDataTable *m_pics;
    QPointer<QTableView> m_previousView;
    QGraphicsScene *m_scene;
};
