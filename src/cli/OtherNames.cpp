#include "cli/OtherNames.h"

#include <algorithm>
#include <cctype>
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

constexpr std::string_view kElevenSeconds = "no option: the next attempt comes after eleven seconds";
constexpr std::string_view kGetOnly = "curl; files are asked for with GET here";
constexpr std::string_view kList = "a list of addresses, with --input-file";
constexpr std::string_view kPassword = "--user NAME, which asks for the password";
constexpr std::string_view kNothingOverwritten = "no option: nothing that is there is overwritten";
constexpr std::string_view kNotVerified = "--checksum; certificates are not verified here";

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
    {"-u", same, "--user"},
    {"-A", same, "--user-agent"},
    {"--retry", same, "--retries"},
    {"--silent", same, "--quiet"},
    {"-v", same, "--verbose"},
    {"-V", same, "--version"},
    {"--inet4-only", same, "--ipv4"},
    {"--inet6-only", same, "--ipv6"},
    {"--conditional", same, "--timestamping"},
    {"--conditional-get", same, "--timestamping"},
    {"--location", anyway, ""},
    {"-L", anyway, ""},
    {"--fail", anyway, ""},
    {"-f", anyway, ""},
    {"--show-error", anyway, ""},
    {"-S", anyway, ""},
    {"--remote-name", anyway, ""},
    {"--remote-name-all", anyway, ""},
    {"--remote-header-name", anyway, ""},
    {"-J", anyway, ""},
    {"--content-disposition", anyway, ""},
    {"--create-dirs", anyway, ""},
    {"--insecure", anyway, ""},
    {"--no-check-certificate", anyway, ""},
    {"--compressed", anyway, ""},
    {"--globoff", anyway, ""},
    {"-g", anyway, ""},
    {"--retry-connrefused", anyway, ""},
    {"--retry-all-errors", anyway, ""},
    {"--progress-bar", anyway, ""},
    {"-#", anyway, ""},
    {"--show-progress", anyway, ""},
    {"--no-verbose", anyway, ""},
    {"-nv", anyway, ""},
    {"--alternate", anyway, ""},
    {"--progress", anywayOf, ""},
    {"--continue-at", anywayOf, ""},
    {"-C", anywayOf, ""},
    {"--file-allocation", anywayOf, ""},
    {"--min-split-size", anywayOf, ""},
    {"--summary-interval", anywayOf, ""},
    {"--console-log-level", anywayOf, ""},
    {"-t", refused, "--retries, or --connect-timeout"},
    {"-m", refused, "--retries, or timeout(1), as in: timeout 600 tarvo-get URL"},
    {"--retry-delay", refused, kElevenSeconds},
    {"--retry-wait", refused, kElevenSeconds},
    {"--waitretry", refused, kElevenSeconds},
    {"--timeout", refused, "--connect-timeout"},
    {"-T", refused, "--connect-timeout"},
    {"--max-time", refused, "timeout(1), as in: timeout 600 tarvo-get URL"},
    {"--http-user", refused, "--user NAME"},
    {"--http-passwd", refused, kPassword},
    {"--http-password", refused, kPassword},
    {"--password", refused, kPassword},
    {"--cookie", refused, "--cookie-file FILE or --header \"Cookie: NAME=VALUE\""},
    {"-b", refused, "--cookie-file FILE, or & behind the command to have it in the background"},
    {"--background", refused, "& behind the command"},
    {"-U", refused, "--user-agent TEXT"},
    {"--parallel", refused, "--jobs N, how many files at once"},
    {"-Z", refused, "--jobs N, how many files at once"},
    {"--write-out", refused, "--json"},
    {"-w", refused, "--json"},
    {"--max-download-limit", refused, "--limit-rate, which holds for all files together"},
    {"--overwrite", refused, "--again; nothing that is there is overwritten"},
    {"--allow-overwrite", refused, "--again; nothing that is there is overwritten"},
    {"--auto-file-renaming", refused, kNothingOverwritten},
    {"--time-cond", refused, "--timestamping"},
    {"-z", refused, "--timestamping"},
    {"--no-clobber", refused, kNothingOverwritten},
    {"-nc", refused, kNothingOverwritten},
    {"--cacert", refused, kNotVerified},
    {"--ca-certificate", refused, kNotVerified},
    {"--range", refused, "curl; whole files are downloaded here"},
    {"--head", refused, "curl; whole files are downloaded here"},
    {"-I", refused, "curl; whole files are downloaded here"},
    {"--request", refused, kGetOnly},
    {"-X", refused, kGetOnly},
    {"--data", refused, kGetOnly},
    {"--post-data", refused, kGetOnly},
    {"--form", refused, kGetOnly},
    {"-F", refused, kGetOnly},
    {"--recursive", refused, kList},
    {"-r", refused, kList},
    {"--mirror", refused, kList},
    {"--page-requisites", refused, kList},
    {"--remote-time", refused, "touch(1); files have the time of their download"},
    {"-R", refused, "touch(1); files have the time of their download"},
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

