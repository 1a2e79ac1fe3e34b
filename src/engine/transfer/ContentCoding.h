// What a server has compressed for the way, although it was not asked to.
#pragma once

#include <string>

namespace tarvo {

/// `name` with the ending that says how the bytes are compressed, unless it says so already. `coding` is the
/// value of a Content-Encoding field (RFC 9110, section 8.4): the bytes are stored as they come, for parts of
/// them can't be unpacked. What is unknown changes nothing.
std::string withEndingOfCoding(const std::string& name, const std::string& coding);

} // namespace tarvo
