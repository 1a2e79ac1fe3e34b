#include "base/UserDefaults.h"

#include <QSettings>
#include <QStandardPaths>

namespace tarvo {

namespace {

QString qt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

} // namespace

UserDefaults::UserDefaults(const std::string& path)
    : m_stored(std::make_unique<QSettings>(qt(path), QSettings::IniFormat)) {
}

UserDefaults::~UserDefaults() = default;

std::string UserDefaults::standardPath() {
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return (folder + QStringLiteral("/tarvo/tarvo.conf")).toStdString();
}

void UserDefaults::registerDefaults(const Values& defaults) {
    std::lock_guard lock(m_mutex);
    for (const auto& [key, value] : defaults)
        m_registered[key] = value;
}

void UserDefaults::setForThisRun(std::string_view key, const QVariant& value) {
    std::lock_guard lock(m_mutex);
    m_forThisRun[std::string(key)] = value;
}

QVariant UserDefaults::value(std::string_view key) const {
    std::lock_guard lock(m_mutex);
    if (auto found = m_forThisRun.find(std::string(key)); found != m_forThisRun.end())
        return found->second;
    if (QVariant stored = m_stored->value(qt(key)); stored.isValid())
        return stored;
    if (auto found = m_registered.find(std::string(key)); found != m_registered.end())
        return found->second;
    return {};
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
        std::lock_guard lock(m_mutex);
        m_stored->setValue(qt(key), value);
    }
    Q_EMIT changed(std::string(key));
}

void UserDefaults::setCounters(std::string_view key, const std::map<std::string, std::int64_t>& counters) {
    QVariantMap stored;
    for (const auto& [name, count] : counters)
        stored[qt(name)] = QVariant::fromValue<qlonglong>(count);
    set(key, stored);
}

void UserDefaults::remove(std::string_view key) {
    {
        std::lock_guard lock(m_mutex);
        m_stored->remove(qt(key));
    }
    Q_EMIT changed(std::string(key));
}

void UserDefaults::removeAll() {
    QStringList keys;
    {
        std::lock_guard lock(m_mutex);
        keys = m_stored->allKeys();
        m_stored->clear();
    }
    for (const auto& key : keys)
        Q_EMIT changed(key.toStdString());
}

bool UserDefaults::flush() {
    std::lock_guard lock(m_mutex);
    m_stored->sync();
    return m_stored->status() == QSettings::NoError;
}

} // namespace tarvo
