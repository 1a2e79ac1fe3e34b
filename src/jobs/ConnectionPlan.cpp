#include "jobs/ConnectionPlan.h"

#include "engine/progress/ConnectionWorth.h"

#include <algorithm>

namespace tarvo {

namespace {

/// So much before a hole is fetched again, to see whether the server still has what lies before it.
constexpr std::int64_t kProof = 64 * 1024;

/// Where the proof of the bytes before `hole` begins: no earlier than the done range that ends there.
std::int64_t startOfProof(const ProgressData& record, std::int64_t hole) {
    for (const auto& done : record.readout()) {
        if (done->upperBound == hole)
            return std::max(done->lowerBound, hole - kProof);
    }
    return hole;
}

HandleCreator creatorFor(const DownloadSource& source, const AdoptedRecord& record,
                         const JobEnvironment& environment) {
    const CurlRequest request{
        .url = source.url, .authToken = source.auth, .referer = source.referer, .headers = source.headers};
    return {record.data, request, {}, environment.transfers};
}

/// Of those that are wanted; the others join in where that pays.
std::int64_t connectionsToBeginWith(const DownloadSource& source, const AdoptedRecord& record,
                                    const JobEnvironment& environment) {
    const TransferEnvironment& transfers = environment.transfers;
    const std::int64_t missing = record.data->sizeInBytes - record.data->totalBytesDownloaded();
    const auto open = transfers.connectionPools->openConnections(source.url, source.auth.get());
    return connectionsWorth(missing, source.connections, static_cast<std::int64_t>(open),
                            transfers.paces->of(source.url));
}

/// Has the connection bring nothing of another version than the record's.
void guard(CurlDownloader& connection, const AdoptedRecord& record) {
    CurlRequest& request = connection.segment().request();
    request.ifRange = record.validator.ifRange();
    if (record.unproven.contains(request.lowerBound))
        connection.beginAt(startOfProof(*record.data, request.lowerBound));
}

} // namespace

bool fetchesParts(const DownloadSource& source, const AdoptedRecord& record) {
    constexpr std::int64_t mostChanges = 2;
    return source.supportsParts && record.timesChanged < mostChanges;
}

HandleCreator::Handles connectionsFor(const DownloadSource& source, const AdoptedRecord& record,
                                      const JobEnvironment& environment) {
    const HandleCreator creator = creatorFor(source, record, environment);
    auto connections = fetchesParts(source, record)
                           ? creator.createHandles(connectionsToBeginWith(source, record, environment))
                           : creator.createWholeHandle();
    for (const auto& connection : connections)
        guard(*connection, record);
    return connections;
}

std::shared_ptr<CurlDownloader> connectionFor(const ByteRange& range, const DownloadSource& source,
                                              const AdoptedRecord& record,
                                              const JobEnvironment& environment) {
    auto connection = creatorFor(source, record, environment).createHandle(range);
    guard(*connection, record);
    return connection;
}

} // namespace tarvo
