#include "ui/RenameDialog.h"

#include <QVBoxLayout>

#include "base/FileName.h"
#include "base/Runloop.h"
#include "storage/ProgressBundle.h"
#include "ui/DialogButtons.h"
#include "ui/Text.h"

namespace tarvo {

RenameDialog::RenameDialog(const QString& name, std::function<Result<void>(const std::string& name)> rename,
                           QWidget* parent)
    : QDialog(parent), m_rename(std::move(rename)), m_name(new QLineEdit(name, this)),
      m_remark(new QLabel(this)) {
    Runloop::assertMain();
    setWindowTitle(text("tr.rename.title"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_name->setMinimumWidth(360);
    m_name->setAccessibleName(text("tr.rename.name"));
    const auto dot = name.lastIndexOf(u'.');
    m_name->setSelection(0, static_cast<int>(dot > 0 ? dot : name.size())); // without the extension
    m_remark->setWordWrap(true);
    m_remark->setTextFormat(Qt::PlainText);
    auto* buttons = makeDialogButtons("tr.rename.ok", "Cancel", this);
    m_ok = buttonOf(*buttons, QDialogButtonBox::AcceptRole);
    auto* rows = new QVBoxLayout(this);
    rows->addWidget(m_name);
    rows->addWidget(m_remark);
    rows->addWidget(buttons);
    connect(m_name, &QLineEdit::textChanged, this, &RenameDialog::look);
    connect(buttons, &QDialogButtonBox::accepted, this, &RenameDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    look();
}

/// Says what will become of a name that can't be used as it is.
void RenameDialog::look() {
    const std::string typed = m_name->text().toStdString();
    const std::string cleaned = cleanFileName(typed, ProgressBundle::kExtension);
    m_ok->setEnabled(!cleaned.empty());
    if (cleaned.empty())
        m_remark->setText(text("tr.rename.empty"));
    else
        m_remark->setText(cleaned == typed ? QString() : text("tr.rename.cleaned", {cleaned}));
}

void RenameDialog::accept() {
    if (const auto renamed = m_rename(m_name->text().toStdString()); !renamed)
        m_remark->setText(QString::fromStdString(renamed.error().sentence()));
    else
        QDialog::accept();
}

} // namespace tarvo
