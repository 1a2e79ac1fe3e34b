// The fault server does what the knobs say, seen by a client that didn't grow up with it.
#include "support/FaultServer.h"
#include "support/SampleData.h"
#include "support/TurnUntil.h"

#include <set>

#include <QByteArray>
#include <QList>
#include <curl/curl.h>
#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

constexpr std::int64_t kSize = 1'000'000;

struct Fetched {
    CURLcode code = CURLE_OK;
    long status = 0;
    std::string body;
    std::map<std::string, std::string> headers; // names in lower case
};

std::size_t takeBody(char* bytes, std::size_t, std::size_t count, void* fetched) {
    static_cast<Fetched*>(fetched)->body.append(bytes, count);
    return count;
}

std::size_t takeHeader(char* bytes, std::size_t, std::size_t count, void* fetched) {
    const auto line = QByteArray(bytes, static_cast<qsizetype>(count)).trimmed().split(':');
    static_cast<Fetched*>(fetched)->headers[line[0].toLower().toStdString()] =
        line.last().trimmed().toStdString();
    return count;
}

/// One request with libcurl, of `range` ("FIRST-LAST") if it is given, HEAD if it is "HEAD".
Fetched fetch(const std::string& url, const std::string& range = {}, const std::string& user = {}) {
    Fetched fetched;
    CURL* curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, url.find("rate") == std::string::npos ? 500L : 20'000L);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_HTTPAUTH, CURLAUTH_BASIC | CURLAUTH_DIGEST);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &takeBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &fetched);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &takeHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &fetched);
    curl_easy_setopt(curl, CURLOPT_NOBODY, range == "HEAD" ? 1L : 0L);
    if (!range.empty() && range != "HEAD")
        curl_easy_setopt(curl, CURLOPT_RANGE, range.c_str());
    if (!user.empty())
        curl_easy_setopt(curl, CURLOPT_USERPWD, user.c_str());
    fetched.code = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &fetched.status);
    curl_easy_cleanup(curl);
    return fetched;
}

} // namespace

