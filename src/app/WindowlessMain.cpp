#include "app/WindowlessMain.h"

#include "app/AddFailures.h"
#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "input/TRPasteboardExtractor.h"
#include "input/TRStringURL.h"
#include "jobs/CURLRemoteFile.h"

namespace tarvo {

std::vector<AddOutcome> WindowlessMain::addDownloadFromString(const std::string& text) {
    Runloop::assertMain();
    std::vector<AddOutcome> outcomes;
    std::vector<QueueController::Job> jobs;
    std::unordered_set<std::string> identities;
    for (const std::string_view line : linesOf(text)) {
        const auto url = supportedURL(line);
        outcomes.push_back(url ? outcomeOf(*url, jobs, identities) : AddOutcome{AddOutcome::Kind::noLink});
    }
    if (jobs.empty()) {
        Log::info("There was no new address to download in what was added");
        return outcomes;
    }
    const auto added = m_queue.addDownloads(jobs);
    Log::assertThat(added.has_value()); // what would be refused has been left out
    return outcomes;
}

/// What can be taken goes to the end of `jobs`.
AddOutcome WindowlessMain::outcomeOf(const Url& url, std::vector<QueueController::Job>& jobs,
                                     std::unordered_set<std::string>& identities) const {
    if (m_queue.hasEnded())
        return AddOutcome::refusal(programEnds());
    if (jobs.size() >= m_queue.freePlaces())
        return AddOutcome::refusal(queueIsFull());
    const Settings settings(m_environment.defaults);
    auto job = CURLRemoteFile::create(url, settings.defaultThreading(),
                                      settings.defaultDirectory(m_homeFolder), m_environment);
    const std::string identity = job->identity();
    if (m_queue.isUnfinished(identity) || !identities.insert(identity).second)
        return {AddOutcome::Kind::alreadyThere};
    jobs.push_back(std::move(job));
    return {};
}

AddOutcome WindowlessMain::addDownloadFromBundleFile(const std::string& bundle) {
    Runloop::assertMain();
    const auto added = m_queue.addBundleFile(bundle);
    if (added)
        return {};
    if (added.error().is(ErrorDomain::Tarvo, kTarvoDuplicateEntry))
        return {AddOutcome::Kind::alreadyThere};
    return AddOutcome::refusal(added.error());
}

bool WindowlessMain::acceptDrop(const Pasteboard& pasteboard) {
    Runloop::assertMain();
    const auto bundles = TRPasteboardExtractor::findTarvoIncompleteFilesInPasteboard(pasteboard);
    std::vector<AddOutcome> outcomes;
    outcomes.reserve(bundles.size());
    for (const auto& bundle : bundles)
        outcomes.push_back(addDownloadFromBundleFile(bundle.localPath()));
    const auto links = TRPasteboardExtractor::findURLsInPasteboard(pasteboard);
    if (!links.empty()) {
        const auto added = addDownloadFromString(TRPasteboardExtractor::textForPasting("", links));
        outcomes.insert(outcomes.end(), added.begin(), added.end());
    }
    presentFailures(outcomes, m_alerts);
    return !bundles.empty() || !links.empty();
}

} // namespace tarvo
