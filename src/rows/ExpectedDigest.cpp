#include "rows/ExpectedDigest.h"

#include <algorithm>
#include <cctype>
#include <vector>

#include "base/Text.h"

namespace tarvo {

namespace {

constexpr std::size_t kMostText = 1'048'576; // bytes; a sums file of thousands of names is smaller

std::string withoutSpaceAndCase(std::string_view text) {
    std::string kept;
    for (const unsigned char c : text)
        if (!std::isspace(c))
            kept += static_cast<char>(std::tolower(c));
    return kept;
}

std::optional<Checksum> bareDigest(std::string_view text) {
    return Checksum::guess(withoutSpaceAndCase(text));
}

/// What stands in front of the digest, without a file's name in brackets: "SHA256 (a.iso)" is "sha256".
std::string labelIn(std::string_view text) {
    std::string label = withoutSpaceAndCase(text.substr(0, text.find('(')));
    std::erase(label, '-');
    return label;
}

std::optional<Checksum> labelled(std::string_view line) {
    const std::size_t sign = line.find_last_of(":=");
    if (sign == std::string_view::npos)
        return std::nullopt;
    auto digest = bareDigest(line.substr(sign + 1));
    const std::string label = labelIn(line.substr(0, sign));
    const bool fits = digest && Checksum::nameOf(digest->algorithm) == label;
    return fits ? digest : std::nullopt;
}

/// "DIGEST  NAME", "DIGEST *NAME"; with a name that has to be escaped a backslash stands in front.
std::optional<Checksum> beforeName(std::string_view line) {
    if (line.starts_with('\\'))
        line.remove_prefix(1);
    const std::size_t end = line.find_first_of(" \t");
    return end == std::string_view::npos ? std::nullopt : bareDigest(line.substr(0, end));
}

std::optional<Checksum> digestOfLine(std::string_view line) {
    for (const auto reads : {bareDigest, labelled, beforeName})
        if (auto digest = reads(line))
            return digest;
    return std::nullopt;
}

/// Whether the line is of the file of that name, in whatever folder.
bool names(std::string_view line, std::string_view fileName) {
    if (fileName.empty())
        return false;
    const std::string bracketed = "(" + std::string(fileName) + ")";
    if (line.find(bracketed) != std::string_view::npos)
        return true;
    if (!line.ends_with(fileName) || line.size() == fileName.size())
        return false;
    return std::string_view(" \t*/").find(line[line.size() - fileName.size() - 1]) != std::string_view::npos;
}

struct Found {
    Checksum digest;
    bool namesFile;
};

std::vector<Found> digestsIn(std::string_view text, std::string_view fileName) {
    std::vector<Found> found;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (auto digest = digestOfLine(line))
            found.push_back({std::move(*digest), names(line, fileName)});
    }
    return found;
}

} // namespace

std::string shownName(Checksum::Algorithm algorithm) {
    if (algorithm == Checksum::Algorithm::md5)
        return "MD5";
    return algorithm == Checksum::Algorithm::sha1 ? "SHA-1" : "SHA-256";
}

std::optional<Checksum> expectedDigest(std::string_view text, std::string_view fileName) {
    text = text.substr(0, kMostText);
    if (auto digest = bareDigest(text)) // also one that is broken into several lines
        return digest;
    auto found = digestsIn(text, fileName);
    if (found.size() > 1)
        std::erase_if(found, [](const Found& each) { return !each.namesFile; });
    return found.size() == 1 ? std::optional(found.front().digest) : std::nullopt;
}

const std::string& digestOf(const TRFileHash::Digests& digests, Checksum::Algorithm algorithm) {
    if (algorithm == Checksum::Algorithm::md5)
        return digests.md5;
    return algorithm == Checksum::Algorithm::sha1 ? digests.sha1 : digests.sha256;
}

DigestMatch judge(std::string_view text, const std::optional<Checksum>& expected,
                  const std::optional<TRFileHash::Digests>& computed) {
    if (trimmed(text).empty())
        return DigestMatch::nothingExpected;
    if (!expected)
        return DigestMatch::notUnderstood;
    if (!computed)
        return DigestMatch::notComputed;
    return digestOf(*computed, expected->algorithm) == expected->digest ? DigestMatch::matches
                                                                        : DigestMatch::differs;
}

} // namespace tarvo
