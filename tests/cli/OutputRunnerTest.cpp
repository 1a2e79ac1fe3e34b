// What reaches standard output, whatever the connection and the reader do.
#include "cli/OutputRunner.h"

#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/MemoryPasswordStore.h"
#include "support/SampleData.h"
#include "support/Text.h"

#include <csignal>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 3'000'001;

} // namespace

class OutputRunnerTest : public ::testing::Test {
protected:
    OutputRunnerTest() {
        std::signal(SIGPIPE, SIG_IGN); // as the program does
        options.toStandardOutput = true;
        options.retries = 2;
    }

    /// Writes what is at `url` to `descriptor`; answers the exit status.
    int run(const std::string& url, int descriptor, const std::function<bool()>& endsWhen = {}) {
        options.targets = {{Url::parse(url), ""}};
        told.str("");
        const auto view = makeProgressView(false, false, told, told, false, false);
        OutputRunner runner(options, harness.environment, credentials, *view, Seconds(0.01), descriptor);
        std::optional<int> status;
        QObject::connect(&runner, &OutputRunner::ended, [&](int ended) { status = ended; });
        runner.start();
        if (endsWhen) {
            EXPECT_TRUE(turnUntil(endsWhen));
            runner.interrupt();
        }
        EXPECT_TRUE(turnUntil([&] { return status.has_value(); }));
        return status.value_or(-1);
    }

    /// The same, into a file of which this is the path.
    int runIntoFile(const std::string& url) {
        const FileHandle file(::open(written.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
        return run(url, file.descriptor());
    }

    JobHarness harness;
    FaultServer server;
    MemoryPasswordStore keyring;
    AuthenticationManager credentials{keyring, nullptr, harness.defaults, harness.clock};
    Options options;
    std::ostringstream told;
    const std::string written = harness.folder.path("written");
};

TEST_F(OutputRunnerTest, AConnectionThatBreaksIsGoneOnWithOnlyInTheSameVersion) {
    const std::string once = "cut=1000000&from=3&until=3"; // after the two requests of the probe
    EXPECT_EQ(runIntoFile(server.url(kSize, once, "a")), 0) << told.str();
    EXPECT_EQ(fileIsSample(written, kSize), "");
    EXPECT_NE(server.requests().back().header("if-range"), "");
    for (const auto& knobs : {once + "&etag=each", once + "&untagged", std::string("cut=1000000&norange"),
                              std::string("cut=1000000&nolength")}) {
        EXPECT_EQ(runIntoFile(server.url(kSize, knobs, knobs.substr(knobs.rfind('&') + 1))), 1) << knobs;
        const std::int64_t length = Disk::lengthOfFile(written);
        EXPECT_EQ(fileIsSample(written, length), "") << knobs;
        EXPECT_LE(length, 1'000'000) << knobs;
        EXPECT_FALSE(has(told.str(), "finished")) << knobs;
    }
    EXPECT_FALSE(harness.exists("sample.bin.trdownload"));
}

TEST_F(OutputRunnerTest, AReaderMayBeGoneOrWait) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    FileHandle reader(ends[0]);
    const FileHandle writer(ends[1]);
    EXPECT_EQ(run(server.url(kSize), writer.descriptor(), [&] { return server.bytesSent() > 200'000; }), 130);
    reader.close();
    options.checksum = Checksum::read(sampleSha256(kSize));
    EXPECT_EQ(run(server.url(kSize), writer.descriptor()), 1);
    EXPECT_FALSE(has(told.str(), "tarvo-get: ")) << told.str();
    EXPECT_EQ(runIntoFile(server.url(kSize)), 0) << told.str();
    options.checksum = Checksum::read(sampleSha256(kSize - 1));
    EXPECT_EQ(runIntoFile(server.url(kSize)), 1);
    EXPECT_TRUE(has(told.str(), "\"-\" is " + sampleSha256(kSize))) << told.str();
}

} // namespace tarvo::test
