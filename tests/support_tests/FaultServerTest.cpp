// The fault server does what the knobs say, seen by a client that didn't grow up with it.
#include "support/FaultServer.h"
#include "support/SampleData.h"

#include <set>

#include <curl/curl.h>
#include <gtest/gtest.h>

namespace tarvo::test {
namespace {

constexpr std::int64_t kSize = 1'000'000;

struct Fetched {
    CURLcode code = CURLE_OK;
    long status = 0;
    std::string body;
};

/// One request with libcurl, of `range` ("FIRST-LAST") if it is given. It may take half a second.
Fetched fetch(const std::string& url, const std::string& range = {}) {
    const auto takeBody = [](char* bytes, std::size_t, std::size_t count, void* body) {
        static_cast<std::string*>(body)->append(bytes, count);
        return count;
    };
    Fetched fetched;
    CURL* curl = curl_easy_init();
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, 500L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION,
                     static_cast<std::size_t (*)(char*, std::size_t, std::size_t, void*)>(takeBody));
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &fetched.body);
    if (!range.empty())
        curl_easy_setopt(curl, CURLOPT_RANGE, range.c_str());
    fetched.code = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &fetched.status);
    curl_easy_cleanup(curl);
    return fetched;
}

} // namespace

TEST(FaultServer, DoesAsItsKnobsSay) {
    const struct {
        const char *knobs, *range;
        long status;
        std::int64_t from, length; // of the sample bytes that come
        CURLcode code = CURLE_OK;
    } cases[] = {
        {"", "", 200, 0, kSize},
        {"", "4095-70000", 206, 4095, 65'906},
        {"whole200", "1-1", 206, 1, 1},
        {"whole200", "1-2", 200, 0, kSize},
        {"untilclose", "", 200, 0, kSize},
        {"chunked", "5-600000", 206, 5, 599'996},
        {"shift=10", "100-199", 206, 110, 100},
        {"shift=10&from=2", "100-199", 206, 100, 100},
        {"shift=10&until=0", "100-199", 206, 100, 100},
        {"shift=10&spareprobe", "100-100", 206, 100, 1},
        {"shift=10&spareprobe", "100-199", 206, 110, 100},
        {"short=30", "100-199", 206, 100, 70},
        {"excess=50", "100-199", 206, 100, 150},
        {"chunked&overrun=50", "100-199", 206, 100, 150},
        {"cut=300000", "", 200, 0, 300'000, CURLE_PARTIAL_FILE},
        {"stall=1000", "", 200, 0, 1000, CURLE_OPERATION_TIMEDOUT},
        {"silent", "", 0, 0, 0, CURLE_OPERATION_TIMEDOUT},
        {"reset", "", 0, 0, 0, CURLE_RECV_ERROR},
    };

    const FaultServer server;
    for (const auto& [knobs, range, status, from, length, code] : cases) {
        SCOPED_TRACE(knobs);
        const Fetched fetched = fetch(server.url(kSize, knobs, knobs), range);
        EXPECT_EQ(fetched.code, code);
        EXPECT_EQ(fetched.status, status);
        EXPECT_TRUE(fetched.body == sample(from, length)) << fetched.body.size();
    }
    EXPECT_TRUE(server.problems().empty());
    EXPECT_EQ(fetch(server.url(10, "norangee")).status, 400);
    EXPECT_EQ(server.problems().size(), 1u);
}

TEST(FaultServer, ARandomOneHasAllFaults) {
    const FaultServer server;
    std::set<long> kinds;
    for (int i = 0; i < 40; ++i) {
        const Fetched fetched = fetch(server.url(20'000, "random=7"));
        kinds.insert(fetched.code == CURLE_OK ? fetched.status : static_cast<long>(fetched.code));
    }
    EXPECT_EQ(kinds,
              (std::set<long>{200, 503, CURLE_RECV_ERROR, CURLE_PARTIAL_FILE, CURLE_OPERATION_TIMEDOUT}));
}

} // namespace tarvo::test
