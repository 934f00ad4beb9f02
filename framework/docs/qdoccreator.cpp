#include "qdoccreator.h"

#include "qdataset.h"
#include "qdatatable.h"
#include "qdoctablescript.h"
#include "qscriptparams.h"
#include "recordhelpers.h"
#include "scriptbridge.h"
#include "ui_qdoccreator.h"

#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QLibrary>
#include <QMessageBox>
#include <QPrintDialog>
#include <QPrintPreviewDialog>
#include <QPrinter>
#include <QScriptEngine>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QStandardItemModel>
#include <QTimer>

namespace {

// A name without a suffix gets `suffix`; any other is kept as it is.
QString withSuffix(const QString &fileName, const QString &suffix)
{
    return QFileInfo(fileName).suffix().isEmpty() ? fileName + suffix : fileName;
}

const QScriptEngine::QObjectWrapOptions wrapOptions =
    QScriptEngine::ExcludeChildObjects | QScriptEngine::ExcludeDeleteLater;

} // namespace

QDocCreator::QDocCreator(QString templateType, QWidget *parent)
    : QMainWindow(parent)
    , m_type(templateType)
    , ui(new Ui_QDocCreatorClass)
{
    ui->setupUi(this);
    m_templates = new QDataTable(QStringLiteral("t_dec_templates"), appConnection(), this);
    m_templates->setScripts(QStringLiteral("DOC_TEMPLATE_SELECT_GROUP"), QString(), QString(),
                            QString());
    connect(ui->acHTML, &QAction::triggered, this, &QDocCreator::onSaveHTML);
    connect(ui->acPrint, &QAction::triggered, this, &QDocCreator::onPrint);
    connect(ui->acPDF, &QAction::triggered, this, &QDocCreator::onSavePDF);
    connect(ui->acPreview, &QAction::triggered, this, &QDocCreator::onPreview);
    connect(ui->acSaveToBase, &QAction::triggered, this, &QDocCreator::onSaveToBase);
}

QDocCreator::~QDocCreator()
{
    delete ui;
}

void QDocCreator::initTemplateList()
{
    if (!m_templates->getConnection())
        m_templates->setConnection(appConnection());
    m_templates->setSelectParam(QStringLiteral("c_type"), m_type);
    m_templates->open();
    ui->lvTemplates->setModel(m_templates->getModel());
    ui->lvTemplates->setModelColumn(2);
    QItemSelectionModel *selection = ui->lvTemplates->selectionModel();
    disconnect(selection, nullptr, this, nullptr);
    connect(selection, &QItemSelectionModel::currentChanged, this,
            &QDocCreator::onTemplateSelected);
}

int QDocCreator::templateCount() const
{
    return m_templates->rowCount();
}

void QDocCreator::makeDocument(qint64 recordId, bool allowSaveToBase)
{
    ui->acSaveToBase->setVisible(allowSaveToBase);
    ui->lbTemplates->hide();
    ui->lvTemplates->hide();
    initTemplateList();
    m_recordId = recordId;
    const int count = m_templates->rowCount();
    if (count == 0)
        return;
    if (count == 1) {
        createDocument(m_templates->getField(QStringLiteral("id"), 0).toLongLong(), recordId);
        return;
    }
    ui->lbTemplates->show();
    ui->lvTemplates->show();
    // Making the first row current builds its document (onTemplateSelected).
    ui->lvTemplates->setCurrentIndex(m_templates->getModel()->index(0, 2));
}

void QDocCreator::onTemplateSelected()
{
    const int row = ui->lvTemplates->currentIndex().row();
    if (row < 0 || m_running)
        return;
    createDocument(m_templates->getField(QStringLiteral("id"), row).toLongLong(), m_recordId);
}

