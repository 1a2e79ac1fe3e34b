#include "browser/BrowserPage.h"

#include <QWebEngineSettings>

#include "browser/RequestWatch.h"

#include <utility>

namespace tarvo {

BrowserPage::BrowserPage(QWebEngineProfile& profile, MakeWindow makeWindow, QObject* parent)
    : QWebEnginePage(&profile, parent), m_makeWindow(std::move(makeWindow)) {
    connect(this, &QWebEnginePage::featurePermissionRequested, this,
            [this](const QUrl& securityOrigin, Feature feature) {
                setFeaturePermission(securityOrigin, feature, PermissionDeniedByUser);
            });
    connect(this, &QWebEnginePage::certificateError, this, [this](const QWebEngineCertificateError& error) {
        QWebEngineCertificateError doubted = error;
        if (!doubted.isOverridable())
            return doubted.rejectCertificate();
        doubted.defer();
        Q_EMIT certificateDoubted(doubted);
    });
}

QUrl BrowserPage::origin() const {
    return isEmpty() ? m_openedFrom : url();
}

QWebEnginePage* BrowserPage::createWindow(WebWindowType) {
    return m_makeWindow(*this);
}

bool BrowserPage::acceptNavigationRequest(const QUrl& url, NavigationType, bool isMainFrame) {
    if (isForBrowser(url))
        return true;
    if (isMainFrame && !url.isLocalFile() && !url.scheme().isEmpty())
        Q_EMIT otherProgramWanted(url);
    return false;
}

} // namespace tarvo
