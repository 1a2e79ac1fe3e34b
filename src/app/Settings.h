// All settings of the program in one table, and how those are read that can be set to nonsense.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <QVariant>

#include "base/Locked.h"
#include "base/UserDefaults.h"

namespace tarvo {

enum class SettingType { boolean, integer, text, bytes, counters };

/// A row of the table. A setting without a default is written by the program itself and absent until then.
struct Setting {
    std::string_view key;
    SettingType type;
    QVariant defaultValue; ///< a leading "~" stands for the home folder
    std::string_view meaning;
};

/// Where the program shows itself.
enum class ApplicationMode { dockOnly, menuBarOnly, dockAndMenuBar };

/// Typed readers over the stored settings. A value that makes no sense is read as the nearest one that
/// does, or as the default, and named in the log, once for each such value. Any thread.
class Settings {
public:
    static const std::vector<Setting>& table();

    /// Registers the defaults of the table; never overwrites what is stored. `homeFolder` is absolute.
    static void registerDefaults(UserDefaults& defaults, const std::string& homeFolder);

    /// Those that only the running program writes: see UserDefaults::keepToItself().
    static std::set<std::string> ownKeys();

    /// `defaults` outlives the object.
    Settings(const UserDefaults& defaults, std::string homeFolder);

    std::int64_t defaultConcurrency() const; ///< downloads at once, from 1
    std::int64_t defaultThreading() const;   ///< connections of a new download, 1 to 64
    std::int64_t minimumChunkSize() const;   ///< bytes, from 1
    std::string defaultDirectory() const;    ///< absolute, "~" expanded
    ApplicationMode applicationMode() const; ///< both for a text that names none

private:
    std::int64_t integerWithin(std::string_view key, std::int64_t least, std::int64_t most) const;
    void warnOnce(std::string_view key, std::string_view used) const;

    const UserDefaults& m_defaults;
    const std::string m_homeFolder;
    mutable Locked<std::map<std::string, std::string>> m_warned; // of which value under which key
};

} // namespace tarvo
