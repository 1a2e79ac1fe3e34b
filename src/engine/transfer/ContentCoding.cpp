#include "engine/transfer/ContentCoding.h"

#include "base/Text.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace tarvo {

namespace {

/// The codings of the IANA HTTP Content Coding registry that programs unpack by such an ending.
constexpr std::pair<std::string_view, std::string_view> kEndings[] = {
    {"gzip", ".gz"}, {"x-gzip", ".gz"}, {"compress", ".z"}, {"x-compress", ".z"},
    {"br", ".br"},   {"zstd", ".zst"},  {"deflate", ".zz"}};

constexpr std::string_view kShortEndings[] = {".tgz", ".svgz", ".taz", ".tzst"};

} // namespace

std::string withEndingOfCoding(const std::string& name, const std::string& coding) {
    const std::string wanted = lowered(trimmed(coding));
    const auto known = std::find_if(std::begin(kEndings), std::end(kEndings),
                                    [&](const auto& each) { return each.first == wanted; });
    if (known == std::end(kEndings))
        return name;
    const auto says = [own = lowered(name)](std::string_view ending) { return own.ends_with(ending); };
    const bool isSaid =
        says(known->second) || std::any_of(std::begin(kShortEndings), std::end(kShortEndings), says);
    return isSaid ? name : name + std::string(known->second);
}

} // namespace tarvo
