#include "platform/HandOver.h"

#include <algorithm>
#include <array>

#include <QJsonDocument>

namespace tarvo::HandOver {

namespace {

constexpr QLatin1String kOpen("open");
constexpr QLatin1String kActivationToken("activation-token");
constexpr QLatin1String kOutcomes("outcomes");
constexpr QLatin1String kOutcome("outcome");
constexpr QLatin1String kError("error");
constexpr QLatin1String kDomain("domain");
constexpr QLatin1String kCode("code");

struct OutcomeName {
    AddOutcome::Kind kind;
    QLatin1String name;
};

constexpr std::array<OutcomeName, 4> kOutcomeNames{{
    {AddOutcome::Kind::taken, QLatin1String("taken")},
    {AddOutcome::Kind::alreadyThere, QLatin1String("already-there")},
    {AddOutcome::Kind::noLink, QLatin1String("no-link")},
    {AddOutcome::Kind::refused, QLatin1String("refused")},
}};

AddOutcome outcomeIn(const QJsonObject& object) {
    const QString name = object[kOutcome].toString();
    const auto* found = std::find_if(kOutcomeNames.begin(), kOutcomeNames.end(),
                                     [&](const OutcomeName& each) { return each.name == name; });
    if (found == kOutcomeNames.end())
        return {AddOutcome::Kind::noLink};
    AddOutcome outcome{found->kind};
    if (outcome.kind == AddOutcome::Kind::refused)
        outcome.error = Error{object[kDomain].toString().toStdString(), object[kCode].toInteger(),
                              object[kError].toString().toStdString(), ""};
    return outcome;
}

} // namespace

QJsonObject request(const QJsonArray& what, const std::string& activationToken) {
    QJsonObject request{{kOpen, what}};
    if (!activationToken.empty())
        request.insert(kActivationToken, QString::fromStdString(activationToken));
    return request;
}

std::string activationTokenOf(const QJsonObject& request) {
    return request[kActivationToken].toString().toStdString();
}

std::optional<std::vector<std::string>> textsOf(const QJsonObject& request) {
    if (!request[kOpen].isArray())
        return std::nullopt;
    std::vector<std::string> what;
    const QJsonArray texts = request[kOpen].toArray();
    for (const auto& text : texts)
        what.push_back(text.toString().toStdString());
    return what;
}

QJsonObject answer(const std::vector<AddOutcome>& outcomes) {
    QJsonArray all;
    for (const auto& outcome : outcomes) {
        QJsonObject object{{kOutcome, kOutcomeNames[static_cast<std::size_t>(outcome.kind)].name}};
        if (outcome.error) {
            object[kError] = QString::fromStdString(outcome.error->sentence());
            object[kDomain] = QString::fromStdString(outcome.error->domain);
            object[kCode] = static_cast<qint64>(outcome.error->code);
        }
        all.append(object);
    }
    return {{kOutcomes, all}};
}

std::vector<AddOutcome> outcomesOf(const QJsonObject& answer) {
    std::vector<AddOutcome> outcomes;
    const QJsonArray all = answer[kOutcomes].toArray();
    for (const auto& each : all)
        outcomes.push_back(outcomeIn(each.toObject()));
    return outcomes;
}

std::string lineOf(const QJsonObject& message) {
    return QJsonDocument(message).toJson(QJsonDocument::Compact).toStdString() + "\n";
}

QJsonObject messageIn(const std::string& line) {
    return QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
}

} // namespace tarvo::HandOver
