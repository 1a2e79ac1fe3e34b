#include "jobs/PageRule.h"

#include "base/Text.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace tarvo {

namespace {

/// What follows the last dot, in lower case, if it begins with a letter: the "2" of v1.2 is no ending.
std::string endingOf(const std::string& name) {
    const auto dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == name.size())
        return {};
    return std::isalpha(static_cast<unsigned char>(name[dot + 1])) != 0 ? lowered(name.substr(dot + 1))
                                                                        : std::string();
}

} // namespace

bool looksLikePage(const Url& url) {
    constexpr std::string_view kEndings[] = {"html", "htm", "xhtml", "shtml", "php", "asp",
                                             "aspx", "jsp", "cgi",   "cfm",   "do"};
    const std::string path = url.path();
    if (path.empty() || path.ends_with('/'))
        return true;
    const std::string ending = endingOf(path.substr(path.rfind('/') + 1));
    return ending.empty() ||
           std::find(std::begin(kEndings), std::end(kEndings), ending) != std::end(kEndings);
}

} // namespace tarvo
