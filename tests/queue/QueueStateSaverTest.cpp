// What of the queue survives a restart, and what it costs to keep it up to date.
#include "queue/QueueStateSaver.h"

#include "base/Log.h"
#include "storage/ProgressBundle.h"
#include "storage/ProgressFile.h"
#include "support/JobHarness.h"
#include "support/ScriptedJob.h"
#include "support/SlowSettings.h"
#include "support/Text.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/ringbuffer_sink.h>

namespace tarvo::test {

using Names = std::vector<std::string>;

namespace {

/// The program after a restart: everything anew, but for what is on disk.
struct Restart {
    explicit Restart(const JobHarness& harness)
        : defaults(harness.folder.path("settings.conf")), saver(queue, defaults, harness.environment) {
        saver.restoreUIState();
    }

    Names names() const {
        Names names;
        for (const auto& job : queue.contentAsArray())
            names.push_back(job->fileName());
        return names;
    }

    NotificationCenter notifications;
    RemoteFilesArrayController queue{notifications};
    UserDefaults defaults;
    QueueStateSaver saver;
};

} // namespace

class QueueStateSaverTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_log->set_level(Log::threshold(LogLevel::info));
        Log::attach(m_log);
        QObject::connect(&harness.defaults, &UserDefaults::changed,
                         [this](const std::string& key) { m_writes += key == "SavedQueueSession" ? 1 : 0; });
    }

    void TearDown() override { Log::detach(m_log); }

    int logged(const std::string& part) const {
        int count = 0;
        for (const std::string& line : m_log->last_formatted())
            count += countOf(line, part);
        return count;
    }

    /// An unfinished download on disk. It may be of the same address as another.
    std::string makeBundle(const std::string& name, const std::string& address = {}) {
        const ProgressBundle bundle(harness.folder.path(), name);
        std::filesystem::create_directory(bundle.bundleDirectory());
        const Url url = *Url::parse("http://127.0.0.1:1/" + (address.empty() ? name : address));
        EXPECT_TRUE(ProgressFile(bundle.progressFile(), harness.disk)
                        .writeData({url, 1000, std::make_shared<ProgressData>(1000), {}, 4}));
        return bundle.bundleDirectory();
    }

    std::shared_ptr<CURLRemoteFile> bundleJob(const std::string& name) {
        return CURLRemoteFile::fromBundleFile(makeBundle(name), harness.environment);
    }

    std::shared_ptr<ScriptedJob> scripted(const std::string& name) {
        return ScriptedJob::create(harness.environment, "http://127.0.0.1/" + name);
    }

    bool writesAre(int count) {
        return turnUntil([&] { return m_writes >= count; }) && m_writes == count;
    }

    void storeSession(const std::string& session) {
        harness.defaults.set("SavedQueueSession", QByteArray::fromStdString(session));
        ASSERT_TRUE(harness.defaults.flush());
    }

    JobHarness harness;
    NotificationCenter notifications;
    RemoteFilesArrayController queue{notifications};
    QueueStateSaver saver{queue, harness.defaults, harness.environment};
    int m_writes = 0;

private:
    std::shared_ptr<spdlog::sinks::ringbuffer_sink_mt> m_log =
        std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(5000);
};

TEST_F(QueueStateSaverTest, WhatCanGoOnComesBackInItsOrder) {
    for (const auto* name : {"c", "a", "failed", "stopped"})
        ASSERT_TRUE(queue.addRemoteFile(bundleJob(name)));
    const auto jobs = queue.contentAsArray();
    std::static_pointer_cast<CURLRemoteFile>(jobs[2])->failWithError(Error::posix(EIO, "read", "x"));
    jobs[3]->stop();
    queue.moveObjectsInArrangedObjects({3}, 0);
    const auto finished = scripted("finished");
    finished->setCurrentState(rf_state_succeeded);
    ASSERT_TRUE(queue.addRemoteFile(finished));
    ASSERT_TRUE(queue.addRemoteFile(harness.job("http://127.0.0.1:1/new"))); // has no bundle yet
    saver.saveUIState();
    saver.finishSaving();

    const Restart restart(harness);
    EXPECT_EQ(restart.names(), (Names{"stopped", "c", "a", "failed"}));
    for (const auto& job : restart.queue.contentAsArray()) {
        EXPECT_EQ(job->currentState(), rf_state_initializing);
        EXPECT_EQ(job->url()->absoluteString(), "http://127.0.0.1:1/" + job->fileName());
    }
    EXPECT_EQ(logged("left out"), 0) << "the finished job is not in the session";
}

TEST_F(QueueStateSaverTest, AThousandChangesOfOneTurnAreOneWrite) {
    saver.beginSavingStateWhenNeeded();
    for (int i = 0; i < 500; ++i) {
        const auto job = scripted(std::to_string(i));
        ASSERT_TRUE(queue.addRemoteFile(job));
        job->setCurrentState(rf_state_ready);
    }
    EXPECT_TRUE(writesAre(1));
    EXPECT_EQ(logged("Saving UI State"), 1);

    queue.contentAsArray()[7]->stop(); // stays in the session, which therefore stays the same
    EXPECT_TRUE(turnUntil([&] { return logged("Saving UI State") == 2; }));
    queue.removeRemoteFiles(queue.contentAsArray());
    EXPECT_TRUE(writesAre(2));
}

