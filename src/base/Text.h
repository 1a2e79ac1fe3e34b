// Small steps on texts that every room takes.
#pragma once

#include <string>
#include <string_view>

namespace tarvo {

/// `text` without the white space of ASCII at its ends.
std::string_view trimmed(std::string_view text);

/// `text` with the letters of ASCII in lower case.
std::string lowered(std::string_view text);

/// `text` with "?" for each character that steers a terminal or turns the text around it: the control
/// characters (Unicode's category Cc, UTF-8) and the explicit directions (Unicode Annex 9, section 2). Line
/// feeds count.
std::string withoutControls(std::string text);

/// What the user has typed, as an error may show it: a password is left out, of a call of the application's
/// own scheme all but its name, and not for pages, and no control characters. What is no address may hold a
/// password too.
std::string shown(std::string_view text);

} // namespace tarvo
