#include "base/UserDefaults.h"

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <limits>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

#include <QStandardPaths>
#include <QThread>

#include "base/Disk.h"
#include "base/IniFile.h"
#include "base/Log.h"
#include "base/Runloop.h"

namespace tarvo {

namespace {

QString qt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

constexpr std::chrono::milliseconds kLockLimit{5000};
constexpr std::chrono::milliseconds kLockPause{10};
constexpr auto kNoLimit = std::numeric_limits<std::int64_t>::max();

/// `path`, or the file that it leads to by links, so that a link stays one.
std::string behindLinks(const std::string& path) {
    std::error_code problem;
    const std::filesystem::path target = std::filesystem::canonical(path, problem);
    return problem ? path : target.string();
}

} // namespace

UserDefaults::UserDefaults(const std::string& path) : m_path(path) {
    auto content = readIniFile(path);
    if (!content) {
        Log::error("Could not read the settings: {}", content.error().sentence());
        return;
    }
    if (!content->isWhole)
        Log::warning("Some lines of the settings in {} can't be read", path);
    m_hasUnreadableLines = !content->isWhole;
    m_layers.lock()->stored = std::move(content->values);
}

UserDefaults::~UserDefaults() {
    if (!m_layers.lock()->changes.empty())
        flush();
}

std::string UserDefaults::standardPath() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return (folder + QStringLiteral("/tarvo/tarvo.conf")).toStdString();
}

void UserDefaults::registerDefaults(const Values& defaults) {
    auto layers = m_layers.lock();
    for (const auto& [key, value] : defaults)
        layers->registered[key] = value;
}

void UserDefaults::setForThisRun(std::string_view key, const QVariant& value) {
    m_layers.lock()->forThisRun[std::string(key)] = value;
}

QVariant UserDefaults::value(std::string_view key) const {
    const std::string name(key);
    auto layers = m_layers.lock();
    if (auto found = layers->forThisRun.find(name); found != layers->forThisRun.end())
        return found->second;
    QVariant stored;
    if (auto changed = layers->changes.find(name); changed != layers->changes.end())
        stored = changed->second.value;
    else if (auto found = layers->stored.find(name); found != layers->stored.end())
        stored = found->second;
    if (stored.isValid())
        return stored;
    auto found = layers->registered.find(name);
    return found != layers->registered.end() ? found->second : QVariant();
}

std::optional<std::string> UserDefaults::string(std::string_view key) const {
    const QVariant found = value(key);
    if (!found.isValid() || !found.canConvert<QString>())
        return std::nullopt;
    return found.toString().toStdString();
}

std::int64_t UserDefaults::integer(std::string_view key) const {
    return value(key).toLongLong();
}

bool UserDefaults::boolean(std::string_view key) const {
    return value(key).toBool();
}

std::string UserDefaults::data(std::string_view key) const {
    return value(key).toByteArray().toStdString();
}

std::map<std::string, std::int64_t> UserDefaults::counters(std::string_view key) const {
    std::map<std::string, std::int64_t> counters;
    const QVariantMap stored = value(key).toMap();
    for (auto entry = stored.begin(); entry != stored.end(); ++entry)
        counters[entry.key().toStdString()] = entry.value().toLongLong();
    return counters;
}

void UserDefaults::set(std::string_view key, const QVariant& value) {
    {
        auto layers = m_layers.lock();
        layers->changes[std::string(key)] = {value, ++layers->changeCount};
    }
    if (QThread::currentThread() == thread()) {
        Q_EMIT changed(std::string(key));
        return;
    }
    Runloop::runOnMainLater([this, life = std::weak_ptr(m_life), name = std::string(key)] {
        if (!life.expired())
            Q_EMIT changed(name);
    });
}

void UserDefaults::setCounters(std::string_view key, const std::map<std::string, std::int64_t>& counters) {
    QVariantMap stored;
    for (const auto& [name, count] : counters)
        stored[qt(name)] = QVariant::fromValue<qlonglong>(count);
    set(key, stored);
}

void UserDefaults::remove(std::string_view key) {
    set(key, {});
}

void UserDefaults::removeAll() {
    std::set<std::string> keys;
    {
        auto layers = m_layers.lock();
        for (const auto& [key, value] : layers->stored)
            keys.insert(key);
        for (const auto& [key, change] : layers->changes) {
            if (change.value.isValid())
                keys.insert(key);
            else
                keys.erase(key);
        }
    }
    for (const auto& key : keys)
        remove(key);
}

bool UserDefaults::flush() {
    std::lock_guard flushing(m_flushing);
    const Changes changes = m_layers.lock()->changes;
    auto values = changes.empty() ? read() : write(changes);
    if (!values) {
        Log::error("Could not save the settings: {}", values.error().sentence());
        return false;
    }
    auto layers = m_layers.lock();
    layers->stored = std::move(*values);
    std::erase_if(layers->changes, [&](const auto& entry) {
        const auto written = changes.find(entry.first);
        return written != changes.end() && written->second.number == entry.second.number;
    });
    return true;
}

Result<UserDefaults::Values> UserDefaults::read() {
    const auto text = PosixDisk().readFile(m_path, kNoLimit);
    if (text && *text == m_ownText)
        return m_layers.lock()->stored;
    auto content = readIniFile(m_path);
    if (!content)
        return failure(content.error());
    m_hasUnreadableLines |= !content->isWhole;
    return std::move(content->values);
}

/// Held for as long as the answer lives, and no longer than this process, however it ends.
Result<FileHandle> UserDefaults::lockFile(Disk& disk) {
    const std::string path = m_path + ".lock";
    for (auto waited = kLockPause * 0;; waited += kLockPause) {
        auto file = disk.openOrCreate(path);
        if (!file)
            return file;
        const auto locked = disk.lockExclusively(file->descriptor(), path);
        if (locked && Disk::isStillAt(file->descriptor(), path))
            return file;
        if (!locked && (!locked.error().is(ErrorDomain::Posix, EWOULDBLOCK) || waited >= kLockLimit))
            return failure(locked.error());
        std::this_thread::sleep_for(kLockPause);
    }
}

/// Answers what the file holds afterwards.
Result<UserDefaults::Values> UserDefaults::write(const Changes& changes) {
    PosixDisk disk;
    if (auto made = disk.makeFolders(folderOf(m_path)); !made)
        return failure(made.error());
    const auto exclusive = lockFile(disk); // from here to the end nobody else reads, changes and writes
    if (!exclusive)
        return failure(exclusive.error());
    auto values = read();
    if (!values)
        return values;
    for (const auto& [key, change] : changes) {
        if (change.value.isValid())
            (*values)[key] = change.value;
        else
            values->erase(key);
    }
    if (auto kept = keepUnreadableLines(disk); !kept)
        return failure(kept.error());
    std::string text = iniText(*values);
    if (auto written = disk.replaceFile(behindLinks(m_path), text); !written)
        return failure(written.error());
    m_ownText = std::move(text);
    return values;
}

/// Writing leaves such lines out: they may be worth something to whoever wrote them.
Result<void> UserDefaults::keepUnreadableLines(Disk& disk) {
    if (!m_hasUnreadableLines)
        return {};
    const std::string copy = m_path + ".unreadable";
    auto content = disk.readFile(m_path, kNoLimit);
    if (!content)
        return failure(content.error());
    if (auto kept = disk.replaceFile(copy, *content); !kept)
        return kept;
    Log::warning("The settings had lines that can't be read; as they were they are kept in {}", copy);
    m_hasUnreadableLines = false;
    return {};
}

} // namespace tarvo
