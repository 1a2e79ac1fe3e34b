// Whole downloads from vsftpd and OpenSSH: logins, keys, several connections, what is no file.
#include "jobs/AuthenticationManager.h"
#include "support/FaultServer.h"
#include "support/JobHarness.h"
#include "support/MemoryPasswordStore.h"
#include "support/SampleData.h"
#include "support/SshServer.h"
#include "support/Text.h"
#include "support/VsftpdServer.h"

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 2'000'003;

const std::string kRefused = std::string(ErrorDomain::RemoteFile) + " 5";
const std::string kFolder = std::string(ErrorDomain::RemoteFile) + " 7";
const std::string kMissing = std::string(ErrorDomain::CurlSegment) + " 78"; // CURLE_REMOTE_FILE_NOT_FOUND

using Token = std::shared_ptr<const TRAuthToken>;

class FileTransferServer : public ::testing::Test {
protected:
    static Token login(const std::string& url, const std::string& user, const std::string& password,
                       const std::string& keys = {}) {
        return std::make_shared<const TRAuthToken>(
            AuthenticationManager::getServiceNameFromURL(*Url::parse(url)), user, password, keys);
    }

    /// What is wrong with the download, as "domain code"; empty when the file is whole.
    std::string outcome(const std::string& url, const Token& auth = nullptr, std::int64_t size = kSize) {
        const auto job = harness.job(url, 5);
        if (const auto problem = harness.run(job, auth))
            return problem->domain + " " + std::to_string(problem->code);
        return fileIsSample(job->finalFilePath().value_or(""), size);
    }

    /// What comes next logs in anew.
    void endSessions() { harness.transfers.connectionPools->closeIdle(TimePoint::max()); }

