// Feeds what a browser's process may write to the reader of its lines. A message that is read is the same
// when it is written and read again, and holds no text beyond the limit.
#include "Fuzz.h"

#include "browserlink/BrowserLines.h"

using namespace tarvo;
using fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    BrowserLines lines;
    lines.add(bytes, [](std::string_view line) {
        if (const auto message = fromBrowserOf(line))
            require(fromBrowserOf(lineOf(*message)) == message, "a message stands for itself");
        if (const auto message = toBrowserOf(line))
            require(toBrowserOf(lineOf(*message)) == message, "a message stands for itself");
        return true;
    });
    return 0;
}
