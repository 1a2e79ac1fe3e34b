#include "input/APIDispatch.h"

#include <algorithm>
#include <cctype>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "base/Log.h"
#include "base/Runloop.h"

namespace tarvo {

namespace {

constexpr std::string_view kPrefix = "tarvo";
constexpr std::string_view kSeparator = "://";

Error badCall(std::string_view key) {
    return Error::localized(ErrorDomain::Tarvo, kTarvoBadApiCall, key);
}

/// None when a "%" begins no escape: then the call was cut off or made wrongly.
std::optional<QByteArray> withoutEscapes(std::string_view text) {
    const auto isHexDigit = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    for (std::size_t at = text.find('%'); at != std::string_view::npos; at = text.find('%', at + 3)) {
        if (at + 2 >= text.size() || !isHexDigit(text[at + 1]) || !isHexDigit(text[at + 2]))
            return std::nullopt;
    }
    return QByteArray::fromPercentEncoding(QByteArray(text.data(), static_cast<qsizetype>(text.size())));
}

} // namespace

bool hasControlCharacter(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto code = static_cast<unsigned char>(c);
        return code < 0x20 || code == 0x7F;
    });
}

Error badApiCall() {
    return badCall("tr.err.api-format");
}

std::optional<std::string> APIDispatch::prefix() const {
    const std::string text = apiUrlString();
    const std::size_t end = text.find(kSeparator);
    const bool isOnce =
        end != std::string::npos && text.find(kSeparator, end + kSeparator.size()) == std::string::npos;
    return isOnce && text.compare(0, end, kPrefix) == 0 ? std::optional(text.substr(0, end)) : std::nullopt;
}

std::optional<std::string> APIDispatch::action() const {
    const std::string text = apiUrlString();
    const std::size_t separator = text.find(kSeparator);
    if (separator == std::string::npos)
        return std::nullopt;
    const std::size_t begin = separator + kSeparator.size();
    const std::string action = text.substr(begin, text.find('/', begin) - begin);
    return action.empty() ? std::nullopt : std::optional(action);
}

std::optional<QJsonValue> APIDispatch::payload() const {
    const std::string text = apiUrlString();
    const auto json = withoutEscapes(std::string_view(text).substr(text.rfind('/') + 1));
    const auto document = QJsonDocument::fromJson(json.value_or(QByteArray()));
    if (document.isObject())
        return document.object();
    if (document.isArray())
        return document.array();
    return std::nullopt;
}

bool APIDispatch::isValidCall() const {
    return prefix() && action();
}

Result<void> APIDispatch::dispatch(NotificationCenter& center) const {
    Runloop::assertMain();
    const APIDispatch call(apiUrlString()); // of now: another may be set meanwhile
    const std::size_t length = call.apiUrlString().size();
    if (length > APILimit::kBytes) {
        Log::info("An API call of {} bytes is refused; {} are allowed", length, APILimit::kBytes);
        return failure(badApiCall());
    }
    if (!call.isValidCall()) {
        Log::info("An API call is refused: it is not of the form tarvo://ACTION/DATA");
        return failure(badApiCall());
    }
    Notification::UserInfo userInfo;
    if (const auto payload = call.payload()) {
        const qsizetype links = (*payload)["urls"].toArray().size();
        if (links > APILimit::kLinks) {
            Log::info("An API call with {} links is refused; {} are allowed", links, APILimit::kLinks);
            return failure(badApiCall());
        }
        userInfo.emplace(kPayloadKey, *payload);
    }
    center.post(notificationNameForAction(*call.action()), nullptr, std::move(userInfo));
    return {};
}

std::string APIDispatch::notificationNameForAction(std::string_view action) {
    return "API::" + std::string(action);
}

std::string linksTextOfAddPayload(const QJsonValue& payload) {
    std::string text;
    const QJsonArray elements = payload["urls"].toArray();
    for (const auto& element : elements) {
        const std::string link = element.toObject()["href"].toString().toStdString();
        if (hasControlCharacter(link))
            Log::info("A link of an API call has control characters in it and is left out");
        else
            text += link;
        text += '\n';
    }
    return text;
}

Result<void> getUrl(const std::string& text, NotificationCenter& center,
                    const std::function<void(const std::string&)>& addStringToTarvo) {
    Log::info("Got URL from API");
    if (text.starts_with("tarvo://"))
        return APIDispatch(text).dispatch(center);
    if (!text.starts_with("sftp://")) {
        Log::info("An address that was opened with Tarvo is of no kind that it takes");
        return failure(badCall("tr.err.unknown-api-protocol"));
    }
    if (text.size() > APILimit::kBytes || hasControlCharacter(text)) {
        Log::info("An sftp:// address of {} bytes is refused: it is too long or has control characters in it",
                  text.size());
        return failure(badApiCall());
    }
    addStringToTarvo(text);
    return {};
}

} // namespace tarvo
