// Finds out what the user could be told, and shows it in the bar above the list.
#pragma once

#include <optional>
#include <set>

#include <QObject>
#include <QTimer>

#include "rows/HintRules.h"
#include "ui/Actions.h"
#include "ui/FreeSpace.h"
#include "ui/HintBar.h"
#include "ui/LinkHandler.h"
#include "ui/WindowEnvironment.h"

namespace tarvo {

/// Main thread.
class Hints final : public QObject {
    Q_OBJECT

public:
    /// All of them outlive it.
    Hints(const WindowEnvironment& environment, Actions& actions, const FreeSpace& freeSpace, HintBar& bar);

    void setTrayMissing(bool isMissing);

Q_SIGNALS:
    /// The user wants to see what fills the download folder.
    void wantsFolder();

private:
    void lookAtSpace();
    void lookAtLinks();
    void refresh();
    void act();
    void switchOff();
    void close();

    const WindowEnvironment m_environment;
    Actions& m_actions;
    const FreeSpace& m_freeSpace;
    HintBar& m_bar;
    LinkHandler m_links;
    QTimer m_later;
    HintFacts m_facts;
    std::set<Hint> m_closed;
    std::optional<Hint> m_shown;
};

} // namespace tarvo
