#include "base/UserDefaults.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <system_error>
#include <thread>
#include <utility>

#include <QStandardPaths>
#include <QThread>
#include <sys/stat.h>
#include <unistd.h>

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

/// Empty where there is no file.
Result<std::string> textOf(const std::string& path) {
    auto text = PosixDisk().readFile(path, kMostBytes);
    if (!text && text.error().is(ErrorDomain::Posix, ENOENT))
        return std::string();
    return text;
}

/// What of a file changes when somebody writes to it or puts another in its place.
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

std::optional<std::int64_t> wholeNumber(const QVariant& value) {
    const std::string text = value.toString().toStdString();
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, problem] = std::from_chars(text.data(), end, number);
    if (problem == std::errc::result_out_of_range && stop == end)
        return text.starts_with('-') ? std::numeric_limits<std::int64_t>::min()
                                     : std::numeric_limits<std::int64_t>::max();
    return problem == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::optional<bool> truthValue(const QVariant& value) {
    const std::string text = value.toString().toLower().toStdString();
    for (const auto* word : {"true", "yes", "on", "1"})
        if (text == word)
            return true;
    for (const auto* word : {"false", "no", "off", "0"})
        if (text == word)
            return false;
    return std::nullopt;
}

/// A text with a comma that stands in no quotes is a list.
bool isOneText(const QVariant& value) {
    const int type = value.metaType().id();
    return type != QMetaType::QStringList && type != QMetaType::QVariantList && value.canConvert<QString>();
}

bool isReadableAs(const QVariant& value, const QVariant& model) {
    switch (model.metaType().id()) {
    case QMetaType::Bool:
        return truthValue(value).has_value();
    case QMetaType::Int:
    case QMetaType::LongLong:
        return wholeNumber(value).has_value();
    case QMetaType::QString:
    case QMetaType::QByteArray:
        return isOneText(value);
    case QMetaType::QVariantMap:
        return value.metaType().id() == QMetaType::QVariantMap;
    default:
        return true;
    }
}

/// Numbers and truth values are texts in the file.
bool readAlike(const QVariant& value, const QVariant& other) {
    return value == other || (value.isValid() && other.isValid() && isOneText(value) && isOneText(other) &&
                              value.toString() == other.toString());
}

QVariant valueIn(const UserDefaults::Values& values, const std::string& key) {
    const auto found = values.find(key);
    return found == values.end() ? QVariant() : found->second;
}

} // namespace

