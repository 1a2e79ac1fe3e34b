#include "engine/progress/Validator.h"

#include <algorithm>
#include <charconv>

#include <curl/curl.h>

namespace tarvo {

namespace {

/// Seconds since 1970; below 0 for what is no date (RFC 9110, section 5.6.7).
std::int64_t parsed(std::string_view date) {
    return curl_getdate(std::string(date).c_str(), nullptr);
}

} // namespace

Validator Validator::ofWebAnswer(std::string_view entityTag, std::string_view lastModified,
                                 std::string_view date, std::string origin) {
    Validator validator{.lastModified = std::string(lastModified), .origin = std::move(origin)};
    if (entityTag.size() > 2 && entityTag.starts_with('"') && entityTag.ends_with('"'))
        validator.entityTag = entityTag;
    const std::int64_t modified = parsed(lastModified);
    validator.isModificationStrong = modified >= 0 && parsed(date) >= modified + 1;
    return validator;
}

Validator Validator::ofModificationTime(std::int64_t secondsSince1970, std::string origin) {
    if (secondsSince1970 < 0)
        return {.origin = std::move(origin)};
    return {.lastModified = std::to_string(secondsSince1970),
            .isModificationStrong = true,
            .origin = std::move(origin)};
}

std::string Validator::ifRange() const {
    std::string value = !entityTag.empty() ? entityTag : isModificationStrong ? lastModified : "";
    // A record comes from the disk: what is in it must not become a header of its own.
    const bool isOneLine =
        std::none_of(value.begin(), value.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
    return origin.starts_with("http") && isOneLine ? value : std::string();
}

std::int64_t Validator::modificationTime() const {
    if (origin.starts_with("http"))
        return parsed(lastModified);
    std::int64_t seconds = -1;
    std::from_chars(lastModified.data(), lastModified.data() + lastModified.size(), seconds);
    return seconds;
}

Sameness compare(const Validator& kept, const Validator& answer) {
    if (kept.origin == answer.origin && !kept.entityTag.empty() && !answer.entityTag.empty())
        return kept.entityTag == answer.entityTag ? Sameness::same : Sameness::different;
    if (kept.lastModified.empty() || answer.lastModified.empty())
        return Sameness::unknown;
    if (kept.lastModified != answer.lastModified)
        return Sameness::different;
    return kept.isModificationStrong ? Sameness::same : Sameness::unknown;
}

} // namespace tarvo
