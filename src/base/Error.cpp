#include "base/Error.h"

#include "base/Localized.h"

#include <cerrno>
#include <system_error>
#include <utility>

namespace tarvo {

namespace {

/// What was tried, and the whole sentence about its failure: a verb alone fits no sentence of another
/// language.
constexpr std::pair<std::string_view, std::string_view> kSentences[] = {
    {"ask the running program at", "tr.err.could-not.ask-the-running-program-at"},
    {"copy", "tr.err.could-not.copy"},
    {"create", "tr.err.could-not.create"},
    {"create the folder", "tr.err.could-not.create-the-folder"},
    {"flush", "tr.err.could-not.flush"},
    {"flush the folder", "tr.err.could-not.flush-the-folder"},
    {"listen at", "tr.err.could-not.listen-at"},
    {"lock", "tr.err.could-not.lock"},
    {"make", "tr.err.could-not.make"},
    {"move the download to", "tr.err.could-not.move-the-download-to"},
    {"open", "tr.err.could-not.open"},
    {"open the bundle", "tr.err.could-not.open-the-bundle"},
    {"open the working folder", "tr.err.could-not.open-the-working-folder"},
    {"read", "tr.err.could-not.read"},
    {"read the folder", "tr.err.could-not.read-the-folder"},
    {"remove", "tr.err.could-not.remove"},
    {"replace", "tr.err.could-not.replace"},
    {"set the length of", "tr.err.could-not.set-the-length-of"},
    {"write", "tr.err.could-not.write"},
};

std::string failedCall(std::string_view operation, const std::string& place, const std::string& reason) {
    for (const auto& [known, key] : kSentences)
        if (operation == known)
            return localized(key, {place, reason});
    return localized("tr.err.could-not", {std::string(operation), place, reason});
}

} // namespace

std::string Error::sentence() const {
    std::string text = description.empty() ? domain + " error " + std::to_string(code) : description;
    if (!recoverySuggestion.empty())
        text += " " + recoverySuggestion;
    return text;
}

Error Error::posix(int errorNumber, std::string_view operation, std::string_view place) {
    std::string text =
        failedCall(operation, std::string(place), std::generic_category().message(errorNumber));
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
