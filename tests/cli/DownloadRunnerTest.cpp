// What is tried again, how often, with whose credentials, and when it is over.
#include "cli/DownloadRunner.h"

#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/MemoryPasswordStore.h"
#include "support/SampleData.h"
#include "support/Text.h"

#include <map>
#include <regex>
#include <sstream>

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 300'001;

/// Keeps what it is told, one word for each event.
class Recorder final : public ProgressView {
public:
    void connecting(const DownloadSnapshot&) override { events += "connecting "; }

    void started(const DownloadSnapshot&) override { events += "started "; }

    void progress(const std::vector<DownloadSnapshot>&, const QueueCounts&, TimePoint) override {}

    void finished(const DownloadSnapshot&, const DownloadResult&) override { events += "finished "; }

    void failed(const DownloadSnapshot&, const Error& error) override {
        events += "failed ";
        lastError = error;
    }

    void notice(const std::string& text) override {
        events += "notice ";
        lastNotice = text;
    }

    std::string events;
    std::string lastNotice;
    Error lastError;
};

/// That an event, without its name, has the members that the manual lists, and each of its kind.
void expectAsDocumented(const QJsonObject& event, const QString& kind, const QStringList& documented) {
    const QStringList texts{"url", "name", "error", "domain", "path", "checksum", "list"};
    const QStringList unknowns{"size", "secondsLeft", "connectionsAllowed"}; // null then
    QStringList wanted = documented;
    if (kind != "interrupted" && kind != "summary")
        wanted += {"url", "name", "size"};
    for (const auto* optional : {"checksum", "list", "line", "verified"}) {
        if (wanted.removeAll(optional) > 0 && event.contains(optional))
            wanted += optional;
    }
    wanted.sort();
    EXPECT_EQ(event.keys(), wanted) << kind.toStdString();
    for (const auto& key : wanted) {
        const bool mayBeNull = unknowns.contains(key) && event[key].isNull();
        EXPECT_TRUE(texts.contains(key) ? event[key].isString() : event[key].isDouble() || mayBeNull)
            << key.toStdString() << " of " << kind.toStdString();
    }
}

} // namespace

class DownloadRunnerTest : public ::testing::Test {
protected:
    DownloadRunnerTest() {
        options.directory = harness.folder.path();
        options.connections = 4;
        options.retries = 3;
    }

    /// Runs to the end, interrupted as soon as `interrupted` are the events, and answers the exit status.
    int run(const std::vector<std::string>& urls, const std::string& interrupted = "never") {
        options.targets.clear();
        for (const auto& url : urls)
            options.targets.push_back({Url::parse(url), ""});
        const Seconds retryDelay(interrupted == "never" ? 0.01 : 600);
        DownloadRunner runner(options, harness.environment, credentials, view, retryDelay);
        std::optional<int> status;
        QObject::connect(&runner, &DownloadRunner::ended, [&](int ended) { status = ended; });
        runner.start();
        if (turnUntil([&] { return status || view.events == interrupted; }) && !status)
            runner.interrupt();
        EXPECT_TRUE(turnUntil([&] { return status.has_value(); }, std::chrono::seconds(3)));
        return status.value_or(-1);
    }

    FaultServer server;
    JobHarness harness;
    MemoryPasswordStore keyring;

    /// The manual's members of each event that --json prints.
    static std::map<QString, QStringList> documented() {
        std::map<QString, QStringList> events;
        std::istringstream page(contentOf(TARVO_MANUAL));
        QString event;
        for (std::string text; std::getline(page, text) && text != ".Cm alreadyThere";) {
            const QString line = QString::fromStdString(text);
            if (line.startsWith(".It Cm "))
                event = line.mid(7);
            else if (line.startsWith(".Cm ") && !event.isEmpty())
                events[event].append(line.section(' ', 1, 1));
        }
        return events;
    }

    AuthenticationManager credentials{keyring, nullptr, harness.defaults, harness.clock};
    Recorder view;
    Options options;
};