TEST(FaultServer, DoesAsItsKnobsSay) {
    struct Case {
        const char* knobs;
        const char* range;
        long status;
        std::int64_t from, length; // of the sample bytes that come
        std::string contentRange;
        CURLcode code = CURLE_OK;
    };

    const Case cases[] = {
        {"", "", 200, 0, kSize, ""},
        {"", "4095-70000", 206, 4095, 65'906, "bytes 4095-70000/1000000"},
        {"norange", "1-1", 200, 0, kSize, ""},
        {"whole200", "1-1", 206, 1, 1, "bytes 1-1/1000000"},
        {"whole200", "1-2", 200, 0, kSize, ""},
        {"nolength", "1-2", 200, 0, kSize, ""},
        {"untilclose", "", 200, 0, kSize, ""},
        {"chunked", "5-600000", 206, 5, 599'996, "bytes 5-600000/1000000"},
        {"shift=10", "100-199", 206, 110, 100, "bytes 110-209/1000000"},
        {"short=30", "100-199", 206, 100, 70, "bytes 100-169/1000000"},
        {"total=7", "1-1", 206, 1, 1, "bytes 1-1/7"},
        {"norangeheader", "1-1", 206, 1, 1, ""},
        {"excess=50", "100-199", 206, 100, 150, "bytes 100-199/1000000"},
        {"chunked&overrun=50", "100-199", 206, 100, 150, "bytes 100-199/1000000"},
        {"cut=300000", "", 200, 0, 300'000, "", CURLE_PARTIAL_FILE},
        {"stall=1000", "", 200, 0, 1000, "", CURLE_OPERATION_TIMEDOUT},
        {"silent", "", 0, 0, 0, "", CURLE_OPERATION_TIMEDOUT},
        {"reset", "", 0, 0, 0, "", CURLE_RECV_ERROR},
    };
    FaultServer server;
    for (const Case& one : cases) {
        SCOPED_TRACE(one.knobs);
        Fetched fetched = fetch(server.url(kSize, one.knobs), one.range);
        EXPECT_EQ(fetched.code, one.code);
        EXPECT_EQ(fetched.status, one.status);
        EXPECT_TRUE(fetched.body == sample(one.from, one.length)) << fetched.body.size();
        EXPECT_EQ(fetched.headers["content-range"], one.contentRange);
    }
    for (const auto* unknown : {"nolength", "untilclose"})
        EXPECT_EQ(fetch(server.url(kSize, unknown), "HEAD").headers.count("content-length"), 0u);
    EXPECT_TRUE(server.problems().empty());
}

TEST(FaultServer, FaultsShowOnlyWhenTheyShall) {
    FaultServer server;
    const auto statuses = [&](const std::string& knobs) {
        std::string all;
        for (int i = 0; i < 6; ++i)
            all += fetch(server.url(100, knobs, knobs), "1-1").status == 503 ? 'x' : '.';
        return all;
    };
    EXPECT_EQ(statuses("status=503"), "xxxxxx");
    EXPECT_EQ(statuses("status=503&from=3"), "..xxxx");
    EXPECT_EQ(statuses("status=503&until=2"), "xx....");
    EXPECT_EQ(statuses("spareprobe&status=503"), "......");
    EXPECT_EQ(fetch(server.url(100, "spareprobe&status=503")).status, 503);
    server.change("/file/100/status=503", "");
    EXPECT_EQ(statuses("status=503"), "......");

    std::set<long> kinds;
    for (int i = 0; i < 40; ++i) {
        const Fetched fetched = fetch(server.url(20'000, "random=7"));
        kinds.insert(fetched.code == CURLE_OK ? fetched.status : static_cast<long>(fetched.code));
    }
    EXPECT_EQ(kinds,
              (std::set<long>{200, 503, CURLE_RECV_ERROR, CURLE_PARTIAL_FILE, CURLE_OPERATION_TIMEDOUT}));
}

TEST(FaultServer, AsksForCredentialsAndRefusesWhatItDoesNotUnderstand) {
    FaultServer server;
    for (const auto* kind : {"auth=basic", "auth=digest"}) {
        EXPECT_EQ(fetch(server.url(10, kind)).status, 401) << kind;
        EXPECT_EQ(fetch(server.url(10, kind), "", "eve:secret").status, 401) << kind;
        EXPECT_EQ(fetch(server.url(10, kind), "", "bob:secret").body, sample(0, 10)) << kind;
    }
    for (const auto* wrong : {"norangee", "cut=ten", "norange=1", "auth=none"})
        EXPECT_EQ(fetch(server.url(10, wrong)).status, 400) << wrong;
    EXPECT_EQ(server.problems().size(), 4u);
    EXPECT_EQ(server.requests().back().query, "auth=none");
}

TEST(FaultServer, KeepsToItsRateStopsAtOnceAndStartsAgainInItsPlace) {
    FaultServer server;
    EXPECT_GE(timeOf([&] { EXPECT_EQ(std::ssize(fetch(server.url(kSize, "rate=2000000")).body), kSize); }),
              std::chrono::milliseconds(490));
    EXPECT_EQ(server.bytesSent(), kSize);
    std::thread client([&] { EXPECT_NE(fetch(server.url(kSize, "rate=1000")).code, CURLE_OK); });
    EXPECT_TRUE(turnUntil([&] { return server.bytesSent() > kSize; }));
    EXPECT_LT(timeOf([&] { server.stop(); }), std::chrono::seconds(1));
    client.join();
    EXPECT_EQ(fetch(server.url(10)).code, CURLE_COULDNT_CONNECT);
    server.start();
    EXPECT_EQ(fetch(server.url(10)).body, sample(0, 10));
}

} // namespace tarvo::test
