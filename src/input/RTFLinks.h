// The links of a rich text (RTF), without reading anything else of it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarvo {

/// The absolute addresses of the HYPERLINK fields of `rtf` (Rich Text Format Specification 1.9.1, "Fields"),
/// in order, duplicates among them. Links within the document have none. What stands behind a group that is
/// nested more than 500 deep, or an instruction of more than 64 KiB, is not read. It takes time in
/// proportion to the text, and doesn't recurse. Any thread.
std::vector<std::string> linksOfRTF(std::string_view rtf);

} // namespace tarvo
