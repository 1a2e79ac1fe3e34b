#include "ui/CredentialsDialog.h"

#include <QAction>
#include <QApplication>
#include <QEventLoop>
#include <QLabel>

#include "base/Runloop.h"
#include "ui/DialogButtons.h"
#include "ui/Icons.h"
#include "ui/Text.h"

namespace tarvo {

CredentialsDialog::CredentialsDialog(const AuthenticationQuestion& question, QWidget* parent)
    : QDialog(parent), m_save(new QCheckBox(text("tr.credentials.save"), this)) {
    setWindowTitle(text("tr.credentials.title"));
    auto* form = new QFormLayout(this);
    auto* introduction = new QLabel(text("tr.credentials.introduction"), this);
    introduction->setWordWrap(true);
    form->addRow(introduction);
    auto* service = addField(*form, "tr.credentials.service", question.service);
    service->setReadOnly(true);
    service->setMinimumWidth(40 * service->fontMetrics().averageCharWidth());
    m_username = addField(*form, "tr.credentials.username", question.username);
    m_password = addField(*form, "tr.credentials.password", question.password);
    addReveal();
    if (question.shouldShowKeypairHint) {
        auto* hint = new QLabel(text("tr.credentials.key-hint"), this);
        hint->setWordWrap(true);
        form->addRow(hint);
    }
    form->addRow(m_save);
    auto* buttons = makeDialogButtons("OK", "Cancel", this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    form->addRow(buttons);
    (question.username.empty() ? m_username : m_password)->setFocus();
}

AuthenticationAnswer CredentialsDialog::answer() const {
    return {m_username->text().toStdString(), m_password->text().toStdString(), m_save->isChecked()};
}

QLineEdit* CredentialsDialog::addField(QFormLayout& form, const char* nameKey, const std::string& content) {
    auto* field = new QLineEdit(QString::fromStdString(content), this);
    auto* label = new QLabel(text(nameKey), this);
    label->setBuddy(field);
    field->setAccessibleName(text(nameKey).remove('&'));
    form.addRow(label, field);
    return field;
}

void CredentialsDialog::addReveal() {
    m_password->setEchoMode(QLineEdit::Password);
    auto* reveal = m_password->addAction(Icons::named("view-visible"), QLineEdit::TrailingPosition);
    reveal->setText(text("tr.credentials.reveal"));
    reveal->setToolTip(reveal->text());
    reveal->setCheckable(true);
    connect(reveal, &QAction::toggled, this, [this, reveal](bool isShown) {
        m_password->setEchoMode(isShown ? QLineEdit::Normal : QLineEdit::Password);
        reveal->setIcon(Icons::named(isShown ? "view-hidden" : "view-visible"));
    });
}

std::optional<AuthenticationAnswer>
CredentialsPrompt::promptAuthentication(const AuthenticationQuestion& question) {
    Runloop::assertMain();
    if (m_open) // one at a time: the job fails, and asks again when it is retried
        return std::nullopt;
    CredentialsDialog dialog(question, m_window);
    m_open = &dialog;
    QEventLoop loop;
    connect(&dialog, &QDialog::finished, &loop, &QEventLoop::quit);
    dialog.setAttribute(Qt::WA_ShowWithoutActivating, !QApplication::activeWindow()); // the user is elsewhere
    dialog.show();
    loop.exec();
    m_open = nullptr;
    if (dialog.result() != QDialog::Accepted)
        return std::nullopt;
    return dialog.answer();
}

void CredentialsPrompt::cancelPrompt() {
    Runloop::assertMain();
    if (m_open)
        m_open->reject();
}

} // namespace tarvo
