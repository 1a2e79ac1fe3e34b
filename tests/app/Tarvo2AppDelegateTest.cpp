// In which order the program comes up, and that nothing it is handed on the way is lost.
#include "app/Tarvo2AppDelegate.h"

#include "app/LaunchArgumentsProcessor.h"
#include "base/PosixDisk.h"
#include "base/SettingKeys.h"
#include "input/TRStringURL.h"
#include "support/FakeClock.h"
#include "support/TemporaryFolder.h"
#include "support/Text.h"

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

/// Keeps what it is handed, one word for each thing.
class Recorder final : public MainWindow {
public:
    using Waiting = std::vector<std::function<void(bool)>>;

    Recorder(std::string& events, Waiting& waiting) : m_events(events), m_waiting(waiting) {}

    std::vector<AddOutcome> addDownloadFromString(const std::string& text) override {
        m_events += "text(" + text + ") ";
        std::vector<AddOutcome> outcomes;
        for (const auto line : linesOf(text))
            outcomes.push_back(
                {line == "http://old/" ? AddOutcome::Kind::alreadyThere : AddOutcome::Kind::taken});
        return outcomes;
    }

    AddOutcome addDownloadFromBundleFile(const std::string& bundle) override {
        m_events += "bundle(" + bundle + ") ";
        return bundle.ends_with(".trdownload") ? AddOutcome()
                                               : AddOutcome::refusal(Error::posix(EINVAL, "open", bundle));
    }

    bool acceptDrop(const Pasteboard& pasteboard) override {
        m_events += "drop ";
        return !pasteboard.items.empty();
    }

    void whenKept(std::function<void(bool)> done) override { m_waiting.push_back(std::move(done)); }

    void toggleAutorun() override { m_events += "toggle "; }

    void bringToFront() override { m_events += "front "; }

private:
    std::string& m_events;
    Waiting& m_waiting;
};

class Desk final : public AlertPresenter, public ApplicationPresence {
public:
    void presentError(const Error& error) override { lastError = error; }

    std::size_t runAlert(const std::string& message, const std::string&,
                         const std::vector<std::string>&) override {
        asked += message;
        if (meanwhile) // what the main loop brings while the question is open
            meanwhile();
        return answer;
    }

    void showStatusItem() override { places += "item "; }

    void removeStatusItem() override { places += "noitem "; }

    void setIconVisible(bool visible) override { places += visible ? "icon " : "noicon "; }

    std::optional<Error> lastError;
    std::string asked;
    std::function<void()> meanwhile;
    std::size_t answer = 1;
    std::string places;
};

} // namespace

class Tarvo2AppDelegateTest : public ::testing::Test {
protected:
    using Kind = AddOutcome::Kind;

    static std::string addCall(const std::string& encodedLink) {
        return "tarvo://add/%7B%22urls%22%3A%5B%7B%22href%22%3A%22" + encodedLink + "%22%7D%5D%7D";
    }

    std::unique_ptr<Tarvo2AppDelegate> make(const std::vector<std::string>& arguments = {}) {
        const auto note = [this](const char* event) { return [this, event] { events += event; }; };
        const auto makeWindow = [this] {
            events += "window ";
            return std::make_unique<Recorder>(events, waiting);
        };
        return std::make_unique<Tarvo2AppDelegate>(
            Tarvo2AppDelegate::Environment{arguments, defaults, notifications, clock, desk, desk,
                                           note("log "), note("mail "), note("crashes "), makeWindow});
    }

    /// What is stored under `key` once everything is on disk.
    std::string stored(std::string_view key) const {
        return UserDefaults(folder.path("settings"), disk).string(key).value_or("none");
    }

    std::vector<Kind> kinds; // of outcomes that were told
    const Tarvo2AppDelegate::Told told = [this](const std::vector<AddOutcome>& outcomes) {
        for (const auto& outcome : outcomes)
            kinds.push_back(outcome.kind);
    };
    TemporaryFolder folder;
    mutable PosixDisk disk;
    UserDefaults defaults{folder.path("settings"), disk};
    NotificationCenter notifications;
    FakeClock clock;
    Desk desk;
    std::string events;
    Recorder::Waiting waiting; // for what was added to be kept
};

TEST_F(Tarvo2AppDelegateTest, ComesUpInItsOrderAndHandsOnWhatHasWaited) {
    const auto program = make();
    program->addStringToTarvo("http://a/1");
    program->applicationWillFinishLaunching();
    EXPECT_EQ(stored(SettingKey::kHasStartupCrash), "true");
    EXPECT_TRUE(program->acceptDrop({{{}}})); // before anybody has looked at it
    program->open({"/x/y.trdownload", "file:///x/z%20z.trdownload", "http://a/2", "sftp://a/3", "ftp://a/4",
                   addCall("http%3A%2F%2Fa%2F5")});
    EXPECT_EQ(events, "log ");
    program->applicationDidFinishLaunching();
    program->toggleAutorun();
    EXPECT_EQ(events, "log crashes window front front text(http://a/1) drop bundle(/x/y.trdownload) "
                      "bundle(/x/z z.trdownload) text(sftp://a/3) text(http://a/5\n) "
                      "text(http://a/2\nftp://a/4\n) toggle ");
    EXPECT_EQ(stored(SettingKey::kHasStartupCrash), "false");
    const auto counted = TRMetricsManager(defaults).currentMetrics();
    EXPECT_EQ(counted, (std::map<std::string, std::int64_t>{
                           {"AppLaunches", 1}, {"BrowserExtAdds", 1}, {"DragAndDrops", 1}}));
}

