// What is tried again, how often, with whose credentials, and when it is over.
#include "cli/DownloadRunner.h"

#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/SampleData.h"

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 300'001;

/// Keeps what it is told, one word for each event.
class Recorder final : public ProgressView {
public:
    void connecting(const DownloadSnapshot&) override { events += "connecting "; }

    void started(const DownloadSnapshot&) override { events += "started "; }

    void progress(const std::vector<DownloadSnapshot>& running, const QueueCounts&, TimePoint) override {
        mostRunning = std::max(mostRunning, running.size());
    }

    void finished(const DownloadSnapshot&, const DownloadResult&) override { events += "finished "; }

    void failed(const DownloadSnapshot&, const Error& error) override {
        events += "failed ";
        lastError = error;
    }

    void notice(const std::string& text) override {
        events += "notice ";
        lastNotice = text;
    }

    int count(const std::string& event) const {
        int found = 0;
        for (auto at = events.find(event); at != std::string::npos; at = events.find(event, at + 1))
            ++found;
        return found;
    }

    std::string events;
    std::size_t mostRunning = 0;
    std::string lastNotice;
    Error lastError;
};

/// A keyring in which bob's password is "secret", and a prompt that nobody answers.
class BobsKeyring final : public PasswordStore {
public:
    std::vector<std::string> accounts(const std::string&) override { return {}; }

    std::optional<std::string> password(const std::string&, const std::string& account) override {
        return account == "bob" ? std::optional<std::string>("secret") : std::nullopt;
    }

    void store(const std::string&, const std::string&, const std::string&) override {}
};

} // namespace

class DownloadRunnerTest : public ::testing::Test {
protected:
    DownloadRunnerTest() {
        options.directory = harness.folder.path();
        options.connections = 4;
        options.retries = 3;
    }

    /// Runs to the end and answers the exit status.
    int run(const std::vector<std::string>& urls) {
        for (const auto& url : urls)
            options.targets.push_back({Url::parse(url), ""});
        DownloadRunner runner(options, harness.environment, credentials, view, Seconds(0.01));
        std::optional<int> status;
        QObject::connect(&runner, &DownloadRunner::ended, [&](int ended) { status = ended; });
        runner.start();
        EXPECT_TRUE(turnUntil([&] { return status.has_value(); }));
        return status.value_or(-1);
    }

    FaultServer server;
    JobHarness harness;
    BobsKeyring keyring;
    AuthenticationManager credentials{keyring, nullptr, harness.defaults, harness.clock};
    Recorder view;
    Options options;
};

TEST_F(DownloadRunnerTest, TriesAgainUntilTheServerHasRecovered) {
    EXPECT_EQ(run({server.url(kSize, "status=503&until=4")}), 0); // two probes of two requests
    EXPECT_EQ(view.events, "connecting notice connecting notice connecting started finished ");
    EXPECT_NE(view.lastNotice.find("HTTP Status 503"), std::string::npos) << view.lastNotice;
    EXPECT_NE(view.lastNotice.find("(2 left)"), std::string::npos) << view.lastNotice;
    EXPECT_EQ(fileIsSample(harness.folder.path("sample.bin"), kSize), "");
}

TEST_F(DownloadRunnerTest, AnAttemptInTheMiddleFetchesOnlyWhatIsMissing) {
    EXPECT_EQ(run({server.url(kSize, "spareprobe&cut=50000&from=3&until=6")}), 0)
        << view.lastError.sentence();
    EXPECT_EQ(fileIsSample(harness.folder.path("sample.bin"), kSize), "");
    EXPECT_EQ(server.bytesSent(), kSize + (view.events.find("notice") == std::string::npos ? 1 : 2))
        << view.events;
}

TEST_F(DownloadRunnerTest, GivesUpAfterTheAttemptsAndHoldsNobodyElseUp) {
    const std::string twice = server.url(kSize);
    EXPECT_EQ(run({server.url(kSize, "status=503", "bad"), twice, twice}), 1);
    EXPECT_EQ(view.count("notice"), 4); // three attempts more, and one address that was there already
    EXPECT_EQ(view.count("finished"), 1);
    EXPECT_LT(view.events.find("finished"), view.events.find("failed")) << view.events;
    EXPECT_EQ(view.lastError.code, 503);
    EXPECT_FALSE(harness.exists("sample (2).bin"));
}

TEST_F(DownloadRunnerTest, AsManyAsAskedForRunAtOnceInTheirOrder) {
    harness.defaults.setForThisRun("DefaultConcurrency", 3);
    std::vector<std::string> urls;
    for (int i = 0; i < 12; ++i)
        urls.push_back(server.url(kSize, "rate=400000", "file" + std::to_string(i)));
    EXPECT_EQ(run(urls), 0);
    EXPECT_EQ(view.mostRunning, 3u);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(fileIsSample(harness.folder.path("file" + std::to_string(i)), kSize), "");
}

TEST_F(DownloadRunnerTest, WhatWillNotPassIsNotTriedAgain) {
    for (const auto* knobs : {"type=text/html", "auth=basic"}) {
        view.events.clear();
        options.targets.clear();
        EXPECT_EQ(run({server.url(kSize, knobs, knobs)}), 1) << knobs;
        EXPECT_EQ(view.events, "connecting failed ") << knobs;
    }
}

TEST_F(DownloadRunnerTest, TheKeyringKnowsThePasswordThatIsLeftOut) {
    options.userName = "bob";
    EXPECT_EQ(run({server.url(kSize, "auth=basic")}), 0) << view.lastError.sentence();
    options.targets.clear();
    options.password = "wrong";
    EXPECT_EQ(run({server.url(kSize, "auth=basic", "other")}), 1);
    EXPECT_EQ(view.lastError.code, kRemoteFileAuthenticationErrorCode);
}

TEST_F(DownloadRunnerTest, AnInterruptAlsoEndsTheWaitForTheNextAttempt) {
    options.targets.push_back({Url::parse(server.url(kSize, "status=503")), ""});
    DownloadRunner runner(options, harness.environment, credentials, view, Seconds(600));
    std::optional<int> status;
    QObject::connect(&runner, &DownloadRunner::ended, [&](int ended) { status = ended; });
    runner.start();
    ASSERT_TRUE(turnUntil([&] { return view.events == "connecting notice "; }));
    runner.interrupt();
    EXPECT_TRUE(turnUntil([&] { return status == 130; }, std::chrono::seconds(3)));
    EXPECT_EQ(view.events, "connecting notice notice "); // never "failed"
}

} // namespace tarvo::test