    /// Small files are fetched, and what is no file is told.
    template <class Server>
    void checkOtherSizesAndKinds(Server& server, const std::string& root, const Token& auth = nullptr) {
        for (const std::int64_t size : {0, 1, 3}) {
            const std::string name = std::to_string(size) + ".bin";
            server.addFile(name, size);
            EXPECT_EQ(outcome(server.url(root + name), auth, size), "") << name;
        }
        server.addFolder("folder");
        EXPECT_EQ(outcome(server.url(root + "folder/"), auth), kFolder);
        EXPECT_EQ(outcome(server.url(root + "missing"), auth), kMissing);
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
    checkOtherSizesAndKinds(server, "/");
    const FaultServer web; // may send its clients there
    EXPECT_EQ(outcome(web.url(1, "to=" + knobValue(server.url("/a%20b.bin")))), "") << server.log();
    EXPECT_EQ(outcome(web.url(1, "to=" + knobValue(server.url("/missing")))), kMissing) << server.log();
    EXPECT_EQ(outcome(server.url("/folder")), kMissing) << server.log();
    EXPECT_FALSE(harness.exists("folder.trdownload"));
}

TEST_F(FileTransferServer, FtpThatBeginsNoFileInTheMiddleGivesItWhole) {
    VsftpdServer server(FtpLogin::anonymous, "cmds_denied=REST\n");
    server.addFile("a.bin", kSize);
    EXPECT_EQ(outcome(server.url("/a.bin")), "") << server.log();
    EXPECT_EQ(outcome(server.url("/missing.bin")), kMissing) << server.log();
}

TEST_F(FileTransferServer, FtpOpensToTheRightPasswordOnly) {
    VsftpdServer server(FtpLogin::password);
    server.addFile("a.bin", kSize);
    const std::string url = server.url("/a.bin");
    EXPECT_EQ(outcome(url, login(url, "bob", "wrong")), kRefused);
    EXPECT_EQ(outcome(url, login(url, "bob", "secret")), "") << server.log();
    EXPECT_EQ(outcome(url), kRefused) << "also after a user who was let in";
}

TEST_F(FileTransferServer, SftpOpensToTheRightPasswordOnly) {
    SshServer server;
    server.addFile("a.bin", kSize);
    const std::string url = server.url("a.bin");
    const Token right = login(url, server.user(), "secret");
    const Token wrong = login(url, server.user(), "wrong");
    EXPECT_EQ(outcome(url, right), "");
    EXPECT_EQ(outcome(url, wrong), kRefused);
    EXPECT_EQ(outcome(url), kRefused);
    EXPECT_EQ(outcome(url, right), "") << "with the sessions of the first";
    server.stop();
    server.start();
    EXPECT_EQ(outcome(url, right), "") << "with sessions that have ended meanwhile";
    checkOtherSizesAndKinds(server, "", right);
}

TEST_F(FileTransferServer, SftpOpensToAnyOfTheKeysAndToOneWithAPassphrase) {
    SshServer server;
    server.addFile("a.bin", kSize);
    const std::string url = server.url("a.bin");
    const auto outcomeOf = [&](const std::string& password, const std::string& keys) {
        endSessions();
        return outcome(url, login(url, server.user(), password, keys));
    };
    const auto keysIn = [&](const char* name) {
        std::filesystem::create_directory(harness.folder.path(name));
        return harness.folder.path(name);
    };
    const std::string alone = keysIn("alone");
    server.addKey(alone + "/id_ed25519", "ed25519");
    EXPECT_EQ(outcomeOf("", alone), "");
    std::filesystem::remove(alone + "/id_ed25519.pub");
    EXPECT_EQ(outcomeOf("", alone), "") << "the public key is in the private one";

    const std::string several = keysIn("several");
    server.addKey(several + "/id_ed25519", "ed25519", "", false);
    server.addKey(several + "/id_ecdsa", "ecdsa");
    server.addKey(several + "/id_rsa", "rsa", "", false);
    EXPECT_EQ(outcomeOf("", several), "");
    EXPECT_EQ(outcome(url, login(url, server.user(), "", several)), "")
        << "with the session of the second key";
    EXPECT_EQ(outcomeOf("secret", several), "");

    const std::string locked = keysIn("locked");
    server.addKey(locked + "/id_ed25519", "ed25519", "pass phrase");
    EXPECT_EQ(outcomeOf("", locked), kRefused);
    EXPECT_EQ(outcomeOf("wrong", locked), kRefused);
    EXPECT_EQ(outcomeOf("pass phrase", locked), "");
}

TEST_F(FileTransferServer, SftpAsksNothingWhereThereIsAKeyAtHomeOrAnAgent) {
    SshServer server;
    server.addFile("a.bin", kSize);
    MemoryPasswordStore passwords;
    AuthenticationManager credentials(passwords, nullptr, harness.defaults, harness.clock);
    const std::string url = server.url("a.bin");
    const std::string named = std::string(url).insert(7, server.user() + "@");
    const auto outcomeOf = [&](const std::string& address) {
        endSessions();
        return outcome(address, credentials.getCredentialsForURL(*Url::parse(address)));
    };
    const QByteArray before = qgetenv("HOME");
    ::setenv("HOME", harness.folder.path().c_str(), 1);
    EXPECT_EQ(outcomeOf(url), kRefused);
    std::filesystem::create_directory(harness.folder.path(".ssh"));
    const std::string key = harness.folder.path(".ssh/id_ed25519");
    server.addKey(key, "ed25519");
    EXPECT_EQ(outcomeOf(url), "");
    EXPECT_EQ(outcomeOf(named), "");

    const std::string socket = harness.folder.path("agent");
    ServerProcess agent;
    agent.start({programPath("ssh-agent", "openssh-client"), "-D", "-a", socket},
                harness.folder.path("agent.log"), {});
    ASSERT_TRUE(turnUntil([&] { return Disk::exists(socket); }));
    ::setenv("SSH_AUTH_SOCK", socket.c_str(), 1);
    runProgram({programPath("ssh-add", "openssh-client"), "-q", key});
    std::filesystem::remove(key);
    EXPECT_EQ(outcomeOf(url), "");
    ::unsetenv("SSH_AUTH_SOCK");
    EXPECT_EQ(outcomeOf(named), kRefused);
    ::setenv("HOME", before.constData(), 1);
}

} // namespace tarvo::test
