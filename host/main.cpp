// rejects-host: the host application of the defect register.
//
// Start-up: loads the database driver (<libDir>/libpgdriver.so), creates the
// one QSqlConnection, connects it as "MainConnection" (offering to create an
// empty database), logs the user in (dialog, console or --user/--password),
// publishes the application properties every module reads, then loads the
// installed panels (sys.t_panel) from libDir and shows them in the main
// window "WorkplaceWindow".
//
// Exit codes: 0 normal end (or --check passed), 1 driver not loadable,
// 2 no connection to the database, 3 login refused or cancelled, 4 --check
// found no window or no module.

#include "eventregistry.h"
#include "logindialog.h"
#include "moduleloader.h"
#include "qsqlconnection.h"
#include "recordhelpers.h"
#include "workplacewindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QLibrary>
#include <QLibraryInfo>
#include <QLocale>
#include <QMessageBox>
#include <QSettings>
#include <QStatusBar>
#include <QTimer>
#include <QTranslator>
#include <QWindow>
#include <cstdio>

namespace {

enum ExitCode {
    ExitOk = 0,
    ExitNoDriver = 1,
    ExitNoConnection = 2,
    ExitNoLogin = 3,
    ExitCheck = 4
};

const char connectionName[] = "MainConnection";

void printError(const QString &text)
{
    std::fprintf(stderr, "rejects-host: %s\n", qPrintable(text));
    std::fflush(stderr);
}

QString readLine(const char *prompt)
{
    std::fputs(prompt, stdout);
    std::fflush(stdout);
    char buffer[512];
    if (!std::fgets(buffer, sizeof buffer, stdin))
        return QString();
    return QString::fromLocal8Bit(buffer).trimmed();
}

// The command line, parsed (help and errors exit here).
struct HostOptions
{
    QString user, password, libDir, trace;
    bool hasUser = false, hasPassword = false, debugDb = false, noGui = false, noStoredProc = false,
         check = false;
};

HostOptions parseOptions(const QApplication &app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QCoreApplication::translate("main", "Учет брака: host of the defect register"));
    parser.addHelpOption();
    const QCommandLineOption userOption(QStringLiteral("user"),
                                        QStringLiteral("Login (empty: built-in administrator); "
                                                       "no login dialog."),
                                        QStringLiteral("login"));
    const QCommandLineOption passwordOption(QStringLiteral("password"),
                                            QStringLiteral("Password for --user."),
                                            QStringLiteral("password"));
    const QCommandLineOption libDirOption(QStringLiteral("libdir"),
                                          QStringLiteral("Directory of the driver and module "
                                                         "libraries (default <bin>/../lib)."),
                                          QStringLiteral("dir"));
    const QCommandLineOption traceOption(QStringLiteral("trace"),
                                         QStringLiteral("Append every SQL statement to this "
                                                        "file."),
                                         QStringLiteral("file"));
    const QCommandLineOption debugDbOption(QStringLiteral("debug-db"),
                                           QStringLiteral("Show a box for every database error."));
    const QCommandLineOption noGuiOption(QStringLiteral("no-gui"),
                                         QStringLiteral("Console dialogue for connecting and "
                                                        "login; no message boxes."));
    const QCommandLineOption noStoredProcOption(QStringLiteral("no-stored-proc"),
                                                QStringLiteral("Set bNoStoredProc."));
    const QCommandLineOption checkOption(
        QStringLiteral("check"),
        QStringLiteral("Start everything, then exit: 0 when the window is up and a module "
                       "was loaded."));
    parser.addOptions({userOption, passwordOption, libDirOption, traceOption, debugDbOption,
                       noGuiOption, noStoredProcOption, checkOption});
    parser.process(app);

    HostOptions options;
    options.hasUser = parser.isSet(userOption);
    options.hasPassword = parser.isSet(passwordOption);
    options.user = parser.value(userOption);
    options.password = parser.value(passwordOption);
    options.libDir = parser.isSet(libDirOption) ? parser.value(libDirOption) : QString();
    options.trace = parser.value(traceOption);
    options.debugDb = parser.isSet(debugDbOption);
    options.noGui = parser.isSet(noGuiOption);
    options.noStoredProc = parser.isSet(noStoredProcOption);
    options.check = parser.isSet(checkOption);
    return options;
}

