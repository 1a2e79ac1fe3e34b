#include "input/LinkLines.h"

#include <algorithm>
#include <unordered_set>

#include "base/Text.h"
#include "input/TRStringURL.h"

namespace tarvo {

namespace {

LinkLine readLine(std::string_view line) {
    const std::string_view text = trimmed(line);
    if (text.empty())
        return {};
    if (auto url = supportedURL(line))
        return {LinkLine::Kind::good, std::move(url)};
    if (TRStringURL(std::string(text)).isSupported())
        return {LinkLine::Kind::malformed};
    const bool isAddress = text.find("://") != std::string_view::npos || text.starts_with("mailto:") ||
                           text.starts_with("magnet:");
    return {isAddress ? LinkLine::Kind::otherScheme : LinkLine::Kind::noAddress};
}

} // namespace

LinkCounts countsOf(const std::vector<LinkLine>& lines) {
    LinkCounts counts;
    for (const auto& line : lines) {
        const bool isKnown = line.kind == LinkLine::Kind::alreadyThere;
        counts.addresses += line.kind == LinkLine::Kind::good || isKnown ? 1 : 0;
        counts.alreadyThere += isKnown ? 1 : 0;
        counts.bad += line.isBad() ? 1 : 0;
    }
    return counts;
}

std::vector<LinkLine> LinkReader::read(std::string_view text, const IsKnown& isKnown) {
    std::vector<LinkLine> lines;
    std::unordered_map<std::string, LinkLine> known;
    std::unordered_set<std::string> identities;
    for (const std::string_view each : linesOf(text)) {
        std::string key(each);
        auto before = m_known.extract(key);
        LinkLine line = !before.empty() ? before.mapped() : readLine(each);
        known.try_emplace(std::move(key), line);
        if (line.url && !identities.insert(line.url->absoluteString()).second)
            line.kind = LinkLine::Kind::repeated;
        else if (line.url && isKnown(line.url->absoluteString()))
            line.kind = LinkLine::Kind::alreadyThere;
        lines.push_back(std::move(line));
    }
    m_known = std::move(known);
    return lines;
}

} // namespace tarvo
