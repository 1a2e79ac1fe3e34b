#include "app/LinkAdder.h"

#include <unordered_set>

#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"
#include "jobs/CURLRemoteFile.h"

namespace tarvo {

namespace {

/// What can be taken goes to the end of `jobs`.
class Intake {
public:
    Intake(const AddChoices& choices, QueueController& queue, const JobEnvironment& environment)
        : m_choices(choices), m_queue(queue), m_environment(environment) {}

    AddOutcome take(const Url& url) {
        if (m_queue.hasEnded())
            return AddOutcome::refusal(programEnds());
        if (jobs.size() >= m_queue.freePlaces())
            return AddOutcome::refusal(queueIsFull());
        auto job =
            CURLRemoteFile::make({.url = url,
                                  .folder = m_choices.folder,
                                  .facts = {.referer = m_choices.referer,
                                            .requestedPartitions = usableConnections(m_choices.connections),
                                            .checksum = m_choices.checksum},
                                  .name = m_choices.name,
                                  .added = m_environment.clock.wallNow()},
                                 m_environment);
        const std::string identity = job->identity();
        if (m_queue.isUnfinished(identity) || !m_identities.insert(identity).second)
            return {AddOutcome::Kind::alreadyThere};
        jobs.push_back(std::move(job));
        return {};
    }

    std::vector<QueueController::Job> jobs;

private:
    const AddChoices& m_choices;
    QueueController& m_queue;
    const JobEnvironment& m_environment;
    std::unordered_set<std::string> m_identities;
};

} // namespace

AddChoices usualChoices(const UserDefaults& defaults, const std::string& homeFolder) {
    const Settings settings(defaults);
    return {.folder = settings.defaultDirectory(homeFolder), .connections = settings.defaultThreading()};
}

std::vector<AddOutcome> addLinks(const std::vector<std::optional<Url>>& links, const AddChoices& choices,
                                 QueueController& queue, const JobEnvironment& environment) {
    Runloop::assertMain();
    std::vector<AddOutcome> outcomes;
    outcomes.reserve(links.size());
    Intake intake(choices, queue, environment);
    for (const auto& link : links)
        outcomes.push_back(link ? intake.take(*link) : AddOutcome{AddOutcome::Kind::noLink});
    if (intake.jobs.empty()) {
        Log::info("There was no new address to download in what was added");
        return outcomes;
    }
    const auto added = queue.addDownloads(intake.jobs, choices.starts);
    Log::assertThat(added.has_value()); // what would be refused has been left out
    return outcomes;
}

AddOutcome addBundle(const std::string& bundle, QueueController& queue) {
    Runloop::assertMain();
    const auto added = queue.addBundleFile(bundle);
    if (added)
        return {};
    if (added.error().is(ErrorDomain::Tarvo, kTarvoDuplicateEntry))
        return {AddOutcome::Kind::alreadyThere};
    return AddOutcome::refusal(added.error());
}

} // namespace tarvo
