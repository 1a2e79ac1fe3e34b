#include "jobs/Checksum.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "base/Localized.h"
#include "base/Text.h"

namespace tarvo {

namespace {

struct Kind {
    Checksum::Algorithm algorithm;
    std::string_view name;
    std::size_t digits;
};

constexpr std::array<Kind, 4> kKinds{{{Checksum::Algorithm::md5, "md5", 32},
                                      {Checksum::Algorithm::sha1, "sha1", 40},
                                      {Checksum::Algorithm::sha256, "sha256", 64},
                                      {Checksum::Algorithm::sha512, "sha512", 128}}};

std::optional<Checksum> withDigits(const Kind& kind, std::string_view digits) {
    const bool isHex =
        std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
    return isHex && digits.size() == kind.digits ? std::optional(Checksum{kind.algorithm, lowered(digits)})
                                                 : std::nullopt;
}

std::optional<Checksum> ofDigits(std::string_view digits) {
    for (const Kind& kind : kKinds) {
        if (auto found = withDigits(kind, digits))
            return found;
    }
    return std::nullopt;
}

} // namespace

std::optional<Checksum> Checksum::parse(const std::string& text) {
    const auto equals = text.find('=');
    for (const Kind& kind : kKinds) {
        if (equals != std::string::npos && text.substr(0, equals) == kind.name)
            return withDigits(kind, std::string_view(text).substr(equals + 1));
    }
    return std::nullopt;
}

std::optional<Checksum> Checksum::read(const std::string& text) {
    std::string plain = lowered(trimmed(text));
    const auto sign = plain.find_first_of("=:");
    if (sign == std::string::npos)
        return ofDigits(plain);
    plain[sign] = '=';
    std::erase(plain, '-');
    return parse(plain);
}

std::optional<Checksum> Checksum::guess(const std::string& text) {
    const std::string_view digits = trimmed(text);
    auto found = ofDigits(digits);
    if (!found)
        found = parse(lowered(digits));
    return found && found->algorithm != Algorithm::sha512 ? found : std::nullopt;
}

std::string Checksum::text() const {
    return nameOf(algorithm) + "=" + digest;
}

std::string Checksum::nameOf(Algorithm algorithm) {
    return std::string(kKinds.at(static_cast<std::size_t>(algorithm)).name);
}

std::optional<std::string> digestOf(const std::string& path, Checksum::Algorithm algorithm,
                                    const std::weak_ptr<TRFileHashDelegate>& watch) {
    TRFileHash hash(path, watch);
    switch (algorithm) {
    case Checksum::Algorithm::md5:
        return hash.computeMD5();
    case Checksum::Algorithm::sha1:
        return hash.computeSHA1();
    case Checksum::Algorithm::sha256:
        break;
    case Checksum::Algorithm::sha512:
        return hash.computeSHA512();
    }
    return hash.computeSHA256();
}

Error wrongChecksum(const std::string& path, const std::optional<std::string>& found, const Checksum& wanted,
                    std::string_view recoveryKey) {
    return {std::string(ErrorDomain::Tarvo), kTarvoWrongChecksum,
            localized("tr.err.checksum",
                      {path, found ? *found : localized("tr.get.digest-unreadable"), wanted.digest}),
            localized(recoveryKey)};
}

bool isKnownToDiffer(const std::string& digest, const std::optional<Checksum>& wanted) {
    const auto found = Checksum::parse(digest);
    return found && wanted && found->algorithm == wanted->algorithm && *found != *wanted;
}

} // namespace tarvo
