#include "cli/Options.h"

#include "base/Disk.h"
#include "base/Text.h"
#include "cli/HelpText.h"
#include "cli/OtherNames.h"
#include "engine/transfer/ProxyUrlProvider.h"
#include "jobs/CURLRemoteFile.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <CLI/CLI.hpp>

namespace tarvo {

namespace {

constexpr int kBadUsage = 2;
constexpr std::int64_t kMostJobs = 256;

/// The options as texts, before they mean anything.
struct Raw {
    std::vector<std::string> targets;
    std::string inputFile;
    std::string address;
    std::string referer;
    std::string user;
    std::string checksum;
    std::string largestFile;
    std::string limitRate;
    bool hasDirectory = false;
    bool isContinued = false;
    bool isIpv4 = false;
    bool isIpv6 = false;
    bool wantsHelp = false;
    bool wantsVersion = false;
};

EarlyExit badUsage(const std::string& problem) {
    return {kBadUsage, "tarvo-get: " + problem + "\nTry \"tarvo-get --help\".\n"};
}

std::string inQuotes(const std::string& text) {
    return "\"" + shown(text) + "\"";
}

void describeFiles(CLI::App& app, Options& options, Raw& raw) {
    app.add_option("targets", raw.targets, "Addresses to download, or .trdownload bundles to resume")
        ->type_name("URL|BUNDLE");
    app.option_defaults()->group("Files")->take_last();
    app.add_option("-d,--directory", options.directory,
                   "Folder for the files (default: " + options.directory + ")")
        ->type_name("DIR");
    app.add_option("-o,--output", options.outputName,
                   "Name of the file, for a single address; '-' is standard output")
        ->type_name("[DIR/]NAME");
    app.add_option("-i,--input-file", raw.inputFile, "Text with links, one a line; '-' is standard input")
        ->type_name("FILE");
    app.add_option("--address", raw.address,
                   "New address for a bundle, proven to have the same file before it goes on")
        ->type_name("URL");
    app.add_option("--checksum", raw.checksum,
                   "Digest the file must have: ALGO=HEX, ALGO:HEX or HEX of md5, sha1, sha256 or sha512")
        ->type_name("DIGEST");
    app.add_option("--max-filesize", raw.largestFile, "Fetch nothing larger, as in 700M")->type_name("BYTES");
    app.add_flag("--page", options.page, "Fetch a web page also where a file is expected");
    auto* again =
        app.add_flag("--again", options.again, "Fetch also what is there already, under a free name");
    app.add_flag("-N,--timestamping", options.timestamping,
                 "Take a file that is there, of that size and no older, for the same")
        ->excludes(again);
    app.add_flag("-c,--continue", raw.isContinued, "Continue what was begun, which happens anyway");
}

void describeTransfer(CLI::App& app, Options& options, Raw& raw) {
    app.option_defaults()->group("Transfer");
    app.add_option("-x,--connections", options.connections,
                   "Connections for each file, 1 to 64 (default: " + std::to_string(options.connections) +
                       ")")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, kMostConnections));
    app.add_option("-j,--jobs", options.jobs,
                   "Files at once, 1 to 256 (default: " + std::to_string(options.jobs) + ")")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, kMostJobs));
    app.add_option("--limit-rate", raw.limitRate,
                   "Bytes a second of all files together, as in 2M; 0: no limit")
        ->type_name("BYTES");
    app.add_option("--retries", options.retries, "Attempts after the first (default: 5)")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{1'000'000}));
    app.add_option("--connect-timeout", options.connectTimeout,
                   "Seconds for a connection to come about (default: 30)")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{3600}));
    auto* four = app.add_flag("-4,--ipv4", raw.isIpv4, "Connect over IPv4 only");
    app.add_flag("-6,--ipv6", raw.isIpv6, "Connect over IPv6 only")->excludes(four);
}

void describeRequests(CLI::App& app, Options& options, Raw& raw) {
    app.option_defaults()->group("Requests");
    app.add_option("-H,--header", options.headers, "A header of requests over HTTP; may be repeated")
        ->type_name("'NAME: VALUE'")
        ->take_all()
        ->allow_extra_args(false);
    app.add_option("--cookie-file", options.cookieFile, "Cookies to send, in the Netscape form")
        ->type_name("FILE");
    app.add_option("--referer", raw.referer, "Page that the requests say they come from")->type_name("URL");
    app.add_option("--user", raw.user, "User name; a password left out is asked for")
        ->type_name("NAME[:PASSWORD]");
    app.add_option("--user-agent", options.userAgent, "User agent to send")->type_name("TEXT");
    app.add_option("--proxy", options.proxy, "Proxy for all transfers")->type_name("URL");
}

