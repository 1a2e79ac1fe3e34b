// The e-mails that a user writes to the makers of the program.
#pragma once

#include <string>
#include <vector>

#include <QUrl>

namespace tarvo {

/// "mailto:" (RFC 6068) with the log files attached, where the user's program takes attachments by that way,
/// and named in the text where it does not. Files are absolute paths.
QUrl mailWithLogs(const std::vector<std::string>& logFiles);

/// One about a start that has failed.
QUrl mailToSupport();

} // namespace tarvo
