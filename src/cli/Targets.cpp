#include "cli/Targets.h"

#include "base/Disk.h"
#include "base/Localized.h"
#include "base/Text.h"
#include "storage/ProgressBundle.h"

#include <cerrno>
#include <fstream>
#include <iostream>

namespace tarvo {

namespace {

void addLines(std::istream& text, const std::string& list, std::vector<Target>& targets,
              std::vector<BadLine>& badLines) {
    std::size_t number = 0;
    for (std::string line; std::getline(text, line);) {
        ++number;
        const std::string link(trimmed(line));
        if (link.empty() || link.front() == '#')
            continue;
        auto target = targetOf(link);
        if (target)
            targets.push_back(std::move(*target));
        else
            badLines.push_back({number, list, shown(link), target.error()});
    }
}

std::string inQuotes(const std::string& text) {
    return "\"" + shown(text) + "\"";
}

} // namespace

std::string sentenceOf(const BadLine& line) {
    return localized("tr.get.bad-line", {std::to_string(line.number), line.list, line.reason.sentence()});
}

Result<Target> targetOf(const std::string& text) {
    if (text.find("://") == std::string::npos) {
        const auto path = absolutePath(text);
        if (!path)
            return failure(path.error());
        if (auto bundle = ProgressBundle::fromBundleDirectory(*path))
            return Target{std::nullopt, bundle->bundleDirectory()};
        return failure(Error::tarvo(
            inQuotes(text) + " is neither an address (http, https, ftp, sftp) nor a .trdownload bundle."));
    }
    const auto url = Url::parse(text);
    if (!url || !isTransferScheme(url->scheme()) || url->host().empty())
        return failure(
            Error::tarvo(inQuotes(text) +
                         " is no address that can be downloaded: http, https, ftp and sftp are supported."));
    return Target{url, ""};
}

Result<void> readList(const std::string& name, std::vector<Target>& targets, std::vector<BadLine>& badLines) {
    if (name == "-") {
        addLines(std::cin, name, targets, badLines);
        return {};
    }
    errno = 0;
    std::ifstream file(name);
    if (file)
        addLines(file, name, targets, badLines);
    if (!file.is_open() || file.bad())
        return failure(Error::posix(errno != 0 ? errno : EIO, "read", name));
    return {};
}

} // namespace tarvo
