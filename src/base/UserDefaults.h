// The settings store: registered defaults under stored values, and the command line's above both.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <QObject>
#include <QVariant>

class QSettings;

namespace tarvo {

/// Keys and values that outlive the program. Reading is allowed from any thread; writing happens on
/// the main thread. A value of the wrong type, or none, reads as the type's zero.
class UserDefaults : public QObject {
    Q_OBJECT

public:
    using Values = std::map<std::string, QVariant>;

    /// Stored in the INI file at `path`, which is made when first written to.
    explicit UserDefaults(const std::string& path);
    ~UserDefaults() override;

    /// $XDG_CONFIG_HOME/tarvo/tarvo.conf, by the XDG Base Directory Specification.
    static std::string standardPath();

    /// Values for keys that have none stored. Never overwrites what is stored.
    void registerDefaults(const Values& defaults);

    /// A value for this run only, above the stored one: what a command line option asks for.
    void setForThisRun(std::string_view key, const QVariant& value);

    /// Empty when the key is absent everywhere.
    std::optional<std::string> string(std::string_view key) const;
    std::int64_t integer(std::string_view key) const;
    bool boolean(std::string_view key) const;
    std::string data(std::string_view key) const;
    std::map<std::string, std::int64_t> counters(std::string_view key) const;

    void set(std::string_view key, const QVariant& value);
    void setCounters(std::string_view key, const std::map<std::string, std::int64_t>& counters);
    void remove(std::string_view key);

    /// Removes every stored value; the registered defaults stay.
    void removeAll();

    /// Writes what has changed to disk. Answers whether it could.
    bool flush();

Q_SIGNALS:
    /// On the main thread, once for each change of a stored value.
    void changed(const std::string& key);

private:
    QVariant value(std::string_view key) const;

    mutable std::mutex m_mutex;
    std::unique_ptr<QSettings> m_stored;
    Values m_registered;
    Values m_forThisRun;
};

} // namespace tarvo
