// Settings outlive the program, keep what others wrote, and never make a reader wait for the disk.
#include "base/UserDefaults.h"

#include <future>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include "support/FailingDisk.h"
#include "support/SlowSettings.h"
#include "support/TemporaryFolder.h"

namespace tarvo {

namespace {

class UserDefaultsTest : public ::testing::Test {
protected:
    test::TemporaryFolder m_folder;
    const std::string m_path = m_folder.path("new/tarvo.conf");
    test::FailingDisk m_disk;
};

/// The file of settings outside of sections.
std::string plain(const std::string& lines) {
    return "[General]\n" + lines;
}

} // namespace

TEST_F(UserDefaultsTest, ValuesOutliveTheProgramWithTheirTypes) {
    const std::map<std::string, std::int64_t> counters{{"a", 1}, {"b", -2}};
    {
        UserDefaults defaults(m_path, m_disk);
        defaults.set("Bytes", QByteArray("\0\xff", 2));
        defaults.set("Number", QVariant::fromValue<qlonglong>(-5000000000));
        defaults.set("Yes", true);
        defaults.setCounters("Counters", counters);
        defaults.set("Removed", 1);
        ASSERT_TRUE(defaults.flush());
        defaults.remove("Removed");
        struct stat status = {};
        ASSERT_EQ(::stat(m_path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0600u) << "an address of a proxy may hold a password";
    } // without a flush of the last change
    UserDefaults again(m_path, m_disk);
    again.registerDefaults({{"Removed", "default"}});
    EXPECT_EQ(again.data("Bytes"), std::string("\0\xff", 2));
    EXPECT_EQ(again.integer("Number"), -5000000000);
    EXPECT_TRUE(again.boolean("Yes"));
    EXPECT_EQ(again.counters("Counters"), counters);
    EXPECT_EQ(again.string("Removed"), "default");
}

TEST_F(UserDefaultsTest, ProgramsThatRunAtOnceKeepEachOthersValues) {
    UserDefaults defaults(m_path, m_disk);
    defaults.set("Ours", 1);
    defaults.set("Gone", 1);
    ASSERT_TRUE(defaults.flush());
    m_folder.write("new/tarvo.conf.lock", "left by a process that was killed");
    defaults.set("Later", 1);
    UserDefaults others(m_path, m_disk);
    others.set("Theirs", 2);
    others.remove("Gone");
    ASSERT_TRUE(others.flush());
    EXPECT_EQ(defaults.integer("Gone"), 1) << "memory follows the file when it is flushed";
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(defaults.integer("Theirs"), 2);
    EXPECT_EQ(defaults.string("Gone"), std::nullopt);
    EXPECT_EQ(test::contentOf(m_path), plain("Later=\"1\"\nOurs=\"1\"\nTheirs=\"2\"\n"));
}

TEST_F(UserDefaultsTest, NobodyWaitsForASlowFlush) {
    UserDefaults defaults(m_path, m_disk);
    defaults.set("A", 1);
    defaults.set("B", 1);
    ASSERT_TRUE(defaults.flush());
    defaults.set("A", 2);
    defaults.set("B", 2);
    auto slow = test::holdUpFlushes(m_path);
    auto flushed = std::async(std::launch::async, [&] { return defaults.flush(); });
    EXPECT_EQ(flushed.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    defaults.set("A", 3); // after the flush took what it writes
    defaults.remove("B");
    EXPECT_EQ(flushed.wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "none of it waited";
    slow.close();
    EXPECT_TRUE(flushed.get());
    EXPECT_EQ(defaults.integer("A"), 3) << "what was written must not hide what came later";
    EXPECT_EQ(defaults.string("B"), std::nullopt);
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(test::contentOf(m_path), plain("A=\"3\"\n"));
}

TEST_F(UserDefaultsTest, WhatCanNotBeWrittenStaysAndGoesOutLater) {
    const std::string inTheWay = m_folder.write("new", "not a folder");
    UserDefaults defaults(m_path, m_disk);
    defaults.set("A", 1);
    EXPECT_FALSE(defaults.flush());
    std::filesystem::remove(inTheWay);
    EXPECT_TRUE(defaults.flush());
    defaults.set("Large", QByteArray(100000, 'x'));
    const std::string before = test::contentOf(m_path);
    for (const auto* operation : {"writeAt", "flush"}) {
        m_disk.failOn(operation, 1, ENOSPC);
        EXPECT_FALSE(defaults.flush());
        EXPECT_EQ(test::contentOf(m_path), before) << "the old file, whole";
    }
    m_disk.recover();
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(test::contentOf(m_path),
              plain("A=\"1\"\nLarge=\"@ByteArray(" + std::string(100000, 'x') + ")\"\n"));
}

TEST_F(UserDefaultsTest, ABrokenFileIsReadAsFarAsItGoesAndKept) {
    const std::string broken =
        "[General]\nA=1\nno equals sign\n[open\nB=2\n" + std::string("\0\0\n[General]\nC=3\n", 17);
    const std::string path = m_folder.write("tarvo.conf", broken);
    UserDefaults defaults(path, m_disk);
    EXPECT_EQ(test::contentOf(path), broken) << "reading changes nothing";
    defaults.set("D", 4);
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(test::contentOf(path + ".unreadable"), broken);
    EXPECT_EQ(test::contentOf(path), plain("A=\"1\"\nC=\"3\"\nD=\"4\"\n\n[open]\nB=\"2\"\n"));
}

TEST_F(UserDefaultsTest, TellsOfWhatAPersonsEditChangesAndKeepsWhatIsItsOwn) {
    const std::string path = m_folder.write("tarvo.conf", plain("A=1\nB=1\nGone=5\nSession=old\n"));
    UserDefaults defaults(path, m_disk);
    defaults.registerDefaults({{"A", 7}, {"Gone", 5}});
    defaults.keepToItself({"Session", "NeverSet"});
    defaults.set("Session", QByteArray("new"));
    ASSERT_TRUE(defaults.flush());
    std::multiset<std::string> told;
    QObject::connect(&defaults, &UserDefaults::changed, [&](const std::string& key) { told.insert(key); });
    defaults.set("B", 2); // here, and not in the file yet
    // An editor that was opened before all that, and saves in place.
    m_folder.write("tarvo.conf", plain("A=2\nB=1\nNew=x\nSession=old\nNeverSet=theirs\n"));
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(told, (std::multiset<std::string>{"A", "B", "NeverSet", "New"})) << "Gone reads the same";
    EXPECT_EQ(test::contentOf(path), plain("A=\"2\"\nB=\"2\"\nNeverSet=\"theirs\"\nNew=\"x\"\n"
                                           "Session=\"@ByteArray(new)\"\n"));
    told.clear();
    m_folder.write("tarvo.conf", plain("A=word\nB=2\nSession=older\n")); // there is nothing to write
    EXPECT_TRUE(defaults.flush());
    EXPECT_EQ(defaults.integer("A"), 7);
    EXPECT_EQ(told, (std::multiset<std::string>{"A", "New"}));
    EXPECT_EQ(test::contentOf(path),
              plain("A=\"word\"\nB=\"2\"\nNeverSet=\"theirs\"\nSession=\"@ByteArray(new)\"\n"));
}

TEST_F(UserDefaultsTest, AFileInTheMiddleOfBeingWrittenIsWaitedFor) {
    const std::string path = m_folder.write("tarvo.conf", plain("A=1\nB=2\n"));
    UserDefaults defaults(path, m_disk);
    defaults.set("C", 3);
    m_folder.write("tarvo.conf", ""); // as editors do before they write anew
    auto flushed = std::async(std::launch::async, [&] { return defaults.flush(); });
    EXPECT_EQ(flushed.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    m_folder.write("tarvo.conf", plain("A=4\nB=2\n"));
    EXPECT_TRUE(flushed.get());
    EXPECT_EQ(test::contentOf(path), plain("A=\"4\"\nB=\"2\"\nC=\"3\"\n"));
}

TEST_F(UserDefaultsTest, WhatIsNoFileCostsNoStartAndIsLeftAlone) {
    const std::string path = m_folder.path("tarvo.conf");
    const auto survives = [&](const char* what) {
        UserDefaults defaults(path, m_disk); // returns
        defaults.registerDefaults({{"A", 1}});
        EXPECT_EQ(defaults.integer("A"), 1) << what;
        defaults.set("A", 2);
        EXPECT_FALSE(defaults.flush()) << what;
        EXPECT_EQ(defaults.integer("A"), 2) << what;
    };
    std::filesystem::create_directory(path);
    survives("a folder");
    EXPECT_TRUE(std::filesystem::is_directory(path));
    std::filesystem::remove(path);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    survives("a pipe that no program writes into");
    std::filesystem::remove(path);
    m_folder.write("tarvo.conf", "[General]\nA=3\n");
    std::filesystem::resize_file(path, 100 << 20);
    survives("a hundred megabytes");
    EXPECT_EQ(std::filesystem::file_size(path), 100u << 20);
}

} // namespace tarvo
