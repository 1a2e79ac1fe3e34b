#include "ui/AddressDialog.h"

#include <QFormLayout>
#include <QVBoxLayout>

#include "base/Runloop.h"
#include "input/TRPasteboardExtractor.h"
#include "input/TRStringURL.h"
#include "ui/DialogButtons.h"
#include "ui/PasteboardData.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

/// The link in the clipboard, if that holds one and no more, and it is another than `present`.
QString linkInClipboard(const Url& present) {
    const auto links = TRPasteboardExtractor::findURLsInPasteboard(clipboardContent());
    const auto url = links.size() == 1 ? supportedURL(links.front()) : std::nullopt;
    return url && *url != present ? QString::fromStdString(url->absoluteString()) : QString();
}

QLabel* wrappedLabel(const QString& words, QWidget* parent) {
    auto* label = new QLabel(words, parent);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    return label;
}

} // namespace

AddressDialog::AddressDialog(const Url& present, std::function<Result<void>(const Url& address)> change,
                             QWidget* parent)
    : QDialog(parent), m_change(std::move(change)), m_address(new QLineEdit(linkInClipboard(present), this)),
      m_remark(wrappedLabel({}, this)) {
    Runloop::assertMain();
    setWindowTitle(text("tr.address.title"));
    setWindowModality(Qt::WindowModal);
    setAttribute(Qt::WA_DeleteOnClose);
    placeControls(present);
}

void AddressDialog::placeControls(const Url& present) {
    auto* old = new QLineEdit(QString::fromStdString(present.withoutPassword()), this);
    old->setReadOnly(true);
    old->setCursorPosition(0);
    m_address->setMinimumWidth(460);
    m_address->setObjectName(QStringLiteral("address"));
    m_address->selectAll();
    m_remark->setObjectName(QStringLiteral("remark"));
    auto* buttons = makeDialogButtons("tr.address.ok", "Cancel", this);
    auto* ok = buttonOf(*buttons, QDialogButtonBox::AcceptRole);
    ok->setEnabled(!m_address->text().isEmpty());
    auto* fields = new QFormLayout;
    for (const auto& [key, field] : {std::pair("tr.address.old", old), {"tr.address.new", m_address}}) {
        field->setAccessibleName(text(key));
        fields->addRow(text(key), field);
    }
    auto* rows = new QVBoxLayout(this);
    rows->addLayout(fields);
    rows->addWidget(wrappedLabel(text("tr.address.note"), this));
    rows->addWidget(m_remark);
    rows->addWidget(buttons);
    m_address->setFocus();
    connect(m_address, &QLineEdit::textChanged, this, [this, ok](const QString& typed) {
        ok->setEnabled(!typed.trimmed().isEmpty());
        m_remark->clear();
    });
    connect(buttons, &QDialogButtonBox::accepted, this, &AddressDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void AddressDialog::accept() {
    const auto url = supportedURL(m_address->text().trimmed().toStdString());
    if (!url)
        m_remark->setText(text("tr.address.unusable"));
    else if (const auto changed = m_change(*url); !changed)
        m_remark->setText(QString::fromStdString(changed.error().sentence()));
    else
        QDialog::accept();
}

} // namespace tarvo