TEST_F(Tarvo2AppDelegateTest, AnswersWhatBecameOfEachOrTellsThePerson) {
    const auto program = make();
    const std::vector<std::string> what{"https://a/",
                                        "/etc/passwd",
                                        "http://old/",
                                        "http://a/\nhttp://b/",
                                        addCall("http%3A%2F%2Fold%2F"),
                                        "tarvo://add/%7B%7D",
                                        "gopher://a/",
                                        "sftp://a/1"};
    program->applicationWillFinishLaunching();
    program->open(what, told);
    program->applicationDidFinishLaunching();
    EXPECT_TRUE(kinds.empty()) << "nothing of it is kept yet";
    ASSERT_EQ(waiting.size(), 1u);
    waiting[0](true);
    EXPECT_EQ(kinds, (std::vector<Kind>{Kind::taken, Kind::refused, Kind::alreadyThere, Kind::refused,
                                        Kind::alreadyThere, Kind::noLink, Kind::refused, Kind::taken}));
    EXPECT_FALSE(desk.lastError) << "who asked has the answer";
    kinds.clear();
    program->open({"https://a/", "/etc/passwd"}, told);
    waiting[1](false); // the disk is full
    EXPECT_EQ(kinds, (std::vector<Kind>{Kind::refused, Kind::refused}));
    program->open({"/etc/passwd"});
    ASSERT_TRUE(desk.lastError);
    EXPECT_TRUE(desk.lastError->is(ErrorDomain::Posix, EINVAL));
}

TEST_F(Tarvo2AppDelegateTest, AFloodIsRefusedAndEbbs) {
    const auto program = make();
    program->applicationWillFinishLaunching();
    program->applicationDidFinishLaunching();
    const auto open = [&](std::size_t count) {
        program->open(std::vector<std::string>(count, "http://a/"), told);
        for (const auto& done : std::exchange(waiting, {}))
            done(true);
    };
    for (int i = 0; i < 12; ++i)
        open(1000);
    EXPECT_EQ(std::count(kinds.begin(), kinds.end(), Kind::taken), Tarvo2AppDelegate::kMostInAMinute);
    clock.advance(Seconds(61));
    open(1);
    EXPECT_EQ(kinds.back(), Kind::taken);
}

TEST_F(Tarvo2AppDelegateTest, AStartThatDidNotEndOffersToReset) {
    defaults.set(SettingKey::kDefaultConcurrency, 7);
    make()->applicationWillFinishLaunching(); // and is killed here
    EXPECT_EQ(desk.asked, "");
    make()->applicationWillFinishLaunching();
    EXPECT_EQ(desk.asked, "Reset Settings?");
    EXPECT_EQ(stored(SettingKey::kDefaultConcurrency), "7"); // "Cancel"
    desk.answer = 0;
    make()->applicationWillFinishLaunching();
    EXPECT_EQ(stored(SettingKey::kDefaultConcurrency), "none");
    EXPECT_EQ(stored(SettingKey::kHasStartupCrash), "true");

    defaults.set(SettingKey::kSavedQueueSession, QByteArray("session"));
    make({"--headless", "-ResetDefaults"})->applicationWillFinishLaunching();
    EXPECT_EQ(stored(SettingKey::kSavedQueueSession), "none");
}

TEST_F(Tarvo2AppDelegateTest, WhatComesDuringTheQuestionWaitsOrIsRefusedAtTheEnd) {
    for (const bool ends : {false, true}) {
        kinds.clear();
        events.clear();
        defaults.set(SettingKey::kHasStartupCrash, true);
        const auto program = make();
        desk.meanwhile = [&] {
            program->open({addCall("http%3A%2F%2Fa%2F5"), "http://a/1", "/x.trdownload"}, told);
        };
        program->applicationWillFinishLaunching();
        EXPECT_TRUE(kinds.empty());
        if (ends) {
            program->refuseAdds();
            EXPECT_EQ(kinds, std::vector<Kind>(3, Kind::refused));
            continue;
        }
        program->applicationDidFinishLaunching();
        EXPECT_TRUE(has(events, "text(http://a/5\n) bundle(/x.trdownload) text(http://a/1\n) "));
        waiting.back()(true);
        EXPECT_EQ(kinds, std::vector<Kind>(3, Kind::taken));
    }
}

TEST_F(Tarvo2AppDelegateTest, ShowsItselfWhereTheSettingSays) {
    const auto program = make();
    program->applicationWillFinishLaunching();
    EXPECT_EQ(desk.places, "item icon ");
    const auto switchTo = [&](const char* mode) {
        desk.places.clear();
        defaults.set(SettingKey::kApplicationMode, QString::fromLatin1(mode));
        return desk.places;
    };
    EXPECT_EQ(switchTo("Dock Only"), "noitem icon ");
    EXPECT_EQ(switchTo("Menu Bar Only"), "item noicon ");
    EXPECT_EQ(switchTo("nonsense"), "icon ");
}

} // namespace tarvo::test
