#include "ui/MainToolBar.h"

#include <QEvent>
#include <QToolButton>

#include "base/Runloop.h"
#include "ui/Text.h"

namespace tarvo {

MainToolBar::MainToolBar(const Actions& actions, QWidget* parent)
    : QToolBar(text("tr.menu.toolbar"), parent), m_actions(actions) {
    Runloop::assertMain();
    setObjectName(QStringLiteral("toolbar"));
    setMovable(false);
    setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    addAction(actions.add);
    addAction(actions.browser);
    addSeparator();
    addAction(actions.startPause);
    addSeparator();
    addActions({actions.resume, actions.pause, actions.remove, actions.information});
    auto* room = new QWidget(this);
    room->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    m_endOfCommands = addWidget(room);
    for (auto* button : findChildren<QToolButton*>()) {
        if (button->objectName() == QLatin1String("qt_toolbar_ext_button"))
            button->setAccessibleName(text("tr.toolbar.more"));
        else
            button->setFocusPolicy(Qt::TabFocus); // a click leaves the focus with the list
    }
    connect(m_actions.startPause, &QAction::changed, this, [this] { m_widthWithWords = 0; });
}

void MainToolBar::setSearchField(QWidget& field) {
    addWidget(&field);
    m_widthWithWords = 0;
}

/// With the words shown, for a moment, if they are not.
int MainToolBar::widthWithWords() {
    if (m_widthWithWords == 0) {
        const auto style = toolButtonStyle();
        setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        m_widthWithWords = sizeHint().width();
        setToolButtonStyle(style);
    }
    return m_widthWithWords;
}

void MainToolBar::resizeEvent(QResizeEvent* event) {
    QToolBar::resizeEvent(event);
    setToolButtonStyle(width() < widthWithWords() ? Qt::ToolButtonIconOnly : Qt::ToolButtonTextBesideIcon);
}

void MainToolBar::changeEvent(QEvent* event) {
    QToolBar::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        m_widthWithWords = 0;
}

} // namespace tarvo
