#include "ui/ErrorList.h"

#include <QApplication>
#include <QClipboard>
#include <QPushButton>
#include <QTextBlock>
#include <QVBoxLayout>

#include "base/Runloop.h"
#include "ui/DialogButtons.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

constexpr int kMostErrors = 1'000;

} // namespace

ErrorList::ErrorList(QWidget* parent) : QDialog(parent), m_text(new QPlainTextEdit(this)) {
    Runloop::assertMain();
    setWindowTitle(text("tr.errors.name"));
    setAttribute(Qt::WA_DeleteOnClose);
    resize(520, 240);
    m_text->setReadOnly(true);
    m_text->setTabChangesFocus(true);
    m_text->setMaximumBlockCount(kMostErrors);
    m_text->setAccessibleName(text("tr.errors.name"));
    auto* buttons = makeDialogButtons({}, "tr.preferences.close", this);
    auto* copy = buttons->addButton(text("tr.errors.copy"), QDialogButtonBox::ActionRole);
    copy->setAutoDefault(false);
    auto* close = buttonOf(*buttons, QDialogButtonBox::RejectRole);
    close->setDefault(true);
    close->setFocus();
    auto* rows = new QVBoxLayout(this);
    rows->addWidget(m_text);
    rows->addWidget(buttons);
    connect(copy, &QPushButton::clicked, this,
            [this] { QApplication::clipboard()->setText(m_text->toPlainText()); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void ErrorList::add(const QString& sentence) {
    Runloop::assertMain();
    const bool isRepeated = sentence == m_last;
    m_times = isRepeated ? m_times + 1 : 1;
    m_last = sentence;
    if (isRepeated) {
        QTextCursor last(m_text->document()->lastBlock());
        last.select(QTextCursor::BlockUnderCursor);
        const QString again =
            QString::fromStdString(localizedCount("tr.errors.repeated", m_times, {sentence.toStdString()}));
        last.insertText(m_text->blockCount() > 1 ? u'\n' + again : again);
    } else {
        m_text->appendPlainText(sentence);
    }
    if (isVisible())
        return;
    setAttribute(Qt::WA_ShowWithoutActivating, !QApplication::activeWindow());
    show();
    QApplication::alert(this);
}

} // namespace tarvo
