// The settings store: registered defaults under stored values, and the command line's above both.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include <QObject>
#include <QVariant>

#include "base/Locked.h"
#include "base/SettingsFile.h"

namespace tarvo {

/// Keys and values that outlive the program. They stand in memory: reading and changing never wait for the
/// disk. Changes reach the file with flush(), at the latest with the destructor. Made and destroyed on the
/// main thread, used on any. A stored value that can't be read as its registered default is passed over for
/// that, and named in the log; it stays in the file. Without a default it reads as the type's zero.
class UserDefaults : public QObject {
    Q_OBJECT

public:
    using Values = SettingsFile::Values;

    /// Stored in the INI file at `path` (absolute), which is read here, and made, for its owner only, when
    /// first written to. `disk` outlives the object.
    UserDefaults(const std::string& path, Disk& disk);

    /// Writes what flush() has not.
    ~UserDefaults() override;

    /// $XDG_CONFIG_HOME/tarvo/tarvo.conf, by the XDG Base Directory Specification.
    static std::string standardPath();

    /// Values for keys that have none stored. Never overwrites what is stored.
    void registerDefaults(const Values& defaults);

    /// Keys that only this object may write while it lives. An editor saves the file as it was when it was
    /// opened: what it then says under these keys is old, and is put right.
    void keepToItself(std::set<std::string> keys);

    /// A value for this run only, above the stored one: what a command line option asks for.
    void setForThisRun(std::string_view key, const QVariant& value);

    /// Empty when the key is absent everywhere. Whole numbers that don't fit count as the nearest that does;
    /// truth values are "true", "yes", "on" or "1", and their opposites.
    std::optional<std::string> string(std::string_view key) const;
    std::int64_t integer(std::string_view key) const;
    bool boolean(std::string_view key) const;
    std::string data(std::string_view key) const;
    std::map<std::string, std::int64_t> counters(std::string_view key) const;

    /// Whether there is a value that is no text, such as one with a comma outside quotes: string() passes it
    /// over, which not every reader may.
    bool isNoText(std::string_view key) const;

    /// Says in the log, once for each such value, that what stands under `key` is no use to its reader, which
    /// goes by `used` instead.
    void nameUnusable(std::string_view key, std::string_view used) const;

    void set(std::string_view key, const QVariant& value);
    void setCounters(std::string_view key, const std::map<std::string, std::int64_t>& counters);
    void remove(std::string_view key);

    /// Removes every stored value; the registered defaults stay.
    void removeAll();

    /// Writes what has changed to the file and returns once it is on the disk; then reads what other programs
    /// have written there meanwhile. What they stored under other keys stays. Answers whether it could; if
    /// not, the log says why, and the changes wait for the next flush. It waits for the disk: for a worker.
    bool flush();

Q_SIGNALS:
    /// On the main thread, once for each change of a stored value, whether made here or in the file.
    void changed(const std::string& key);

private:
    struct Change {
        QVariant value;           // invalid: the key was removed
        std::uint64_t number = 0; // tells it from a later change of the same key
    };

    using Changes = std::map<std::string, Change>;

    /// What a key may be found in, from the lowest layer to the highest.
    struct Layers {
        Values registered;
        Values stored;   // as the file was when last read or written; of the own keys, as they should be
        Changes changes; // not in the file yet
        Values forThisRun;
        std::set<std::string> ownKeys;
        std::map<std::string, QVariant> named; // the last value of each key that the log calls no use
        std::uint64_t changeCount = 0;

        void set(const std::string& key, const QVariant& value) { changes[key] = {value, ++changeCount}; }

        QVariant storedOrChanged(const std::string& key) const;
        QVariant effective(const std::string& key, bool& isPassedOver) const;
        bool nameFirst(const std::string& key);
        void putOwnKeysRight(Values& values, const Changes& written);
    };

    QVariant value(std::string_view key) const;
    void tellOfChange(const std::string& key);
    bool flushOnce();
    std::set<std::string> takeOver(Values values, const Changes& written);
    Result<std::optional<Values>> exchange(const Changes& changes);

    const std::shared_ptr<int> m_life = std::make_shared<int>(); // ends with the object
    mutable Locked<Layers> m_layers;                             // never held while the disk is waited for
    std::mutex m_flushing;                                       // guards what follows
    SettingsFile m_file;
};

} // namespace tarvo
