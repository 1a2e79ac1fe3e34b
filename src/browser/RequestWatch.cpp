#include "browser/RequestWatch.h"

#include <algorithm>
#include <array>

namespace tarvo {

namespace {

constexpr std::size_t kMethodsKept = 64; // a download begins soon after its request

/// What is part of a page is no download.
bool canBecomeDownload(QWebEngineUrlRequestInfo::ResourceType type) {
    return type == QWebEngineUrlRequestInfo::ResourceTypeMainFrame ||
           type == QWebEngineUrlRequestInfo::ResourceTypeSubFrame;
}

} // namespace

bool isForBrowser(const QUrl& url) {
    static constexpr std::array<const char*, 5> kSchemes{"http", "https", "blob", "data", "about"};
    const QString scheme = url.scheme();
    return std::any_of(kSchemes.begin(), kSchemes.end(),
                       [&scheme](const char* each) { return scheme == QLatin1String(each); });
}

void RequestWatch::interceptRequest(QWebEngineUrlRequestInfo& info) {
    const QUrl url = info.requestUrl();
    if (url.isLocalFile())
        info.block(true);
    if (!canBecomeDownload(info.resourceType()))
        return;
    m_methods.emplace_front(url, info.requestMethod());
    if (m_methods.size() > kMethodsKept)
        m_methods.pop_back();
}

QByteArray RequestWatch::methodOf(const QUrl& url) const {
    const auto found = std::find_if(m_methods.begin(), m_methods.end(),
                                    [&url](const auto& each) { return each.first == url; });
    return found == m_methods.end() ? QByteArrayLiteral("GET") : found->second;
}

} // namespace tarvo
