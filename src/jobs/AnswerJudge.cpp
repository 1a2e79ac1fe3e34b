#include "jobs/AnswerJudge.h"

#include "base/Log.h"
#include "jobs/JobErrors.h"

namespace tarvo {

namespace {

ResponseHead headOf(const CurlDownloader& downloader) {
    return {downloader.segment().httpCode(), downloader.header("content-range"),
            downloader.header("content-length")};
}

RangeVerdict judgeHead(const CurlDownloader& downloader, const ExpectedFile& file) {
    const CurlRequest& request = downloader.segment().request();
    const bool isWeb = downloader.isAnsweredByWeb();
    if (isWeb && downloader.segment().httpCode() >= 400)
        return RangeVerdict::httpError;
    if (!asksForRange(downloader)) // one answer is of one version
        return isWeb ? judgeWholeAnswer(headOf(downloader), file.size) : RangeVerdict::accepted;
    // First of all, for another version is sent whole (If-Range), and may be of another size.
    if (compare(file.validator, downloader.validator()) == Sameness::different)
        return RangeVerdict::changed;
    const ByteRange asked(request.lowerBound, request.upperBound);
    return isWeb ? judgeRangeAnswer(headOf(downloader), asked, file.size) : RangeVerdict::accepted;
}

} // namespace

bool asksForRange(const CurlDownloader& downloader) {
    return downloader.segment().request().upperBound != 0;
}

RangeVerdict judgeBlock(const CurlDownloader& downloader, std::size_t count, std::int64_t offset,
                        const ExpectedFile& file) {
    const CurlRequest& request = downloader.segment().request();
    const std::int64_t end = asksForRange(downloader) ? request.upperBound : file.size;
    const auto verdict = offset == request.lowerBound ? judgeHead(downloader, file) : RangeVerdict::accepted;
    const bool isTooLong = end > 0 && static_cast<std::int64_t>(count) > end - offset;
    return verdict == RangeVerdict::accepted && isTooLong ? RangeVerdict::unexpected : verdict;
}

bool announcesWrongLength(const CurlDownloader& downloader, const std::string& key,
                          const std::string& value) {
    // Of a range only: what is sent whole may be another version, and is judged with its first block.
    if (key != "content-length" || !downloader.isAnsweredByWeb() || !asksForRange(downloader) ||
        downloader.segment().httpCode() != 206)
        return false;
    const CurlRequest& request = downloader.segment().request();
    const std::int64_t expected = request.upperBound - request.lowerBound;
    const std::int64_t actual = parseLength(value).value_or(-1);
    if (actual != expected)
        Log::warning("Expected contentLength of {} but actual was {}", expected, actual);
    return actual != expected;
}

Refusal refusalOf(const CurlDownloader& ended) {
    const CurlSegment& segment = ended.segment();
    return judgeRefusal(ended.isAnsweredByWeb(), segment.httpCode(), segment.errorCode());
}

std::optional<Error> errorOf(const CurlDownloader& ended, std::int64_t fileSize) {
    // The server's own refusal says more than the write error by which its text was turned away.
    if (ended.isAnsweredByWeb() && ended.segment().httpCode() >= 400)
        return httpStatusError(ended.segment().httpCode(), ended.segment().retryAfter());
    if (auto problem = ended.segment().error())
        return problem;
    if (ended.isAnsweredByWeb() && !asksForRange(ended) &&
        judgeWholeAnswer(headOf(ended), fileSize) != RangeVerdict::accepted)
        return unexpectedSegmentSize();
    return std::nullopt;
}

} // namespace tarvo
