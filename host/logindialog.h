#pragma once

#include <QDialog>

namespace Ui {
class LoginDialog;
}
class QSqlConnection;

// Asks for login and password and logs in through the connection. A refused
// login says so and keeps the dialog open; Cancel gives up. The empty login
// is the built-in administrator.
class LoginDialog : public QDialog
{
    Q_OBJECT
public:
    LoginDialog(QSqlConnection *connection, const QString &database, QWidget *parent = nullptr);
    ~LoginDialog() override;

    void setLogin(const QString &login);
    QString login() const;
    QString password() const;

private slots:
    void on_buttonBox_accepted();
    void on_buttonBox_rejected();

private:
    Ui::LoginDialog *ui;
    QSqlConnection *m_connection;
};
