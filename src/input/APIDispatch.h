// The calls by which other programs hand links over: tarvo://ACTION/PERCENT-ENCODED-JSON.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <QJsonValue>

#include "base/Error.h"
#include "base/Locked.h"
#include "base/NotificationCenter.h"

namespace tarvo {

/// What an API call may hold. Everything on the machine can make one, web pages among it.
namespace APILimit {
inline constexpr std::size_t kBytes = 1u << 20; ///< of the whole call
inline constexpr qsizetype kLinks = 10'000;     ///< of one "add"
} // namespace APILimit

/// One call. The only action that has a listener is "add", whose payload is
/// {"urls": [{"href": LINK}, …]}; a payload names nothing else, neither folder nor file nor header.
/// The text may be read and set on any thread; dispatch() is for the main thread.
class APIDispatch {
public:
    explicit APIDispatch(std::string apiUrlString) : m_apiUrlString(std::move(apiUrlString)) {}

    std::string apiUrlString() const { return *m_apiUrlString.lock(); }

    void setApiUrlString(std::string text) { *m_apiUrlString.lock() = std::move(text); }

    std::optional<std::string> prefix() const; ///< none unless it is "tarvo", and "://" stands there once
    std::optional<std::string> action() const; ///< between "://" and the next "/"; never empty

    /// What stands behind the last "/", if that is percent-encoded JSON: an object or an array.
    std::optional<QJsonValue> payload() const;

    /// Whether there are a prefix and an action.
    bool isValidCall() const;

    /// Posts the call as notificationNameForAction(), with the payload, if there is one, as a QJsonValue
    /// under kPayloadKey. Error: ErrorDomain::Tarvo, kTarvoBadApiCall, when it is no valid call or larger
    /// than APILimit allows; then nothing is posted.
    Result<void> dispatch(NotificationCenter& center) const;

    /// "API::add" for "add".
    static std::string notificationNameForAction(std::string_view action);

    static constexpr std::string_view kPayloadKey = "payload";

private:
    mutable Locked<std::string> m_apiUrlString;
};

/// No address has such (RFC 3986, section 2), but a second link could hide behind one.
bool hasControlCharacter(std::string_view text);

/// The error of a call in a form that is not understood.
Error badApiCall();

/// The links that the payload of an "add" names, each with a line feed behind it, to be read like pasted
/// text. An element that names none, or one with a control character in it, leaves just the line feed.
std::string linksTextOfAddPayload(const QJsonValue& payload);

/// What to do with an address that was opened with this program: a tarvo:// call goes to `center`, an
/// sftp:// address to `addStringToTarvo`. Error, to be shown to the user: kTarvoBadApiCall. Main thread.
Result<void> getUrl(const std::string& text, NotificationCenter& center,
                    const std::function<void(const std::string&)>& addStringToTarvo);

} // namespace tarvo
