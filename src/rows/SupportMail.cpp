#include "rows/SupportMail.h"

#include <QFile>
#include <QUrlQuery>

#include "base/Localized.h"

namespace tarvo {

namespace {

/// The address that the build was configured with; empty: the user enters it.
QUrl mailTo(const std::string& subject, const std::string& body, const std::vector<std::string>& files) {
    const auto encoded = [](const QString& text) {
        return QString::fromLatin1(QUrl::toPercentEncoding(text));
    };
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("subject"), encoded(QString::fromStdString(subject)));
    if (!body.empty())
        query.addQueryItem(QStringLiteral("body"), encoded(QString::fromStdString(body)));
    for (const auto& file : files)
        query.addQueryItem(QStringLiteral("attach"), encoded(QFile::decodeName(file.c_str())));
    QUrl mail;
    mail.setScheme(QStringLiteral("mailto"));
    mail.setPath(QStringLiteral(TARVO_SUPPORT_ADDRESS));
    mail.setQuery(query);
    return mail;
}

} // namespace

QUrl mailWithLogs(const std::vector<std::string>& logFiles) {
    std::string body = localized("tr.logging.mail.body") + "\n";
    for (const auto& file : logFiles)
        body += "\n" + file;
    return mailTo("Debug Logs for Developer", body, logFiles); // not translated: the developer reads it
}

QUrl mailToSupport() {
    return mailTo("Tarvo " TARVO_VERSION, "", {});
}

} // namespace tarvo
