#pragma once

#include "rejects_global.h"

#include <QMainWindow>
#include <QPointer>

class QDataSet;
class QDataTable;
class QPrinter;
class QScriptEngine;
class QTextDocument;
class Ui_QDocCreatorClass;

// Turns a stored document template into a finished document for one record,
// shows it, and prints it, previews it, saves it as PDF or HTML, or hands its
// HTML back to the caller ("Save to DB", signal saveToBase).
//
// Templates are rows of the template table (named scripts
// DOC_TEMPLATE_SELECT_GROUP by type and DOC_TEMPLATE_SELECT_ONCE by id), each
// an HTML text (c_html) and a Qt Script (c_script). The script runs with these
// globals:
//   table, auxtable  two empty QDataTable objects on the application's
//                    connection ("t_main", "t_aux"), for the script's reads
//                    (QDocTableScript lists what it may call on them)
//   params           a QScriptParams: "c_html" the template text, "id_reason"
//                    the record id, "c_user" the logged-in user ("LogedIn")
//   document         the document view (a QTextBrowser: setHtml, append, ...)
//   VBool, VDateTime, VDouble, VString, VInt, VLongLong   variant type numbers
// and whatever it puts into `document` is the document. A script that throws,
// or runs longer than the time limit (5 s unless set), is stopped with the
// critical box "Script error" and the document stays as far as it got (the
// limit does not run out while the script's own question is on screen).
// While a script runs the event loop keeps running; closing the window then
// stops the script first.
class REJECTS_EXPORT QDocCreator : public QMainWindow
{
    Q_OBJECT
public:
    explicit QDocCreator(QString templateType, QWidget *parent = nullptr);
    ~QDocCreator() override;

    // Builds a document for the record: with one template of the type at
    // once (the template list stays hidden), with several from the first
    // one, showing the list to choose another. "Save to DB" is offered only
    // with allowSaveToBase.
    void makeDocument(qint64 recordId, bool allowSaveToBase);
    // Runs one template for the record; the view's document, or null when the
    // template is not found (without a message).
    QTextDocument *createDocument(qint64 templateId, qint64 recordId);
    // Shows a ready document, without templates.
    void setDocument(QString html);
    // "Save to DB" is visible only while the document is not saved.
    void setDocumentSaved(bool saved);
    // Templates of the type, as last read by makeDocument.
    int templateCount() const;

    // Write the document; ".pdf" / ".html" is appended to a name without a
    // suffix. False, with a warning box, when the file cannot be written;
    // false, silently, for an empty document.
    bool savePdf(QString fileName);
    bool saveHtml(QString fileName);

    void setScriptTimeLimit(int milliseconds) { m_timeLimit = milliseconds; }
    int scriptTimeLimit() const { return m_timeLimit; }

signals:
    void saveToBase(QString html);

public slots:
    void onTemplateSelected();
    void onSavePDF();
    void onSaveHTML();
    void onPrint();
    void onPreview();
    void printPreview(QPrinter *printer);
    void onSaveToBase();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void initTemplateList();
    void runTemplateScript(QScriptEngine &engine, const QString &script);
    bool writeFailed(const QString &title, const QString &fileName, const QString &reason);

    QString m_type;
    qint64 m_recordId = 0;
    Ui_QDocCreatorClass *ui = nullptr;
    QDataTable *m_templates = nullptr;
    QPointer<QScriptEngine> m_running; // the engine of the script being run
    bool m_closeRequested = false;
    int m_timeLimit = 5000;
};

// Merges another module's data set into `dataSet`, so that its key changes
// reach this set's links (QDataSet::intersect): the module library named
// `moduleName` is asked of the host's module loader (application property
// "libList", which offers `QLibrary *library(QString)`, loading on demand) and
// its exported "getDocument" is called with `parent`. False without a loader,
// library or entry point.
REJECTS_EXPORT bool mergeDocument(QString moduleName, QDataSet *dataSet, QWidget *parent);