/// "1M", as aria2 takes sizes; addresses begin with a letter.
bool isSize(std::string_view text) {
    return !text.empty() && std::isdigit(static_cast<unsigned char>(text.front())) != 0 &&
           text.find_first_of(":/.") == std::string_view::npos;
}

bool isAddress(std::string_view text) {
    return text.find("://") != std::string_view::npos;
}

/// What some words mean here, and whether the one that follows belongs to them.
struct Meant {
    std::vector<std::string> words{};
    bool isWithNext = false;
};

/// curl's, one letter each, as in -fsSLO; some of them mean something else where they stand alone.
bool areFlagsOfCurl(std::string_view word) {
    return word.size() > 2 && word.front() == '-' &&
           word.find_first_not_of("fsSLOJkg#", 1) == std::string_view::npos;
}

/// wget's and aria2's count the first attempt, and take 0 for no end.
Meant ofTries(const std::string& word, const std::string& next) {
    const auto equals = word.find('=');
    const bool isWithNext = equals == std::string::npos;
    const std::string value = isWithNext ? next : word.substr(equals + 1);
    constexpr std::size_t kMostDigits = 6;
    if (!isNumber(value) || value.size() > kMostDigits)
        return {{"--retries=" + value}, isWithNext};
    const int tries = std::stoi(value);
    return {{"--retries=" + std::to_string(tries == 0 ? 1'000'000 : tries - 1)}, isWithNext};
}

/// wget's -O NAME or -O-, and curl's -O, for which the address has the name.
Meant ofOutput(const std::string& word, const std::string& next) {
    const std::string last = word.substr(word.find('O') + 1);
    Meant meant;
    if (word.starts_with("-q"))
        meant.words.emplace_back("--quiet");
    if (last == "-")
        meant.words.emplace_back("--output=-");
    else if (!next.empty() && (next == "-" || next.front() != '-') && !isAddress(next))
        meant.words.emplace_back("--output");
    return meant;
}

/// Words that mean one thing to one program and another to the next: what follows tells.
Meant ofSeveralMeanings(const std::string& word, const std::string& next) {
    if (areFlagsOfCurl(word))
        return {word.find('s') == std::string::npos ? std::vector<std::string>{}
                                                    : std::vector<std::string>{"--quiet"}};
    if (word == "-O" || word == "-O-" || word == "-qO" || word == "-qO-")
        return ofOutput(word, next);
    if (word == "-s") // aria2's parts of a file, or curl's silence
        return {{isNumber(next) ? "--connections" : "--quiet"}};
    if (word.starts_with("-s") && isNumber(std::string_view(word).substr(2)))
        return {{"--connections=" + word.substr(2)}};
    if (word == "-k") // aria2's least size of a part, or curl's trust
        return {{}, isSize(next)};
    if (word.starts_with("-k") && isSize(std::string_view(word).substr(2)))
        return {};
    if (word == "-x" && next.find(':') != std::string::npos) // curl's proxy
        return {{"--proxy"}};
    if (word == "-e" && isAddress(next)) // curl's; wget's is a line of its settings
        return {{"--referer"}};
    if (word == "-a" && (next.empty() || next.front() == '-' || isAddress(next))) // axel's other display
        return {};
    if (word == "--check-certificate=false")
        return {};
    if (word.starts_with("--tries") || word.starts_with("--max-tries"))
        return ofTries(word, next);
    return {{word}};
}

/// One of a single letter with its value behind it, as in -ubob; null for anything else.
const OtherName* otherNameWithValue(std::string_view word) {
    constexpr std::size_t kLetter = 2;
    const bool isShort = word.size() > kLetter && word[0] == '-' && word[1] != '-';
    const OtherName* const other = isShort ? otherName(word.substr(0, kLetter)) : nullptr;
    const bool takesValue = other && std::string_view("ACPnu").find(word[1]) != std::string_view::npos;
    return takesValue || (other && other->meaning == refused) ? other : nullptr;
}

} // namespace

Result<std::vector<std::string>> inOwnWords(std::vector<std::string> words) {
    std::vector<std::string> own;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "--") {
            own.insert(own.end(), words.begin() + static_cast<std::ptrdiff_t>(i), words.end());
            return own;
        }
        const OtherName* const whole = otherName(word);
        const OtherName* const other = whole ? whole : otherNameWithValue(word);
        if (!other) {
            const Meant meant = ofSeveralMeanings(word, i + 1 < words.size() ? words[i + 1] : "");
            own.insert(own.end(), meant.words.begin(), meant.words.end());
            i += meant.isWithNext ? 1 : 0;
        } else if (other->meaning == refused) {
            return failure(Error::tarvo("there is no " + std::string(other->name) + " here. Use " +
                                        std::string(other->own) + "."));
        } else if (other->meaning == same) {
            const auto rest = whole ? word.substr(std::min(word.find('='), word.size()))
                                    : "=" + word.substr(other->name.size());
            own.push_back(std::string(other->own) + rest);
        } else if (other->meaning == anywayOf && whole && word.find('=') == std::string::npos) {
            ++i; // its value
        }
    }
    return own;
}

} // namespace tarvo
