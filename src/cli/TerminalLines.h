// The lines that tarvo-get draws on a terminal.
#pragma once

#include <string>
#include <vector>

#include "cli/ProgressView.h"

namespace tarvo {

struct TerminalSize {
    int columns = 80;
    int rows = 24;
};

/// Of standard output, or else of standard error; the usual one where neither is a terminal.
TerminalSize terminalSize();

/// What a download's progress is shown as: a percentage, or its bytes where the size is not known.
std::string percentOf(const DownloadSnapshot& download);

/// How much of the file has been read to be compared with its checksum.
std::string verifiedPercentOf(const DownloadSnapshot& download);

/// Any text as a line of a terminal `columns` wide, the middle left out where it is too long. What could
/// steer the terminal is not let through. Needs the locale's character types (setlocale), as QCoreApplication
/// sets them.
std::string terminalText(const std::string& text, int columns);

/// The one line of a download: name, bar, percent, speed, connections and time left, or what of these there
/// is room for.
std::string terminalLine(const DownloadSnapshot& download, int columns, bool colour);

/// A line for each download that there is room for and, when more than one was asked for, one for the whole.
std::vector<std::string> terminalLines(const std::vector<DownloadSnapshot>& running,
                                       const std::vector<Waiting>& waiting, const QueueCounts& counts,
                                       TerminalSize size, bool colour);

} // namespace tarvo
