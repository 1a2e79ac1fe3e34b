#include "engine/transfer/EasyHandle.h"

#include "base/Log.h"

namespace tarvo {

void EasyHandle::note(CURLoption option, CURLcode result) {
    if (result == CURLE_OK)
        return;
    Log::error("Could not set transfer option {}: {}", static_cast<int>(option), curl_easy_strerror(result));
    // What libcurl was built without is no loss as long as the server does not ask for it.
    if (result != CURLE_NOT_BUILT_IN && result != CURLE_UNKNOWN_OPTION && m_failure == CURLE_OK)
        m_failure = result;
}

} // namespace tarvo
