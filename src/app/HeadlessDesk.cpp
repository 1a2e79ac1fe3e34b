#include "app/HeadlessDesk.h"

#include <algorithm>

#include "base/Localized.h"
#include "base/Log.h"

namespace tarvo {

namespace {

/// Long enough for what the program was started with to arrive.
constexpr int kTerminationDelayMs = 2'000;

} // namespace

HeadlessDesk::HeadlessDesk(UserNotices& notices) : m_notices(notices) {
    m_termination.setInterval(kTerminationDelayMs);
    m_termination.setSingleShot(true);
    connect(&m_termination, &QTimer::timeout, this, &HeadlessDesk::nobodyNeedsTheProgram);
}

void HeadlessDesk::presentError(const Error& error) {
    Log::error("{}", error.sentence());
    m_notices.deliver({"Tarvo", error.sentence(), false});
}

std::size_t HeadlessDesk::runAlert(const std::string& message, const std::string& informativeText,
                                   const std::vector<std::string>& buttons) {
    const auto cancel = std::find(buttons.begin(), buttons.end(), localized("Cancel"));
    const auto chosen = cancel != buttons.end() ? cancel : std::prev(buttons.end());
    Log::warning("{} {} Nobody is there to ask; answered: {}", message, informativeText, *chosen);
    return static_cast<std::size_t>(chosen - buttons.begin());
}

void HeadlessDesk::enableAutomaticTermination(const std::string&) {
    m_termination.start();
}

void HeadlessDesk::disableAutomaticTermination(const std::string&) {
    m_termination.stop();
}

BrowserEndReason HeadlessDesk::openBrowserFor(const std::shared_ptr<RemoteFile>&,
                                              std::shared_ptr<RemoteFile>&) {
    return BrowserEndReason::cancelled;
}

} // namespace tarvo
