// Sizes, speeds and times as a person reads them.
#pragma once

#include <cstdint>
#include <string>

#include "base/Clock.h"

namespace tarvo {

/// What stands before the tenths of a number.
enum class DecimalMark {
    ofLanguage, ///< "1.5" or "1,5"
    point,      ///< "1.5" everywhere, for the command line
};

/// The number with one decimal.
std::string readableNumber(double number, DecimalMark mark = DecimalMark::ofLanguage);

/// "12.3 MiB": bytes with a binary unit (IEC 80000-13); below 1,024 "512 B", for columns and bars.
std::string readableBytes(std::int64_t bytes, DecimalMark mark = DecimalMark::ofLanguage);

/// The same for sentences: below 1,024 "512 bytes".
std::string readableSize(std::int64_t bytes);

/// "12.3 MiB/s".
std::string readableSpeed(std::int64_t bytesPerSecond, DecimalMark mark = DecimalMark::ofLanguage);

/// For columns: "1:02:03" or "2:03"; from a hundred hours on "5 d". What is below zero is shown as zero.
std::string readableDuration(Seconds duration);

} // namespace tarvo
