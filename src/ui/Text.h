// Texts of the interface, in the type that widgets take.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include <QString>

#include "base/Localized.h"

namespace tarvo {

inline QString text(std::string_view key) {
    return QString::fromStdString(localized(key));
}

inline QString text(std::string_view key, std::initializer_list<std::string> arguments) {
    return QString::fromStdString(localized(key, arguments));
}

} // namespace tarvo
