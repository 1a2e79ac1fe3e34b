// A finished file is compared with what the user wants it to be, and a wrong one is told of.
#include "queue/ChecksumWatch.h"

#include "support/JobTest.h"

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

class ChecksumWatchTest : public JobTest, protected AlertPresenter {
protected:
    void presentError(const Error& error) override { told.push_back(error.sentence()); }

    std::size_t runAlert(const std::string&, const std::string&, const std::vector<std::string>&) override {
        return 0;
    }

    std::shared_ptr<RemoteFile> add(const std::string& checksum) {
        auto job = CURLRemoteFile::make({.url = Url::parse(server.url(kSize)),
                                         .folder = harness.folder.path(),
                                         .facts = {.checksum = Checksum::guess(checksum)}},
                                        harness.environment);
        EXPECT_TRUE(queue.addRemoteFile(job));
        return job;
    }

    NotificationCenter notifications;
    RemoteFilesArrayController queue{notifications};
    std::vector<std::string> told;
};

} // namespace

TEST_F(ChecksumWatchTest, OnlyAWrongOneIsToldOfAlsoAfterARestart) {
    const ChecksumWatch watch(queue, *this);
    std::vector<bool> compared;
    QObject::connect(&watch, &ChecksumWatch::compared, &queue,
                     [&](const auto&, bool isRight) { compared.push_back(isRight); });
    const auto wrong = add(std::string(64, '0'));
    ASSERT_FALSE(harness.run(wrong));
    ASSERT_TRUE(turnUntil([&] { return compared.size() == 1; }));
    ASSERT_EQ(told.size(), 1U);
    EXPECT_EQ(told[0], wrongChecksum(file, sampleSha256(kSize), *wrong->expectedChecksum()).sentence());
    EXPECT_TRUE(harness.exists("sample.bin"));
    queue.removeRemoteFile(wrong);
    queue.removeRemoteFile([&] {
        const auto prepared = add("SHA256=" + sampleSha256(kSize));
        EXPECT_FALSE(harness.prepare(prepared)); // its bundle is what a restart finds
        return prepared;
    }());
    const auto restored = harness.jobFromBundle("sample (2).bin");
    ASSERT_TRUE(queue.addRemoteFile(restored));
    ASSERT_FALSE(harness.run(restored));
    ASSERT_TRUE(turnUntil([&] { return compared.size() == 2; }));
    EXPECT_EQ(compared, (std::vector<bool>{false, true}));
    EXPECT_EQ(told.size(), 1U);
}

} // namespace tarvo::test
