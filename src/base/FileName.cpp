#include "base/FileName.h"

#include <algorithm>

#include <QString>

namespace tarvo {

namespace {

/// The explicit overrides and isolates of Unicode Annex 9, section 2: they make a name show as another one.
bool turnsTheText(QChar character) {
    return (character >= QChar(0x202a) && character <= QChar(0x202e)) ||
           (character >= QChar(0x2066) && character <= QChar(0x2069));
}

bool isUnsafe(QChar character) {
    return character.category() == QChar::Other_Control || turnsTheText(character) ||
           QStringView(u":/\\?%*|\"<>").contains(character);
}

} // namespace

std::string cutToBytes(std::string text, std::size_t limit) {
    if (text.size() <= limit)
        return text;
    // 10xxxxxx is the inside of a character (RFC 3629, section 3).
    while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xc0) == 0x80)
        --limit;
    text.resize(limit);
    return text;
}

namespace {

/// What tells the kind of file: from the last dot on, with a ".tar" before it; empty where that is too long
/// for one.
std::string_view endingOf(std::string_view name) {
    constexpr std::size_t longest = 12;
    constexpr std::string_view archive = ".tar";
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || name.size() - dot > longest)
        return {};
    const bool isArchive = name.substr(0, dot).ends_with(archive);
    return name.substr(isArchive ? dot - archive.size() : dot);
}

std::string cutBeforeExtension(const std::string& name, std::size_t limit) {
    const std::string ending(endingOf(name));
    if (name.size() <= limit || ending.size() >= limit)
        return cutToBytes(name, limit);
    return cutToBytes(name.substr(0, name.size() - ending.size()), limit - ending.size()) + ending;
}

} // namespace

std::string cleanFileName(const std::optional<std::string>& name, std::string_view extension) {
    if (!name)
        return "Error";
    QString text = QString::fromStdString(*name);
    std::replace_if(text.begin(), text.end(), isUnsafe, QChar(u'_'));
    qsizetype dots = 0;
    while (dots < text.size() && text.at(dots) == u'.')
        ++dots;
    // A character never has more UTF-16 units than bytes, so what fits in bytes fits.
    return cutBeforeExtension(text.mid(dots).toStdString(), kLongestName - 1 - extension.size());
}

std::string renamedFileOrBareFile(const std::string& name, int version, std::size_t reserved) {
    if (version < 2)
        return name;
    const std::size_t dot = name.rfind('.');
    const std::string stem = name.substr(0, dot);
    const std::string tail =
        " (" + std::to_string(version) + ")" + (dot == std::string::npos ? "" : name.substr(dot));
    const std::size_t taken = tail.size() + reserved;
    if (taken >= kLongestName) // an "extension" as long as a name: it is the part to be cut
        return cutToBytes(stem + tail, kLongestName - reserved);
    return cutToBytes(stem, kLongestName - taken) + tail;
}

Error noFreeName() {
    return Error::localized(ErrorDomain::Tarvo, kTarvoGeneral, "tr.err.could-not-rename-file");
}

} // namespace tarvo
