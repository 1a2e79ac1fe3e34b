#include "cli/Attach.h"

#include <QJsonDocument>
#include <QJsonObject>

#include "base/Localized.h"
#include "base/Text.h"
#include "cli/DownloadRunner.h"

namespace tarvo {

namespace {

Error reasonOf(const AddOutcome& outcome) {
    return outcome.error.value_or(Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.no-link"));
}

std::string jsonLine(const Target& target, const AddOutcome& outcome) {
    QJsonObject event;
    if (outcome.isFulfilled()) {
        event = {{"event", "taken"}, {"alreadyThere", outcome.kind == AddOutcome::Kind::alreadyThere}};
    } else {
        const Error reason = reasonOf(outcome);
        event = {{"event", "failed"},
                 {"error", QString::fromStdString(reason.sentence())},
                 {"domain", QString::fromStdString(reason.domain)},
                 {"code", static_cast<qint64>(reason.code)}};
    }
    event[target.url ? "url" : "path"] =
        QString::fromStdString(target.url ? target.url->withoutPassword() : target.bundle);
    return QJsonDocument(event).toJson(QJsonDocument::Compact).toStdString();
}

void tell(const Options& options, const Target& target, const AddOutcome& outcome, std::ostream& output,
          std::ostream& problems) {
    const std::string name = target.url ? target.url->withoutPassword() : target.bundle;
    const bool isTaken = outcome.kind == AddOutcome::Kind::taken;
    if (options.json)
        output << jsonLine(target, outcome) << "\n";
    else if (!outcome.isFulfilled())
        problems << "tarvo-get: "
                 << withoutControls(localized("tr.start.not-taken", {name, reasonOf(outcome).sentence()}))
                 << "\n";
    else if (!options.quiet)
        output << withoutControls(localized(isTaken ? "tr.get.taken" : "tr.get.already-there", {name}))
               << "\n";
}

} // namespace

int attach(const Options& options, const RunningInstance& application, std::ostream& output,
           std::ostream& problems) {
    for (const auto& line : options.badLines)
        problems << "tarvo-get: " << withoutControls(sentenceOf(line)) << "\n";
    if (options.targets.empty())
        return DownloadRunner::kSomeFailed;
    std::vector<std::string> what;
    what.reserve(options.targets.size());
    for (const auto& target : options.targets)
        what.push_back(target.url ? target.url->absoluteString() : target.bundle);
    const auto outcomes = application.handOver(what);
    if (!outcomes) {
        problems << "tarvo-get: " << localized("tr.get.not-handed-over", {outcomes.error().sentence()})
                 << std::endl;
        return DownloadRunner::kSomeFailed;
    }
    bool isAllTaken = options.badLines.empty();
    for (std::size_t i = 0; i < what.size(); ++i) {
        tell(options, options.targets[i], (*outcomes)[i], output, problems);
        isAllTaken &= (*outcomes)[i].isFulfilled();
    }
    output.flush();
    return isAllTaken ? DownloadRunner::kAllFinished : DownloadRunner::kSomeFailed;
}

} // namespace tarvo