void describe(CLI::App& app, Options& options, Raw& raw) {
    app.set_help_flag();
    describeFiles(app, options, raw);
    describeTransfer(app, options, raw);
    describeRequests(app, options, raw);
    app.option_defaults()->group("What is printed");
    app.add_flag("-q,--quiet", options.quiet, "Print nothing but errors");
    app.add_flag("--json", options.json, "Print one JSON object a line");
    app.add_flag("--verbose", options.verbose, "Print the log to standard error");
    app.add_flag("--version", raw.wantsVersion, "Print the version and exit");
    app.add_flag("-h,--help", raw.wantsHelp, "Print this help and exit");
    app.option_defaults()->group("The application");
    auto* attach =
        app.add_flag("--attach", options.attach, "Hand the links to the running application and end");
    // The running application downloads by its own settings: it is handed addresses and paths, nothing else.
    for (const auto* own : {"--directory", "--connections",  "--jobs",   "--output",      "--referer",
                            "--user",      "--user-agent",   "--proxy",  "--checksum",    "--retries",
                            "--verbose",   "--max-filesize", "--again",  "--limit-rate",  "--connect-timeout",
                            "--ipv4",      "--ipv6",         "--header", "--cookie-file", "--address",
                            "--page",      "--timestamping"})
        attach->excludes(app.get_option(own));
}

std::optional<EarlyExit> readTargets(const Raw& raw, Options& options) {
    for (const auto& text : raw.targets) {
        const auto target = targetOf(text);
        if (!target)
            return badUsage(target.error().sentence());
        options.targets.push_back(*target);
    }
    if (!raw.inputFile.empty()) {
        if (const auto read = readList(raw.inputFile, options.targets, options.badLines); !read)
            return badUsage("the input file: " + read.error().sentence());
    }
    if (options.targets.empty() && options.badLines.empty())
        return badUsage("nothing to download.");
    return std::nullopt;
}

std::optional<EarlyExit> readAddress(const Raw& raw, Options& options) {
    if (raw.address.empty())
        return std::nullopt;
    const auto named = targetOf(raw.address);
    if (!named)
        return badUsage("--address: " + named.error().sentence());
    if (options.targets.size() != 1 || options.targets.front().url || !named->url)
        return badUsage("--address gives a new address to a single .trdownload bundle.");
    options.address = named->url;
    return std::nullopt;
}

/// --output may name a folder too.
std::optional<EarlyExit> readOutput(const Raw& raw, Options& options) {
    if (!options.outputName)
        return std::nullopt;
    if (*options.outputName == "-") {
        options.toStandardOutput = true;
        return std::nullopt;
    }
    const auto slash = options.outputName->rfind('/');
    if (slash != std::string::npos) {
        const std::string folder = options.outputName->substr(0, std::max<std::size_t>(slash, 1));
        // A path is one from here, as everywhere on a command line, unless --directory says from where.
        const bool isWhole = folder.front() == '/' || !raw.hasDirectory;
        options.directory = isWhole ? folder : options.directory + "/" + folder;
        options.outputName->erase(0, slash + 1);
    }
    if (options.outputName->empty())
        return badUsage("--output needs a name; --directory names the folder.");
    return std::nullopt;
}

std::optional<EarlyExit> checkHeaders(const RequestHeaders& headers) {
    for (const auto& header : headers) {
        if (!isRequestHeader(header))
            return badUsage("--header wants \"NAME: VALUE\" in one line.");
        if (isReservedHeader(header))
            return badUsage("--header can't set " + headerName(header) +
                            ": it says which part of a file is asked for.");
    }
    return std::nullopt;
}

std::optional<EarlyExit> readAmounts(const Raw& raw, Options& options) {
    if (!raw.limitRate.empty() && raw.limitRate != "0") {
        options.limitRate = bytesIn(raw.limitRate);
        if (!options.limitRate)
            return badUsage("--limit-rate wants bytes a second, as in 500k or 2M.");
    } else if (raw.limitRate == "0") {
        options.limitRate = 0;
    }
    const auto largest = raw.largestFile.empty() ? std::optional<std::int64_t>(0) : bytesIn(raw.largestFile);
    if (!largest)
        return badUsage("--max-filesize wants bytes, as in 700M.");
    options.largestFile = *largest;
    if (raw.isIpv4 || raw.isIpv6)
        options.ipVersion = raw.isIpv4 ? IpVersion::v4 : IpVersion::v6;
    return checkHeaders(options.headers);
}

