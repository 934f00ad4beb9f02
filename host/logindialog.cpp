#include "logindialog.h"

#include "qsqlconnection.h"
#include "ui_logindialog.h"

#include <QMessageBox>

LoginDialog::LoginDialog(QSqlConnection *connection, const QString &database, QWidget *parent)
    : QDialog(parent)
    , ui(new Ui::LoginDialog)
    , m_connection(connection)
{
    ui->setupUi(this);
    ui->lbDatabase->setText(tr("База данных: ") + database);
}

LoginDialog::~LoginDialog()
{
    delete ui;
}

void LoginDialog::setLogin(const QString &login)
{
    ui->edLogin->setText(login);
    if (!login.isEmpty())
        ui->edPassword->setFocus();
}

QString LoginDialog::login() const
{
    return ui->edLogin->text().trimmed();
}

QString LoginDialog::password() const
{
    return ui->edPassword->text();
}

void LoginDialog::on_buttonBox_accepted()
{
    if (m_connection->login(login(), password())) {
        accept();
        return;
    }
    QString text = m_connection->loginMessage();
    if (text.isEmpty())
        text = tr("Неверное имя пользователя или пароль.");
    QMessageBox::warning(this, tr("Внимание"), text);
    ui->edPassword->clear();
    ui->edPassword->setFocus();
}

void LoginDialog::on_buttonBox_rejected()
{
    reject();
}
