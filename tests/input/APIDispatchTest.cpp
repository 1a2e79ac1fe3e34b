// Calls of other programs arrive as links and nothing else; what is no call is refused with the reason.
#include "input/APIDispatch.h"

#include <QByteArray>
#include <gtest/gtest.h>

#include "input/TRStringURL.h"

namespace tarvo {

namespace {

constexpr const char* kCall =
    "tarvo://add/%7B%22urls%22%3A%5B%7B%22href%22%3A%22http%3A%2F%2Fa%2Fb.zip%22%7D%5D%7D";

std::string addCall(const QByteArray& json) {
    return "tarvo://add/" + json.toPercentEncoding().toStdString();
}

/// What listens to calls and to sftp:// addresses.
struct Receiver {
    NotificationCenter center;
    int calls = 0;
    std::optional<QJsonValue> payload;
    std::string text; // as an "add" or an address hands it over
    NotificationCenter::Observation observation =
        center.observe("API::add", [this](const Notification& call) {
            ++calls;
            const auto* data = call.info<QJsonValue>(APIDispatch::kPayloadKey);
            payload = data ? std::optional(*data) : std::nullopt;
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

TEST(APIDispatch, AddsTheLinksInTheirOrder) {
    Receiver receiver;
    EXPECT_EQ(receiver.open(kCall), "");
    EXPECT_EQ(receiver.text, "http://a/b.zip\n");
    EXPECT_EQ(receiver.calls, 1);
    receiver.text.clear();
    receiver.open(
        addCall(R"({"urls": [{"href": "http://b/"}, {}, 7, {"href": 7}, {"href": "ü"}], "folder": "/etc"})"));
    EXPECT_EQ(receiver.text, "http://b/\n\n\n\nü\n");
    EXPECT_EQ(receiver.calls, 2);
}

TEST(APIDispatch, ACallWithoutUsableDataIsPostedAndAddsNothing) {
    for (const char* call :
         {"tarvo://add", "tarvo://add/", "tarvo://add/%7B%22urls%22%3A[{\"href\":\"http:/a/b\"}]}",
          "tarvo://add/%7B%7", "tarvo://add/7", "tarvo://add/%FF"}) {
        Receiver receiver;
        EXPECT_EQ(receiver.open(call), "") << call;
        EXPECT_EQ(receiver.calls, 1);
        EXPECT_EQ(receiver.payload, std::nullopt);
    }
    for (const char* json : {"{}", "[]", R"({"urls":{}})", R"([{"href":"http://a/"}])"}) {
        Receiver receiver;
        EXPECT_EQ(receiver.open(addCall(json)), "");
        EXPECT_TRUE(receiver.payload);
        EXPECT_EQ(receiver.text, "");
    }
    Receiver receiver;
    EXPECT_EQ(receiver.open("tarvo://remove/x"), "");
    EXPECT_EQ(receiver.calls, 0);
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

TEST(APIDispatch, NothingButADownloadComesOfALink) {
    Receiver receiver;
    receiver.open(addCall(R"({"urls": [{"href": "http://a/x\nhttp://evil/"}, {"href": "file:///etc/passwd"},
        {"href": "javascript:x"}, {"href": "data:,x"}, {"href": "http://a/\u0000"}, {"href": "ftp://good/"}]})"));
    EXPECT_EQ(supportedURLs(receiver.text), std::vector<Url>{*Url::parse("ftp://good/")});
}

TEST(APIDispatch, AnEndlesslyNestedPayloadIsNone) {
    EXPECT_EQ(APIDispatch("tarvo://add/" + std::string(500'000, '[')).payload(), std::nullopt);
}

} // namespace tarvo
