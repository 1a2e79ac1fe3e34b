// Downloads of the queue that go on from another address, or go back to the one that they had.
#include "support/JobTest.h"
#include "support/Text.h"
#include "support/UnattendedQueue.h"

#include <gtest/gtest.h>

namespace tarvo::test {

namespace {

class QueueThatTells final : public UnattendedQueue {
public:
    using UnattendedQueue::UnattendedQueue;

    void presentError(const Error& error) override { errors.push_back(error); }

    std::vector<Error> errors;
};

} // namespace

class AddressChangesTest : public JobTest {
protected:
    AddressChangesTest() {
        QObject::connect(&queue.controller, &QueueController::ended, [this] { hasEnded = true; });
    }

    ~AddressChangesTest() override {
        queue.controller.quit();
        EXPECT_TRUE(turnUntil([&] { return hasEnded; }));
    }

    RemoteFilesArrayController& jobs() { return queue.controller.remoteFiles(); }

    /// A download in the queue that runs, slowly.
    QueueController::Job addRunning(const Url& url) {
        server.change(path, "rate=150000");
        const auto job = harness.job(url.absoluteString());
        EXPECT_TRUE(queue.controller.addDownloads({job}, true));
        EXPECT_TRUE(turnUntil([&] { return job->totalBytesDownloaded() > 200'000; }));
        return job;
    }

    Result<void> change(const QueueController::Job& job, const Url& address) {
        return queue.controller.addressChanges().change(job, address);
    }

    FaultServer other;
    const Url old = *Url::parse(server.url(kSize));
    const Url same = *Url::parse(other.url(kSize));
    const Url wrong = *Url::parse(other.url(kSize, "version=5"));
    bool hasEnded = false;
    QueueThatTells queue{harness.environment, nullptr, kRetryDelay};
};

TEST_F(AddressChangesTest, WhatRunsIsSavedAndGoesOnFromTheOtherServer) {
    const auto job = addRunning(old);
    ASSERT_TRUE(change(job, same));
    ASSERT_TRUE(turnUntil([&] { return jobs().succeededJobs() == 1; }));
    EXPECT_EQ(fileIsSample(file, kSize), "");
    EXPECT_EQ(job->currentState(), rf_state_stopped);
    EXPECT_TRUE(queue.errors.empty());
    EXPECT_FALSE(change(jobs().remoteFile(same.absoluteString()), old)) << "it has finished";
}

TEST_F(AddressChangesTest, ARefusalIsToldAndTheRowIsAsItWas) {
    const auto job = addRunning(old);
    queue.controller.pause({job});
    ASSERT_TRUE(change(job, wrong));
    ASSERT_TRUE(turnUntil([&] { return !queue.errors.empty(); }));
    EXPECT_TRUE(has(queue.errors[0].sentence(), "other bytes than those that are there already"));
    EXPECT_TRUE(has(queue.errors[0].sentence(), "\"sample.bin\""));
    EXPECT_EQ(jobs().content().size(), 1u);
    const auto back = jobs().remoteFile(old.absoluteString());
    ASSERT_NE(back, nullptr);
    ASSERT_TRUE(turnUntil([&] { return back->currentState() == rf_state_ready; }));
    EXPECT_GT(back->totalBytesDownloaded(), 200'000);
    server.change(path, "");
    queue.controller.resume({back});
    EXPECT_TRUE(turnUntil([&] { return jobs().succeededJobs() == 1; }));
    EXPECT_EQ(fileIsSample(file, kSize), "");
}

TEST_F(AddressChangesTest, NoTwoRowsComeToTheSameAddress) {
    const auto job = addRunning(old);
    const auto second = harness.job(same.absoluteString());
    ASSERT_TRUE(jobs().addRemoteFile(second));
    const auto refused = change(job, same);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, kTarvoDuplicateEntry);
    EXPECT_EQ(job->currentState(), rf_state_running);
}

} // namespace tarvo::test