// Logs the user in: from the command line, on the console, or in the login
// dialog. False when the login was refused or the dialog cancelled.
bool logIn(QSqlConnection &connection, const HostOptions &options, const QSettings &settings,
           const QString &database, QString *login)
{
    if (options.hasUser || options.noGui) {
        *login = options.hasUser ? options.user : readLine("Login: ");
        const QString password =
            options.hasPassword || options.hasUser ? options.password : readLine("Password: ");
        if (!connection.login(*login, password)) {
            QString text = connection.loginMessage();
            if (text.isEmpty())
                text = QCoreApplication::translate("main", "Неверное имя пользователя или пароль.");
            printError(text + QStringLiteral(" (") + *login + QStringLiteral(")"));
            if (!options.noGui && !options.check)
                QMessageBox::warning(nullptr, QCoreApplication::translate("main", "Внимание"),
                                     text);
            return false;
        }
    } else {
        LoginDialog dialog(&connection, database);
        dialog.setLogin(settings.value(QStringLiteral("Login/last")).toString());
        if (dialog.exec() != QDialog::Accepted)
            return false;
        *login = dialog.login();
    }
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    // Help text needs no display.
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if ((arg == "--help" || arg == "-h" || arg == "-?") &&
            qEnvironmentVariableIsEmpty("DISPLAY") &&
            qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
            qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "minimal");
    }
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("rejects"));
    QApplication::setApplicationName(QStringLiteral("rejects-host"));
    QApplication::setApplicationDisplayName(QCoreApplication::translate("main", "Учет брака"));
    // Qt's own texts (the standard buttons of dialogs and message boxes, the
    // file dialogs) in Russian, as the system's own texts are.
    QTranslator qtTexts;
    if (qtTexts.load(QLocale(QLocale::Russian, QLocale::Russia), QStringLiteral("qtbase"),
                     QStringLiteral("_"), QLibraryInfo::location(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(&qtTexts);

    const HostOptions options = parseOptions(app);
    const bool noGui = options.noGui;
    const bool check = options.check;
    const QString libDir = QDir(!options.libDir.isEmpty() ? options.libDir
                                                          : QApplication::applicationDirPath() +
                                                                QStringLiteral("/../lib"))
                               .absolutePath();

    // What every module reads from the application object.
    QSettings settings;
    QList<QWidget *> popupList;
    app.setProperty("Settings", objToVar(&settings));
    app.setProperty("popupList", objToVar(&popupList));
    app.setProperty("libDir", libDir);
    app.setProperty("SQLTraceFile", options.trace);
    app.setProperty("bDebugDB", options.debugDb);
    app.setProperty("bNoGUI", noGui);
    app.setProperty("bNoStoredProc", options.noStoredProc);
    app.setProperty("MainConnection", QString::fromLatin1(connectionName));
    eventHandlerMap eventHandlers; // modules register their hooks here (getIcon)
    app.setProperty("EventHandlers", objToVar(&eventHandlers));

    QLibrary driver(QDir(libDir).filePath(QStringLiteral("libpgdriver.so")));
    if (!driver.load()) {
        const QString text =
            QCoreApplication::translate("main", "Не удалось загрузить драйвер базы данных: ") +
            driver.errorString();
        printError(text);
        if (!noGui && !check)
            QMessageBox::critical(nullptr, QStringLiteral("ERROR"), text);
        return ExitNoDriver;
    }

    QSqlConnection connection(&driver);
    app.setProperty("Connection", objToVar(&connection));
    if (!connection.Connect(QString::fromLatin1(connectionName), noGui)) {
        const QString text =
            connection.isLoginError()
                ? QCoreApplication::translate("main", "Нет доступа к базе данных: ошибка входа.")
                : QCoreApplication::translate("main", "Нет соединения с базой данных.");
        printError(text);
        if (connection.isLoginError() && !noGui && !check)
            QMessageBox::critical(nullptr, QStringLiteral("ERROR"), text);
        return ExitNoConnection;
    }
    const QString database = connection.getDatabase().databaseName();

    QString login;
    if (!logIn(connection, options, settings, database, &login))
        return ExitNoLogin;
    settings.setValue(QStringLiteral("Login/last"), login);
    app.setProperty("bBigDaddy", login.isEmpty());

    WorkplaceWindow window;
    window.setWindowTitle(QCoreApplication::translate("main", "Учет брака — ") + database);
    window.setUser(app.property("LogedIn").toString());
    window.restoreGeometry(settings.value(QStringLiteral("Workplace/geometry")).toByteArray());

    // A lost server is said once in the status line; the connection comes
    // back by itself and says so too.
    QObject::connect(&connection, &QSqlConnection::connectionLost, &window, [&window] {
        window.statusBar()->showMessage(QCoreApplication::translate(
            "main", "Нет связи с сервером базы данных. Идет повторное подключение..."));
    });
    QObject::connect(&connection, &QSqlConnection::connectionRestored, &window, [&window] {
        window.statusBar()->showMessage(
            QCoreApplication::translate("main", "Связь с сервером базы данных восстановлена"),
            10000);
    });

    ModuleLoader loader(libDir);
    app.setProperty("libList", objToVar(&loader));
    QObject::connect(&loader, &ModuleLoader::message, &window, &WorkplaceWindow::showStatus);
    QPanelList panels;
    if (!connection.GetList(panels))
        window.showStatus(
            QCoreApplication::translate("main", "Не удалось получить список модулей."));
    const int loaded = loader.load(panels, window.moduleArea());
    for (const ModuleLoader::Module &module : loader.modules())
        window.addModule(module);
    window.show();

    if (check) {
        QTimer::singleShot(0, &app, [&] {
            const bool up =
                window.isVisible() && window.windowHandle() &&
                window.windowHandle()->objectName() == QLatin1String("WorkplaceWindowWindow");
            std::printf("window %s, %d of %d module(s) loaded, %d event handler(s)\n",
                        up ? "up" : "not up", loaded, int(panels.size()),
                        int(eventHandlers.size()));
            std::fflush(stdout);
            QApplication::exit(up && loaded > 0 ? ExitOk : ExitCheck);
        });
    }
    const int result = app.exec();
    settings.setValue(QStringLiteral("Workplace/geometry"), window.saveGeometry());
    app.setProperty("Connection", QVariant());
    return result;
}
