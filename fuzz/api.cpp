// Feeds addresses that other programs open, and, when the input begins with "{" or "[", the payload of an
// "add" call. A call is taken or refused with the one code; nothing but addresses of downloads comes of it,
// and of a refused one nothing at all.
#include "Fuzz.h"

#include <algorithm>

#include <QByteArray>
#include <QJsonArray>

#include "input/APIDispatch.h"
#include "input/TRStringURL.h"

using namespace tarvo;
using fuzz::require;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    if (text.starts_with('{') || text.starts_with('['))
        text = "tarvo://add/" + QByteArray::fromStdString(text).toPercentEncoding().toStdString();

    NotificationCenter center;
    std::string links;
    int heard = 0;
    qsizetype elements = 0;
    const auto observation = center.observe("API::add", [&](const Notification& call) {
        ++heard;
        if (const auto* payload = call.info<QJsonValue>(APIDispatch::kPayloadKey)) {
            links += linksTextOfAddPayload(*payload);
            elements = (*payload)["urls"].toArray().size();
        }
    });
    const auto taken = getUrl(text, center, [&](const std::string& address) {
        ++heard;
        links += address;
    });
    require(taken ? heard <= 1 : heard == 0, "a call is heard once if it is taken, else never");
    require(taken || taken.error().is(ErrorDomain::Tarvo, kTarvoBadApiCall), "a refusal has the one code");
    require(links.size() <= 3 * text.size() + 1, "links are no longer than the call");
    require(elements <= APILimit::kLinks, "there are not too many links");
    require(std::count(links.begin(), links.end(), '\n') == elements, "an element is one line");
    for (const std::string_view line : linesOf(links)) {
        const auto url = supportedURL(line);
        require(!url || (isTransferScheme(url->scheme()) && fuzz::isPrintableAscii(url->absoluteString())),
                "links are addresses");
    }
    return 0;
}
