#include "ui/EmptyNote.h"

#include <QVBoxLayout>

#include "base/Runloop.h"
#include "ui/Icons.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

constexpr int kIconSize = 64;
constexpr double kTitleScale = 1.4;

} // namespace

EmptyNote::EmptyNote(const Actions& actions, QWidget* parent)
    : QWidget(parent), m_icon(new QLabel(this)), m_title(new QLabel(this)), m_advice(new QLabel(this)),
      m_add(new QPushButton(actions.add->text(), this)),
      m_showAll(new QPushButton(text("tr.empty.show-all"), this)) {
    Runloop::assertMain();
    setBackgroundRole(QPalette::Base);
    setAutoFillBackground(true);
    QFont larger = font();
    larger.setPointSizeF(larger.pointSizeF() * kTitleScale);
    m_title->setFont(larger);
    m_icon->setPixmap(Icons::ofApplication().pixmap(kIconSize));
    auto* rows = new QVBoxLayout(this);
    rows->addStretch();
    for (auto* label : {m_icon, m_title, m_advice}) {
        label->setAlignment(Qt::AlignCenter);
        label->setWordWrap(true);
        rows->addWidget(label);
    }
    rows->addSpacing(8);
    rows->addWidget(m_add, 0, Qt::AlignHCenter);
    rows->addWidget(m_showAll, 0, Qt::AlignHCenter);
    rows->addStretch();
    setFocusPolicy(Qt::ClickFocus); // with no field in its way, links can be pasted at once
    connect(m_add, &QPushButton::clicked, actions.add, &QAction::trigger);
    connect(m_showAll, &QPushButton::clicked, this, &EmptyNote::wantsAll);
    setReason(Reason::queueIsEmpty);
}

void EmptyNote::setReason(Reason reason) {
    const bool isEmpty = reason == Reason::queueIsEmpty;
    m_title->setText(text(isEmpty ? "tr.empty.title" : "tr.empty.none-fits"));
    setAccessibleName(m_title->text());
    m_advice->setText(text(isEmpty ? "tr.empty.advice" : "tr.empty.none-fits-advice"));
    m_icon->setVisible(isEmpty);
    m_add->setVisible(isEmpty);
    m_showAll->setVisible(!isEmpty);
    setFocusProxy(isEmpty ? m_add : m_showAll);
}

} // namespace tarvo
