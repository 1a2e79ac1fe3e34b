// Text as it stands in HTML, turned into the text that it means.
#pragma once

#include <string>
#include <string_view>

namespace tarvo {

/// `text` with the entities that XML knows (&amp; &apos; &quot; &lt; &gt;) and numeric ones (&#65; &#x42;,
/// with or without ";") replaced by their characters. Numbers are UTF-16 code units; larger ones, which that
/// leaves open, are Unicode code points. What is no such entity stays as it is. The result is valid UTF-8:
/// bytes that aren't, and code units that make no character, become U+FFFD. It takes time and memory in
/// proportion to the text. Any thread.
std::string stringByDecodingXMLEntities(std::string_view text);

} // namespace tarvo
