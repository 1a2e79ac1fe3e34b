// The texts that users see, found by key in translations/.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace tarvo {

/// Loads the texts of the user's language, English where there is none, and Qt's own in the same language
/// where they are installed (LANGUAGE, LC_ALL, LC_MESSAGES and LANG as gettext reads them; Qt manual,
/// QLocale::uiLanguages). Called once, on the main thread, after the application object exists and before
/// other threads do.
void installLocalizedTexts();

/// The text of `key`; the key itself when it has none. Any thread.
std::string localized(std::string_view key);

/// The text of `key` with its placeholders %1 to %9 replaced by the arguments of that number, from 1; what
/// the arguments hold stays as it is. Any thread.
std::string localized(std::string_view key, std::initializer_list<std::string> arguments);

/// The text of `key` in the form that the language has for `count` things, with %n replaced by the count and
/// %1 to %9 by the arguments. Any thread.
std::string localizedCount(std::string_view key, std::size_t count,
                           std::initializer_list<std::string> arguments = {});

} // namespace tarvo
