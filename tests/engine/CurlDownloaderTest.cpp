// What a connection makes of the lines, blocks, ticks and requests that reach it.
#include "engine/transfer/CurlDownloader.h"

#include <gtest/gtest.h>

#include "ScriptedSegment.h"
#include "base/Log.h"

namespace tarvo {

namespace {

using Headers = CurlDownloader::Headers;
using State = CurlDownloadState;

class Receiver final : public CurlDownloaderDelegate {
public:
    std::int64_t downloaderHasData(CurlDownloader&, std::span<const char> data,
                                   std::int64_t offset) override {
        offsets.push_back(offset);
        bytes += static_cast<std::int64_t>(data.size());
        return answer.value_or(static_cast<std::int64_t>(data.size()));
    }

    void downloaderHasParsedHeader(CurlDownloader&, const std::string& key,
                                   const std::string& value) override {
        told += key + "=" + value + ";";
    }

    std::optional<std::int64_t> answer;
    std::vector<std::int64_t> offsets;
    std::int64_t bytes = 0;
    std::string told;
};

class CurlDownloaderTest : public ::testing::Test {
protected:
    CurlDownloaderTest() { m_downloader->setDelegate(m_receiver); }

    /// A whole answer's head arrives.
    void head(std::int64_t status, std::initializer_list<std::string_view> lines) {
        m_segment->status = status;
        m_segment->deliverHeader(fmt::format("HTTP/1.1 {} x\r\n", status));
        for (const std::string_view line : lines)
            m_segment->deliverHeader(line);
        m_segment->deliverHeader("\r\n");
    }

