#include "remote/BusAdditions.h"

#include "app/LinkAdder.h"
#include "base/Localized.h"
#include "base/Runloop.h"
#include "input/APIDispatch.h"
#include "input/TRStringURL.h"

namespace tarvo {

namespace {

AddAnswer answerOf(const AddOutcome& outcome) {
    switch (outcome.kind) {
    case AddOutcome::Kind::taken:
        return {QStringLiteral("taken"), {}};
    case AddOutcome::Kind::alreadyThere:
        return {QStringLiteral("already there"), {}};
    case AddOutcome::Kind::noLink:
    case AddOutcome::Kind::refused:
        break;
    }
    return {QStringLiteral("refused"),
            QString::fromStdString(outcome.error ? outcome.error->sentence() : localized("tr.err.no-link"))};
}

AddChoices choicesOf(const QVariantMap& options, AddChoices choices) {
    if (const std::string folder = options.value("folder").toString().toStdString(); folder.starts_with('/'))
        choices.folder = folder;
    if (options.contains("connections"))
        choices.connections = options.value("connections").toLongLong();
    if (options.contains("start"))
        choices.starts = options.value("start").toBool();
    return choices;
}

std::vector<AddOutcome> addAll(const QStringList& what, const AddChoices& choices, QueueController& queue,
                               const JobEnvironment& jobs) {
    std::vector<AddOutcome> outcomes(static_cast<std::size_t>(what.size()));
    std::vector<std::optional<Url>> links;
    std::vector<std::size_t> places; // of the links among all
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        const std::string text = what[static_cast<qsizetype>(i)].toStdString();
        if (text.starts_with('/')) {
            outcomes[i] = addBundle(text, queue);
        } else {
            links.push_back(hasControlCharacter(text) ? std::nullopt : supportedURL(text));
            places.push_back(i);
        }
    }
    const auto added = addLinks(links, choices, queue, jobs);
    for (std::size_t i = 0; i < added.size(); ++i)
        outcomes[places[i]] = added[i];
    return outcomes;
}

} // namespace

QDBusArgument& operator<<(QDBusArgument& bus, const AddAnswer& answer) {
    bus.beginStructure();
    bus << answer.outcome << answer.reason;
    bus.endStructure();
    return bus;
}

const QDBusArgument& operator>>(const QDBusArgument& bus, AddAnswer& answer) {
    bus.beginStructure();
    bus >> answer.outcome >> answer.reason;
    bus.endStructure();
    return bus;
}

AddAnswers addFromBus(const QStringList& what, const QVariantMap& options, QueueController& queue,
                      const JobEnvironment& jobs, const std::string& homeFolder) {
    Runloop::assertMain();
    const AddChoices choices = choicesOf(options, usualChoices(jobs.defaults, homeFolder));
    AddAnswers answers;
    for (const auto& outcome : addAll(what, choices, queue, jobs))
        answers.push_back(answerOf(outcome));
    return answers;
}

} // namespace tarvo
