// The settings that a person changes in the preferences: where each stands there, and what storing it does.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <QVariant>

#include "base/Error.h"
#include "base/UserDefaults.h"

namespace tarvo {

struct Preference {
    enum class Pane { general, advanced, app };
    enum class Kind {
        toggle,
        number,
        choice,
        text,
        folder,
        reset ///< a button that stores the empty text; of use while something else is stored
    };

    /// What is stored, and the key of its words.
    using Choice = std::pair<std::string_view, std::string_view>;

    Pane pane;
    Kind kind;
    std::string_view key;
    std::string_view labelKey;
    std::string_view hintKey{};  ///< a sentence below the control; empty for none
    std::pair<int, int> range{}; ///< of a number: the least and the most
    std::vector<Choice> choices{};
};

/// In the order in which they are shown.
const std::vector<Preference>& preferences();

/// Stores what was entered, with what goes along with it: the download folder is stored twice, and a program
/// that quits by itself shows itself in one place only. A folder is its path as bytes, empty for none. Error,
/// and then nothing is stored: the value is no use. Main thread.
Result<void> storePreference(UserDefaults& defaults, std::string_view key, const QVariant& value);

/// What is to be shown for a key, in the type that storePreference() takes. `homeFolder` stands for "~".
QVariant shownPreference(const UserDefaults& defaults, const Preference& preference,
                         const std::string& homeFolder);

} // namespace tarvo
