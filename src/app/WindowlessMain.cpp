#include "app/WindowlessMain.h"

#include "app/AddFailures.h"
#include "app/LinkAdder.h"
#include "base/Runloop.h"
#include "input/TRPasteboardExtractor.h"
#include "input/TRStringURL.h"

namespace tarvo {

std::vector<AddOutcome> WindowlessMain::addDownloadFromString(const std::string& text) {
    std::vector<std::optional<Url>> links;
    for (const std::string_view line : linesOf(text))
        links.push_back(supportedURL(line));
    return addLinks(links, usualChoices(m_environment.defaults, m_homeFolder), m_queue, m_environment);
}

AddOutcome WindowlessMain::addDownloadFromBundleFile(const std::string& bundle) {
    return addBundle(bundle, m_queue);
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
