// Feeds RTF. Every link is an absolute URL, in the form that URLs are kept in; and what stands further behind
// changes nothing about the links before it.
#include "Fuzz.h"

#include <algorithm>

#include "base/Url.h"
#include "input/RTFLinks.h"

using namespace tarvo;
using fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto links = linksOfRTF(text);
    std::size_t total = 0;
    for (const auto& link : links) {
        const auto url = Url::parse(link);
        require(url && url->absoluteString() == link, "a link is a URL");
        require(fuzz::isPrintableAscii(link), "a link is printable ASCII");
        total += link.size();
    }
    require(total <= 16 * size, "links are no longer than the text"); // \u1 is %xx%xx%xx at most
    const auto before = linksOfRTF(text.substr(0, size > 0 ? size * data[0] / 256 : 0));
    require(before.size() <= links.size() && std::equal(before.begin(), before.end(), links.begin()),
            "the links of the beginning are the first links of the whole");
    return 0;
}
