#include "base/Error.h"

#include "base/Localized.h"

#include <cerrno>
#include <system_error>

namespace tarvo {

std::string Error::sentence() const {
    std::string text = description.empty() ? domain + " error " + std::to_string(code) : description;
    if (!recoverySuggestion.empty())
        text += " " + recoverySuggestion;
    return text;
}

Error Error::posix(int errorNumber, std::string_view operation, std::string_view place) {
    std::string text = "Could not " + std::string(operation) + " \"" + std::string(place) +
                       "\": " + std::generic_category().message(errorNumber) + ".";
    std::string suggestion;
    if (errorNumber == ENOSPC || errorNumber == EDQUOT)
        suggestion = tarvo::localized("tr.err.disk-full-recovery");
    return {std::string(ErrorDomain::Posix), errorNumber, std::move(text), std::move(suggestion)};
}

Error Error::tarvo(std::string text, std::string hint) {
    return {std::string(ErrorDomain::Tarvo), kTarvoGeneral, std::move(text), std::move(hint)};
}

Error Error::alreadyStopped() {
    return localized(ErrorDomain::RemoteFile, kRemoteFileIllegalState, "tr.err.already-stopped");
}

Error Error::localized(std::string_view domain, std::int64_t code, std::string_view key,
                       std::string_view recoveryKey) {
    return {std::string(domain), code, tarvo::localized(key),
            recoveryKey.empty() ? std::string() : tarvo::localized(recoveryKey)};
}

} // namespace tarvo
