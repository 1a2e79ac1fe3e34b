#include "remote/LogReader.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <thread>

#include "app/TRLoggingManager.h"
#include "base/Localized.h"
#include "base/Runloop.h"

namespace tarvo {

namespace {

constexpr std::uintmax_t kMostRead = 1 << 20; // bytes of one file
constexpr std::chrono::milliseconds kBetweenLooks{250};

std::string harmless(std::string line) {
    const auto steers = [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7f; };
    std::replace_if(line.begin(), line.end(), steers, '?');
    return line;
}

/// Their names hold the date and a number, so that the alphabet sorts them by age.
std::vector<std::filesystem::path> logFilesIn(const std::string& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
        if (entry.path().extension() == ".log")
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// From the byte `begin` on.
std::vector<std::string> linesOf(const std::filesystem::path& path, std::uintmax_t begin) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(begin));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(harmless(std::move(line)));
    return lines;
}

std::uintmax_t sizeOf(const std::filesystem::path& path) {
    std::error_code fault;
    const auto size = std::filesystem::file_size(path, fault);
    return fault ? 0 : size;
}

/// Prints whole lines that stand behind the byte `begin`, and answers where they end.
std::uintmax_t printFrom(const std::filesystem::path& path, std::uintmax_t begin) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(begin));
    std::string line;
    while (std::getline(file, line) && !file.eof()) {
        begin += line.size() + 1;
        std::cout << harmless(line) << "\n";
    }
    std::cout.flush();
    return begin;
}

[[noreturn]] void follow(const std::string& folder) {
    auto files = logFilesIn(folder);
    std::filesystem::path present = files.empty() ? std::filesystem::path() : files.back();
    std::uintmax_t place = files.empty() ? 0 : sizeOf(present);
    for (;;) {
        std::this_thread::sleep_for(kBetweenLooks);
        if (!present.empty())
            place = printFrom(present, place);
        files = logFilesIn(folder);
        if (files.empty() || files.back() == present)
            continue;
        present = files.back();
        place = printFrom(present, 0);
    }
}

} // namespace

std::vector<std::string> lastLogLines(const std::string& folder, std::size_t count) {
    const auto files = logFilesIn(folder);
    std::vector<std::string> last;
    for (auto file = files.rbegin(); file != files.rend() && last.size() < count; ++file) {
        const auto size = sizeOf(*file);
        auto lines = linesOf(*file, size - std::min(size, kMostRead));
        lines.insert(lines.end(), std::make_move_iterator(last.begin()), std::make_move_iterator(last.end()));
        last = std::move(lines);
    }
    last.erase(last.begin(), last.end() - static_cast<std::ptrdiff_t>(std::min(count, last.size())));
    return last;
}

int printLog(std::size_t count, bool isFollowing) {
    Runloop::assertMain();
    const std::string folder = TRLoggingManager::standardLogFolder();
    const auto lines = lastLogLines(folder, count);
    for (const auto& line : lines)
        std::cout << line << "\n";
    std::cout.flush();
    if (isFollowing)
        follow(folder);
    if (lines.empty() && count > 0)
        std::cerr << "tarvo: " << localized("tr.remote.no-log", {folder}) << "\n";
    return EXIT_SUCCESS;
}

} // namespace tarvo