    std::shared_ptr<Receiver> m_receiver = std::make_shared<Receiver>();
    test::ScriptedSegment* m_segment = new test::ScriptedSegment({.url = *Url::parse("http://h/f"),
                                                                  .lowerBound = 1000,
                                                                  .upperBound = 2000,
                                                                  .authToken = nullptr,
                                                                  .referer = std::nullopt,
                                                                  .proxyUrl = std::nullopt});
    std::shared_ptr<CurlDownloader> m_downloader =
        CurlDownloader::create(std::unique_ptr<CurlSegment>(m_segment));
};

} // namespace

TEST_F(CurlDownloaderTest, OnlyLinesOfTwoPiecesAreKept) {
    head(200, {"Content-Length: 1234\r\n", "Last-Modified: Tue, 15 Nov 1994 08:12:31 GMT\r\n", "no colon\r\n",
               "X-Empty:\r\n", " ETag \t: \"a\" \r\n", "content-length: 99\r\n"});
    EXPECT_EQ(m_downloader->headers(),
              (Headers{{"content-length", "99"}, {"etag", "\"a\""}, {"x-empty", ""}}));
    EXPECT_EQ(m_receiver->told, "content-length=1234;x-empty=;etag=\"a\";content-length=99;");
}

TEST_F(CurlDownloaderTest, OnlyTheFilesOwnAnswerCounts) {
    for (const std::int64_t status : {100, 103, 301, 308, 401, 407})
        head(status, {"Content-Length: 1\r\n", "Content-Type: text/html\r\n"});
    EXPECT_EQ(m_downloader->headers(), Headers());
    EXPECT_EQ(m_receiver->told, "");
    head(200, {"Content-Length: 2\r\n", "Content-Type: text/html\r\n"});
    head(206, {"Content-Length: 3\r\n"});
    EXPECT_EQ(m_downloader->headers(), (Headers{{"content-length", "3"}}));
}

TEST_F(CurlDownloaderTest, TheFirstBlockIsDeliveredAtOnceAndLaterOnesInLargerPieces) {
    EXPECT_EQ(m_segment->deliverData(std::string(100, 'x')), 100);
    EXPECT_EQ(m_segment->deliverData(std::string(50, 'x')), 50);
    EXPECT_EQ(m_segment->deliverData(std::string(50, 'x')), 50);
    EXPECT_EQ(m_receiver->offsets, (std::vector<std::int64_t>{1000}));
    m_downloader->deliverPending();
    m_downloader->deliverPending();
    EXPECT_EQ(m_receiver->offsets, (std::vector<std::int64_t>{1000, 1100}));
    EXPECT_EQ(m_downloader->currentOffset(), 1200);
    for (int block = 0; block < 40; ++block) // 640 KiB: more than a piece holds
        EXPECT_EQ(m_segment->deliverData(std::string(16384, 'x')), 16384);
    EXPECT_GT(m_receiver->offsets.size(), 2u);
    m_downloader->deliverPending();
    EXPECT_EQ(m_receiver->bytes, 200 + 40 * 16384);
}

TEST_F(CurlDownloaderTest, WhatIsRefusedEndsTheTransfer) {
    m_receiver->answer = -1;
    EXPECT_EQ(m_segment->deliverData("first"), -1);
    EXPECT_EQ(m_downloader->currentOffset(), 1000);
    m_receiver->answer.reset();
    EXPECT_EQ(m_segment->deliverData("first"), 5);
    EXPECT_EQ(m_segment->deliverData("second"), 6);
    m_receiver->answer = 0;
    m_downloader->deliverPending();
    EXPECT_EQ(m_segment->deliverData("third"), 0);
}

TEST_F(CurlDownloaderTest, WithoutAReceiverNothingIsTaken) {
    m_receiver.reset();
    EXPECT_EQ(m_segment->deliverData("x"), -1);
}

TEST_F(CurlDownloaderTest, RequestsAreCarriedOutAtTheNextTick) {
    m_downloader->willStart();
    m_downloader->requestPause();
    EXPECT_FALSE(m_downloader->isPaused());
    EXPECT_EQ(m_segment->done, "");
    EXPECT_EQ(m_segment->tick(), 0);
    EXPECT_TRUE(m_downloader->isPaused());
    EXPECT_EQ(m_segment->deliverData("x"), kPauseTransfer)
        << "a pause holds for data that comes all the same";
    EXPECT_EQ(m_receiver->offsets.size(), 0u);
    m_downloader->requestResume();
    EXPECT_EQ(m_segment->tick(), 0);
    EXPECT_EQ(m_downloader->currentState(), State::Running);
    EXPECT_EQ(m_segment->tick(), 0);
    EXPECT_EQ(m_segment->done, "pause resume ");
    m_downloader->requestPause();
    m_segment->tick();
    m_downloader->requestStop();
    EXPECT_EQ(m_segment->tick(), -1);
    EXPECT_EQ(m_downloader->currentState(), State::Failed);
    EXPECT_EQ(m_segment->tick(), -1) << "stopped for good";
    EXPECT_EQ(m_segment->done, "pause resume pause ") << "a stop leaves the handle as it was";
}

TEST_F(CurlDownloaderTest, ARequestBeforeTheStartStaysInForce) {
    m_downloader->requestPause();
    m_downloader->willStart();
    m_segment->tick();
    EXPECT_TRUE(m_downloader->isPaused());
    m_downloader->requestStop();
    m_downloader->download();
    EXPECT_EQ(m_downloader->currentState(), State::Failed);
    EXPECT_TRUE(m_segment->error()) << "what was stopped has not succeeded";
    EXPECT_EQ(m_segment->done, "pause ") << "not even started";
}

TEST_F(CurlDownloaderTest, TheEndIsTheSegmentsResult) {
    m_segment->script = [this](CurlSegmentDelegate&) {
        EXPECT_EQ(m_downloader->currentState(), State::Running);
    };
    m_downloader->download();
    EXPECT_EQ(m_downloader->currentState(), State::Succeeded);
    m_segment->setErrorCode(7);
    m_downloader->didComplete();
    EXPECT_EQ(m_downloader->currentState(), State::Failed);
}

} // namespace tarvo
