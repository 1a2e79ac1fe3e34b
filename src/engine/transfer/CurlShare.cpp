#include "engine/transfer/CurlShare.h"

namespace tarvo {

struct CurlShare::Callbacks {
    static void lock(CURL*, curl_lock_data data, curl_lock_access, void* share) {
        static_cast<CurlShare*>(share)->m_locks.at(data).lock();
    }

    static void unlock(CURL*, curl_lock_data data, void* share) {
        static_cast<CurlShare*>(share)->m_locks.at(data).unlock();
    }
};

CURLSH* CurlShare::get() {
    std::call_once(m_made, [this] {
        m_share = curl_share_init();
        if (!m_share)
            return;
        curl_share_setopt(m_share, CURLSHOPT_USERDATA, this);
        curl_share_setopt(m_share, CURLSHOPT_LOCKFUNC, &Callbacks::lock);
        curl_share_setopt(m_share, CURLSHOPT_UNLOCKFUNC, &Callbacks::unlock);
        curl_share_setopt(m_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_DNS);
        curl_share_setopt(m_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    });
    return m_share;
}

CurlShare::~CurlShare() {
    if (m_share)
        curl_share_cleanup(m_share);
}

} // namespace tarvo
