#include "app/WindowlessMain.h"

#include "base/Log.h"
#include "input/TRPasteboardExtractor.h"
#include "input/TRStringURL.h"
#include "jobs/CURLRemoteFile.h"

namespace tarvo {

void WindowlessMain::addDownloadFromString(const std::string& text) {
    std::vector<QueueController::Job> jobs;
    for (const auto& url : supportedURLs(text))
        jobs.push_back(CURLRemoteFile::create(url, m_settings.defaultThreading(),
                                              m_settings.defaultDirectory(), m_environment));
    if (jobs.empty()) {
        Log::warning("There was no address to download in what was added");
        return;
    }
    if (const auto added = m_queue.addDownloads(jobs); !added)
        m_alerts.presentError(added.error());
}

void WindowlessMain::addDownloadFromBundleFile(const std::string& bundle) {
    if (const auto added = m_queue.addBundleFile(bundle); !added)
        m_alerts.presentError(added.error());
}

bool WindowlessMain::acceptDrop(const Pasteboard& pasteboard) {
    const auto bundles = TRPasteboardExtractor::findTarvoIncompleteFilesInPasteboard(pasteboard);
    for (const auto& bundle : bundles)
        addDownloadFromBundleFile(bundle.localPath());
    const auto links = TRPasteboardExtractor::findURLsInPasteboard(pasteboard);
    if (!links.empty())
        addDownloadFromString(TRPasteboardExtractor::textForPasting("", links));
    return !bundles.empty() || !links.empty();
}

} // namespace tarvo
