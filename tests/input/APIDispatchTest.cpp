// Calls of other programs arrive as links and nothing else; what is no call is refused with the reason.
#include "input/APIDispatch.h"

#include <QByteArray>
#include <gtest/gtest.h>

namespace tarvo {

namespace {

std::string addCall(const QByteArray& json) {
    return "tarvo://add/" + json.toPercentEncoding().toStdString();
}

/// What listens to calls and to sftp:// addresses.
struct Receiver {
    NotificationCenter center;
    int calls = 0;
    std::string text; // as an "add" or an address hands it over
    NotificationCenter::Observation observation =
        center.observe("API::add", [this](const Notification& call) {
            ++calls;
            const auto* data = call.info<QJsonValue>(APIDispatch::kPayloadKey);
            text += data ? linksTextOfAddPayload(*data) : "";
        });

    std::string open(const std::string& address) {
        const auto taken = getUrl(address, center, [this](const std::string& links) { text += links; });
        if (taken)
            return "";
        EXPECT_TRUE(taken.error().is("com.unregistered.tarvo.error", 1032));
        return taken.error().description;
    }
};

const std::string kFormatText =
    "Another program has asked Tarvo for something in a form that Tarvo does not understand.";
const std::string kProtocolText = "Tarvo can't open addresses of this kind.";

} // namespace

TEST(APIDispatch, AddsTheLinksInTheirOrderAndNothingWithoutUsableData) {
    const std::pair<std::string, std::string> calls[] = {
        {addCall(R"({"urls": [{"href": "http://b/"}, {}, 7, {"href": 7}, {"href": "ü"}], "folder": "/etc"})"),
         "http://b/\n\n\n\nü\n"},
        {addCall("{}"), ""},
        {addCall("[]"), ""},
        {addCall(R"({"urls":{}})"), ""},
        {"tarvo://add", ""},
        {"tarvo://add/%7B%7", ""},
        {"tarvo://add/7", ""},
        {"tarvo://add/%FF", ""},
        {"tarvo://add/" + std::string(500'000, '['), ""}, // endlessly nested
    };
    for (const auto& [call, text] : calls) {
        Receiver receiver;
        receiver.open(call);
        EXPECT_EQ(receiver.text, text) << call.substr(0, 80);
    }
    Receiver receiver;
    EXPECT_EQ(receiver.open("tarvo://add/7"), "");
    EXPECT_EQ(receiver.calls, 1);
    EXPECT_EQ(receiver.open("tarvo://remove/x"), "");
    EXPECT_EQ(receiver.calls, 1);
}

TEST(APIDispatch, RefusesWhatIsNoCall) {
    const std::pair<std::string, std::string> cases[] = {
        {"tarvo://", kFormatText},
        {"tarvo:///{}", kFormatText},
        {"tarvo://add/http://a", kFormatText},
        {"tarvo://add/" + std::string(APILimit::kBytes, 'x'), kFormatText},
        {addCall("{\"urls\":[" + QByteArray("0,").repeated(APILimit::kLinks) + "0]}"), kFormatText},
        {"sftp://h/x\nhttp://evil/", kFormatText},
        {"TARVO://add/{}", kProtocolText},
        {" tarvo://add/{}", kProtocolText},
        {"http://a/b", kProtocolText},
        {"file:///etc/passwd", kProtocolText},
        {"", kProtocolText},
    };
    for (const auto& [address, reason] : cases) {
        Receiver receiver;
        EXPECT_EQ(receiver.open(address), reason) << address.substr(0, 80);
        EXPECT_EQ(receiver.calls, 0);
        EXPECT_EQ(receiver.text, "");
    }
    Receiver receiver;
    EXPECT_EQ(receiver.open("sftp://host/dir/file"), "");
    EXPECT_EQ(receiver.text, "sftp://host/dir/file");
}

} // namespace tarvo