TEST_F(DownloadRunnerTest, TriesAgainUntilTheServerHasRecovered) {
    EXPECT_EQ(run({server.url(kSize, "status=503&until=4")}), 0); // two probes of two requests
    EXPECT_EQ(view.events, "connecting notice connecting notice connecting started finished ");
    EXPECT_TRUE(has(view.lastNotice, "HTTP Status 503"));
    EXPECT_TRUE(has(view.lastNotice, "(2 left)"));
    EXPECT_EQ(fileIsSample(harness.folder.path("sample.bin"), kSize), "");
}

TEST_F(DownloadRunnerTest, AnAttemptThatHasBroughtBytesIsNoneOfThoseThatAreCounted) {
    options.connections = 1;
    options.retries = 1;
    EXPECT_EQ(run({server.url(kSize, "cut=50000&spareprobe")}), 0) << view.lastError.sentence();
    EXPECT_EQ(fileIsSample(harness.folder.path("sample.bin"), kSize), "");
    EXPECT_EQ(run({server.url(kSize, "norange&cut=50000", "whole")}), 1) << "the same bytes again";
}

TEST_F(DownloadRunnerTest, GivesUpAfterTheAttemptsAndHoldsNobodyElseUp) {
    const std::string twice = server.url(kSize);
    EXPECT_EQ(run({server.url(kSize, "status=503", "bad"), twice, twice}), 1);
    EXPECT_EQ(countOf(view.events, "notice"), 4); // an attempt each, and the address that is there twice
    EXPECT_EQ(countOf(view.events, "finished"), 1);
    EXPECT_LT(view.events.find("finished"), view.events.find("failed")) << view.events;
    EXPECT_EQ(view.lastError.code, 503);
    EXPECT_FALSE(harness.exists("sample (2).bin"));
}

TEST_F(DownloadRunnerTest, TwoAddressesOfOneNameAreTwoFiles) {
    options.jobs = 2;
    const std::string knobs = "rate=400000&disposition=" + knobValue("attachment; filename=same.bin");
    EXPECT_EQ(run({server.url(kSize, knobs, "a"), server.url(kSize, knobs + "&version=2", "b")}), 0);
    EXPECT_EQ(countOf(view.events, "notice"), 0) << view.lastNotice;
    EXPECT_TRUE(harness.exists("same.bin") && harness.exists("same (2).bin"));
}

TEST_F(DownloadRunnerTest, WhatWillNotPassIsNotTriedAgain) {
    for (const auto* knobs : {"type=text/html", "auth=basic"}) {
        view.events.clear();
        EXPECT_EQ(run({server.url(kSize, knobs, knobs)}), 1) << knobs;
        EXPECT_EQ(view.events, "connecting failed ") << knobs;
    }
}

TEST_F(DownloadRunnerTest, TheKeyringKnowsThePasswordThatIsLeftOut) {
    options.userName = "bob";
    keyring.store(server.proxyUrl(), "bob", "secret");
    EXPECT_EQ(run({server.url(kSize, "auth=basic")}), 0) << view.lastError.sentence();
    options.password = "wrong";
    EXPECT_EQ(run({server.url(kSize, "auth=basic", "other")}), 1);
    EXPECT_EQ(view.lastError.code, kRemoteFileAuthenticationErrorCode);
}

TEST_F(DownloadRunnerTest, TheUserIsForTheServersOfTheGivenAddressesOnly) {
    options.userName = "bob";
    options.password = "secret";
    const FaultServer other;
    EXPECT_EQ(run({server.url(kSize, "to=" + knobValue(other.url(kSize, "auth=basic")))}), 1);
    EXPECT_TRUE(has(view.lastError.sentence(), other.proxyUrl() + " asks")) << view.lastError.sentence();
    for (const auto& request : other.requests())
        EXPECT_EQ(request.header("authorization"), "");
    options.retries = 0;
    run({"http://127.0.0.1/a"}); // which may send its visitors to https
    EXPECT_TRUE(credentials.getCachedUsingService("https://127.0.0.1", {}));
}

