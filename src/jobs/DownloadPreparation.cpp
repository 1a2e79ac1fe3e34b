#include "jobs/DownloadPreparation.h"

#include "base/Log.h"
#include "jobs/JobErrors.h"
#include "jobs/ProgressSaver.h"

#include <cerrno>

namespace tarvo {

DownloadPreparation::DownloadPreparation(const Url& url, const DownloadFacts& known, const AuthTokens& tokens,
                                         std::shared_ptr<DataIntake> intake,
                                         const JobEnvironment& environment)
    : m_url(url), m_intake(std::move(intake)), m_environment(environment), m_found{.facts = known},
      m_probe(environment.transfers, url, known.referer, tokens, known.headers),
      m_proof(environment.transfers), m_adoption(m_found, m_url, *m_intake, m_proof, environment) {
}

Result<ReadyDownload> DownloadPreparation::run(const ShowProbe& show) {
    m_owner.take();
    if (const auto refusal = m_intake->refusal()) // stopped as soon as it began
        return failure(*refusal);
    if (const auto usable = m_adoption.checkKnown(); !usable)
        return failure(usable.error());
    if (m_adoption.wasFinishedBefore())
        return failure(alreadyComplete());
    const auto probe = this->probe();
    if (!probe)
        return failure(probe.error());
    const auto place = show(*probe);
    if (const auto refusal = m_intake->refusal())
        return failure(*refusal);
    if (!place)
        return failure(Error::alreadyStopped());
    // One after the other: of two files of one name that come at the same time, one takes the bundle first.
    const auto bundle =
        m_environment.remoteFileSavingQueue.sync([&] { return m_adoption.take(*place, *probe); });
    if (!bundle)
        return failure(bundle.error());
    return makeReady(*bundle, *probe);
}

Result<ProbeAnswers> DownloadPreparation::probe() {
    auto probe = m_probe.run();
    m_found.authenticationUrl = m_probe.authenticationUrl();
    const bool isPage = !probe && probe.error().is(ErrorDomain::RemoteFile, HTMLPageErrorCode);
    if (isPage && m_found.facts.formerUrl) // a download from that page would be another one
        return failure(addressRefused("tr.err.address-page"));
    return probe;
}

Result<ReadyDownload> DownloadPreparation::makeReady(const ProgressBundle& bundle,
                                                     const ProbeAnswers& probe) {
    m_owner.assertIsHere();
    if (const auto adopted = m_adoption.adoptRecord(bundle, probe); !adopted)
        return failure(adopted.error());
    const DownloadFacts& facts = m_found.facts;
    const DataSnapshot data = m_intake->snapshot();
    const std::string& answered = probe.validator.origin;
    ReadyDownload ready{.source = {probe.url, probe.auth, facts.referer, facts.headers,
                                   facts.requestedPartitions, probe.supportsParts,
                                   answered.empty() ? probe.url.origin() : answered}};
    ready.connections = connectionsFor(ready.source, *data.record, m_environment);
    if (const auto written = writeFirstRecord(bundle, data); !written)
        return failure(written.error());
    m_found.facts.bundle.hasRecord = true;
    m_found.facts.formerUrl.reset();
    return ready;
}

/// The data file is there since it was taken; the progress file comes into being whole, with its first
/// record, for an empty one could not be resumed.
Result<void> DownloadPreparation::writeFirstRecord(const ProgressBundle& bundle, const DataSnapshot& data) {
    const DownloadFacts& facts = m_found.facts;
    const ProgressSaver saver(*m_intake, m_environment, requestOf(m_url, facts), bundle.bundleDirectory());
    auto saved = saver.flushData(data);
    if (saved)
        saved = saver.writeRecord(data);
    if (saved)
        return saved;
    m_found.facts.bundle.hasRecord = false;
    if (saved.error().is(ErrorDomain::Posix, EEXIST)) {
        Log::assertThat(false, "the bundle's files exist already");
        return failure(alreadyComplete());
    }
    return bundle.progressFileExists() ? saved
                                       : failure(becauseOf("tr.err.no-create-progress-file", saved.error()));
}

} // namespace tarvo
