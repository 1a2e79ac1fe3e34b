// A queue of jobs that do as they are told, and what it is made with.
#pragma once

#include "base/NotificationCenter.h"
#include "queue/QueueNotifications.h"
#include "queue/RemoteFilesArrayController.h"
#include "support/JobHarness.h"
#include "support/ScriptedJob.h"

#include <gtest/gtest.h>

namespace tarvo::test {

class QueueFixture : public ::testing::Test {
protected:
    /// A job in the queue, of the file `name`.
    std::shared_ptr<ScriptedJob> add(const std::string& name, rf_state_t state, std::int64_t size = 0,
                                     std::int64_t done = 0, std::int64_t speed = 0) {
        auto job = ScriptedJob::create(harness.environment, "http://127.0.0.1/" + name, state);
        job->setFileSize(size);
        job->done = done;
        job->speed = speed;
        EXPECT_TRUE(queue.addRemoteFile(job));
        return job;
    }

    void complete() { notifications.post(kQueueWindowCompletedAllDownloads, &queue); }

    JobHarness harness;
    NotificationCenter notifications;
    RemoteFilesArrayController queue{notifications};
};

} // namespace tarvo::test
