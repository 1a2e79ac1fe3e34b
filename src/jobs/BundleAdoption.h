// Chooses or adopts the bundle of a download, takes it, and goes on with its record.
#pragma once

#include <string>

#include "jobs/AddressProof.h"
#include "jobs/DataIntake.h"
#include "jobs/DownloadFacts.h"
#include "jobs/DownloadProbe.h"
#include "jobs/JobEnvironment.h"

namespace tarvo {

/// Where a new bundle is to be.
struct BundlePlace {
    std::string name; ///< of the finished file; empty: none is known
    std::string folder;
};

/// A part of one preparation, on its worker. What it finds out stands in the findings that it was given.
class BundleAdoption {
public:
    /// All outlive it.
    BundleAdoption(Findings& found, const Url& url, DataIntake& intake, AddressProof& proof,
                   const JobEnvironment& environment)
        : m_found(found), m_url(url), m_intake(intake), m_proof(proof), m_environment(environment) {}

    /// Whether a bundle that is known already may be looked at. Error: it is away with its disk, or is not
    /// the user's own.
    Result<void> checkKnown() const;

    /// A bundle without its data file beside a file of the recorded size: the program ended after the move to
    /// the final name and before the bundle was removed. That is made good.
    bool wasFinishedBefore();

    /// Finds the bundle, or makes one, and takes its data file. A new one gets another name where that of the
    /// file is taken, also by a download of another address that is at work. Error:
    /// kRemoteFileAlreadyComplete, with the file among the findings; what keeps the bundle from being used.
    Result<ProgressBundle> take(const BundlePlace& place, const ProbeAnswers& probe);

    /// Has the intake go on with the bundle's record if it is of the file that the probe has found, else with
    /// a fresh one. Nothing of the bundle is read before it is taken. A record of the former address is gone
    /// on with only after proof: without it nothing is changed.
    Result<void> adoptRecord(const ProgressBundle& bundle, const ProbeAnswers& probe);

private:
    Result<ProgressBundle> open(const ProgressBundle& bundle);
    bool isOfAnother(const ProgressBundle& bundle) const;
    Result<ProgressBundle> makeNew(const BundlePlace& place, const ProbeAnswers& probe);
    bool isFinishedHere(const std::string& file, const ProbeAnswers& probe) const;
    void forgetBundle();
    bool isOfFormer(const ProgressState& saved) const;
    Result<void> checkRecord(const ProgressState& saved, const ProbeAnswers& probe);
    Result<AdoptedRecord> readRecord(const ProgressBundle& bundle, const ProbeAnswers& probe);
    Result<void> startOver(const ProgressBundle& bundle, const ProgressState& saved);

    Findings& m_found;
    const Url& m_url;
    DataIntake& m_intake;
    AddressProof& m_proof;
    const JobEnvironment& m_environment;
};

Error alreadyComplete();

} // namespace tarvo
