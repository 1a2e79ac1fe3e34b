#include "cli/HelpText.h"

#include <sstream>

#include <CLI/CLI.hpp>

namespace tarvo {

namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kIndent = 30; // of what is said of an option

constexpr const char* kBeginning =
    "Downloads files over several connections at once, and continues what was\n"
    "interrupted.\n\n"
    "  tarvo-get https://example.org/image.iso          download, or continue, a file\n"
    "  tarvo-get -d ~/isos -x 16 --checksum HEX URL     into a folder, and check it\n"
    "  tarvo-get -j 4 -i links.txt --limit-rate 2M      a list, four files at once\n"
    "  tarvo-get ~/Downloads/image.iso.trdownload       continue what a bundle holds\n\n"
    "Usage: tarvo-get [OPTIONS] URL|BUNDLE...\n";

constexpr const char* kEnd =
    "\nThe same command run again continues; what is finished is not fetched again.\n"
    "Long names of curl, wget and aria2 that mean the same are understood: see the\n"
    "manual, tarvo-get(1).\n"
    "Exit status: 0 all finished, 1 some failed, 2 bad usage, 130 interrupted with\n"
    "progress saved.\n";

/// The words of `text`, from column `kIndent` on where the first line ends at `column`.
std::string wrapped(const std::string& text, std::size_t column) {
    std::istringstream words(text);
    std::string lines;
    for (std::string word; words >> word;) {
        if (column + 1 + word.size() > kColumns || column < kIndent) {
            lines += column < kIndent ? std::string(kIndent - column, ' ') : "\n" + std::string(kIndent, ' ');
            column = kIndent;
        } else {
            lines += ' ';
            ++column;
        }
        lines += word;
        column += word.size();
    }
    return lines + "\n";
}

std::string entryOf(const CLI::Option& option) {
    std::string names = "  " + option.get_name(false, true);
    const std::string type = option.get_type_name();
    if (!type.empty())
        names += " " + type.substr(0, type.find(":INT")); // what follows is a range
    const bool isLong = names.size() + 1 > kIndent;
    return names + (isLong ? "\n" : "") + wrapped(option.get_description(), isLong ? 0 : names.size());
}

} // namespace

std::string helpText(const CLI::App& app) {
    std::string text = kBeginning;
    std::string group;
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional())
            continue;
        if (option->get_group() != group)
            text += "\n" + (group = option->get_group()) + ":\n";
        text += entryOf(*option);
    }
    return text + kEnd;
}

} // namespace tarvo