QTextDocument *QDocCreator::createDocument(qint64 templateId, qint64 recordId)
{
    if (m_running)
        return nullptr;
    QSqlQuery query = runScript(QStringLiteral("DOC_TEMPLATE_SELECT_ONCE"), {templateId});
    if (!query.isActive() || !query.isValid())
        return nullptr;
    const QString html = query.value(QStringLiteral("c_html")).toString();
    const QString script = query.value(QStringLiteral("c_script")).toString();

    // Declared before the engine, so that the engine goes first.
    QDataTable mainTable(QStringLiteral("t_main"), appConnection());
    QDataTable auxTable(QStringLiteral("t_aux"), appConnection());
    QScriptParams params;
    params.setData(
        {QStringLiteral("c_html"), QStringLiteral("id_reason"), QStringLiteral("c_user")},
        {html, recordId, qApp->property("LogedIn").toString()});
    QDocTableScript tableCalls;

    QScriptEngine engine;
    QScriptValue global = engine.globalObject();
    const QScriptValue tablePrototype =
        engine.newQObject(&tableCalls, QScriptEngine::QtOwnership, wrapOptions);
    QScriptValue mainValue = engine.newQObject(&mainTable, QScriptEngine::QtOwnership, wrapOptions);
    QScriptValue auxValue = engine.newQObject(&auxTable, QScriptEngine::QtOwnership, wrapOptions);
    mainValue.setPrototype(tablePrototype);
    auxValue.setPrototype(tablePrototype);
    global.setProperty(QStringLiteral("table"), mainValue);
    global.setProperty(QStringLiteral("auxtable"), auxValue);
    global.setProperty(QStringLiteral("params"),
                       engine.newQObject(&params, QScriptEngine::QtOwnership, wrapOptions));
    global.setProperty(QStringLiteral("document"),
                       engine.newQObject(ui->tbDocument, QScriptEngine::QtOwnership, wrapOptions));
    global.setProperty(QStringLiteral("VBool"), QVariant::Bool);
    global.setProperty(QStringLiteral("VDateTime"), QVariant::DateTime);
    global.setProperty(QStringLiteral("VDouble"), QVariant::Double);
    global.setProperty(QStringLiteral("VString"), QVariant::String);
    global.setProperty(QStringLiteral("VInt"), QVariant::Int);
    global.setProperty(QStringLiteral("VLongLong"), QVariant::LongLong);

    ui->tbDocument->clear();
    runTemplateScript(engine, script);
    if (m_closeRequested)
        QTimer::singleShot(0, this, &QWidget::close);
    return ui->tbDocument->document();
}

void QDocCreator::runTemplateScript(QScriptEngine &engine, const QString &script)
{
    bool timedOut = false;
    QTimer watchdog;
    watchdog.setSingleShot(true);
    // Time the user spends answering the script's own questions does not count.
    QWidget *const modalBefore = QApplication::activeModalWidget();
    connect(&watchdog, &QTimer::timeout, &engine, [&] {
        if (QApplication::activeModalWidget() != modalBefore) {
            watchdog.start(m_timeLimit);
            return;
        }
        timedOut = true;
        engine.abortEvaluation();
    });
    // The engine lets the event loop run now and then, so that the watchdog
    // (and the window) stay alive while a script loops.
    engine.setProcessEventsInterval(100);
    m_running = &engine;
    watchdog.start(m_timeLimit);
    const QScriptValue result = engine.evaluate(script);
    watchdog.stop();
    m_running = nullptr;

    QString error;
    if (timedOut)
        error = tr("Сценарий шаблона выполнялся дольше %n с и был остановлен", nullptr,
                   (m_timeLimit + 999) / 1000);
    else if (engine.hasUncaughtException() || result.isError())
        error = result.toString();
    if (!error.isEmpty() && !m_closeRequested)
        QMessageBox::critical(nullptr, tr("Script error"), error);
}

void QDocCreator::setDocument(QString html)
{
    ui->tbDocument->setHtml(html);
    ui->lbTemplates->hide();
    ui->lvTemplates->hide();
}

void QDocCreator::setDocumentSaved(bool saved)
{
    ui->acSaveToBase->setVisible(!saved);
}

bool QDocCreator::writeFailed(const QString &title, const QString &fileName, const QString &reason)
{
    QMessageBox::warning(this, title, tr("Не удалось записать файл %1: %2").arg(fileName, reason));
    return false;
}

