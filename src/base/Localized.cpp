#include "base/Localized.h"

#include <QCoreApplication>
#include <QLocale>
#include <QString>
#include <QTranslator>

static void initialiseTextResource() {
    Q_INIT_RESOURCE(texts); // must stand outside any namespace
}

namespace tarvo {

void installLocalizedTexts() {
    initialiseTextResource();
    auto* english = new QTranslator(QCoreApplication::instance());
    if (english->load(QStringLiteral(":/i18n/tarvo_en.qm")))
        QCoreApplication::installTranslator(english);
    auto* translator = new QTranslator(QCoreApplication::instance());
    if (translator->load(QLocale(), QStringLiteral("tarvo"), QStringLiteral("_"), QStringLiteral(":/i18n")))
        QCoreApplication::installTranslator(translator);
}

std::string localized(std::string_view key) {
    return qtTrId(std::string(key).c_str()).toStdString();
}

std::string localized(std::string_view key, std::initializer_list<std::string> arguments) {
    QString text = qtTrId(std::string(key).c_str());
    for (const auto& argument : arguments)
        text = text.arg(QString::fromStdString(argument));
    return text.toStdString();
}

} // namespace tarvo
