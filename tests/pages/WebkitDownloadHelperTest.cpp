// What becomes of the browser's downloads, told by messages that a test makes up.
#include "pages/WebkitDownloadHelper.h"
#include "jobs/CURLRemoteFile.h"
#include "support/FaultServer.h"
#include "support/JobHarness.h"

#include <vector>

#include <gtest/gtest.h>

namespace tarvo::test {

class BrowserDownloads : public ::testing::Test {
protected:
    BrowserDownloads() {
        QObject::connect(&helper, &WebkitDownloadHelper::didBegin,
                         [this](const auto& job, std::int64_t) { begun.push_back(job); });
        QObject::connect(
            &helper, &WebkitDownloadHelper::didCreateRemoteFile,
            [this](const auto&, const auto& result, std::int64_t) { results.push_back(result); });
    }

    DownloadBegan download(const std::string& url, const std::string& name = "a.bin") const {
        return {.download = 1,
                .visit = 0,
                .url = url,
                .page = "http://page.example/p",
                .method = "GET",
                .name = name,
                .mimeType = "",
                .folder = harness.folder.path(),
                .size = 0};
    }

    /// The helper's decision about the only download.
    std::shared_ptr<RemoteFile> begin(const DownloadBegan& began) {
        harness.folder.write(".stem-1.part.download", "part");
        helper.downloadDidBegin(began);
        EXPECT_EQ(begun.size(), 1u);
        EXPECT_TRUE(turnUntil([this] { return results.size() == 1; }));
        return results.empty() ? nullptr : results[0];
    }

    FaultServer server;
    JobHarness harness;
    std::vector<std::shared_ptr<RemoteFile>> begun;
    std::vector<std::shared_ptr<RemoteFile>> results;
    std::vector<std::int64_t> cancelled;
    WebkitDownloadHelper helper{harness.environment, ".stem",
                                [this](const std::string& folder) { return folder == harness.folder.path(); },
                                [this](std::int64_t download) { cancelled.push_back(download); }};
};

TEST_F(BrowserDownloads, AFileIsFetchedByPartsAndTheStreamLeavesNothing) {
    const auto result = begin(download(server.url(100'000)));
    ASSERT_TRUE(std::dynamic_pointer_cast<CURLRemoteFile>(result));
    EXPECT_EQ(result->currentState(), rf_state_initializing);
    EXPECT_EQ(result->link()->referer->absoluteString(), "http://page.example/p");
    EXPECT_EQ(begun[0]->currentState(), rf_state_stopped);
    EXPECT_EQ(cancelled, std::vector<std::int64_t>{1});
    EXPECT_TRUE(turnUntil([this] { return !harness.exists(".stem-1.part.download"); }));
}

TEST_F(BrowserDownloads, WhatOnlyTheBrowserCanFetchIsFollowedToItsEnd) {
    auto posted = download(server.url(100'000), "../../etc/a:b.txt");
    posted.method = "POST";
    const auto job = begin(posted);
    ASSERT_TRUE(job == begun[0]);
    EXPECT_EQ(server.requests().size(), 0u) << "nothing is posted twice";
    EXPECT_FALSE(job->supportsControl() || job->pause() || job->isRetryable() || job->supportsRecovery());
    helper.didReceiveData({1, 40, 100});
    helper.didReceiveData({1, 30, 100});
    EXPECT_EQ(job->totalBytesDownloaded(), 40);
    EXPECT_EQ(job->percentComplete(), 40.0);
    const std::string name = job->fileName();
    EXPECT_EQ(name.find('/'), std::string::npos);
    harness.folder.write(name, "there before");
    harness.folder.write(".stem-1.part", "0123456789");
    helper.downloadDidEnd({1, true, 10, ""});
    ASSERT_TRUE(turnUntil([&] { return job->currentState() == rf_state_succeeded; }));
    EXPECT_EQ(contentOf(harness.folder.path(name)), "there before");
    EXPECT_EQ(contentOf(*job->finalFilePath()), "0123456789");
    EXPECT_EQ(folderOf(*job->finalFilePath()), harness.folder.path());
    EXPECT_TRUE(harness.onWorker([&] { EXPECT_FALSE(job->removeFiles()); }));
    EXPECT_FALSE(Disk::exists(*job->finalFilePath()));
}

TEST_F(BrowserDownloads, OneThatTheServerRefusesToOthersStaysAndFailsWithItsProcess) {
    const auto job = begin(download(server.url(100'000, "status=403")));
    ASSERT_TRUE(job == begun[0]);
    EXPECT_EQ(job->currentState(), rf_state_running);
    helper.browserDidEnd();
    EXPECT_EQ(job->currentState(), rf_state_failed);
    EXPECT_TRUE(cancelled.empty()) << "there is no one to hear it";
    EXPECT_TRUE(turnUntil([this] { return !harness.exists(".stem-1.part.download"); }));
    const auto again = job->copy(); // which leads back to the page
    const auto problem = harness.prepare(again);
    ASSERT_TRUE(problem && problem->is(ErrorDomain::RemoteFile, HTMLPageErrorCode));
    EXPECT_EQ(again->url()->absoluteString(), "http://page.example/p");
}

TEST_F(BrowserDownloads, AFolderThatTheBrowserWasNotGivenIsRefused) {
    auto elsewhere = download(server.url(100'000));
    elsewhere.folder = "/etc";
    helper.downloadDidBegin(elsewhere);
    EXPECT_EQ(cancelled, std::vector<std::int64_t>{1});
    EXPECT_TRUE(begun.empty());
}

} // namespace tarvo::test
