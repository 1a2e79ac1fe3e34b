// Calls of other programs arrive as links and nothing else; what is no call is refused with the reason.
#include "input/APIDispatch.h"

#include <QByteArray>
#include <gtest/gtest.h>

#include "support/Text.h"

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

    /// Answers why it was refused.
    std::string open(const std::string& address) {
        const auto taken = getUrl(address, center, [this](const std::string& links) { text += links; });
        return taken ? "" : taken.error().description;
    }
};

} // namespace

TEST(APIDispatch, AddsTheLinksInTheirOrderAndNothingWithoutUsableData) {
    const std::pair<std::string, std::string> calls[] = {
        {addCall(R"({"urls": [{"href": "http://b/"}, {}, 7, {"href": 7}, {"href": "ü"}], "folder": "/etc"})"),
         "http://b/\n\n\n\nü\n"},
        {"tarvo://add", ""},
        {"tarvo://add/%7B%7", ""},
        {"tarvo://add/" + std::string(500'000, '['), ""}, // endlessly nested
    };
    for (const auto& [call, text] : calls) {
        Receiver receiver;
        EXPECT_EQ(receiver.open(call), "");
        EXPECT_EQ(receiver.text, text) << call.substr(0, 80);
        EXPECT_EQ(receiver.calls, 1);
    }
    Receiver receiver;
    EXPECT_EQ(receiver.open("tarvo://remove/x"), "");
    EXPECT_EQ(receiver.calls, 0);
    EXPECT_EQ(receiver.open("sftp://host/dir/file"), "");
    EXPECT_EQ(receiver.text, "sftp://host/dir/file");
}

TEST(APIDispatch, RefusesWhatIsNoCallAndSaysWhy) {
    const std::string form = "does not understand";
    const std::string kind = "can't open addresses of this kind";
    const std::pair<std::string, std::string> cases[] = {
        {"tarvo://add/http://a", form},
        {"tarvo://add/" + std::string(APILimit::kBytes, 'x'), form},
        {addCall("{\"urls\":[" + QByteArray("0,").repeated(APILimit::kLinks) + "0]}"), form},
        {"sftp://h/x\nhttp://evil/", form},
        {" tarvo://add/{}", kind},
        {"file:///etc/passwd", kind},
    };
    for (const auto& [address, reason] : cases) {
        Receiver receiver;
        EXPECT_TRUE(test::has(receiver.open(address), reason)) << address.substr(0, 80);
        EXPECT_EQ(receiver.calls, 0);
        EXPECT_EQ(receiver.text, "");
    }
}

} // namespace tarvo
