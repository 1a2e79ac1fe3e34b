// Whole downloads from vsftpd and OpenSSH: logins, keys, several connections, what is no file.
#include "support/JobHarness.h"
#include "support/SampleData.h"
#include "support/SshServer.h"
#include "support/VsftpdServer.h"

#include <regex>

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 2'000'003;

std::int64_t countOf(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    return std::distance(std::sregex_iterator(text.begin(), text.end(), expression), std::sregex_iterator());
}

std::shared_ptr<const TRAuthToken> token(const std::string& user, const std::string& password,
                                         const std::string& keys = {}) {
    return std::make_shared<const TRAuthToken>("service", user, password, keys);
}

/// What is wrong with the download, as "domain code"; empty when the file is whole.
std::string outcome(JobHarness& harness, const std::string& url, std::int64_t size,
                    const std::shared_ptr<const TRAuthToken>& auth = nullptr) {
    const auto job = harness.job(url, 5);
    if (const auto problem = harness.run(job, auth))
        return problem->domain + " " + std::to_string(problem->code);
    return fileIsSample(job->finalFilePath().value_or(""), size);
}

const std::string kRefused = std::string(ErrorDomain::RemoteFile) + " 5";
const std::string kFolder = std::string(ErrorDomain::RemoteFile) + " 7";
const std::string kMissing = std::string(ErrorDomain::CurlSegment) + " 78"; // CURLE_REMOTE_FILE_NOT_FOUND

} // namespace

TEST(FtpServer, AnyoneGetsTheFileOverSeveralConnections) {
    VsftpdServer server;
    JobHarness harness;
    server.addFile("a b.bin", kSize);
    EXPECT_EQ(outcome(harness, server.url("/a%20b.bin"), kSize), "") << server.log();
    EXPECT_EQ(fileIsSample(harness.folder.path("a b.bin"), kSize), "");
    EXPECT_GE(countOf(server.log(), "\"REST [1-9]"), 4) << server.log();
}

TEST(FtpServer, TheSmallestFilesAndWhatIsNoFile) {
    VsftpdServer server;
    JobHarness harness;
    for (const std::int64_t size : {0, 1, 2, 3}) {
        const std::string name = std::to_string(size) + ".bin";
        server.addFile(name, size);
        EXPECT_EQ(outcome(harness, server.url("/" + name), size), "") << name << server.log();
    }
    server.addFolder("folder");
    EXPECT_EQ(outcome(harness, server.url("/folder/"), 0), kFolder) << server.log();
    EXPECT_EQ(outcome(harness, server.url("/folder"), 0), kMissing) << server.log();
    EXPECT_EQ(outcome(harness, server.url("/missing.bin"), 0), kMissing) << server.log();
    EXPECT_FALSE(harness.exists("missing.bin.trdownload"));
}

TEST(FtpServer, OnlyTheRightPasswordOpens) {
    VsftpdServer server(FtpLogin::password);
    JobHarness harness;
    server.addFile("a.bin", kSize);
    EXPECT_EQ(outcome(harness, server.url("/a.bin"), kSize), kRefused);
    EXPECT_EQ(outcome(harness, server.url("/a.bin"), kSize, token("bob", "wrong")), kRefused);
    EXPECT_EQ(outcome(harness, server.url("/a.bin"), kSize, token("bob", "secret")), "") << server.log();
    EXPECT_EQ(outcome(harness, server.url("/a.bin"), kSize), kRefused) << "whoever was there before";
}

TEST(SftpServer, ThePasswordOrTheKeyOpens) {
    SshServer server;
    JobHarness harness;
    server.addFile("a.bin", kSize);
    const std::string url = server.url("a.bin");
    EXPECT_EQ(outcome(harness, url, kSize, token(server.user(), "wrong")), kRefused);
    EXPECT_EQ(outcome(harness, url, kSize), kRefused);
    EXPECT_EQ(outcome(harness, url, kSize, token(server.user(), "secret")), "");
    EXPECT_EQ(outcome(harness, url, kSize, token(server.user(), "", server.keyFolder())), "");
    EXPECT_EQ(fileIsSample(harness.folder.path("a (2).bin"), kSize), "");
}

TEST(SftpServer, AnOpenSessionServesNobodyElseAndMayEndWhileItWaits) {
    SshServer server;
    JobHarness harness;
    server.addFile("a.bin", kSize);
    const std::string url = server.url("a.bin");
    const auto auth = token(server.user(), "secret");
    EXPECT_EQ(outcome(harness, url, kSize, auth), "");
    ASSERT_GT(harness.transfers.connectionPools->idleCount(), 0u);
    EXPECT_EQ(outcome(harness, url, kSize, token(server.user(), "wrong")), kRefused);
    EXPECT_EQ(outcome(harness, url, kSize), kRefused);
    EXPECT_EQ(outcome(harness, url, kSize, auth), "") << "with the sessions of the first";
    server.stop();
    server.start();
    EXPECT_EQ(outcome(harness, url, kSize, auth), "") << "with sessions that have ended meanwhile";
}

TEST(SftpServer, TheSmallestFilesAndWhatIsNoFile) {
    SshServer server;
    JobHarness harness;
    const auto auth = token(server.user(), "secret");
    for (const std::int64_t size : {2, 3}) {
        const std::string name = std::to_string(size) + ".bin";
        server.addFile(name, size);
        EXPECT_EQ(outcome(harness, server.url(name), size, auth), "") << name;
    }
    for (const std::int64_t size : {0, 1, 2}) {
        const std::string name = std::to_string(size) + ".bin";
        server.addFile(name, size);
        EXPECT_EQ(outcome(harness, server.url(name), size, auth), "") << name;
    }
    server.addFolder("folder");
    EXPECT_EQ(outcome(harness, server.url("folder/"), 0, auth), kFolder);
    EXPECT_EQ(outcome(harness, server.url("missing"), 0, auth), kMissing);
}

} // namespace tarvo::test
