// The beginning of a file as text, where it is text.
#pragma once

#include <optional>
#include <string_view>

#include <QString>

namespace tarvo {

/// By its byte order mark (UTF-8, UTF-16, UTF-32), else as UTF-8, else as Latin-1. A character that is cut
/// off at the end is left out. Lines are broken after some thousand characters, for a view lays out each as a
/// whole; other control characters than tabs and ends of lines are replaced. None: this is no text.
std::optional<QString> textOf(std::string_view bytes);

} // namespace tarvo