UserDefaults::UserDefaults(const std::string& path) : m_path(path) {
    auto text = textOf(path); // first: QSettings would wait for whoever writes into a pipe
    auto content = text ? readIniFile(path) : failure(text.error());
    m_isCopyDue = !content || !content->isWhole;
    if (!content) {
        Log::error("Could not read the settings: {}", content.error().sentence());
        return;
    }
    if (!content->isWhole)
        Log::warning("Some lines of the settings in {} can't be read", path);
    m_knownText = std::move(*text);
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

void UserDefaults::keepToItself(std::set<std::string> keys) {
    m_layers.lock()->ownKeys = std::move(keys);
}

void UserDefaults::setForThisRun(std::string_view key, const QVariant& value) {
    m_layers.lock()->forThisRun[std::string(key)] = value;
}

QVariant UserDefaults::Layers::storedOrChanged(const std::string& key) const {
    const auto change = changes.find(key);
    return change != changes.end() ? change->second.value : valueIn(stored, key);
}

QVariant UserDefaults::Layers::effective(const std::string& key, bool& isPassedOver) const {
    if (const auto found = forThisRun.find(key); found != forThisRun.end())
        return found->second;
    QVariant value = storedOrChanged(key);
    QVariant usual = valueIn(registered, key);
    isPassedOver = value.isValid() && !isReadableAs(value, usual);
    return value.isValid() && !isPassedOver ? value : usual;
}

QVariant UserDefaults::value(std::string_view key) const {
    const std::string name(key);
    bool isPassedOver = false;
    bool isNews = false;
    QVariant found;
    {
        auto layers = m_layers.lock();
        found = layers->effective(name, isPassedOver);
        isNews = isPassedOver && layers->passedOver.insert(name).second;
    }
    if (isNews)
        Log::warning("The setting {} has no usable value, and its default is used; a text with a comma in it "
                     "needs quotes",
                     key);
    return found;
}

std::optional<std::string> UserDefaults::string(std::string_view key) const {
    const QVariant found = value(key);
    if (!found.isValid() || !found.canConvert<QString>())
        return std::nullopt;
    return found.toString().toStdString();
}

std::int64_t UserDefaults::integer(std::string_view key) const {
    return wholeNumber(value(key)).value_or(0);
}

bool UserDefaults::boolean(std::string_view key) const {
    return truthValue(value(key)).value_or(false);
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
    const std::string name(key);
    {
        auto layers = m_layers.lock();
        layers->set(name, value);
        layers->passedOver.erase(name);
    }
    tellOfChange(name);
}

void UserDefaults::tellOfChange(const std::string& key) {
    if (QThread::currentThread() == thread()) {
        Q_EMIT changed(key);
        return;
    }
    Runloop::runOnMainLater([this, life = std::weak_ptr(m_life), key] {
        if (!life.expired())
            Q_EMIT changed(key);
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
    if (!flushOnce())
        return false;
    // There are such after others have put old values into the file.
    const bool isDone = m_layers.lock()->changes.empty();
    return isDone || flushOnce();
}

bool UserDefaults::flushOnce() {
    const Changes changes = m_layers.lock()->changes;
    auto values = changes.empty() ? read() : write(changes);
    if (!values) {
        m_knownText.clear(); // what was read has not been taken over
        Log::error("Could not save the settings: {}", values.error().sentence());
        return false;
    }
    for (const auto& key : takeOver(std::move(*values), changes))
        tellOfChange(key);
    return true;
}

/// Answers the keys under which something else is read from now on.
std::set<std::string> UserDefaults::takeOver(Values values, const Changes& written) {
    auto layers = m_layers.lock();
    bool isPassedOver = false;
    layers->putOwnKeysRight(values, written);
    Values before;
    for (const auto* all : {&layers->stored, &values})
        for (const auto& [key, value] : *all)
            before.try_emplace(key, layers->effective(key, isPassedOver));
    layers->stored = std::move(values);
    std::erase_if(layers->changes, [&](const auto& entry) {
        const auto found = written.find(entry.first);
        return found != written.end() && found->second.number == entry.second.number;
    });
    std::set<std::string> different;
    for (const auto& [key, value] : before)
        if (!readAlike(layers->effective(key, isPassedOver), value))
            different.insert(key);
    layers->passedOver.clear(); // what still is no use is named again
    return different;
}

void UserDefaults::Layers::putOwnKeysRight(Values& values, const Changes& written) {
    for (const auto& key : ownKeys) {
        const QVariant ours = valueIn(stored, key);
        if (!ours.isValid() || written.contains(key) || readAlike(ours, valueIn(values, key)))
            continue;
        values[key] = ours;
        if (!changes.contains(key))
            set(key, ours); // to be written over theirs
    }
}

Result<UserDefaults::Values> UserDefaults::read() {
    auto text = settledText();
    if (!text)
        return failure(text.error());
    if (*text == m_knownText)
        return m_layers.lock()->stored;
    auto content = readIniFile(m_path);
    if (!content)
        return failure(content.error());
    m_isCopyDue |= !content->isWhole;
    m_knownText = std::move(*text);
    return std::move(content->values);
}

/// The file's text, or that of the moment when the wait for it ends. Many editors empty the file and fill it
/// anew, or take it away and put another there: what is new is waited for until it stays as it is.
Result<std::string> UserDefaults::settledText() const {
    auto text = textOf(m_path);
    for (auto waited = kSettlingPause; waited <= kSettlingLimit; waited += kSettlingPause) {
        if (!text || *text == m_knownText)
            break;
        std::this_thread::sleep_for(kSettlingPause);
        auto again = textOf(m_path);
        const bool isSettled = again && *again == *text && !text->empty();
        text = std::move(again);
        if (isSettled)
            break;
    }
    return text;
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
    const auto exclusive = lockFile(disk); // from here to the end no other Tarvo reads, changes and writes
    if (!exclusive)
        return failure(exclusive.error());
    for (int attempt = 0; attempt < kMostOvertaken; ++attempt) { // but an editor may
        const std::string target = behindLinks(m_path);
        const Signature before(target);
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
        const auto replaced = replaceUnchanged(disk, target, before, text);
        if (!replaced)
            return failure(replaced.error());
        if (*replaced) {
            m_knownText = std::move(text);
            return values;
        }
        m_knownText.clear(); // what was read in vain is to be read again
    }
    return failure(Error::posix(EBUSY, "write", m_path));
}

/// Writing leaves such lines out: they may be worth something to whoever wrote them.
Result<void> UserDefaults::keepUnreadableLines(Disk& disk) {
    if (!m_isCopyDue)
        return {};
    const auto content = textOf(m_path);
    if (!content)
        return failure(content.error());
    std::string copy = m_path + ".unreadable";
    for (int number = 2; number <= kMostCopies && Disk::exists(copy); ++number)
        copy = m_path + ".unreadable-" + std::to_string(number);
    if (!content->empty()) {
        if (auto kept = disk.replaceFile(copy, *content); !kept)
            return kept;
        Log::warning("The settings could not be read as a whole; as they were they are kept in {}", copy);
    }
    m_isCopyDue = false;
    return {};
}

} // namespace tarvo
