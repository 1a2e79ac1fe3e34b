// tarvo-browser: started by tarvo, which it talks with over its standard input and output.
#include <array>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

#include <QApplication>
#include <QLoggingCategory>
#include <QNetworkProxy>
#include <QUrl>

#include "base/Localized.h"
#include "browser/Browser.h"

namespace {

using namespace tarvo;

/// What would take the engine out of its sandbox, or open it to others.
void keepSandbox() {
    for (const char* name :
         {"QTWEBENGINE_DISABLE_SANDBOX", "QTWEBENGINE_CHROMIUM_FLAGS", "QTWEBENGINE_REMOTE_DEBUGGING"})
        ::unsetenv(name);
}

/// Before the application object. The engine reads no other kind.
void useProxy(const std::string& address) {
    if (address.empty())
        return;
    const QUrl url = QUrl::fromEncoded(QByteArray::fromStdString(address));
    const bool isSocks = url.scheme().startsWith(QLatin1String("socks"));
    constexpr int kUsualPort = 1080; // CURLOPT_PROXY
    QNetworkProxy::setApplicationProxy({isSocks ? QNetworkProxy::Socks5Proxy : QNetworkProxy::HttpProxy,
                                        url.host(), static_cast<quint16>(url.port(kUsualPort)),
                                        url.userName(), url.password()});
}

} // namespace

int main(int argc, char** argv) {
    HostLink link;
    const auto start = link.waitForStart();
    link.send(BrowserHello{});
    if (!start) {
        std::cerr << "tarvo-browser is started by tarvo, of the same version.\n";
        return EXIT_FAILURE;
    }
    if (::geteuid() == 0) { // where the engine would end the process without a word
        link.send(BrowserUnavailable{"root"});
        return EXIT_FAILURE;
    }
    keepSandbox();
    QLoggingCategory::setFilterRules(QStringLiteral("qt.webenginecontext*=false")); // a page about the screen
    useProxy(start->proxy);
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setDesktopFileName(QStringLiteral("com.unregistered.Tarvo"));
    QApplication::setApplicationName(QStringLiteral("Tarvo"));
    installLocalizedTexts();
    Browser browser(link, *start);
    link.listen();
    return QApplication::exec();
}
