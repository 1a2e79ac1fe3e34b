// What "tarvo settings" prints and changes.
#pragma once

#include <optional>
#include <string>

#include "base/Error.h"
#include "base/UserDefaults.h"
#include "remote/QueueClient.h"

namespace tarvo {

struct SettingsWish {
    std::string key;                  ///< empty: all settings
    std::optional<std::string> value; ///< to be stored
    bool isReset = false;             ///< the default is to be stored again
    bool isJson = false;
};

/// Stores `text` as the setting's value, read as its type. A folder may be relative to the working folder.
/// Error, and then nothing is stored: there is no such setting, or the value is no use. Main thread.
Result<void> storeSetting(UserDefaults& defaults, const std::string& key, const std::string& text);

/// Carries the wish out on the settings file, which a running application is asked to read, and prints.
/// Answers the status to end with. Main thread.
int runSettings(const SettingsWish& wish, QueueClient& client);

} // namespace tarvo
