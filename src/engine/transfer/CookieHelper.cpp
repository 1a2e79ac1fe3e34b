// Joins names and values, and lets nothing through that could end the header.
#include "engine/transfer/CookieHelper.h"

#include <algorithm>

#include "base/Log.h"

namespace tarvo {

namespace {

bool canBeSent(const std::string& text) {
    return std::none_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

} // namespace

std::string CookieHelper::combineCookiesForURL(const Url& url, const CookieStore* cookieJar, WallTime now) {
    if (!Log::assertThat(cookieJar != nullptr))
        return {};
    std::string header;
    for (const Cookie& cookie : cookieJar->cookiesForUrl(url, now))
        if (canBeSent(cookie.name) && canBeSent(cookie.value))
            header += cookie.name + "=" + cookie.value + ";";
    return header;
}

} // namespace tarvo
