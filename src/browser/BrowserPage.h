// A page of the built-in browser: where it may go, and what it may ask for.
#pragma once

#include <functional>

#include <QUrl>
#include <QWebEngineCertificateError>
#include <QWebEnginePage>

namespace tarvo {

/// Main thread.
class BrowserPage final : public QWebEnginePage {
    Q_OBJECT

public:
    /// Makes a window for a page that `opener` has opened; null where there is to be none.
    using MakeWindow = std::function<BrowserPage*(BrowserPage& opener)>;

    BrowserPage(QWebEngineProfile& profile, MakeWindow makeWindow, QObject* parent);

    /// The address of the page that has opened this one.
    void setOpenedFrom(const QUrl& page) { m_openedFrom = page; }

    /// The address of the page, or of its opener while it has shown nothing.
    QUrl origin() const;

    /// Whether nothing was ever shown in it.
    bool isEmpty() const { return url().isEmpty() || url() == QUrl(QStringLiteral("about:blank")); }

Q_SIGNALS:
    /// The page wants to open an address that is for another program.
    void otherProgramWanted(const QUrl& address);
    void certificateDoubted(QWebEngineCertificateError error);

protected:
    QWebEnginePage* createWindow(WebWindowType type) override;
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;

    /// What pages print is not for the application's log.
    void javaScriptConsoleMessage(JavaScriptConsoleMessageLevel, const QString&, int,
                                  const QString&) override {}

private:
    const MakeWindow m_makeWindow;
    QUrl m_openedFrom;
};

} // namespace tarvo