TEST_F(QueueStateSaverTest, WhatChangesDuringASlowWriteFollowsItAndIsTheLast) {
    auto slow = holdUpFlushes(harness.folder.path("settings.conf"));
    ASSERT_TRUE(queue.addRemoteFile(bundleJob("first")));
    saver.saveUIState();
    EXPECT_TRUE(writesAre(1)); // and waits for the file
    ASSERT_TRUE(queue.addRemoteFile(bundleJob("second")));
    ASSERT_TRUE(queue.addRemoteFile(bundleJob("third")));
    saver.saveUIState();
    queue.removeRemoteFile(queue.contentAsArray()[1]);
    turnUntil([] { return false; }, std::chrono::milliseconds(20));
    EXPECT_EQ(logged("Saving UI State"), 1);
    slow.close();
    EXPECT_TRUE(writesAre(2));
    EXPECT_EQ(logged("Saving UI State"), 2);

    saver.beginSavingStateWhenNeeded();
    ASSERT_TRUE(queue.addRemoteFile(bundleJob("last")));
    saver.finishSaving(); // the loop does not turn any more
    EXPECT_EQ(Restart(harness).names(), (Names{"first", "third", "last"}));
}

TEST_F(QueueStateSaverTest, WhatCouldNotBeWrittenIsWrittenAtTheEnd) {
    const std::string inTheWay = harness.folder.path("settings.conf.new");
    std::filesystem::create_directory(inTheWay);
    ASSERT_TRUE(queue.addRemoteFile(bundleJob("a")));
    saver.saveUIState();
    EXPECT_TRUE(turnUntil([&] { return logged("Could not save the settings") == 1; }));
    std::filesystem::remove(inTheWay);
    saver.finishSaving();
    EXPECT_EQ(Restart(harness).names(), Names{"a"});
}

TEST_F(QueueStateSaverTest, ADamagedSessionIsKeptWhenTheNextOneIsWritten) {
    KeyedArchiver other(KeyedArchiver::Format::Binary);
    other.encodeString("remoteFiles", "no list");
    KeyedArchiver strange(KeyedArchiver::Format::Binary); // a job of a kind that is not known here
    strange.encodeArray("remoteFiles", {scripted("strange"), bundleJob("good")});
    const std::vector<std::tuple<std::string, std::string, Names>> sessions{
        {"no archive", "Could not create decoder for remoteFilesKey", {}},
        {other.finish(), "Could not decode remoteFilesKey from archive", {}},
        {strange.finish(), "left out of the queue", {"good"}},
    };
    for (const auto& [session, complaint, names] : sessions) {
        storeSession(session);
        {
            Restart restart(harness);
            EXPECT_EQ(logged(complaint), 1);
            EXPECT_EQ(restart.names(), names);
            EXPECT_EQ(restart.defaults.data("SavedQueueSession"), session) << "reading changes nothing";
            restart.saver.saveUIState();
            restart.saver.finishSaving();
        }
        const Restart again(harness);
        EXPECT_EQ(again.names(), names);
        EXPECT_EQ(logged(complaint), 1) << "the new session is a good one";
        EXPECT_EQ(again.defaults.data("SavedQueueSession.unreadable"), session);
    }
    EXPECT_EQ(logged("it is kept in the settings as SavedQueueSession.unreadable"), 3);
}

TEST_F(QueueStateSaverTest, DuplicatesAndLostBundlesAreNamedAndTheOthersComeBack) {
    const auto a = bundleJob("a");
    const auto lost = bundleJob("lost");
    makeBundle("same", "a");
    const auto same = harness.jobFromBundle("same");
    KeyedArchiver archiver(KeyedArchiver::Format::Binary);
    archiver.encodeArray("remoteFiles", {a, lost, bundleJob("finished"), a, same, bundleJob("b")});
    storeSession(archiver.finish());
    std::filesystem::remove_all(harness.folder.path("lost.trdownload"));
    // Killed in the middle of removing the bundle.
    std::filesystem::remove(harness.folder.path("finished.trdownload/progress"));

    const Restart restart(harness);
    EXPECT_EQ(restart.names(), (Names{"a", "b"}));
    EXPECT_EQ(restart.queue.contentAsArray()[0]->currentState(), rf_state_initializing)
        << "refused as its own duplicate it would have been stopped";
    EXPECT_EQ(logged("left out of the queue: " + harness.folder.path("lost.trdownload")), 1);
    EXPECT_FALSE(harness.exists("finished.trdownload"));
    EXPECT_EQ(logged("Could not add remote files: "), 1);
}

} // namespace tarvo::test
