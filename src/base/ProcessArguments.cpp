#include "base/ProcessArguments.h"

#include "base/Url.h"

#include <algorithm>
#include <cstring>
#include <strings.h>

namespace tarvo {

namespace {

void hide(char* from, char* to) {
    std::fill(from, to, '*');
}

/// What follows the action in "tarvo://ACTION/DATA"; null where the argument is no such call.
char* dataOfCall(char* argument) {
    constexpr std::string_view kCall = "tarvo:";
    if (::strncasecmp(argument, kCall.data(), kCall.size()) != 0)
        return nullptr;
    char* data = argument + kCall.size();
    for (int slash = 0; slash < 3; ++slash) {
        if (char* const found = std::strchr(data, '/'))
            data = found + 1;
    }
    return data;
}

void hidePasswordsOfAddresses(char* argument) {
    for (const std::string_view password : passwordsIn(argument)) {
        char* const begin = argument + (password.data() - argument);
        hide(begin, begin + password.size());
    }
}

/// In "USER:PASSWORD@HOST", as a proxy may be given.
void hidePasswordWithoutScheme(char* text, char* end) {
    char* at = std::find(text, end, '/');
    while (at != text && *(at - 1) != '@')
        --at;
    char* const colon = std::find(text, at, ':');
    if (at != text && colon != at)
        hide(colon + 1, at - 1);
}

} // namespace

void hidePasswords(int argc, char** argv) {
    const auto valueOf = [&](int i, std::initializer_list<std::string_view> options) -> char* {
        const std::string_view text = argv[i];
        for (const auto option : options) {
            const bool isLetter = option.size() == 2; // its value may follow at once
            if (text.starts_with(option) && isLetter && text.size() > option.size())
                return argv[i] + option.size();
            if (text.starts_with(option) && text.substr(option.size()).starts_with('='))
                return argv[i] + option.size() + 1;
            if (argv[i - 1] == option)
                return argv[i];
        }
        return nullptr;
    };
    for (int i = 1; i < argc; ++i) {
        char* const end = argv[i] + std::strlen(argv[i]);
        char* const proxy = valueOf(i, {"--proxy", "--all-proxy", "-x"});
        if (char* const header = valueOf(i, {"--header", "-H"})) {
            hide(std::find(header, end, ':'), end); // a key, a token, a cookie
            continue;
        }
        if (char* const user = valueOf(i, {"--user", "-u"})) {
            if (char* const colon = std::find(user, end, ':'); colon != end)
                hide(colon + 1, end);
        } else if (char* const data = dataOfCall(argv[i])) {
            hide(data, end); // as JSON that is percent-encoded, it can say "password" in many ways
        } else if (proxy && !std::strstr(proxy, "://")) {
            hidePasswordWithoutScheme(proxy, end);
        } else {
            hidePasswordsOfAddresses(argv[i]);
        }
    }
}

} // namespace tarvo
