#include "base/ProcessArguments.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace tarvo {

void hidePasswords(int argc, char** argv) {
    const auto hide = [](char* from, char* to) { std::fill(from, to, '*'); };
    const auto valueOf = [&](int i, std::string_view option) -> char* {
        const std::string_view text = argv[i];
        if (text.starts_with(option) && text.substr(option.size()).starts_with('='))
            return argv[i] + option.size() + 1;
        return argv[i - 1] == option ? argv[i] : nullptr;
    };
    for (int i = 1; i < argc; ++i) {
        char* const end = argv[i] + std::strlen(argv[i]);
        if (char* user = valueOf(i, "--user")) {
            if (char* colon = std::find(user, end, ':'); colon != end)
                hide(colon + 1, end);
            continue;
        }
        char* const scheme = std::strstr(argv[i], "://");
        char* const authority = scheme ? scheme + 3 : valueOf(i, "--proxy"); // which needs no scheme
        if (!authority)
            continue;
        char* at = std::find(authority, end, '/');
        while (at != authority && *(at - 1) != '@')
            --at;
        char* const colon = std::find(authority, at, ':');
        if (at != authority && colon != at)
            hide(colon + 1, at - 1);
    }
}

} // namespace tarvo
