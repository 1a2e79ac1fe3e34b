#include "app/HeadlessDesk.h"

#include <utility>

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"

namespace tarvo {

namespace {

/// Long enough for what the program was started with to arrive.
constexpr int kTerminationDelayMs = 2'000;

constexpr int kSummaryMs = 10'000;
constexpr std::size_t kMostNotices = 3;
constexpr std::size_t kMostLines = 100;

} // namespace

HeadlessDesk::HeadlessDesk(UserNotices& notices) : m_notices(notices) {
    m_termination.setInterval(kTerminationDelayMs);
    m_termination.setSingleShot(true);
    connect(&m_termination, &QTimer::timeout, this, &HeadlessDesk::nobodyNeedsTheProgram);
    m_summary.setInterval(kSummaryMs);
    m_summary.setSingleShot(true);
    connect(&m_summary, &QTimer::timeout, this, &HeadlessDesk::summarize);
}

void HeadlessDesk::presentError(const Error& error) {
    Runloop::assertMain();
    const std::string sentence = error.sentence();
    if (!m_summary.isActive())
        m_summary.start();
    const bool isNew = m_sentences.size() < kMostLines && m_sentences.insert(sentence).second;
    if (isNew)
        Log::error("{}", sentence);
    if (isNew && m_sentences.size() <= kMostNotices)
        m_notices.deliver({"Tarvo", sentence, false});
    else
        ++m_notShown;
}

void HeadlessDesk::summarize() {
    Runloop::assertMain();
    m_sentences.clear();
    if (const std::size_t count = std::exchange(m_notShown, 0); count > 0) {
        const std::string sentence = localized("tr.err.more-errors", {std::to_string(count)});
        Log::error("{}", sentence);
        m_notices.deliver({"Tarvo", sentence, false});
    }
}

std::size_t HeadlessDesk::runAlert(const std::string& message, const std::string& informativeText,
                                   const std::vector<std::string>& buttons) {
    Runloop::assertMain();
    const std::size_t chosen = harmlessAnswer(buttons);
    Log::warning("{} {} There is no window to ask in; answered: {}", message, informativeText,
                 buttons[chosen]);
    return chosen;
}

void HeadlessDesk::enableAutomaticTermination(const std::string&) {
    Runloop::assertMain();
    m_termination.start();
}

void HeadlessDesk::disableAutomaticTermination(const std::string&) {
    Runloop::assertMain();
    m_termination.stop();
}

BrowserEndReason HeadlessDesk::openBrowserFor(const std::shared_ptr<RemoteFile>&,
                                              std::shared_ptr<RemoteFile>&) {
    return BrowserEndReason::cancelled;
}

} // namespace tarvo
