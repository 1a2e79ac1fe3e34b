#include "tarvo/CommandLine.h"

#include <cstdlib>
#include <iostream>

#include "app/LaunchArgumentsProcessor.h"
#include "base/Disk.h"

namespace tarvo {

namespace {

constexpr int kBadUsage = 2;
constexpr const char* kUsage =
    "Usage: tarvo [OPTION] [URL | BUNDLE]…\n"
    "       tarvo VERB [OPTION] [ARGUMENT]…\n\n"
    "Downloads what it is given, and goes on with what it has not finished. One runs for each user: what a\n"
    "second one is given goes to the first.\n\n"
    "What a terminal can ask of the one that runs (\"tarvo VERB --help\" tells more):\n\n"
    "  tarvo list       the rows of the queue          tarvo status     what the queue does\n"
    "  tarvo watch      the queue while it works       tarvo add        addresses and bundles\n"
    "  tarvo start      the queue, or rows             tarvo pause      the queue, or rows\n"
    "  tarvo resume     rows                           tarvo retry      rows\n"
    "  tarvo move       rows                           tarvo remove     rows, also with their files\n"
    "  tarvo log        the end of the log             tarvo settings   all, or one; also to change it\n\n"
    "  --headless       run without a window\n"
    "  -ResetDefaults   put all settings back to their defaults first; the saved queue goes with them\n"
    "  --version        print the version\n"
    "  -h,--help        print this\n";

/// An address stays what it is; a path is told as one that is good in any folder.
Result<std::string> forAnyFolder(const std::string& text) {
    const bool isAddress = text.find("://") != std::string::npos || text.starts_with("file:");
    return isAddress ? Result<std::string>(text) : absolutePath(text);
}

} // namespace

/// Answers the status to end with, if the program is to end at once.
std::optional<int> readCommandLine(int argc, char** argv, CommandLine& line) {
    for (int i = 1; i < argc; ++i) {
        const std::string text = argv[i];
        line.all.push_back(text);
        if (text == "--version") {
            std::cout << "tarvo " TARVO_VERSION "\n";
            return EXIT_SUCCESS;
        }
        if (text == "--help" || text == "-h") {
            std::cout << kUsage;
            return EXIT_SUCCESS;
        }
        if (text.starts_with('-') && text != "--headless" &&
            text != LaunchArgumentsProcessor::kResetDefaultsOption) {
            std::cerr << "tarvo: unknown option " << text.substr(0, text.find('=')) << ".\n" << kUsage;
            return kBadUsage;
        }
        line.isHeadless = line.isHeadless || text == "--headless";
        if (!text.starts_with('-'))
            line.open.push_back(text);
    }
    return std::nullopt;
}

std::optional<int> makePathsWhole(CommandLine& line) {
    for (std::string& text : line.open) {
        auto whole = forAnyFolder(text);
        if (!whole) {
            std::cerr << "tarvo: " << whole.error().sentence() << "\n";
            return kBadUsage;
        }
        text = std::move(*whole);
    }
    return std::nullopt;
}

} // namespace tarvo
