// Feeds text to the reader of addresses and to the decoder of entities. Every address that comes out is
// printable ASCII, has a host and a scheme that transfers carry, and stands for itself when read again; and
// text that was written with entities comes back.
#include "Fuzz.h"

#include <QString>

#include "input/HTMLEntities.h"
#include "input/TRStringURL.h"

using namespace tarvo;
using fuzz::require;

namespace {

std::string withEntities(const std::string& text) {
    return QString::fromStdString(text).toHtmlEscaped().replace(u'\'', QLatin1String("&#x27;")).toStdString();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const std::string_view line : linesOf(text)) {
        const auto found = supportedURL(line);
        if (!found)
            continue;
        const Url& url = *found;
        const std::string& address = url.absoluteString();
        require(fuzz::isPrintableAscii(address), "an address is printable ASCII");
        require(isTransferScheme(url.scheme()), "an address has a supported scheme");
        require(!url.host().empty(), "an address names a host");
        require(Url::parse(address) == url, "an address is read as itself");
        require(address.size() > kLongestLink || supportedURL(address) == url,
                "an address stands for itself");
    }
    const std::string decoded = stringByDecodingXMLEntities(text);
    require(decoded.size() <= 3 * size, "decoding adds nothing");
    const QString valid = QString::fromStdString(decoded);
    require(valid.toStdString() == decoded, "what was decoded is UTF-8");
    require(stringByDecodingXMLEntities(withEntities(decoded)) == decoded, "text with entities comes back");
    return 0;
}
