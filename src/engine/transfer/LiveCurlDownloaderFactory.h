// Makes the downloaders of real transfers.
#pragma once

#include "engine/transfer/CurlDownloader.h"
#include "engine/transfer/LiveCurlSegment.h"

namespace tarvo {

class LiveCurlDownloaderFactory final : public CurlDownloaderFactory {
public:
    LiveCurlDownloaderFactory(const TransferEnvironment& environment, std::shared_ptr<ConnectionPool> pool)
        : m_segments(environment, std::move(pool)) {}

    std::shared_ptr<CurlDownloader> segmentedDownload(std::weak_ptr<CurlDownloaderDelegate> delegate,
                                                      const Url& url, std::int64_t from, std::int64_t to,
                                                      std::shared_ptr<const TRAuthToken> auth,
                                                      const std::optional<Url>& referer) override;

    std::shared_ptr<CurlDownloader> wholeDownload(std::weak_ptr<CurlDownloaderDelegate> delegate,
                                                  const Url& url, std::shared_ptr<const TRAuthToken> auth,
                                                  const std::optional<Url>& referer) override;

private:
    LiveCurlSegmentFactory m_segments;
};

} // namespace tarvo
