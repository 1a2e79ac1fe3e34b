// The real browser, whose pages click their own links, and a real web server.
#include "pages/PagesFixture.h"
#include "support/NginxServer.h"
#include "support/SampleData.h"

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace tarvo::test {

namespace fs = std::filesystem;

/// The engine's sandbox does not hold the system's administrator: then the browser runs as another user.
class Engine : public PagesFixture {
protected:
    void SetUp() override {
#ifdef TARVO_SANITIZED
        GTEST_SKIP() << "the engine is not built with sanitizers";
#elif !defined TARVO_BROWSER_PROGRAM
        GTEST_SKIP() << "Debian package qt6-webengine-dev";
#else
        if (std::system((asOther() + "unshare --user --map-root-user --pid --fork true").c_str()) != 0)
            GTEST_SKIP() << "no user namespaces here, which the engine's sandbox is made of";
        fs::create_directories(folder());
        const std::string home = harness.folder.path("home");
        fs::create_directories(home);
        for (const auto& place : {harness.folder.path(), folder(), home})
            fs::permissions(place, fs::perms::all);
        // Where the tests were built, that user may not be allowed to look.
        const std::string program = harness.folder.path("tarvo-browser");
        fs::copy_file(TARVO_BROWSER_PROGRAM, program);
        BrowserProcess::Command command{"/usr/bin/env",
                                        {"QT_QPA_PLATFORM=offscreen", QString::fromStdString("HOME=" + home),
                                         QString::fromStdString("XDG_RUNTIME_DIR=" + home)}};
        command.arguments += QString::fromStdString(asOther()).split(u' ', Qt::SkipEmptyParts);
        command.arguments += QString::fromStdString(program);
        begin(command);
#endif
    }

    /// What comes before a command that root must not run.
    static std::string asOther() {
        return ::geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
    }

    /// A page that clicks `link` on itself.
    static std::string clicking(const std::string& link) {
        return link + "<script>document.querySelector('a').click()</script>";
    }

    static std::string submitting(const std::string& action) {
        return "<form method=post action=" + action + "></form><script>document.forms[0].submit()</script>";
    }

    NginxServer server;
};

TEST_F(Engine, AFileBehindALoginComesInPartsInTheRowThatWaitedForThePage) {
    constexpr std::int64_t size = 5'000'003;
    server.addFolder("members");
    server.addFile("members/secret.bin", size);
    server.addPage("login.html", submitting("/session"));
    server.addPage("members/index.html", clicking("<a href=secret.bin>file</a>"));
    ASSERT_TRUE(queue->addDownloads(
        {CURLRemoteFile::create(*Url::parse(server.url("/login.html")), 10, folder(), environment)}));
    const auto job = onlyJob(rf_state_succeeded);
    ASSERT_TRUE(job);
    EXPECT_EQ(job->url()->absoluteString(), server.url("/members/secret.bin"));
    EXPECT_EQ(fileIsSample(*job->finalFilePath(), size), "");
    EXPECT_TRUE(job->supportsMultipartDownloads());
    const auto cookie = cookies.store().snapshot();
    ASSERT_EQ(cookie.size(), 1u);
    EXPECT_TRUE(cookie[0].httpOnly && cookie[0].hostOnly && !cookie[0].expires);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder()), fs::directory_iterator()), 1)
        << "the browser's own stream has left nothing";
    EXPECT_TRUE(errors.empty()) << errors[0].sentence();
}

TEST_F(Engine, APageThatAsksForThePasswordIsGivenWhatTarvoKnows) {
    constexpr std::int64_t size = 100'000;
    server.addFolder("private");
    server.addFile("private/a.bin", size);
    server.addPage("private/index.html", clicking("<a href=a.bin>file</a>"));
    browser->openWindow(server.url("/private/index.html"));
    const auto job = onlyJob(rf_state_succeeded);
    ASSERT_TRUE(job);
    EXPECT_EQ(fileIsSample(*job->finalFilePath(), size), "");
    EXPECT_TRUE(errors.empty()) << errors[0].sentence();
}

TEST_F(Engine, WhatOnlyThePageCanFetchStaysOneStream) {
    server.addPage("post.html", submitting("/posted"));
    browser->openWindow(server.url("/post.html"));
    const auto posted = onlyJob(rf_state_succeeded);
    ASSERT_TRUE(posted);
    EXPECT_EQ(posted->fileName(), "posted.bin");
    EXPECT_EQ(contentOf(*posted->finalFilePath()), "what was posted for");
    queue->clearCompleted();
    harness.folder.write("downloads/data.txt", "there before");
    server.addPage("data.html", clicking("<a href='data:text/plain,hello' download=data.txt>file</a>"));
    browser->openWindow(server.url("/data.html"));
    const auto data = onlyJob(rf_state_succeeded);
    ASSERT_TRUE(data);
    EXPECT_EQ(data->fileName(), "data (2).txt");
    EXPECT_EQ(contentOf(*data->finalFilePath()), "hello");
    queue->clearCompleted();
    server.addPage("blob.html", clicking("<a download=blob.txt>file</a>"
                                         "<script>document.querySelector('a').href ="
                                         " URL.createObjectURL(new Blob(['from a blob']))</script>"));
    browser->openWindow(server.url("/blob.html"));
    const auto blob = onlyJob(rf_state_succeeded);
    ASSERT_TRUE(blob);
    EXPECT_EQ(contentOf(*blob->finalFilePath()), "from a blob");
    EXPECT_TRUE(errors.empty()) << errors[0].sentence();
}

TEST_F(Engine, APageThatBeginsManyDownloadsAtOnceHasOneUntilTheUserIsAsked) {
    server.addPage("many.html", "<a href='data:text/plain,hello' download=data.txt>file</a><script>"
                                "for (let i = 0; i < 5; ++i) document.querySelector('a').click()</script>");
    server.addPage("other.html", clicking("<a href='data:text/plain,other' download=other.txt>file</a>"));
    browser->openWindow(server.url("/many.html"));
    ASSERT_TRUE(onlyJob(rf_state_succeeded));
    browser->openWindow(server.url("/other.html")); // what was to come before it has come
    ASSERT_TRUE(turnUntil([&] { return jobs().size() == 2 && jobs()[1]->fileName() == "other.txt"; }));
    EXPECT_EQ(contentOf(folder() + "/data (2).txt"), "");
    EXPECT_TRUE(errors.empty()) << errors[0].sentence();
}

} // namespace tarvo::test
