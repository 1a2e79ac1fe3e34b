#include "ui/Hints.h"

#include "base/Readable.h"
#include "base/Runloop.h"
#include "base/SettingKeys.h"
#include "base/Settings.h"
#include "queue/RemoteFileCollectionStats.h"
#include "ui/Text.h"

namespace tarvo {

namespace {

/// After the window has come, which is what the user waits for first.
constexpr int kAskForLinksMs = 3'000;

} // namespace

Hints::Hints(const WindowEnvironment& environment, Actions& actions, const FreeSpace& freeSpace, HintBar& bar)
    : m_environment(environment), m_actions(actions), m_freeSpace(freeSpace), m_bar(bar) {
    Runloop::assertMain();
    connect(&m_freeSpace, &FreeSpace::told, this, &Hints::lookAtSpace);
    connect(&m_bar, &HintBar::wanted, this, &Hints::act);
    connect(&m_bar, &HintBar::closed, this, &Hints::close);
    connect(&m_bar, &HintBar::switchedOff, this, &Hints::switchOff);
    connect(&environment.defaults, &UserDefaults::changed, this, [this](const std::string& key) {
        if (key != SettingKey::kHintsSwitchedOff)
            return;
        if (Settings(m_environment.defaults).hintsSwitchedOff().empty()) // all are wanted again
            m_closed.clear();
        refresh();
    });
    m_later.setSingleShot(true);
    connect(&m_later, &QTimer::timeout, this, &Hints::lookAtLinks);
    m_later.start(kAskForLinksMs);
}

void Hints::setTrayMissing(bool isMissing) {
    Runloop::assertMain();
    m_facts.isTrayMissing = isMissing;
    refresh();
}

void Hints::lookAtSpace() {
    const std::string folder = Settings(m_environment.defaults).defaultDirectory(m_environment.homeFolder);
    m_facts.freeBytes = m_freeSpace.bytes();
    m_facts.neededBytes = 0;
    m_environment.queue.remoteFiles().content().forEachIn(
        {rf_state_initializing, rf_state_preparing, rf_state_ready, rf_state_running, rf_state_paused},
        [&](const std::shared_ptr<RemoteFile>& job) {
            const std::int64_t missing = job->fileSize() - job->totalBytesDownloaded();
            if (missing > 0 && job->basePath() == folder)
                m_facts.neededBytes = sumOfBytes(m_facts.neededBytes, missing);
            return true;
        });
    refresh();
}

void Hints::lookAtLinks() {
    if (!LinkHandler::canBeThisProgram())
        return;
    m_links.ask([this](bool areElsewhere) {
        m_facts.areLinksElsewhere = areElsewhere;
        refresh();
    });
}

void Hints::refresh() {
    const auto hint = hintToShow(m_facts, Settings(m_environment.defaults).hintsSwitchedOff(), m_closed);
    if (hint == m_shown)
        return;
    m_shown = hint;
    if (!hint)
        return m_bar.hide();
    switch (*hint) {
    case Hint::diskFull:
        return m_bar.showHint(text("tr.hint.disk-full", {readableSize(m_facts.neededBytes),
                                                         readableSize(m_facts.freeBytes.value_or(0))}),
                              text("tr.hint.disk-full-button"));
    case Hint::browserLinks:
        return m_bar.showHint(text("tr.hint.browser-links"), text("tr.hint.browser-links-button"));
    case Hint::noTray:
        return m_bar.showHint(text("tr.hint.no-tray"), text("tr.hint.no-tray-button"));
    }
}

void Hints::act() {
    if (!m_shown)
        return;
    switch (*m_shown) {
    case Hint::diskFull:
        Q_EMIT wantsFolder();
        return;
    case Hint::browserLinks:
        m_links.takeLinks([this](bool taken) {
            if (!taken)
                m_environment.alerts.presentError(Error::tarvo(localized("tr.hint.links-not-taken")));
            lookAtLinks();
        });
        return;
    case Hint::noTray:
        m_actions.preferences->trigger();
        return;
    }
}

void Hints::close() {
    if (m_shown)
        m_closed.insert(*m_shown);
    refresh();
}

void Hints::switchOff() {
    if (!m_shown)
        return;
    const std::string before = Settings(m_environment.defaults).hintsSwitchedOff();
    m_environment.defaults.set(SettingKey::kHintsSwitchedOff,
                               QString::fromStdString(withSwitchedOff(before, *m_shown)));
    refresh();
}

} // namespace tarvo
