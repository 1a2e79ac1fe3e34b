// Whole downloads from vsftpd and OpenSSH: logins, keys, several connections, what is no file.
#include "jobs/AuthenticationManager.h"
#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/SampleData.h"
#include "support/SshServer.h"
#include "support/Text.h"
#include "support/VsftpdServer.h"

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 2'000'003;

const std::string kRefused = std::string(ErrorDomain::RemoteFile) + " 5";
const std::string kFolder = std::string(ErrorDomain::RemoteFile) + " 7";
const std::string kMissing = std::string(ErrorDomain::CurlSegment) + " 78"; // CURLE_REMOTE_FILE_NOT_FOUND

struct Login {
    std::string user;
    std::string password;
    std::string keys{}; // their folder
};

class FileTransferServer : public ::testing::Test {
protected:
    /// What is wrong with the download, as "domain code"; empty when the file is whole.
    std::string outcome(const std::string& url, const std::optional<Login>& login = {},
                        std::int64_t size = kSize) {
        std::shared_ptr<const TRAuthToken> auth;
        if (login)
            auth = std::make_shared<const TRAuthToken>(
                AuthenticationManager::getServiceNameFromURL(*Url::parse(url)), login->user, login->password,
                login->keys);
        const auto job = harness.job(url, 5);
        if (const auto problem = harness.run(job, auth))
            return problem->domain + " " + std::to_string(problem->code);
        return fileIsSample(job->finalFilePath().value_or(""), size);
    }

    JobHarness harness;
};

} // namespace

TEST_F(FileTransferServer, FtpGivesAnyoneAFileOfAnySizeOverSeveralConnections) {
    VsftpdServer server;
    server.addFile("a b.bin", kSize);
    EXPECT_EQ(outcome(server.url("/a%20b.bin")), "") << server.log();
    EXPECT_TRUE(harness.exists("a b.bin"));
    EXPECT_GE(countOf(server.log(), "\"REST "), 4) << server.log();
    for (const std::int64_t size : {0, 1, 2, 3}) {
        const std::string name = std::to_string(size) + ".bin";
        server.addFile(name, size);
        EXPECT_EQ(outcome(server.url("/" + name), {}, size), "") << name << server.log();
    }
    server.addFolder("folder");
    EXPECT_EQ(outcome(server.url("/folder/")), kFolder) << server.log();
    EXPECT_EQ(outcome(server.url("/folder")), kMissing) << server.log();
    EXPECT_EQ(outcome(server.url("/missing.bin")), kMissing) << server.log();
    EXPECT_FALSE(harness.exists("missing.bin.trdownload"));
}

TEST_F(FileTransferServer, FtpThatBeginsNoFileInTheMiddleGivesItWhole) {
    VsftpdServer server(FtpLogin::anonymous, "cmds_denied=REST\n");
    server.addFile("a.bin", kSize);
    EXPECT_EQ(outcome(server.url("/a.bin")), "") << server.log();
    EXPECT_EQ(outcome(server.url("/missing.bin")), kMissing) << server.log();
}

TEST_F(FileTransferServer, AWebServerMaySendItsClientsToAFileServer) {
    FaultServer web;
    VsftpdServer server;
    server.addFile("a.bin", kSize);
    EXPECT_EQ(outcome(web.url(1, "to=" + knobValue(server.url("/a.bin")))), "") << server.log();
    EXPECT_EQ(outcome(web.url(1, "to=" + knobValue(server.url("/missing.bin")))), kMissing) << server.log();
}

TEST_F(FileTransferServer, FtpOpensToTheRightPasswordOnly) {
    VsftpdServer server(FtpLogin::password);
    server.addFile("a.bin", kSize);
    EXPECT_EQ(outcome(server.url("/a.bin")), kRefused);
    EXPECT_EQ(outcome(server.url("/a.bin"), Login{"bob", "wrong"}), kRefused);
    EXPECT_EQ(outcome(server.url("/a.bin"), Login{"bob", "secret"}), "") << server.log();
    EXPECT_EQ(outcome(server.url("/a.bin")), kRefused) << "whoever was there before";
}

TEST_F(FileTransferServer, SftpOpensToThePasswordOrTheKeyWhoeverWasThereBefore) {
    SshServer server;
    server.addFile("a.bin", kSize);
    const std::string url = server.url("a.bin");
    const Login right{server.user(), "secret"};
    const Login wrong{server.user(), "wrong"};
    EXPECT_EQ(outcome(url, wrong), kRefused);
    EXPECT_EQ(outcome(url), kRefused);
    EXPECT_EQ(outcome(url, Login{server.user(), "", server.keyFolder()}), "");
    EXPECT_EQ(outcome(url, right), "");
    ASSERT_GT(harness.transfers.connectionPools->idleCount(), 0u);
    EXPECT_EQ(outcome(url, wrong), kRefused);
    EXPECT_EQ(outcome(url), kRefused);
    EXPECT_EQ(outcome(url, right), "") << "with the sessions of the first";
    server.stop();
    server.start();
    EXPECT_EQ(outcome(url, right), "") << "with sessions that have ended meanwhile";

    for (const std::int64_t size : {0, 1, 2, 3}) {
        const std::string name = std::to_string(size) + ".bin";
        server.addFile(name, size);
        EXPECT_EQ(outcome(server.url(name), right, size), "") << name;
    }
    server.addFolder("folder");
    EXPECT_EQ(outcome(server.url("folder/"), right), kFolder);
    EXPECT_EQ(outcome(server.url("missing"), right), kMissing);
}

} // namespace tarvo::test
