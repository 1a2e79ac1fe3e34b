// The fault server does what the knobs say, seen by a client that didn't grow up with it.
#include "support/FaultServer.h"
#include "Fetch.h"
#include "support/SampleData.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <thread>

#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

constexpr std::int64_t kSize = 1'000'000;

class FaultServerTest : public ::testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(m_server.problems(), m_expectedProblems); }

    Fetched get(std::string_view knobs, const std::string& range = {}) {
        return fetch(m_server.url(kSize, knobs), {.range = range});
    }

    Fetched head(std::string_view knobs) { return fetch(m_server.url(kSize, knobs), {.headOnly = true}); }

    FaultServer m_server;
    std::vector<std::string> m_expectedProblems;
};

} // namespace

TEST_F(FaultServerTest, ServesTheFileAndItsRanges) {
    const Fetched whole = get("");
    EXPECT_EQ(whole.status, 200);
    EXPECT_TRUE(whole.body == sample(0, kSize));
    EXPECT_EQ(head("").headers["content-length"], "1000000");

    Fetched part = get("", "4095-70000");
    EXPECT_EQ(part.status, 206);
    EXPECT_EQ(part.headers["content-range"], "bytes 4095-70000/1000000");
    EXPECT_TRUE(part.body == sample(4095, 65'906));
    EXPECT_TRUE(get("", "-10").body == sample(kSize - 10, 10));
    EXPECT_TRUE(get("", "999990-2000000").body == sample(kSize - 10, 10));
    Fetched outside = get("", "1000000-1000001");
    EXPECT_EQ(outside.status, 416);
    EXPECT_EQ(outside.headers["content-range"], "bytes */1000000");
    EXPECT_EQ(fetch(m_server.url(0)).body, "");
    EXPECT_EQ(m_server.bytesSent("/file/0/sample.bin"), 0);
    EXPECT_EQ(m_server.bytesSent(), kSize + 65'906 + 20);
}

TEST_F(FaultServerTest, LengthAndRangesMayBeMissing) {
    EXPECT_EQ(get("norange", "1-1").status, 200);
    EXPECT_EQ(get("norange", "1-1").body.size(), 1'000'000u);
    EXPECT_EQ(get("whole200", "1-1").body.size(), 1u);
    EXPECT_EQ(get("whole200", "1-2").body.size(), 1'000'000u);
    for (const auto* knob : {"nolength", "untilclose"}) {
        EXPECT_EQ(head(knob).headers.count("content-length"), 0u) << knob;
        Fetched fetched = get(knob);
        EXPECT_EQ(fetched.headers.count("content-length"), 0u) << knob;
        EXPECT_TRUE(fetched.body == sample(0, kSize)) << knob;
        EXPECT_EQ(fetched.code, CURLE_OK) << knob;
    }
    EXPECT_TRUE(get("chunked", "5-600000").body == sample(5, 599'996));
}

TEST_F(FaultServerTest, WrongRanges) {
    Fetched shifted = get("shift=10", "100-199");
    EXPECT_EQ(shifted.headers["content-range"], "bytes 110-209/1000000");
    EXPECT_TRUE(shifted.body == sample(110, 100));
    EXPECT_EQ(get("short=30", "100-199").headers["content-range"], "bytes 100-169/1000000");
    EXPECT_EQ(get("total=7", "1-1").headers["content-range"], "bytes 1-1/7");
    EXPECT_EQ(get("norangeheader", "1-1").headers.count("content-range"), 0u);
    Fetched more = get("excess=50", "100-199");
    EXPECT_EQ(more.headers["content-range"], "bytes 100-199/1000000");
    EXPECT_TRUE(more.body == sample(100, 150));
    EXPECT_EQ(get("overrun=50", "100-199").body.size(), 100u);
    EXPECT_EQ(m_server.bytesSent(), 100 + 70 + 1 + 1 + 150 + 150);
}

TEST_F(FaultServerTest, CutsStallsAndSilence) {
    const Fetched cut = get("cut=300000");
    EXPECT_EQ(cut.code, CURLE_PARTIAL_FILE);
    EXPECT_TRUE(cut.body == sample(0, 300'000));
    EXPECT_EQ(get("nolength&cut=0").code, CURLE_PARTIAL_FILE);
    EXPECT_EQ(get("cutevery=400000").code, CURLE_PARTIAL_FILE);
    const Fetched stalled = fetch(m_server.url(kSize, "stall=1000"), {.timeoutMs = 300});
    EXPECT_EQ(stalled.code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(stalled.body.size(), 1000u);
    const Fetched silent = fetch(m_server.url(kSize, "silent"), {.timeoutMs = 300});
    EXPECT_EQ(silent.code, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(silent.status, 0);
}

TEST_F(FaultServerTest, RandomFaultsAreOfFourKindsAndCanBeRepeated) {
    const auto outcomes = [this](const std::string& name, const std::string& seed) {
        std::vector<long> all;
        for (int i = 0; i < 40; ++i) {
            const Fetched fetched = fetch(m_server.url(20'000, "random=" + seed, name), {.timeoutMs = 200});
            all.push_back(fetched.code == CURLE_OK ? fetched.status : static_cast<long>(fetched.code));
        }
        return all;
    };
    const auto first = outcomes("a", "7");
    const std::set<long> kinds(first.begin(), first.end());
    EXPECT_EQ(kinds,
              (std::set<long>{200, 503, CURLE_RECV_ERROR, CURLE_PARTIAL_FILE, CURLE_OPERATION_TIMEDOUT}));
    EXPECT_NEAR(static_cast<double>(std::count(first.begin(), first.end(), 200)), 27, 8);
    EXPECT_EQ(outcomes("b", "7"), first);
    EXPECT_NE(outcomes("c", "8"), first);
}

TEST_F(FaultServerTest, FaultsShowOnlyWhenTheyShall) {
    const auto statuses = [this](std::string_view knobs, std::string_view name) {
        std::string all;
        for (int i = 0; i < 6; ++i)
            all += fetch(m_server.url(100, knobs, name), {.range = "1-1"}).status == 503 ? 'x' : '.';
        return all;
    };
    EXPECT_EQ(statuses("status=503", "a"), "xxxxxx");
    EXPECT_EQ(statuses("status=503&from=3", "b"), "..xxxx");
    EXPECT_EQ(statuses("status=503&until=2", "c"), "xx....");
    EXPECT_EQ(statuses("every=3&status=503", "d"), "..x..x");
    EXPECT_EQ(statuses("spareprobe&status=503", "e"), "......");
    EXPECT_EQ(fetch(m_server.url(100, "spareprobe&status=503")).status, 503);
    m_server.change("/file/100/a", "type=text%2Fhtml");
    EXPECT_EQ(statuses("status=503", "a"), "......");
    EXPECT_EQ(fetch(m_server.url(100, "status=503", "a")).headers["content-type"], "text/html");
}

TEST_F(FaultServerTest, RedirectsEndAtTheFile) {
    EXPECT_EQ(get("redirect=3").body.size(), 1'000'000u);
    EXPECT_EQ(m_server.requests().size(), 4u);
    EXPECT_EQ(m_server.requests().back().connection, 1) << "one connection for all";
    const std::string elsewhere = m_server.url(5, "", "other");
    EXPECT_EQ(get("to=" + knobValue(elsewhere)).body, sample(0, 5));
}

TEST_F(FaultServerTest, AsksForCredentials) {
    for (const auto* kind : {"auth=basic", "auth=digest"}) {
        const std::string url = m_server.url(10, kind);
        EXPECT_EQ(fetch(url).status, 401) << kind;
        EXPECT_EQ(fetch(url, {.user = "bob:wrong"}).status, 401) << kind;
        EXPECT_EQ(fetch(url, {.user = "bob:secret"}).body, sample(0, 10)) << kind;
    }
}

TEST_F(FaultServerTest, DescribesTheFileAndRecordsTheRequest) {
    Fetched fetched =
        get("setcookie&etag=%22a%22&type=a%2Fb&disposition=" + knobValue("attachment; filename=\"x y.pdf\""));
    EXPECT_EQ(fetched.headers["content-disposition"], "attachment; filename=\"x y.pdf\"");
    EXPECT_EQ(fetched.headers["etag"], "\"a\"");
    EXPECT_EQ(fetched.headers["content-type"], "a/b");
    EXPECT_EQ(fetched.headers["set-cookie"], "visited=yes; Path=/");

    fetch("http://example.invalid/file/9/x?norange", {.range = "3-4", .proxy = m_server.proxyUrl()});
    const HttpRequest request = m_server.requests().back();
    EXPECT_TRUE(request.throughProxy);
    EXPECT_EQ(request.path, "/file/9/x");
    EXPECT_EQ(request.query, "norange");
    EXPECT_EQ(request.header("host"), "example.invalid");
    EXPECT_EQ(request.header("range"), "bytes=3-4");
    EXPECT_FALSE(m_server.requests().front().throughProxy);
}

TEST_F(FaultServerTest, RefusesWhatItDoesNotUnderstand) {
    EXPECT_EQ(get("norangee").status, 400);
    EXPECT_EQ(get("cut=ten").status, 400);
    EXPECT_EQ(get("norange=1").status, 400);
    EXPECT_EQ(fetch(m_server.address("/elsewhere")).status, 404);
    m_expectedProblems = {"unknown knob: norangee", "wrong value: cut=ten", "wrong value: norange=1"};
}

TEST_F(FaultServerTest, KeepsToRateAndNumberOfTransfers) {
    const auto begin = std::chrono::steady_clock::now();
    long second = 0;
    std::thread other([&] { EXPECT_EQ(get("connections=1&rate=2000000").body.size(), 1'000'000u); });
    while (m_server.bytesSent() == 0)
        std::this_thread::yield();
    second = get("connections=1&rate=2000000").status;
    other.join();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(second, 503);
    EXPECT_GE(took.count(), 0.5);
    EXPECT_EQ(get("connections=1").status, 200);
}

TEST_F(FaultServerTest, StopsAtOnceAndStartsAgainInItsPlace) {
    std::vector<std::thread> clients;
    for (const auto* knobs : {"stall=10", "silent", "rate=1000", "delay=60000"})
        clients.emplace_back([this, knobs] { EXPECT_NE(get(knobs).code, CURLE_OK) << knobs; });
    clients.emplace_back([this] { EXPECT_NE(fetch(m_server.url(std::int64_t{1} << 50)).code, CURLE_OK); });
    while (m_server.requests().size() < clients.size())
        std::this_thread::yield();
    const auto begin = std::chrono::steady_clock::now();
    m_server.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(get("").code, CURLE_COULDNT_CONNECT);
    m_server.start();
    EXPECT_TRUE(get("").body == sample(0, kSize));
}

} // namespace tarvo::test
