// Turns a progress record into the downloaders to start: one for each connection.
#pragma once

#include <memory>
#include <vector>

#include "engine/progress/ProgressData.h"
#include "engine/transfer/CurlDownloader.h"
#include "engine/transfer/LiveCurlSegment.h"

namespace tarvo {

/// Plans a fresh file in equal segments, a partly done one by its holes, and one of unknown size as a
/// single stream. Reads the record without locking it: no data may be recorded meanwhile.
class HandleCreator {
public:
    using Handles = std::vector<std::shared_ptr<CurlDownloader>>;

    /// `request`: what each connection asks for, but for the range.
    HandleCreator(std::shared_ptr<const ProgressData> progressData, CurlRequest request,
                  std::weak_ptr<CurlDownloaderDelegate> handleDelegate,
                  const TransferEnvironment& environment);

    /// The downloaders for at most `count` (at least 1) connections, in the order in which they should
    /// start; none when nothing is missing.
    Handles createHandles(std::int64_t count) const;

    /// One downloader for the whole file, without a range.
    Handles createWholeHandle() const;

    /// One downloader for `range`; for the whole file where that is empty.
    std::shared_ptr<CurlDownloader> createHandle(const ByteRange& range) const;

private:
    Handles handlesForExistingProgressData(std::int64_t count) const;
    Handles handlesFor(const ByteRanges& ranges) const;

    const std::shared_ptr<const ProgressData> m_progressData;
    const CurlRequest m_request;
    const std::weak_ptr<CurlDownloaderDelegate> m_delegate;
    const TransferEnvironment& m_environment;
};

/// The `count` ranges to fetch `holes` with, largest first: the largest is halved until there are
/// enough, and the smallest are left for later when there are too many.
ByteRanges planHoles(ByteRanges holes, std::int64_t count);

} // namespace tarvo
