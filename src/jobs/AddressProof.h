// Proves that another address has the file of an unfinished download, before the download goes on from there.
#pragma once

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "jobs/DataIntake.h"
#include "jobs/DownloadFacts.h"
#include "jobs/DownloadProbe.h"
#include "jobs/RangeFetch.h"

namespace tarvo {

/// Of each place so much is compared, in bytes, or as much as there is.
inline constexpr std::int64_t kProofLength = 64 * 1024;

/// So many places are compared.
inline constexpr std::size_t kProofPlaces = 3;

/// What keeps the file that `found` describes from being that of `saved`, as far as the two say: it must have
/// the same size, and the same validator where both have one that can be compared (compare()); and where
/// bytes are there, its server must send parts, or they could not be gone on with.
std::optional<Error> differenceOf(const ProgressState& saved, const ProbeAnswers& found);

/// The parts of `held`, all of them done, that are to be compared: the last kProofLength bytes before three
/// holes, chosen at random, or before the file's end. A done range that is shorter is compared as a whole.
/// Where there are fewer than three such places, the others lie at random among the bytes that are there, so
/// that those before a single hole are not all that is looked at. Empty where nothing is done.
std::vector<ByteRange> placesToCompare(const ProgressData& held, std::mt19937_64& random);

/// Made for one run, on the worker of a preparation.
class AddressProof {
public:
    /// `environment` outlives it.
    explicit AddressProof(const TransferEnvironment& environment) : m_fetch(environment) {}

    /// Compares the record, then the bytes of the data file that `data` holds, with what the address has.
    /// Changes nothing. Error: kRemoteFileAddressRefused, with what has differed; what a request or the disk
    /// has failed with.
    Result<void> run(const ProgressState& saved, const DataSnapshot& data, const ProbeAnswers& found,
                     const DownloadFacts& facts);

    /// Ends the run at once. Any thread.
    void requestStop() { m_fetch.requestStop(); }

private:
    RangeFetch m_fetch;
};

/// ErrorDomain::RemoteFile, kRemoteFileAddressRefused: the text of `key` says what has failed.
Error addressRefused(std::string_view key, std::initializer_list<std::string> arguments = {});

} // namespace tarvo