std::optional<EarlyExit> interpret(const Raw& raw, Options& options) {
    for (const auto& read : {readTargets(raw, options), readAddress(raw, options), readOutput(raw, options),
                             readAmounts(raw, options)}) {
        if (read)
            return read;
    }
    const bool isOne = options.targets.size() + options.badLines.size() == 1;
    if (options.toStandardOutput && (!isOne || !options.badLines.empty()))
        return badUsage("--output - needs a single address.");
    if (options.targets.size() > 1 && (options.outputName || !raw.checksum.empty()))
        return badUsage("--output and --checksum need a single address.");
    if (options.outputName && !options.targets.empty() && !options.targets.front().url)
        return badUsage("--output names a new download; a bundle keeps its name.");
    options.checksum = raw.checksum.empty() ? std::nullopt : Checksum::read(raw.checksum);
    if (!raw.checksum.empty() && !options.checksum)
        return badUsage(
            "--checksum wants md5=, sha1=, sha256= or sha512= and as many hexadecimal digits as it has.");
    options.referer = raw.referer.empty() ? std::nullopt : Url::parse(raw.referer);
    if (!raw.referer.empty() && !options.referer)
        return badUsage("--referer " + inQuotes(raw.referer) + " is no address.");
    if (options.proxy && !ProxyUrlProvider::parse(*options.proxy))
        return badUsage("--proxy " + inQuotes(*options.proxy) +
                        " is no proxy that can be used: http, https, " +
                        "socks4, socks4a, socks5 and socks5h are supported, as in http://host:3128.");
    if (!raw.user.empty()) {
        const auto colon = raw.user.find(':');
        options.userName = raw.user.substr(0, colon);
        if (colon != std::string::npos)
            options.password = raw.user.substr(colon + 1);
    }
    const auto directory = absolutePath(options.directory);
    if (!directory)
        return badUsage("--directory: " + directory.error().sentence());
    options.directory = *directory;
    return std::nullopt;
}

} // namespace

std::optional<std::int64_t> bytesIn(const std::string& text) {
    constexpr std::string_view kUnits = "kmgt";
    double factor = 1;
    std::string number = lowered(trimmed(text));
    if (number.ends_with("ib"))
        number.resize(number.size() - 2);
    if (const auto unit = number.empty() ? std::string::npos : kUnits.find(number.back());
        unit != std::string::npos) {
        factor = std::pow(1024.0, static_cast<double>(unit + 1));
        number.pop_back();
    }
    const bool isPlain = !number.empty() && number.find_first_not_of("0123456789.") == std::string::npos &&
                         std::count(number.begin(), number.end(), '.') <= 1 && number != ".";
    const double bytes = isPlain ? std::strtod(number.c_str(), nullptr) * factor : 0;
    constexpr double kMost = 1e18;
    return bytes >= 1 && bytes < kMost ? std::optional(static_cast<std::int64_t>(bytes)) : std::nullopt;
}

std::variant<Options, EarlyExit> parseOptions(int argc, const char* const* argv, const Settings& settings,
                                              const std::string& homeFolder) {
    CLI::App app("Downloads files over several connections at once, and continues what was interrupted.",
                 "tarvo-get");
    Options options;
    options.directory = settings.defaultDirectory(homeFolder);
    options.connections = settings.defaultThreading();
    options.jobs = std::min(settings.defaultConcurrency(), kMostJobs);
    Raw raw;
    describe(app, options, raw);
    auto words = inOwnWords({argv + 1, argv + argc});
    if (!words)
        return badUsage(words.error().sentence());
    std::reverse(words->begin(), words->end()); // as the library takes them
    try {                                       // the one library here that tells its results by exceptions
        app.parse(*words);
    } catch (const CLI::ExtrasError&) { // its own text repeats values, which may be passwords
        const auto unknown = app.remaining();
        return badUsage("unknown option " +
                        (unknown.empty() ? "" : shown(unknown.front().substr(0, unknown.front().find('=')))) +
                        ".");
    } catch (const CLI::ParseError& problem) {
        return badUsage(withoutControls(problem.what()));
    }
    raw.hasDirectory = app.count("--directory") > 0;
    if (raw.wantsHelp || raw.wantsVersion)
        return EarlyExit{0, raw.wantsHelp ? helpText(app) : "tarvo-get " TARVO_VERSION "\n"};
    if (auto problem = interpret(raw, options))
        return *problem;
    return options;
}

} // namespace tarvo
