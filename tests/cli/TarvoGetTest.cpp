// The built program as a script sees it: what it prints where, how it ends, what is on disk then.
#include "ProgramTest.h"
#include "support/Text.h"

#include <array>
#include <filesystem>

#include <arpa/inet.h>
#include <sys/socket.h>

namespace tarvo::test {

namespace {

constexpr std::int64_t kSize = 3'000'001;

} // namespace

class TarvoGetTest : public ProgramTest {};

TEST_F(TarvoGetTest, OnATerminalDrawsAColouredLineUnlessToldNotTo) {
    const std::string slow = server.url(kSize, "rate=1000000");
    Program coloured(home, arguments({slow}), {.terminal = true});
    EXPECT_EQ(coloured.status(), 0);
    EXPECT_TRUE(has(coloured.output(), "\x1b[32m"));
    Program plain(home, arguments({"--again", slow}), {.terminal = true, .environment = {"NO_COLOR=1"}});
    EXPECT_EQ(plain.status(), 0);
    EXPECT_FALSE(has(plain.output(), "\x1b[32m"));
    EXPECT_TRUE(has(plain.output(), " 10 conn "));
}

TEST_F(TarvoGetTest, OneFailureAmongSeveralIsToldAndTheOthersFinish) {
    Program program(home, arguments({"-i", "-"}));
    program.type("# two of three are there\n" + server.url(kSize, "", "a") + "\n\n" +
                 server.url(kSize, "status=404", "gone") + "\n\x1b]0;title\a\n" +
                 server.url(kSize, "nolength", "b"));
    program.closeInput();
    ASSERT_EQ(program.status(), 1);
    EXPECT_EQ(fileIsSample(file("a"), kSize), "");
    EXPECT_EQ(fileIsSample(file("b"), kSize), "");
    EXPECT_TRUE(has(program.problems(), "/gone?status=404: HTTP Status 404"));
    EXPECT_FALSE(has(program.output(), "gone"));
    EXPECT_TRUE(has(program.problems(), "line 5 of \"-\": \"?]0;title?\" is neither"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(files), {}), 2);

    Program wrong(home, {"nonsense"});
    EXPECT_EQ(wrong.status(), 2);
    EXPECT_EQ(wrong.output(), "");
}

TEST_F(TarvoGetTest, AFileWithTheWrongChecksumStaysInItsBundle) {
    const std::string url = server.url(kSize);
    Program right(home, arguments({"--checksum", "sha256=" + sampleSha256(kSize), "-o", "right", url}));
    EXPECT_EQ(right.status(), 0);
    EXPECT_TRUE(has(right.output(), "checksum matches"));
    EXPECT_EQ(fileIsSample(file("right"), kSize), "");
    const auto run = [&](const std::string& digest) {
        Program program(home, arguments({"--checksum", "sha256=" + digest, "-o", "wrong", url}));
        return std::pair(program.status(), program.problems());
    };
    const auto [status, problems] = run(sampleSha256(kSize - 1));
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(has(problems, "checksum of \"" + file("wrong") + "\" is " + sampleSha256(kSize))) << problems;
    EXPECT_TRUE(has(problems, "not " + sampleSha256(kSize - 1)));
    EXPECT_FALSE(Disk::exists(file("wrong")));
    EXPECT_EQ(savedBytes(bundle("wrong")), kSize);
    const auto fetched = [&](const std::string& digest, int wanted) {
        const auto before = server.bytesSent();
        EXPECT_EQ(run(digest).first, wanted);
        return server.bytesSent() - before >= kSize;
    };
    EXPECT_TRUE(fetched(sampleSha256(kSize - 1), 1)) << "the same bytes would be as wrong again";
    EXPECT_FALSE(fetched(sampleSha256(kSize), 0)) << "the bytes were right";
    EXPECT_EQ(fileIsSample(file("wrong"), kSize), "");
}

TEST_F(TarvoGetTest, APageIsFetchedWhereOneIsAskedFor) {
    const auto fetch = [&](const std::string& name, const std::string& knobs = "",
                           const char* option = "-q") {
        Program program(home, arguments({option, server.url(kSize, "type=text/html" + knobs, name)}));
        return program.status() == 0 ? "" : program.problems();
    };
    EXPECT_EQ(fetch("about"), "");
    EXPECT_EQ(fileIsSample(file("about.html"), kSize), "");
    EXPECT_EQ(server.requests().back().header("range"), "") << "over one connection";
    EXPECT_EQ(fetch("list/", "&nolength"), "");
    EXPECT_EQ(fileIsSample(file("index.html"), kSize), "");
    EXPECT_EQ(fetch("a.iso", "&disposition=" + knobValue("attachment; filename=b.html")), "");
    EXPECT_EQ(fileIsSample(file("b.html"), kSize), "");
    const std::string refusal = fetch("image.iso");
    EXPECT_TRUE(has(refusal, "leads to a web page") && has(refusal, "use --page")) << refusal;
    EXPECT_EQ(fetch("image.iso", "", "--page"), "");
    EXPECT_EQ(fileIsSample(file("image.iso"), kSize), "");
}

TEST_F(TarvoGetTest, StandardOutputIsTheFileAndNothingElse) {
    for (const auto* option : {"--json", "--verbose"}) {
        Program program(home, arguments({option, "-o", "-", server.url(kSize, "nolength")}));
        EXPECT_EQ(program.status(), 0) << program.problems();
        EXPECT_TRUE(program.output() == sample(0, kSize)) << option;
        EXPECT_TRUE(has(program.problems(), "finished"));
    }
    EXPECT_FALSE(Disk::exists(files));
}

TEST_F(TarvoGetTest, AReaderThatGoesAwayDoesNotEndIt) {
    Program program(home, arguments({"--json", "-x", "4", server.url(kSize, "rate=500000")}));
    ASSERT_TRUE(program.prints("\"event\":\"started\""));
    EXPECT_TRUE(has(program.output(), "\"connections\":4"));
    program.closeOutput();
    EXPECT_EQ(program.status(), 0);
    EXPECT_EQ(fileIsSample(file(), kSize), "");
}

TEST_F(TarvoGetTest, AFolderThatIsMissingIsMadeAndOneThatCannotBeUsedIsNamed) {
    Program deep(home, {"-d", home.path("a/b/c"), server.url(1000)});
    EXPECT_EQ(deep.status(), 0) << deep.problems();
    EXPECT_EQ(fileIsSample(home.path("a/b/c/sample.bin"), 1000), "");

    const std::string notAFolder = home.write("file", "mine");
    Program inFile(home, {"--retries", "0", "-d", notAFolder, server.url(1000)});
    EXPECT_EQ(inFile.status(), 1);
    EXPECT_TRUE(has(inFile.problems(), notAFolder));
    EXPECT_EQ(contentOf(notAFolder), "mine");
}

TEST_F(TarvoGetTest, ALimitOfTheMachineIsNamed) {
    const std::string url = server.url(kSize);
    const std::pair<std::string, std::string> cases[] = {
        {"ulimit -f 100; exec \"$@\"", "File too large"},
        {"ulimit -n 16; exec \"$@\"", "files may be open"},
        {"exec \"$@\" >/dev/full", "standard output: No space left"},
    };
    for (const auto& [script, reason] : cases) {
        std::vector<std::string> all{"-c", script, "sh", TARVO_PROGRAM};
        const auto own = arguments({url});
        all.insert(all.end(), own.begin(), own.end());
        Program program(home, all, {.program = "/bin/sh"});
        EXPECT_EQ(program.status(), 1) << script;
        EXPECT_TRUE(has(program.problems(), reason)) << program.problems();
    }
    EXPECT_EQ(fileIsSample(file(), kSize), "") << "what could not be told was done all the same";
}

TEST_F(TarvoGetTest, WhatIsThereIsFetchedAgainOnlyIfTheServerHasAnother) {
    const auto run = [&](const std::vector<std::string>& own) {
        Program program(home, arguments(own));
        EXPECT_EQ(program.status(), 0) << program.problems();
        return program.output();
    };
    const std::string url = server.url(kSize, "etag=%22one%22");
    EXPECT_TRUE(has(run({url}), "finished"));
    const std::int64_t sent = server.bytesSent();
    EXPECT_EQ(run({url}), "already there: " + file() + "\n");
    EXPECT_TRUE(has(run({"--json", "--checksum", sampleSha256(kSize), url}), "\"event\":\"present\""));
    EXPECT_LT(server.bytesSent() - sent, 10'000) << "asked for, not fetched";
    const std::string cookies = home.write("cookies", "127.0.0.1\tFALSE\t/\tFALSE\t0\ta\tb\n");
    EXPECT_TRUE(
        has(run({"--again", "-H", "X-Mine: c", "--cookie-file", cookies, url}), file("sample (2).bin")));
    auto sentHeaders = server.requests().back().headers;
    EXPECT_EQ(sentHeaders["x-mine"] + sentHeaders["cookie"], "ca=b;");
    home.write("files/sample.bin", "shorter"); // by the user
    home.write("files/sample (2).bin", "shorter");
    EXPECT_TRUE(has(run({url}), file("sample (3).bin")));
}

TEST_F(TarvoGetTest, AFileThatAnotherProgramHasFetchedIsComparedByItsTimeWhereThatIsWanted) {
    std::filesystem::create_directories(files);
    const std::string mine = home.write("files/sample.bin", sample(0, kSize));
    const auto run = [&](const char* modified) {
        Program program(home, arguments({"-N", server.url(kSize, "modified=" + knobValue(modified))}));
        EXPECT_EQ(program.status(), 0) << program.problems();
        return program.output();
    };
    EXPECT_EQ(run("Mon, 05 Jan 2015 00:00:00 GMT"), "already there: " + mine + "\n");
    EXPECT_TRUE(has(run("Mon, 05 Jan 2037 00:00:00 GMT"), file("sample (2).bin")));
}

TEST_F(TarvoGetTest, ABundleSendsItsHeadersAgainButKeepsNoSecret) {
    const std::string url = server.url(kSize, "rate=1000000");
    Program first(home,
                  arguments({"-H", "X-Mine: one", "-H", "X-Api-Key: hidden", "-H", "X-Other: first", url}));
    ASSERT_TRUE(first.runsUntil([&] { return server.bytesSent() > 100'000; })) << first.problems();
    EXPECT_EQ(server.requests().back().header("x-api-key"), "hidden");
    first.signal(SIGINT);
    EXPECT_EQ(first.status(), 130);
    EXPECT_FALSE(has(contentOf(bundle() + "/progress"), "hidden"));
    Program rest(home, {"-H", "X-Other: second", bundle()});
    EXPECT_EQ(rest.status(), 0) << rest.problems();
    const auto last = server.requests().back();
    EXPECT_EQ(last.header("x-mine") + " " + last.header("x-other") + last.header("x-api-key"), "one second");
}

TEST_F(TarvoGetTest, HowAndHowLongItConnectsIsTheUsersChoice) {
    std::string url = server.url(kSize);
    url.replace(url.find("127.0.0.1"), 9, "localhost"); // where the server answers over IPv4 alone
    const auto run = [&](const std::vector<std::string>& own) {
        auto all = arguments({"--retries", "0"});
        all.insert(all.end(), own.begin(), own.end());
        Program program(home, all);
        return program.status() == 0 ? "" : program.problems();
    };
    EXPECT_EQ(run({"-4", url}), "");
    EXPECT_NE(run({"-6", "--again", url}), "");

    const FileHandle deaf(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)); // takes one, and hears no other
    sockaddr_in place{
        .sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    socklen_t length = sizeof place;
    auto* const address = reinterpret_cast<sockaddr*>(&place); // NOLINT(*-reinterpret-cast): as bind(2) wants
    ASSERT_EQ(::bind(deaf.descriptor(), address, length), 0);
    ASSERT_EQ(::listen(deaf.descriptor(), 0), 0);
    ASSERT_EQ(::getsockname(deaf.descriptor(), address, &length), 0);
    std::array<FileHandle, 3> crowd;
    for (auto& each : crowd) {
        each = FileHandle(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        static_cast<void>(::connect(each.descriptor(), address, length));
    }
    const std::string port = std::to_string(ntohs(place.sin_port));
    EXPECT_TRUE(has(run({"--connect-timeout", "1", "http://127.0.0.1:" + port + "/a"}), "imeout"));
}

TEST_F(TarvoGetTest, ALimitHoldsForAllFilesTogether) {
    constexpr std::int64_t kRate = 2'000'000;
    const auto begin = std::chrono::steady_clock::now();
    Program program(home, arguments({"--limit-rate", std::to_string(kRate), "-j", "2",
                                     server.url(kSize, "", "a"), server.url(kSize, "", "b")}));
    EXPECT_EQ(program.status(), 0) << program.problems();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_GT(took.count(), 0.85 * 2 * kSize / kRate);
    EXPECT_EQ(fileIsSample(file("a"), kSize), "");
    EXPECT_EQ(fileIsSample(file("b"), kSize), "");
}

TEST_F(TarvoGetTest, WhatIsNoPartOfABundleStaysAndADamagedOneIsCalledSo) {
    std::filesystem::create_directories(bundle());
    std::filesystem::create_directories(bundle("b"));
    const std::string mine = home.write("files/sample.bin.trdownload/mine.txt", "mine");
    Program beside(home, arguments({server.url(kSize)}));
    EXPECT_EQ(beside.status(), 0) << beside.problems();
    EXPECT_EQ(fileIsSample(file(), kSize), "");
    EXPECT_EQ(contentOf(mine), "mine");

    home.write("files/b.trdownload/progress", "<plist>");
    Program damaged(home, arguments({server.url(kSize, "", "b")}));
    EXPECT_EQ(damaged.status(), 1);
    EXPECT_TRUE(has(damaged.problems(), bundle("b") + "\" is damaged")) << damaged.problems();

    Program proxy(home, {"-d", files, server.url(kSize, "status=407", "c")});
    EXPECT_EQ(proxy.status(), 1);
    EXPECT_TRUE(has(proxy.problems(), "The proxy asks for a user name"));
}

TEST_F(TarvoGetTest, TwoAtOnceOnOneDownloadDoNotMix) {
    const std::string url = server.url(kSize, "rate=300000");
    Program first(home, arguments({"-x", "2", url}));
    ASSERT_TRUE(first.prints("started"));
    Program second(home, arguments({"-x", "2", url}));
    EXPECT_EQ(second.status(), 1);
    EXPECT_TRUE(has(second.problems(), "Another download is working on \"" + bundle() + "\""));
    EXPECT_EQ(first.status(), 0) << first.problems();
    EXPECT_EQ(fileIsSample(file(), kSize), "");

    std::vector<std::unique_ptr<Program>> crowd; // whichever comes first, no file is wrong
    crowd.reserve(4);
    for (int i = 0; i < 4; ++i)
        crowd.push_back(
            std::make_unique<Program>(home, arguments({"--again", server.url(kSize, "", "crowd")})));
    int finished = 0;
    for (const auto& each : crowd)
        finished += each->status() == 0 ? 1 : 0;
    EXPECT_GE(finished, 1);
    int named = 0;
    for (const auto& entry : std::filesystem::directory_iterator(files)) {
        const std::string path = entry.path().string();
        EXPECT_EQ(fileIsSample(path, kSize), "") << path;
        named += path.find("/crowd") != std::string::npos ? 1 : 0;
    }
    EXPECT_GE(named, 1);
    EXPECT_LE(named, finished) << "one that comes late finds the file there";
}

} // namespace tarvo::test