TEST_F(DownloadRunnerTest, TheGivenPasswordIsNotInTheBundle) {
    options.userName = "bob";
    options.password = "secret";
    EXPECT_EQ(run({server.url(kSize, "auth=basic&rate=20000")}, "connecting started "), 130);
    const std::string kept = contentOf(harness.folder.path("sample.bin.trdownload/progress"));
    EXPECT_TRUE(has(kept, "sample.bin")) << kept;
    EXPECT_FALSE(has(kept, "secret")) << kept;
}

TEST_F(DownloadRunnerTest, AnInterruptAlsoEndsTheWaitForTheNextAttempt) {
    EXPECT_EQ(run({server.url(kSize, "status=503")}, "connecting notice "), 130);
    EXPECT_EQ(view.events, "connecting notice notice "); // never "failed"
}

TEST_F(DownloadRunnerTest, EveryEventIsAsTheManualSays) {
    std::ostringstream output;
    std::ostringstream problems;
    const auto told = makeProgressView(true, false, output, problems, false, false);
    const auto runJson = [&](const std::string& url, bool isInterrupted) {
        options.targets = {{Url::parse(url), ""}};
        DownloadRunner runner(options, harness.environment, credentials, *told, Seconds(0.01));
        std::optional<int> status;
        QObject::connect(&runner, &DownloadRunner::ended, [&](int ended) { status = ended; });
        runner.start();
        if (isInterrupted) {
            const std::regex arrived("\"bytes\":[1-9]");
            EXPECT_TRUE(turnUntil([&] { return std::regex_search(output.str(), arrived) || status; }));
            runner.interrupt();
        }
        EXPECT_TRUE(turnUntil([&] { return status.has_value(); }));
        return status.value_or(-1);
    };
    const std::string slow = server.url(3'000'000, "slow=300000&until=8", "slow");
    EXPECT_EQ(runJson(slow, true), DownloadRunner::kInterrupted);
    EXPECT_EQ(runJson(slow, false), DownloadRunner::kAllFinished); // goes on
    options.checksum = Checksum::read(sampleSha256(1000));
    EXPECT_EQ(runJson(server.url(1000, "", "small"), false), DownloadRunner::kAllFinished);
    harness.transfers.traits.takesWhatIsThere = true;
    EXPECT_EQ(runJson(server.url(1000, "", "small"), false), DownloadRunner::kAllFinished); // there already
    options.checksum.reset();
    EXPECT_EQ(runJson(server.url(1000, "status=503&until=2", "late"), false), DownloadRunner::kAllFinished);
    options.badLines = {{3, "links.txt", "no link", Error::tarvo("No address.")}};
    EXPECT_EQ(runJson(server.url(1000, "status=404", "gone"), false), DownloadRunner::kSomeFailed);

    const auto schema = documented();
    std::map<QString, int> seen;
    std::istringstream lines(output.str());
    for (std::string line; std::getline(lines, line);) {
        QJsonObject event = QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
        const QString kind = event.take("event").toString();
        ASSERT_TRUE(schema.contains(kind)) << line;
        ++seen[kind];
        expectAsDocumented(event, kind, schema.at(kind));
        seen["with a checksum"] += event.contains("checksum") ? 1 : 0;
        seen["of a list"] += event.contains("line") ? 1 : 0;
    }
    for (const auto* kind : {"started", "progress", "retry", "finished", "failed", "interrupted", "present"})
        EXPECT_GT(seen[kind], 0) << kind;
    EXPECT_EQ(seen["with a checksum"], 2);
    EXPECT_EQ(seen["of a list"], 1);
    EXPECT_EQ(seen["summary"], 6);
    EXPECT_FALSE(has(output.str(), "\"fetched\":3000000")) << "the second run has fetched only the rest";
}

} // namespace tarvo::test
