// Asks for the user name and password of a server.
#pragma once

#include <QCheckBox>
#include <QDialog>
#include <QFormLayout>
#include <QLineEdit>
#include <QPointer>

#include "jobs/AuthenticationPrompt.h"

namespace tarvo {

/// Not modal: the list and all else can be used meanwhile. Main thread.
class CredentialsDialog final : public QDialog {
    Q_OBJECT

public:
    CredentialsDialog(const AuthenticationQuestion& question, QWidget* parent);

    AuthenticationAnswer answer() const;

private:
    QLineEdit* addField(QFormLayout& form, const char* nameKey, const std::string& content);
    void addReveal();

    QLineEdit* m_username;
    QLineEdit* m_password;
    QCheckBox* m_save;
};

/// Shows one question after the other, each until it is answered or called back. Main thread.
class CredentialsPrompt final : public QObject, public AuthenticationPrompt {
public:
    std::optional<AuthenticationAnswer> promptAuthentication(const AuthenticationQuestion& question) override;
    void cancelPrompt() override;

    /// What the questions belong to.
    void setWindow(QWidget* window) { m_window = window; }

private:
    QPointer<QWidget> m_window;
    CredentialsDialog* m_open = nullptr; // while a question is asked
};

} // namespace tarvo
