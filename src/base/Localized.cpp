#include "base/Localized.h"

#include <algorithm>
#include <limits>

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QString>
#include <QTranslator>

static void initialiseTextResource() {
    Q_INIT_RESOURCE(texts); // must stand outside any namespace
}

namespace tarvo {

namespace {

/// In one pass, for an argument may hold what looks like a placeholder: "100%25.zip".
std::string filled(const QString& text, std::initializer_list<std::string> arguments) {
    QString result;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const int number = text[i] == u'%' && i + 1 < text.size() ? text[i + 1].digitValue() : -1;
        if (number < 1 || static_cast<std::size_t>(number) > arguments.size()) {
            result += text[i];
            continue;
        }
        result += QString::fromStdString(arguments.begin()[number - 1]);
        ++i;
    }
    return result.toStdString();
}

/// Null where there are no such texts.
const QTranslator* install(const QLocale& locale, const QString& name, const QString& folder) {
    auto* texts = new QTranslator(QCoreApplication::instance());
    if (texts->load(locale, name, QStringLiteral("_"), folder)) {
        QCoreApplication::installTranslator(texts);
        return texts;
    }
    delete texts;
    return nullptr;
}

} // namespace

void installLocalizedTexts() {
    initialiseTextResource();
    const QString folder = QStringLiteral(":/i18n");
    install(QLocale(QLocale::English), QStringLiteral("tarvo"), folder);
    const auto* texts = install(QLocale(), QStringLiteral("tarvo"), folder);
    if (texts) // Qt's own buttons and dialogs speak the language of the texts around them, or English as well
        install(QLocale(texts->language()), QStringLiteral("qtbase"),
                QLibraryInfo::path(QLibraryInfo::TranslationsPath));
}

std::string localized(std::string_view key) {
    return qtTrId(std::string(key).c_str()).toStdString();
}

std::string localized(std::string_view key, std::initializer_list<std::string> arguments) {
    return filled(qtTrId(std::string(key).c_str()), arguments);
}

std::string localizedCount(std::string_view key, std::size_t count,
                           std::initializer_list<std::string> arguments) {
    const std::size_t shown = std::min<std::size_t>(count, std::numeric_limits<int>::max());
    return filled(qtTrId(std::string(key).c_str(), static_cast<int>(shown)), arguments);
}

} // namespace tarvo
