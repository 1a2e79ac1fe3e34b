// The bar of the main window's most used commands, with the search field at its end.
#pragma once

#include <QToolBar>

#include "ui/Actions.h"

namespace tarvo {

/// Main thread. Where the words of its buttons have no room beside the icons, they are left out.
class MainToolBar final : public QToolBar {
    Q_OBJECT

public:
    /// `actions` outlive the bar.
    MainToolBar(const Actions& actions, QWidget* parent);

    /// Puts `field`, which the bar then owns, to its right end.
    void setSearchField(QWidget& field);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    int widthWithWords();

    const Actions& m_actions;
    QAction* m_endOfCommands; // takes the room between the commands and the field
    int m_widthWithWords = 0; // 0: to be measured
};

} // namespace tarvo
