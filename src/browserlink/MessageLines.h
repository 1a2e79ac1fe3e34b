// How a message between the application and its browser is written: a line of JSON.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "browserlink/BrowserMessages.h"

namespace tarvo {

/// The longest line, in bytes without its end; more is no message.
inline constexpr std::size_t kLongestBrowserLine = 256 * 1024;

/// The longest text in a message, in bytes; a longer one makes the message none.
inline constexpr std::size_t kLongestBrowserText = 32 * 1024;

/// One line of JSON with its end: {"message": NAME, FIELD: VALUE…}.
std::string lineOf(const ToBrowser& message);
std::string lineOf(const FromBrowser& message);

/// What a line without its end says. None for what is no message: another name, a field that is missing, is
/// too long or of another kind, a number that is negative or beyond 2^53. Fields that are not known are
/// passed over.
std::optional<ToBrowser> toBrowserOf(std::string_view line);
std::optional<FromBrowser> fromBrowserOf(std::string_view line);

/// The name of the file into which the browser writes a download until it is complete.
std::string downloadFile(std::string_view stem, std::int64_t download);

} // namespace tarvo
