#include "cli/OtherNames.h"

#include <algorithm>
#include <string_view>

namespace tarvo {

namespace {

enum class Meaning {
    same,     ///< another name of an option
    anyway,   ///< asks for what happens anyway
    anywayOf, ///< the same, with a value
    refused,
};

struct OtherName {
    std::string_view name;
    Meaning meaning;
    std::string_view own; ///< this program's option, or what to use instead
};

using enum Meaning;

constexpr OtherName kNames[] = {
    {"--dir", same, "--directory"},
    {"--directory-prefix", same, "--directory"},
    {"--output-dir", same, "--directory"},
    {"-P", same, "--directory"},
    {"--out", same, "--output"},
    {"--output-document", same, "--output"},
    {"--max-connection-per-server", same, "--connections"},
    {"--split", same, "--connections"},
    {"--num-connections", same, "--connections"},
    {"-n", same, "--connections"},
    {"--max-concurrent-downloads", same, "--jobs"},
    {"--parallel-max", same, "--jobs"},
    {"--max-overall-download-limit", same, "--limit-rate"},
    {"--max-speed", same, "--limit-rate"},
    {"--load-cookies", same, "--cookie-file"},
    {"--all-proxy", same, "--proxy"},
    {"--retry", same, "--retries"},
    {"--silent", same, "--quiet"},
    {"--inet4-only", same, "--ipv4"},
    {"--inet6-only", same, "--ipv6"},
    {"--location", anyway, ""},
    {"-L", anyway, ""},
    {"--fail", anyway, ""},
    {"--show-error", anyway, ""},
    {"--remote-name", anyway, ""},
    {"--remote-name-all", anyway, ""},
    {"--remote-header-name", anyway, ""},
    {"--content-disposition", anyway, ""},
    {"--create-dirs", anyway, ""},
    {"--timestamping", anyway, ""},
    {"-N", anyway, ""},
    {"--conditional", anyway, ""},
    {"--conditional-get", anyway, ""},
    {"--insecure", anyway, ""},
    {"--no-check-certificate", anyway, ""},
    {"--continue-at", anywayOf, ""},
    {"-C", anywayOf, ""},
    {"--tries", refused, "--retries, which does not count the first attempt"},
    {"--max-tries", refused, "--retries, which does not count the first attempt"},
    {"--timeout", refused, "--connect-timeout"},
    {"--max-time", refused, "timeout(1), as in: timeout 600 tarvo-get URL"},
    {"--http-user", refused, "--user NAME"},
    {"--http-passwd", refused, "--user NAME, which asks for the password"},
    {"--http-password", refused, "--user NAME, which asks for the password"},
    {"--password", refused, "--user NAME, which asks for the password"},
    {"--cookie", refused, "--cookie-file FILE or --header \"Cookie: NAME=VALUE\""},
    {"--max-download-limit", refused, "--limit-rate, which holds for all files together"},
    {"--overwrite", refused, "--again; nothing that is there is overwritten"},
    {"--allow-overwrite", refused, "--again; nothing that is there is overwritten"},
    {"--no-clobber", refused, "no option: nothing that is there is overwritten"},
    {"--range", refused, "curl; whole files are downloaded here"},
    {"--request", refused, "curl; files are asked for with GET here"},
    {"--data", refused, "curl; files are asked for with GET here"},
    {"--post-data", refused, "curl; files are asked for with GET here"},
    {"--form", refused, "curl; files are asked for with GET here"},
    {"--recursive", refused, "a list of addresses, with --input-file"},
    {"--mirror", refused, "a list of addresses, with --input-file"},
    {"--page-requisites", refused, "a list of addresses, with --input-file"},
    {"--remote-time", refused, "touch(1); files have the time of their download"},
    {"--limit-size", refused, "--max-filesize"},
};

const OtherName* otherName(std::string_view word) {
    const auto* const found = std::find_if(std::begin(kNames), std::end(kNames), [&](const OtherName& each) {
        return each.name == word.substr(0, word.find('='));
    });
    return found == std::end(kNames) ? nullptr : found;
}

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// curl's, one letter each, as in -fsSLO; some of them mean something else where they stand alone.
bool areFlagsOfCurl(std::string_view word) {
    return word.size() > 2 && word.front() == '-' &&
           word.find_first_not_of("fsSLOJk", 1) == std::string_view::npos;
}

/// Words that mean one thing to one program and another to the next: what follows tells.
std::vector<std::string> ofSeveralMeanings(const std::string& word, const std::string& next) {
    if (areFlagsOfCurl(word))
        return word.find('s') == std::string::npos ? std::vector<std::string>{}
                                                   : std::vector<std::string>{"--quiet"};
    if (word == "-O-" || word == "-qO-") // as people write it for wget
        return word == "-O-" ? std::vector<std::string>{"--output=-"}
                             : std::vector<std::string>{"--quiet", "--output=-"};
    if (word == "-O" || word == "-qO") { // a name for wget; for curl, that the address has it
        const bool isName =
            !next.empty() && (next == "-" || next.front() != '-') && next.find("://") == std::string::npos;
        if (word == "-qO" && isName)
            return {"--quiet", "--output"};
        return isName ? std::vector<std::string>{"--output"} : std::vector<std::string>{};
    }
    if (word == "-s") // aria2's parts of a file, or curl's silence
        return {isNumber(next) ? "--connections" : "--quiet"};
    if (word.starts_with("-s") && isNumber(std::string_view(word).substr(2)))
        return {"--connections=" + word.substr(2)};
    return {word};
}

} // namespace

Result<std::vector<std::string>> inOwnWords(std::vector<std::string> words) {
    std::vector<std::string> own;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        const OtherName* const other = otherName(word);
        if (word == "--") {
            own.insert(own.end(), words.begin() + static_cast<std::ptrdiff_t>(i), words.end());
            return own;
        }
        if (!other) {
            const auto meant = ofSeveralMeanings(word, i + 1 < words.size() ? words[i + 1] : "");
            own.insert(own.end(), meant.begin(), meant.end());
        } else if (other->meaning == refused) {
            return failure(Error::tarvo("there is no " + std::string(other->name) + " here. Use " +
                                        std::string(other->own) + "."));
        } else if (other->meaning == same) {
            own.push_back(std::string(other->own) + word.substr(std::min(word.find('='), word.size())));
        } else if (other->meaning == anywayOf && word.find('=') == std::string::npos) {
            ++i; // its value
        }
    }
    return own;
}

} // namespace tarvo
