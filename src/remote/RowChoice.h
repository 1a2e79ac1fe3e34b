// Which rows the user means by what was typed: numbers, states and names.
#pragma once

#include <string>
#include <vector>

#include "base/Error.h"
#include "remote/QueueRow.h"

namespace tarvo {

/// Whether the text names a row, or several: "3", "3-7", "all", a state ("failed"), the name of a file or an
/// address.
bool isChosenBy(const QueueRow& row, const std::string& text);

/// The rows, in their order, that one of the texts names. Error: of the first text that names none, except
/// for "all" and states, of which there may be none.
Result<QueueRows> chosenRows(const QueueRows& rows, const std::vector<std::string>& texts);

} // namespace tarvo
