// What went wrong, as a value: who says so (domain), which case (code), and sentences for a person.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <tl/expected.hpp>

namespace tarvo {

/// The domains of all errors of the program. A code means something only within its domain.
namespace ErrorDomain {
/// Codes: RemoteFileError.
inline constexpr std::string_view RemoteFile = "com.unregistered.Tarvo.RemoteFile";
/// Codes: TarvoError.
inline constexpr std::string_view Tarvo = "com.unregistered.tarvo.error";
/// Codes: libcurl's CURLcode.
inline constexpr std::string_view CurlSegment = "com.unregistered.Tarvo.CurlSegmentError";
/// Codes: HTTP status, 400 and above.
inline constexpr std::string_view CurlHttp = "com.unregistered.Tarvo.CurlHttpError";
/// Codes: errno.
inline constexpr std::string_view Posix = "POSIX";
} // namespace ErrorDomain

/// Codes of ErrorDomain::RemoteFile.
enum RemoteFileError : std::int64_t {
    kRemoteFileProgressMismatch = 0,
    kRemoteFileSaveWithFault = 1,
    kRemoteFileWriteFailure = 3,
    kRemoteFileIllegalState = 4,
    kRemoteFileAuthenticationErrorCode = 5,
    HTMLPageErrorCode = 6,
    kRemoteFileFtpDirectory = 7,
    kRemoteFileAlreadyComplete = 9,
    kRemoteFileFolderAway = 10,
    kRemoteFileAddressRefused = 11,
};

/// Codes of ErrorDomain::Tarvo.
enum TarvoError : std::int64_t {
    kTarvoGeneral = 0,
    kTarvoUnexpectedSegmentSize = 10,
    kTarvoChangedOnServer = 11,
    kTarvoWrongChecksum = 12,
    kTarvoSchedulerTimeout = 100,
    kTarvoBadApiCall = 1032,
    kTarvoDuplicateEntry = 9000,
};

/// An error value. Copying it is cheap enough; it is never changed once made.
struct Error {
    std::string domain;
    std::int64_t code = 0;
    std::string description;        ///< one sentence: what was tried, on what, and why it failed
    std::string recoverySuggestion; ///< what the user can do; may be empty
    std::int64_t retryAfter = 0; ///< seconds in which a server does not want to be asked again; 0: not said

    bool is(std::string_view someDomain, std::int64_t someCode) const {
        return domain == someDomain && code == someCode;
    }

    /// The description, or domain and code where there is none, followed by the recovery suggestion.
    std::string sentence() const;

    /// A failed system call: `operation` is what was tried ("write", "remove"), `place` the path. An
    /// operation that has no sentence of its own is named in English.
    static Error posix(int errorNumber, std::string_view operation, std::string_view place);

    /// ErrorDomain::Tarvo, kTarvoGeneral. `text` and `hint`, which may be empty, are in the user's language.
    static Error tarvo(std::string text, std::string hint = {});

    /// What a job answers that was stopped before the step in question: kRemoteFileIllegalState.
    static Error alreadyStopped();

    /// An error whose description is the localised text of `key`, and whose suggestion that of
    /// `recoveryKey` if one is given.
    static Error localized(std::string_view domain, std::int64_t code, std::string_view key,
                           std::string_view recoveryKey = {});
};

/// A value or the reason why there is none. Nothing is thrown across a function boundary.
template <class T>
using Result = tl::expected<T, Error>;

inline tl::unexpected<Error> failure(Error error) {
    return tl::unexpected<Error>(std::move(error));
}

} // namespace tarvo
