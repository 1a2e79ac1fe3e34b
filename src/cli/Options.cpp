#include "cli/Options.h"

#include "base/Disk.h"
#include "base/Text.h"
#include "engine/transfer/ProxyUrlProvider.h"
#include "jobs/CURLRemoteFile.h"

#include <algorithm>
#include <sstream>

#include <CLI/CLI.hpp>

namespace tarvo {

namespace {

constexpr int kBadUsage = 2;
constexpr std::int64_t kMostJobs = 256;

/// The options as texts, before they mean anything.
struct Raw {
    std::vector<std::string> targets;
    std::string inputFile;
    std::string referer;
    std::string user;
    std::string checksum;
};

EarlyExit badUsage(const std::string& problem) {
    return {kBadUsage, "tarvo-get: " + problem + "\nTry \"tarvo-get --help\".\n"};
}

std::string inQuotes(const std::string& text) {
    return "\"" + shown(text) + "\"";
}

void describe(CLI::App& app, Options& options, Raw& raw) {
    app.set_version_flag("--version", "tarvo-get " TARVO_VERSION);
    app.add_option("targets", raw.targets, "Addresses to download, or .trdownload bundles to resume")
        ->type_name("URL|BUNDLE");
    app.add_option("-d,--directory", options.directory, "Folder for the files")->type_name("DIR");
    app.add_option("-x,--connections", options.connections, "Connections for each file")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, kMostConnections));
    app.add_option("-j,--jobs", options.jobs, "Files at once")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, kMostJobs));
    app.add_option("-i,--input-file", raw.inputFile, "Text with links, one a line; '-' is standard input")
        ->type_name("FILE");
    app.add_option("-o,--output", options.outputName, "Name of the file, for a single address")
        ->type_name("NAME");
    app.add_option("--referer", raw.referer, "Page that the requests say they come from")->type_name("URL");
    app.add_option("--user", raw.user, "User name; a password left out is asked for")
        ->type_name("NAME[:PASSWORD]");
    app.add_option("--user-agent", options.userAgent, "User agent to send")->type_name("TEXT");
    app.add_option("--proxy", options.proxy, "Proxy for all transfers")->type_name("URL");
    app.add_option("--checksum", raw.checksum, "Digest the file must have: md5, sha1 or sha256")
        ->type_name("ALGO=HEX");
    app.add_option("--retries", options.retries, "Attempts after the first")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{1'000'000}));
    auto* attach =
        app.add_flag("--attach", options.attach, "Hand the links to the running application and end");
    app.add_flag("--quiet", options.quiet, "Print nothing but errors");
    app.add_flag("--json", options.json, "Print one JSON object a line");
    app.add_flag("--verbose", options.verbose, "Print the log to standard error");
    // The running application downloads by its own settings: it is handed addresses and paths, nothing else.
    for (const auto* own : {"--directory", "--connections", "--jobs", "--output", "--referer", "--user",
                            "--user-agent", "--proxy", "--checksum", "--retries", "--verbose"})
        attach->excludes(app.get_option(own));
    app.footer("Running the same command again resumes. Exit status: 0 all finished, 1 some failed,\n"
               "2 bad usage, 130 interrupted with progress saved.");
}

std::optional<EarlyExit> interpret(const Raw& raw, Options& options) {
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
    if (options.targets.size() > 1 && (options.outputName || !raw.checksum.empty()))
        return badUsage("--output and --checksum need a single address.");
    if (options.outputName && !options.targets.empty() && !options.targets.front().url)
        return badUsage("--output names a new download; a bundle keeps its name.");
    if (options.outputName &&
        (options.outputName->empty() || options.outputName->find('/') != std::string::npos))
        return badUsage("--output is a name without folders; --directory names the folder.");
    options.checksum = raw.checksum.empty() ? std::nullopt : Checksum::parse(raw.checksum);
    if (!raw.checksum.empty() && !options.checksum)
        return badUsage("--checksum wants md5=, sha1= or sha256= and as many hexadecimal digits as it has.");
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
    try { // the one library here that tells its results by exceptions
        app.parse(argc, argv);
    } catch (const CLI::Success& end) {
        std::ostringstream text;
        app.exit(end, text, text);
        return EarlyExit{0, text.str()};
    } catch (const CLI::ExtrasError&) { // its own text repeats values, which may be passwords
        const auto unknown = app.remaining();
        return badUsage("unknown option " +
                        (unknown.empty() ? "" : unknown.front().substr(0, unknown.front().find('='))) + ".");
    } catch (const CLI::ParseError& problem) {
        return badUsage(problem.what());
    }
    if (auto problem = interpret(raw, options))
        return *problem;
    return options;
}

} // namespace tarvo
