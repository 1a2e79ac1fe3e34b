#include "jobs/AddressProof.h"

#include "base/Localized.h"
#include "jobs/JobErrors.h"

#include <algorithm>

namespace tarvo {

namespace {

/// The last bytes of `range`, as many as are compared.
ByteRange endOf(const ByteRange& range) {
    return {std::max(range.lowerBound, range.upperBound - kProofLength), range.upperBound};
}

/// A place within one of `done`: the more it holds, the likelier that one.
ByteRange anyOf(const ByteRanges& done, std::int64_t total, std::mt19937_64& random) {
    using Choice = std::uniform_int_distribution<std::int64_t>;
    std::int64_t skipped = Choice(0, total - 1)(random);
    auto chosen = done.begin();
    for (; skipped >= (*chosen)->size(); ++chosen)
        skipped -= (*chosen)->size();
    const ByteRange& range = **chosen;
    const std::int64_t from = Choice(range.lowerBound, endOf(range).lowerBound)(random);
    return {from, std::min(from + kProofLength, range.upperBound)};
}

/// A refusal says what is wrong with the address; anything else may be gone with the next attempt.
Error asRefusal(Error problem) {
    if (problem.is(ErrorDomain::Tarvo, kTarvoChangedOnServer))
        return addressRefused("tr.err.address-version");
    if (problem.is(ErrorDomain::Tarvo, kTarvoUnexpectedSegmentSize))
        return addressRefused("tr.err.address-no-parts");
    return problem;
}

} // namespace

Error addressRefused(std::string_view key, std::initializer_list<std::string> arguments) {
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileAddressRefused, localized(key, arguments),
            localized("tr.err.address-recovery")};
}

std::optional<Error> differenceOf(const ProgressState& saved, const ProbeAnswers& found) {
    if (saved.fileSize < 1)
        return addressRefused("tr.err.address-size-not-recorded");
    if (found.contentLength < 1)
        return addressRefused("tr.err.address-size-unknown");
    if (found.contentLength != saved.fileSize)
        return addressRefused("tr.err.address-size",
                              {std::to_string(found.contentLength), std::to_string(saved.fileSize)});
    if (saved.progressData->totalBytesDownloaded() == 0)
        return std::nullopt; // what comes is of one version, whichever that is
    if (compare(saved.validator, found.validator) == Sameness::different)
        return addressRefused("tr.err.address-version");
    return found.supportsParts ? std::nullopt : std::optional(addressRefused("tr.err.address-no-parts"));
}

std::vector<ByteRange> placesToCompare(const ProgressData& held, std::mt19937_64& random) {
    std::vector<ByteRange> places;
    ByteRanges done = held.readout();
    const ByteRanges all = done;
    std::shuffle(done.begin(), done.end(), random);
    for (std::size_t i = 0; i < std::min(done.size(), kProofPlaces); ++i)
        places.push_back(endOf(*done[i]));
    while (!all.empty() && places.size() < kProofPlaces)
        places.push_back(anyOf(all, held.totalBytesDownloaded(), random));
    return places;
}

Result<void> AddressProof::run(const ProgressState& saved, const DataSnapshot& data,
                               const ProbeAnswers& found, const DownloadFacts& facts) {
    if (auto difference = differenceOf(saved, found))
        return failure(std::move(*difference));
    if (!data.file)
        return failure(Error::alreadyStopped());
    const int descriptor = data.file->descriptor();
    const auto held = saved.progressData->copy();
    held->forgetFrom(std::max<std::int64_t>(Disk::lengthOf(descriptor), 0));
    std::mt19937_64 random(std::random_device{}());
    for (const auto& place : placesToCompare(*held, random)) {
        const auto there = m_fetch.run({found.url, found.auth, facts.referer, facts.headers},
                                       {found.contentLength, found.validator}, place);
        if (!there)
            return failure(asRefusal(there.error()));
        const auto here =
            Disk::readAt(descriptor, place.lowerBound, static_cast<std::size_t>(place.size()), data.path);
        if (!here)
            return failure(writeFailure(here.error()));
        if (*here != *there)
            return failure(addressRefused("tr.err.address-bytes"));
    }
    return {};
}

} // namespace tarvo
