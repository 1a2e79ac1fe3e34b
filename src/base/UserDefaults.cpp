#include "base/UserDefaults.h"

#include <utility>

#include <QStandardPaths>
#include <QThread>

#include "base/Log.h"
#include "base/Runloop.h"
#include "base/SettingValue.h"

namespace tarvo {

namespace {

QString qt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QVariant valueIn(const UserDefaults::Values& values, const std::string& key) {
    const auto found = values.find(key);
    return found == values.end() ? QVariant() : found->second;
}

} // namespace

UserDefaults::UserDefaults(const std::string& path, Disk& disk) : m_file(path, disk) {
    Runloop::assertMain();
    if (auto values = m_file.open())
        m_layers.lock()->stored = std::move(*values);
    else
        Log::error("Could not read the settings: {}", values.error().sentence());
}

UserDefaults::~UserDefaults() {
    Runloop::assertMain();
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

/// Answers whether the value that now stands under `key` is named for the first time.
bool UserDefaults::Layers::nameFirst(const std::string& key) {
    const auto ours = forThisRun.find(key);
    const QVariant value = ours != forThisRun.end() ? ours->second : storedOrChanged(key);
    const auto [last, isFirst] = named.try_emplace(key, value);
    return isFirst || std::exchange(last->second, value) != value;
}

QVariant UserDefaults::value(std::string_view key) const {
    const std::string name(key);
    bool isPassedOver = false;
    bool isNews = false;
    QVariant found;
    {
        auto layers = m_layers.lock();
        found = layers->effective(name, isPassedOver);
        isNews = isPassedOver && layers->nameFirst(name);
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

bool UserDefaults::isNoText(std::string_view key) const {
    const std::string name(key);
    auto layers = m_layers.lock();
    const QVariant ours = valueIn(layers->forThisRun, name);
    const QVariant found = ours.isValid() ? ours : layers->storedOrChanged(name);
    return found.isValid() && !isReadableAs(found, QString());
}

void UserDefaults::nameUnusable(std::string_view key, std::string_view used) const {
    if (m_layers.lock()->nameFirst(std::string(key)))
        Log::warning("The setting {} has no usable value; \"{}\" is used", key, used);
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
    m_layers.lock()->set(name, value);
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
    auto values = exchange(changes);
    if (!values) {
        m_file.forget(); // what was read has not been taken over
        Log::error("Could not save the settings: {}", values.error().sentence());
        return false;
    }
    if (*values)
        for (const auto& key : takeOver(std::move(**values), changes))
            tellOfChange(key);
    return true;
}

/// Answers what the file holds then; none when that is what it held.
Result<std::optional<UserDefaults::Values>> UserDefaults::exchange(const Changes& changes) {
    if (changes.empty())
        return m_file.readNews();
    Values wanted;
    for (const auto& [key, change] : changes)
        wanted[key] = change.value;
    const Values known = m_layers.lock()->stored;
    auto written = m_file.write(wanted, known);
    if (!written)
        return failure(written.error());
    return std::move(*written);
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

} // namespace tarvo
