// All settings of the program in one table: what each means, and its default.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <QVariant>

#include "base/UserDefaults.h"

namespace tarvo {

enum class SettingType { boolean, integer, text, bytes, counters };

/// A row of the table. A setting without a default is written by the program itself and absent until then.
struct Setting {
    std::string_view key;
    SettingType type;
    QVariant defaultValue;
    std::string_view meaning;
};

const std::vector<Setting>& settingsTable();

/// Registers the defaults of the table; never overwrites what is stored.
void registerDefaultSettings(UserDefaults& defaults);

/// The keys that only the running program writes: see UserDefaults::keepToItself().
std::set<std::string> settingsOfTheProgram();

} // namespace tarvo
