#include "ui/HintBar.h"

#include <QAccessible>
#include <QHBoxLayout>

#include "base/Runloop.h"
#include "ui/Icons.h"
#include "ui/Text.h"

namespace tarvo {

HintBar::HintBar(QWidget* parent)
    : QFrame(parent), m_sentence(new QLabel(this)), m_button(new QPushButton(this)),
      m_never(new QToolButton(this)), m_close(new QToolButton(this)),
      m_parts(new QBoxLayout(QBoxLayout::LeftToRight, this)), m_buttons(new QHBoxLayout) {
    Runloop::assertMain();
    setBackgroundRole(QPalette::ToolTipBase);
    setForegroundRole(QPalette::ToolTipText);
    setAutoFillBackground(true);
    m_sentence->setForegroundRole(QPalette::ToolTipText);
    m_sentence->setWordWrap(true);
    m_sentence->setTextFormat(Qt::PlainText);
    m_never->setText(text("tr.hint.never"));
    m_never->setAutoRaise(true);
    m_never->setForegroundRole(QPalette::ToolTipText);
    m_close->setIcon(Icons::named(QStringLiteral("window-close")));
    m_close->setAutoRaise(true);
    m_close->setToolTip(text("tr.hint.close"));
    m_close->setAccessibleName(text("tr.hint.close"));
    m_parts->setContentsMargins(8, 4, 8, 4);
    m_parts->addWidget(m_sentence, 1);
    m_parts->addLayout(m_buttons);
    m_buttons->addStretch();
    for (QAbstractButton* button : std::initializer_list<QAbstractButton*>{m_button, m_never, m_close}) {
        button->setFocusPolicy(Qt::TabFocus);
        m_buttons->addWidget(button);
    }
    connect(m_button, &QPushButton::clicked, this, &HintBar::wanted);
    connect(m_never, &QToolButton::clicked, this, &HintBar::switchedOff);
    connect(m_close, &QToolButton::clicked, this, &HintBar::closed);
    hide();
}

/// Where the sentence has less room beside the buttons than they have, it stands above them.
void HintBar::resizeEvent(QResizeEvent* event) {
    const bool isNarrow = width() < 2 * m_buttons->sizeHint().width();
    m_parts->setDirection(isNarrow ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
    QFrame::resizeEvent(event);
}

void HintBar::showHint(const QString& sentence, const QString& button) {
    m_sentence->setText(sentence);
    m_button->setText(button);
    setAccessibleName(sentence);
    show();
    QAccessibleEvent event(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace tarvo
