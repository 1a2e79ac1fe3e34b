// What a job knows of its download, and what a preparation adds to that.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

#include "base/Settings.h"
#include "base/Url.h"
#include "engine/transfer/RequestHeaders.h"
#include "jobs/Checksum.h"

namespace tarvo {

struct BundleFacts {
    std::optional<std::string> bookmark{}; ///< its folder, once there is one
    std::optional<dev_t> device{};         ///< that it is on, once it has been seen there
    bool isOwned = false;   ///< this download has made it, or taken it over from an earlier run
    bool hasRecord = false; ///< it holds this download's record
};

struct DownloadFacts {
    std::optional<Url> referer{};
    RequestHeaders headers{};             ///< of its requests over HTTP, kept with it
    std::int64_t requestedPartitions = 1; ///< connections that are asked for
    bool isChosen = false;                ///< these, by the user, whatever a record says
    BundleFacts bundle{};
    std::optional<Checksum> checksum{}; ///< that the file is to be compared with
    bool isRecovered = false;           ///< from an earlier run of the program
    /// Of which the bundle's record still is, while it is not proven that the download's address has the same
    /// file (AddressProof).
    std::optional<Url> formerUrl{};

    /// The nearest number that is usable.
    void choosePartitions(std::int64_t asked) {
        requestedPartitions = std::clamp<std::int64_t>(asked, 1, kMostConnections);
        isChosen = true;
    }

    /// Of which what is on disk is; `url`: the download's.
    const Url& recordedUrl(const Url& url) const { return formerUrl ? *formerUrl : url; }

    /// These facts of the download at `former`, once it is to go on from `next`. A page that led to the one
    /// is no business of another server.
    DownloadFacts movedFrom(const Url& former, const Url& next) const {
        DownloadFacts facts = *this;
        facts.formerUrl = recordedUrl(former);
        if (facts.formerUrl == next) // back to where the record is
            facts.formerUrl.reset();
        if (former.origin() != next.origin()) {
            facts.referer.reset();
            facts.headers.clear();
        }
        return facts;
    }

    /// These facts, with the connections of `other` if the user has chosen them there.
    DownloadFacts withChoiceOf(const DownloadFacts& other) const {
        DownloadFacts facts = *this;
        if (other.isChosen)
            facts.choosePartitions(other.requestedPartitions);
        return facts;
    }
};

/// A file that is whole, under its final name.
struct FinishedFile {
    std::string path;
    std::int64_t length = 0; ///< bytes
};

/// What a preparation has found out, also one that has failed.
struct Findings {
    DownloadFacts facts{};
    std::optional<std::string> chosenName{}; ///< with a new bundle
    std::optional<Url>
        authenticationUrl{}; ///< another server than that of the address, which wants credentials
    std::optional<FinishedFile> finished{}; ///< it turned out to be there already
};

} // namespace tarvo
