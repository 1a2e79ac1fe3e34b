// The Cookie header of a request.
#pragma once

#include <string>

#include "engine/transfer/CookieStore.h"

namespace tarvo {

class CookieHelper {
public:
    /// The value of the Cookie header for `url`: "a=1;b=2;", empty without cookies. A store that is
    /// missing is a logged assertion and gives the empty text. A cookie with a control character is
    /// left out: it could end the header and begin another one. Any thread.
    static std::string combineCookiesForURL(const Url& url, const CookieStore* cookieJar, WallTime now);
};

} // namespace tarvo
