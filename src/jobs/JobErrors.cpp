#include "jobs/JobErrors.h"

#include "base/Localized.h"
#include "base/Readable.h"
#include "engine/transfer/RangeAnswer.h"

#include <cerrno>

#include <curl/curl.h>

namespace tarvo {

Error remoteFileError(RemoteFileError code, std::string_view key, std::string_view recoveryKey) {
    return Error::localized(ErrorDomain::RemoteFile, code, key, recoveryKey);
}

Error illegalState() {
    return remoteFileError(kRemoteFileIllegalState, "tr.err.illegal-state");
}

Error saveWithFault() {
    return remoteFileError(kRemoteFileSaveWithFault, "tr.err.save-with-fault");
}

Error incomplete() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.incomplete",
                            "tr.err.incomplete-recovery");
}

Error unexpectedSegmentSize() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoUnexpectedSegmentSize, "tr.err.unexpected-segment-size",
                            "tr.err.unexpected-segment-size-recovery");
}

Error tooLarge(std::int64_t size, std::int64_t largest) {
    return {std::string(ErrorDomain::CurlSegment), CURLE_FILESIZE_EXCEEDED,
            localized("tr.err.too-large", {readableSize(size), readableSize(largest)}), ""};
}

Error changedOnServer() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoChangedOnServer, "tr.err.changed-on-server",
                            "tr.err.changed-on-server-recovery");
}

Error writeFailure(const Error& cause) {
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileWriteFailure, cause.description,
            cause.recoverySuggestion};
}

Error dataFileShrank(const std::string& path) {
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileWriteFailure,
            localized("tr.err.data-file-shrank", {path}), localized("tr.err.data-file-shrank-recovery")};
}

Error bundleInUse(const std::string& bundle) {
    return {std::string(ErrorDomain::Posix), EWOULDBLOCK, localized("tr.err.bundle-in-use", {bundle}),
            localized("tr.err.bundle-in-use-recovery")};
}

Error folderAway(const std::string& folder) {
    return {std::string(ErrorDomain::RemoteFile), kRemoteFileFolderAway,
            localized("tr.err.folder-away", {folder}), localized("tr.err.folder-away-recovery")};
}

bool canHeal(const Error& error) {
    return !isFinalRefusal(error) && !error.is(ErrorDomain::RemoteFile, kRemoteFileAuthenticationErrorCode) &&
           !error.is(ErrorDomain::RemoteFile, HTMLPageErrorCode) &&
           !error.is(ErrorDomain::RemoteFile, kRemoteFileAddressRefused) &&
           !error.is(ErrorDomain::RemoteFile, kRemoteFileFtpDirectory) &&
           !error.is(ErrorDomain::Tarvo, kTarvoWrongChecksum);
}

Error becauseOf(std::string_view key, const Error& cause) {
    return {cause.domain, cause.code, localized(key) + " " + cause.description, cause.recoverySuggestion};
}

} // namespace tarvo