bool QDocCreator::savePdf(QString fileName)
{
    if (ui->tbDocument->document()->isEmpty() || fileName.isEmpty())
        return false;
    fileName = withSuffix(fileName, QStringLiteral(".pdf"));
    {
        QFile probe(fileName);
        if (!probe.open(QIODevice::WriteOnly))
            return writeFailed(tr("Save to PDF"), fileName, probe.errorString());
    }
    QPrinter printer(QPrinter::HighResolution);
    printer.setOutputFormat(QPrinter::PdfFormat);
    printer.setOutputFileName(fileName);
    printer.setFullPage(true);
    ui->tbDocument->document()->print(&printer);
    if (QFileInfo(fileName).size() == 0)
        return writeFailed(tr("Save to PDF"), fileName, tr("файл пуст"));
    return true;
}

bool QDocCreator::saveHtml(QString fileName)
{
    if (ui->tbDocument->document()->isEmpty() || fileName.isEmpty())
        return false;
    fileName = withSuffix(fileName, QStringLiteral(".html"));
    QFile file(fileName);
    const QByteArray html = ui->tbDocument->document()->toHtml("utf-8").toUtf8();
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(html) != html.size())
        return writeFailed(tr("Save to HTML"), fileName, file.errorString());
    return true;
}

void QDocCreator::onSavePDF()
{
    if (ui->tbDocument->document()->isEmpty())
        return;
    const QString fileName = QFileDialog::getSaveFileName(this, tr("Save to PDF"), QString(),
                                                          tr("PDF documents (*.pdf)"));
    if (!fileName.isEmpty())
        savePdf(fileName);
}

void QDocCreator::onSaveHTML()
{
    if (ui->tbDocument->document()->isEmpty())
        return;
    const QString fileName = QFileDialog::getSaveFileName(this, tr("Save to HTML"), QString(),
                                                          tr("HTML documents (*.html)"));
    if (!fileName.isEmpty())
        saveHtml(fileName);
}

void QDocCreator::onPrint()
{
    if (ui->tbDocument->document()->isEmpty())
        return;
    QPrinter printer(QPrinter::HighResolution);
    QPrintDialog dialog(&printer, this);
    dialog.setWindowTitle(tr("Print document"));
    if (ui->tbDocument->textCursor().hasSelection())
        dialog.addEnabledOption(QAbstractPrintDialog::PrintSelection);
    if (dialog.exec() == QDialog::Accepted)
        ui->tbDocument->print(&printer);
}

void QDocCreator::onPreview()
{
    if (ui->tbDocument->document()->isEmpty())
        return;
    QPrinter printer(QPrinter::HighResolution);
    QPrintPreviewDialog preview(&printer, this);
    connect(&preview, &QPrintPreviewDialog::paintRequested, this, &QDocCreator::printPreview);
    preview.exec();
}

void QDocCreator::printPreview(QPrinter *printer)
{
    ui->tbDocument->print(printer);
}

void QDocCreator::onSaveToBase()
{
    emit saveToBase(ui->tbDocument->toHtml());
}

void QDocCreator::closeEvent(QCloseEvent *event)
{
    if (m_running) {
        // The script is stopped first; the window closes when it has returned.
        m_closeRequested = true;
        m_running->abortEvaluation();
        event->ignore();
        return;
    }
    QMainWindow::closeEvent(event);
}

bool mergeDocument(QString moduleName, QDataSet *dataSet, QWidget *parent)
{
    QObject *loader = static_cast<QObject *>(varToObj(qApp->property("libList")));
    if (!loader || !dataSet)
        return false;
    QLibrary *library = nullptr;
    if (!QMetaObject::invokeMethod(loader, "library", Qt::DirectConnection,
                                   Q_RETURN_ARG(QLibrary *, library), Q_ARG(QString, moduleName)) ||
        !library)
        return false;
    typedef QDataSet *(*GetDocumentFn)(QObject *);
    const auto getDocument = reinterpret_cast<GetDocumentFn>(library->resolve("getDocument"));
    if (!getDocument)
        return false;
    dataSet->intersect(getDocument(parent));
    return true;
}
