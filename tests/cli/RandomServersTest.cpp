// Whole downloads from servers that limit, refuse, reset, slow, stall and lie by chance, some at once: as
// many as TARVO_RANDOM_RUNS says, from TARVO_RANDOM_SEED on.
#include "cli/DownloadRunner.h"

#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/MemoryPasswordStore.h"
#include "support/SampleData.h"

#include <cstdlib>
#include <iostream>
#include <list>
#include <random>

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

constexpr long kInOneGo = 100;

long longFrom(const char* name, long fallback) {
    const char* value = std::getenv(name);
    return value ? std::atol(value) : fallback;
}

/// What one server has sent, in bytes.
struct Account {
    std::int64_t size = 0;
    std::int64_t again = 0;  ///< what an earlier body had brought before the later one was begun
    std::int64_t beside = 0; ///< what two brought at the same time: the end game, and what was cut in flight
};

Account accountOf(const std::vector<FaultServer::Body>& bodies, std::int64_t size) {
    std::vector<std::pair<std::chrono::steady_clock::time_point, const FaultServer::Body*>> events;
    std::int64_t sent = 0;
    for (const auto& body : bodies) {
        events.emplace_back(body.begun, &body);
        events.emplace_back(body.ended, &body);
        sent += body.length;
    }
    std::stable_sort(events.begin(), events.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<bool> isThere(static_cast<std::size_t>(size));
    Account account{size};
    for (const auto& [at, body] : events) {
        const auto from = isThere.begin() + body->offset;
        if (at == body->begun)
            account.again += std::count(from, from + body->length, true);
        if (at == body->ended)
            std::fill(from, from + body->length, true);
    }
    account.beside = sent - std::count(isThere.begin(), isThere.end(), true) - account.again;
    return account;
}

class Counter final : public ProgressView {
public:
    void connecting(const DownloadSnapshot&) override {}

    void started(const DownloadSnapshot&) override {}

    void progress(const std::vector<DownloadSnapshot>&, const QueueCounts&, TimePoint) override {}

    void finished(const DownloadSnapshot&, const DownloadResult&) override { ++files; }

    void failed(const DownloadSnapshot& download, const Error& error) override {
        ADD_FAILURE() << download.url << ": " << error.sentence();
    }

    void retrying(const DownloadSnapshot&, const Error&, Seconds, std::int64_t) override { ++retries; }

    void notice(const std::string&) override {}

    long files = 0;
    long retries = 0;
};

/// A server of its own for each, for what is learned of one must not help another.
struct WildServer {
    explicit WildServer(long seed) : name("file" + std::to_string(seed)) {
        std::mt19937_64 random(static_cast<std::uint64_t>(seed));
        size = 1 + static_cast<std::int64_t>(random() % 1'200'000);
        knobs = "rate=" + std::to_string(100'000 + random() % 400'000);
        if (random() % 2 == 0)
            knobs += "&places=" + std::to_string(1 + random() % 6);
        if (random() % 2 == 0)
            knobs += "&retryafter=1";
        knobs += "&wild=" + std::to_string(seed);
    }

    std::string url() const { return server.url(size, knobs, name); }

    FaultServer server;
    std::string name;
    std::int64_t size = 0;
    std::string knobs;
};

} // namespace

class RandomServersTest : public ::testing::Test {
protected:
    RandomServersTest() {
        harness.defaults.setForThisRun(SettingKey::kDefaultConcurrency, 32);
        harness.transfers.probeTimeLimit = Seconds(5);
        harness.environment.stallTimeout = Seconds(5);
        options.directory = harness.folder.path();
        options.connections = 8;
        options.retries = 1'000'000;
    }

    void runSome(long first, long end) {
        std::list<WildServer> runs;
        options.targets.clear();
        for (long seed = first; seed < end; ++seed)
            options.targets.push_back({Url::parse(runs.emplace_back(seed).url()), ""});
        DownloadRunner runner(options, harness.environment, credentials, view, Seconds(0.05));
        bool hasEnded = false;
        QObject::connect(&runner, &DownloadRunner::ended, [&](int) { hasEnded = true; });
        runner.start();
        // How long it takes is for those to judge who have a quiet machine; the limit is for hangs.
        EXPECT_TRUE(turnUntil([&] { return hasEnded; }, std::chrono::minutes(10)));
        for (const WildServer& run : runs) {
            SCOPED_TRACE(run.url());
            EXPECT_EQ(fileIsSample(harness.folder.path(run.name), run.size), "");
            EXPECT_EQ(run.server.problems(), std::vector<std::string>());
            const Account account = accountOf(run.server.bodies(), run.size);
            all.size += account.size;
            all.again += account.again;
            all.beside += account.beside;
        }
    }

    JobHarness harness;
    MemoryPasswordStore keyring;
    AuthenticationManager credentials{keyring, nullptr, harness.defaults, harness.clock};
    Counter view;
    Options options;
    Account all;
};

TEST_F(RandomServersTest, EveryFileIsExactAndHardlyAByteIsFetchedAgain) {
    const long runs = longFrom("TARVO_RANDOM_RUNS", 12);
    const long first = longFrom("TARVO_RANDOM_SEED", 1);
    for (long done = 0; done < runs && !HasFailure(); done += kInOneGo)
        runSome(first + done, first + std::min(done + kInOneGo, runs));
    EXPECT_EQ(view.files, runs);
    EXPECT_LE(all.again * 50, all.size);
    const auto percent = [&](std::int64_t bytes) {
        return 100.0 * static_cast<double>(bytes) / static_cast<double>(all.size);
    };
    std::cout << view.files << " files, " << all.size << " bytes; fetched again " << percent(all.again)
              << " %, by two at the same time " << percent(all.beside) << " %; " << view.retries
              << " retries\n";
}

} // namespace tarvo::test
