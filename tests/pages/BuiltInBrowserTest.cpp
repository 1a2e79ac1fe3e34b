// How the application gets on with a browser's process, which is a script here.
#include "pages/PagesFixture.h"
#include "support/ScriptedJob.h"

#include <QTimer>
#include <sys/stat.h>

namespace tarvo::test {

class ScriptedBrowser : public PagesFixture {
protected:
    /// A process that does as the last part of each page's address says; "waits" is nothing.
    static BrowserProcess::Command script() {
        return {"/bin/bash", {"-c", R"(
read -r start; echo '{"message":"hello","protocol":1}'
while read -r line; do
    visit=${line##*:}; visit=${visit%\}}
    case $line in
    *h/closes*) echo '{"message":"visitEnded","visit":'$visit',"movedOut":false}' ;;
    *h/moves*) echo '{"message":"visitEnded","visit":'$visit',"movedOut":true}' ;;
    *h/dies*) kill -9 $$ ;;
    *h/garbles*) echo 'not a message' ;;
    *h/root*) echo '{"message":"unavailable","reason":"root"}'; exit 1 ;;
    *h/bakes*) echo '{"message":"cookieAdded","name":"a","value":"1","domain":"h","path":"/","secure":false,"httpOnly":true,"expires":0}'
        echo '{"message":"cookieAdded","name":"b","value":"2","domain":".h.org","path":"/","secure":true,"httpOnly":false,"expires":99999999999}'
        echo '{"message":"visitEnded","visit":'$visit',"movedOut":false}' ;;
    *'"cookie"'*'"a"'*) hasCookie=true ;;
    *h/knows*) echo '{"message":"visitEnded","visit":'$visit',"movedOut":'$hasCookie'}' ;;
    esac
done)"}};
    }

    std::shared_ptr<ScriptedJob> pageAt(const std::string& path) {
        auto job = ScriptedJob::create(environment, "http://h/" + path, rf_state_failed);
        job->folder = folder();
        return job;
    }

    /// Visits the page on a worker; `meanwhile` happens here.
    BrowserEndReason visit(
        const std::shared_ptr<RemoteFile>& job, const std::function<void()>& meanwhile = [] {}) {
        auto reason = BrowserEndReason::download;
        std::shared_ptr<RemoteFile> none;
        Runloop::runOnNextTurn(meanwhile);
        EXPECT_TRUE(harness.onWorker([&] { reason = browser->openBrowserFor(job, none); }));
        EXPECT_FALSE(none);
        return reason;
    }
};

TEST_F(ScriptedBrowser, APageEndsAsTheUserEndsItAndWithItsProcess) {
    begin(script());
    EXPECT_EQ(visit(pageAt("closes")), BrowserEndReason::cancelled);
    EXPECT_EQ(visit(pageAt("moves")), BrowserEndReason::movedOut);
    EXPECT_TRUE(errors.empty());
    for (const auto& [path, sentence] :
         {std::pair("dies", "unexpectedly"), std::pair("garbles", "version"), std::pair("root", "root")}) {
        EXPECT_EQ(visit(pageAt(path)), BrowserEndReason::cancelled) << path;
        ASSERT_EQ(errors.size(), 1u) << path;
        EXPECT_NE(errors[0].sentence().find(sentence), std::string::npos) << errors[0].sentence();
        errors.clear();
        EXPECT_EQ(visit(pageAt("moves")), BrowserEndReason::movedOut) << "by a new process, after " << path;
    }
}

TEST_F(ScriptedBrowser, APageEndsWithItsRowAndWithTheProgram) {
    begin(script());
    const auto removed = pageAt("waits");
    EXPECT_EQ(visit(removed, [removed] { QTimer::singleShot(100, [removed] { removed->stop(); }); }),
              BrowserEndReason::cancelled);
    EXPECT_EQ(visit(pageAt("waits"), [this] { QTimer::singleShot(100, [this] { browser->closePages(); }); }),
              BrowserEndReason::cancelled);
    EXPECT_EQ(visit(pageAt("moves")), BrowserEndReason::cancelled) << "none is opened any more";
    EXPECT_TRUE(errors.empty());
}

TEST_F(ScriptedBrowser, AMissingProgramIsNamedOnceForRowsAndAlwaysForTheUser) {
    begin({});
    EXPECT_EQ(visit(pageAt("moves")), BrowserEndReason::cancelled);
    EXPECT_EQ(visit(pageAt("moves")), BrowserEndReason::cancelled);
    EXPECT_EQ(errors.size(), 1u);
    browser->openWindow();
    ASSERT_EQ(errors.size(), 2u);
    EXPECT_NE(errors[1].sentence().find("tarvo-browser"), std::string::npos);
}

TEST_F(ScriptedBrowser, CookiesOutliveTheProcessAndTheLastingOnesTheProgram) {
    begin(script());
    EXPECT_EQ(visit(pageAt("bakes")), BrowserEndReason::cancelled);
    EXPECT_EQ(cookies.store().snapshot().size(), 2u);
    EXPECT_EQ(visit(pageAt("dies")), BrowserEndReason::cancelled);
    EXPECT_EQ(visit(pageAt("knows")), BrowserEndReason::movedOut) << "the next one was given them";
    const std::string file = harness.folder.path("state/cookies.txt");
    ASSERT_TRUE(turnUntil([&] { return Disk::exists(file); }));
    CookieKeeper next(harness.disk, harness.clock, file);
    next.load();
    ASSERT_EQ(next.store().snapshot().size(), 1u);
    EXPECT_EQ(next.store().snapshot()[0].domain, "h.org");

    struct stat status {};

    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);
    browser->forgetCookies();
    EXPECT_TRUE(cookies.store().isEmpty());
}

} // namespace tarvo::test
