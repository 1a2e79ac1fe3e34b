#include "cli/RetryRule.h"

namespace tarvo {

bool usesUpRetry(const RemoteFile& failed, std::int64_t most, const HostConnections& hosts) {
    const auto url = failed.url();
    const auto& error = failed.error();
    const bool isRefusal =
        error && (error->is(ErrorDomain::CurlHttp, 503) || error->is(ErrorDomain::CurlHttp, 429));
    const bool isCrowdedOut = isRefusal && url && hosts.atWork(url->origin()) > 0;
    return failed.totalBytesDownloaded() <= most && !isCrowdedOut;
}

} // namespace tarvo
