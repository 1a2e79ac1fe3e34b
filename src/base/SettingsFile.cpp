#include "base/SettingsFile.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

#include "base/IniFile.h"
#include "base/Log.h"

namespace tarvo {

namespace {

constexpr std::chrono::milliseconds kLockLimit{5000};
constexpr std::chrono::milliseconds kSettlingLimit{1000};
constexpr std::chrono::milliseconds kSettlingPause{50};
constexpr int kMostOvertaken = 5;
constexpr int kMostCopies = 9;
constexpr std::int64_t kMostBytes = 32 << 20; // far above a queue of twenty thousand

/// `path`, or the file that it leads to by links, so that a link stays one.
std::string behindLinks(const std::string& path) {
    std::error_code problem;
    const std::filesystem::path target = std::filesystem::canonical(path, problem);
    return problem ? path : target.string();
}

/// What of a file changes when it is written to or another takes its place.
struct Signature {
    dev_t device = 0;
    ino_t node = 0;
    off_t length = -1;
    std::pair<time_t, long> changed;

    explicit Signature(const std::string& path) {
        struct stat status {};

        if (::stat(path.c_str(), &status) != 0)
            return;
        device = status.st_dev;
        node = status.st_ino;
        length = status.st_size;
        changed = {status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
    }

    bool operator==(const Signature&) const = default;
};

/// As Disk::replaceFile(), if until the last moment the file at `path` is as it was. Answers whether it was.
Result<bool> replaceUnchanged(Disk& disk, const std::string& path, const Signature& before,
                              const std::string& text) {
    const std::string beside = path + ".new";
    const auto write = [&]() -> Result<bool> {
        auto file = disk.openOrCreate(beside);
        if (!file)
            return failure(file.error());
        auto written = disk.truncate(file->descriptor(), 0, beside);
        if (written)
            written = disk.writeAt(file->descriptor(), text, 0, beside);
        if (written)
            written = disk.flush(file->descriptor(), beside);
        if (!written)
            return failure(written.error());
        if (Signature(path) != before)
            return false;
        if (std::rename(beside.c_str(), path.c_str()) != 0)
            return failure(Error::posix(errno, "replace", path));
        return true;
    };
    auto replaced = write();
    if (!replaced || !*replaced) {
        ::unlink(beside.c_str());
        return replaced;
    }
    if (auto flushed = disk.flushFolder(folderOf(path)); !flushed)
        return failure(flushed.error());
    return true;
}

} // namespace

Result<SettingsFile::Values> SettingsFile::open() {
    auto text = this->text(); // first: QSettings would wait for what is written into a pipe
    auto content = text ? readIniFile(m_path) : failure(text.error());
    m_isCopyDue = !content || !content->isWhole;
    if (!content)
        return failure(content.error());
    if (!content->isWhole)
        Log::warning("Some lines of the settings in {} can't be read", m_path);
    m_knownText = std::move(*text);
    return std::move(content->values);
}

Result<std::optional<SettingsFile::Values>> SettingsFile::readNews() {
    auto text = settledText();
    if (!text)
        return failure(text.error());
    if (*text == m_knownText)
        return std::nullopt;
    auto content = readIniFile(m_path);
    if (!content)
        return failure(content.error());
    m_isCopyDue |= !content->isWhole;
    m_knownText = std::move(*text);
    return std::move(content->values);
}

/// Empty where there is no file.
Result<std::string> SettingsFile::text() const {
    auto text = m_disk.readFile(m_path, kMostBytes);
    if (!text && text.error().is(ErrorDomain::Posix, ENOENT))
        return std::string();
    return text;
}

/// The file's text, or that of the moment when the wait for it ends. Many editors empty the file and fill it
/// anew, or take it away and put another there: what is new is waited for until it stays as it is.
Result<std::string> SettingsFile::settledText() const {
    auto text = this->text();
    for (auto waited = kSettlingPause; waited <= kSettlingLimit; waited += kSettlingPause) {
        if (!text || *text == m_knownText)
            break;
        std::this_thread::sleep_for(kSettlingPause);
        auto again = this->text();
        const bool isSettled = again && *again == *text && !text->empty();
        text = std::move(again);
        if (isSettled)
            break;
    }
    return text;
}

Result<SettingsFile::Values> SettingsFile::write(const Values& changes, const Values& known) {
    if (auto made = m_disk.makeFolders(folderOf(m_path)); !made)
        return failure(made.error());
    // From here to the end no other Tarvo reads, changes and writes.
    const auto exclusive = m_disk.openLocked(m_path + ".lock", kLockLimit);
    if (!exclusive)
        return failure(exclusive.error());
    for (int attempt = 0; attempt < kMostOvertaken; ++attempt) { // an editor may
        const std::string target = behindLinks(m_path);
        const Signature before(target);
        auto news = readNews();
        if (!news)
            return failure(news.error());
        Values values = news->value_or(known);
        for (const auto& [key, value] : changes) {
            if (value.isValid())
                values[key] = value;
            else
                values.erase(key);
        }
        if (auto kept = keepUnreadable(); !kept)
            return failure(kept.error());
        std::string text = iniText(values);
        const auto replaced = replaceUnchanged(m_disk, target, before, text);
        if (!replaced)
            return failure(replaced.error());
        if (*replaced) {
            m_knownText = std::move(text);
            return values;
        }
        forget(); // what was read in vain
    }
    return failure(Error::posix(EBUSY, "write", m_path));
}

/// Writing leaves such lines out: their author may need them.
Result<void> SettingsFile::keepUnreadable() {
    if (!m_isCopyDue)
        return {};
    const auto content = text();
    if (!content)
        return failure(content.error());
    std::string copy = m_path + ".unreadable";
    for (int number = 2; number <= kMostCopies && Disk::exists(copy); ++number)
        copy = m_path + ".unreadable-" + std::to_string(number);
    if (!content->empty()) {
        if (auto kept = m_disk.replaceFile(copy, *content); !kept)
            return kept;
        Log::warning("The settings could not be read as a whole; as they were they are kept in {}", copy);
    }
    m_isCopyDue = false;
    return {};
}

} // namespace tarvo
