// Feeds the fields by which a server names a file and the part of it that it sends. A name is UTF-8 and, once
// cleaned, no path and short enough, and what is quoted comes back whole; a range is possible, is the answer
// to the request for just that range of a file of just that size, and of no other size.
#include "Fuzz.h"

#include <limits>

#include <QString>

#include "base/FileName.h"
#include "engine/transfer/RangeAnswer.h"
#include "engine/transfer/Scout.h"

using namespace tarvo;
using fuzz::require;

namespace {

void checkName(const std::string& value) {
    const auto name = nameFromContentDisposition(value);
    require(!name || QString::fromStdString(*name).toStdString() == *name, "a name is UTF-8");
    const std::string cleaned = cleanFileName(name, "trdownload");
    require(cleaned.find('/') == std::string::npos && !cleaned.starts_with('.'), "a cleaned name is no path");
    require(cleaned.find('\0') == std::string::npos, "a cleaned name is a whole name");
    require(cleaned.size() + std::string_view(".trdownload").size() <= kLongestName,
            "a cleaned name is short");
    require(cleanFileName(cleaned, "trdownload") == cleaned || cleaned.empty(), "a clean name stays");
}

void checkQuotedName(const std::string& value) {
    std::string field = "attachment; size=\"; filename=a\"; filename=\"";
    for (const char c : value)
        field += (c == '"' || c == '\\' ? "\\" : "") + std::string(1, c);
    const auto name = nameFromContentDisposition(field + "\" ; x=1; filename*=UTF-8''b");
    require(name == (value.empty() ? "b" : QString::fromStdString(value).toStdString()),
            "what is quoted comes back");
}

void checkRange(const std::string& value) {
    const auto range = ContentRange::parse(value);
    if (!range)
        return;
    require(range->first >= 0 && range->first <= range->last && range->last < range->completeLength,
            "a range is possible");
    const ByteRange asked(range->first, range->last + 1);
    const ResponseHead head{206, value, std::nullopt};
    require(judgeRangeAnswer(head, asked, range->completeLength) == RangeVerdict::accepted,
            "it is the answer");
    require(judgeRangeAnswer(head, asked, range->completeLength - 1) == RangeVerdict::unexpected,
            "of another size, it is not");
    const ByteRange later(range->first + 1, std::numeric_limits<std::int64_t>::max());
    require(judgeRangeAnswer(head, later, range->completeLength) == RangeVerdict::unexpected,
            "to another request, it is not");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string value(reinterpret_cast<const char*>(data), size);
    checkName(value);
    checkQuotedName(value);
    checkRange(value);
    if (const auto length = parseLength(value))
        require(*length >= 0, "a length is not negative");
    return 0;
}
