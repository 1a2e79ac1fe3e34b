#include "engine/transfer/LiveCurlDownloaderFactory.h"

namespace tarvo {

std::shared_ptr<CurlDownloader> LiveCurlDownloaderFactory::segmentedDownload(
    std::weak_ptr<CurlDownloaderDelegate> delegate, const Url& url, std::int64_t from, std::int64_t to,
    std::shared_ptr<const TRAuthToken> auth, const std::optional<Url>& referer) {
    CurlRequest request{
        .url = url, .lowerBound = from, .upperBound = to, .authToken = std::move(auth), .referer = referer};
    auto downloader = CurlDownloader::create(m_segments.createSegment(std::move(request)));
    downloader->setDelegate(std::move(delegate));
    return downloader;
}

std::shared_ptr<CurlDownloader>
LiveCurlDownloaderFactory::wholeDownload(std::weak_ptr<CurlDownloaderDelegate> delegate, const Url& url,
                                         std::shared_ptr<const TRAuthToken> auth,
                                         const std::optional<Url>& referer) {
    return segmentedDownload(std::move(delegate), url, 0, 0, std::move(auth), referer);
}

} // namespace tarvo
