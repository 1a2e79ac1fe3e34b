// A setting's value as a person may have written it: what it can be read as.
#pragma once

#include <cstdint>
#include <optional>

#include <QVariant>

namespace tarvo {

/// None for what is no whole number; the nearest one for what does not fit.
std::optional<std::int64_t> wholeNumber(const QVariant& value);

/// "true", "yes", "on" and "1", their opposites, or none.
std::optional<bool> truthValue(const QVariant& value);

/// Whether `value` can be read as something of the type of `model`; anything can where that is invalid.
bool isReadableAs(const QVariant& value, const QVariant& model);

/// Whether both are read as the same. Numbers and truth values are texts in the file.
bool readAlike(const QVariant& value, const QVariant& other);

} // namespace tarvo
