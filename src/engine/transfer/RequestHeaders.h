// Header fields that the user wants requests over HTTP to have: which may be set, and which may be stored.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarvo {

/// Fields as "Name: value".
using RequestHeaders = std::vector<std::string>;

/// Whether `text` is one field: a name that is a token (RFC 9110, section 5.1) and a value without control
/// characters.
bool isRequestHeader(std::string_view text);

/// The name of a field, in lower case.
std::string headerName(std::string_view header);

/// Whether the field says which part of a file is asked for, or how long the request is: the program's own
/// business.
bool isReservedHeader(std::string_view header);

/// Whether by the look of its name, or by the kind of its value, the field may hold a secret.
bool mayHoldSecret(std::string_view header);

/// Those that may be written to a file: none that may hold a secret.
RequestHeaders headersToKeep(const RequestHeaders& headers);

/// `own`, and those of `others` whose names are not among them.
RequestHeaders withOthers(RequestHeaders own, const RequestHeaders& others);

/// A text of one field a line. headersIn() reads it and trusts nothing: it answers only fields that could be
/// kept and may be set.
std::string textOf(const RequestHeaders& headers);
RequestHeaders headersIn(std::string_view text);

} // namespace tarvo
