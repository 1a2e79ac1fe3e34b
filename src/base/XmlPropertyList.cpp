// Property lists in XML: the subset of it that they need, read from tag to tag.
#include "base/PropertyListForms.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

#include <QByteArray>
#include <QString>

namespace tarvo {

namespace {

using Kind = PropertyList::Kind;
using Value = PropertyList::Value;

constexpr std::string_view kBlanks = " \t\r\n";

template <typename Number>
std::optional<Number> numberIn(std::string_view text, int base = 10) {
    Number value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, fault] = std::from_chars(text.data(), end, value, base);
    return fault == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

/// The character that "&NAME;" stands for (XML 1.0, sections 4.1 and 4.6).
std::optional<char32_t> characterNamed(std::string_view name) {
    constexpr std::pair<std::string_view, char32_t> named[] = {
        {"lt", U'<'}, {"gt", U'>'}, {"amp", U'&'}, {"quot", U'"'}, {"apos", U'\''}};
    for (const auto& [known, character] : named)
        if (name == known)
            return character;
    if (!name.starts_with('#'))
        return std::nullopt;
    const bool isHex = name.starts_with("#x");
    const auto number = numberIn<std::uint32_t>(name.substr(isHex ? 2 : 1), isHex ? 16 : 10);
    return number && *number >= 1 && *number <= 0x10FFFF ? std::optional<char32_t>(*number) : std::nullopt;
}

/// `text` with its entities replaced; none where one is unknown.
std::optional<std::string> unescaped(std::string_view text) {
    constexpr std::size_t longest = 12;
    std::string plain;
    for (;;) {
        const std::size_t at = std::min(text.find('&'), text.size());
        plain += text.substr(0, at);
        text.remove_prefix(at);
        if (text.empty())
            return plain;
        const std::size_t end = text.substr(0, longest).find(';');
        const auto character =
            end == std::string_view::npos ? std::nullopt : characterNamed(text.substr(1, end - 1));
        if (!character)
            return std::nullopt;
        plain += QString::fromUcs4(&*character, 1).toStdString();
        text.remove_prefix(end + 1);
    }
}

std::optional<std::string> decoded(std::string_view base64) {
    QByteArray digits(base64.data(), static_cast<qsizetype>(base64.size()));
    digits.removeIf([](char c) { return kBlanks.find(c) != std::string_view::npos; });
    const auto result =
        QByteArray::fromBase64Encoding(std::move(digits), QByteArray::AbortOnBase64DecodingErrors);
    return result ? std::optional(result.decoded.toStdString()) : std::nullopt;
}

/// Reads an XML list from tag to tag; the first value is the root.
class XmlReader {
public:
    XmlReader(std::string_view bytes, std::vector<Value>& values) : m_rest(bytes), m_values(values) {}

    Problem read() {
        if (auto problem = enter())
            return problem;
        do {
            if (auto problem = step())
                return problem;
        } while (!m_open.empty());
        skipBlanks();
        if (!take("</plist>"))
            return "tr.archive.no-end";
        skipBlanks();
        return m_rest.empty() ? std::nullopt : Problem("tr.archive.more-follows");
    }

private:
    void skipBlanks() { m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kBlanks), m_rest.size())); }

    bool take(std::string_view expected) {
        if (!m_rest.starts_with(expected))
            return false;
        m_rest.remove_prefix(expected.size());
        return true;
    }

    /// Takes all up to and including `end`; none when it is missing or something forbidden comes first.
    bool takeUntil(std::string_view end, std::string_view forbidden) {
        const std::size_t at = m_rest.find(end);
        if (at == std::string_view::npos ||
            m_rest.substr(0, at).find_first_of(forbidden) != std::string_view::npos)
            return false;
        m_rest.remove_prefix(at + end.size());
        return true;
    }

    Problem enter() {
        skipBlanks();
        if (take("<?xml") && !takeUntil("?>", "<>"))
            return "tr.archive.declaration-broken";
        skipBlanks();
        if (take("<!DOCTYPE") && !takeUntil(">", "<[&"))
            return "tr.archive.document-type-broken";
        skipBlanks();
        const bool isList = take("<plist>") || (take("<plist ") && takeUntil(">", "</>"));
        return isList ? std::nullopt : Problem("tr.archive.no-list");
    }

    Problem step() {
        skipBlanks();
        if (!take("<"))
            return "tr.archive.tag-missing";
        const std::size_t end = m_rest.find('>');
        if (end == std::string_view::npos)
            return "tr.archive.cut-off";
        std::string_view name = m_rest.substr(0, end);
        m_rest.remove_prefix(end + 1);
        if (name.starts_with('/'))
            return close(name.substr(1));
        const bool isEmpty = name.ends_with('/');
        if (isEmpty)
            name.remove_suffix(1);
        if (auto problem = makeRoom(name == "key"))
            return problem;
        return name == "dict" || name == "array" ? open(name == "dict", isEmpty) : scalar(name, isEmpty);
    }

    /// The next value is to be one of the innermost open container's.
    Problem makeRoom(bool isKey) {
        if (m_values.size() == PropertyListLimit::kValues)
            return PropertyListProblem::kTooMany;
        Value* around = m_open.empty() ? nullptr : &m_values[m_open.back()];
        const bool isInDictionary = around && around->kind == Kind::dictionary;
        if (isKey != (isInDictionary && around->parts.size() % 2 == 0))
            return "tr.archive.key-misplaced";
        if (isInDictionary && around->parts.size() == 2 * PropertyListLimit::kDictionaryEntries)
            return PropertyListProblem::kTooWide;
        if (around)
            around->parts.push_back(static_cast<std::uint32_t>(m_values.size()));
        return std::nullopt;
    }

    Problem open(bool isDictionary, bool isEmpty) {
        if (!isEmpty)
            m_open.push_back(m_values.size());
        m_values.emplace_back().kind = isDictionary ? Kind::dictionary : Kind::array;
        return std::nullopt;
    }

    Problem close(std::string_view name) {
        const Value* around = m_open.empty() ? nullptr : &m_values[m_open.back()];
        if (!around || name != (around->kind == Kind::dictionary ? "dict" : "array"))
            return "tr.archive.end-tag-alone";
        if (around->kind == Kind::dictionary && around->parts.size() % 2 != 0)
            return "tr.archive.value-missing";
        m_open.pop_back();
        return std::nullopt;
    }

    Problem scalar(std::string_view name, bool isEmpty) {
        std::string_view content;
        if (!isEmpty) {
            content = m_rest.substr(0, m_rest.find('<'));
            m_rest.remove_prefix(content.size());
            if (!take("</") || !take(name) || !take(">"))
                return "tr.archive.end-tag-missing";
        }
        auto value = valueOf(name, content);
        if (!value)
            return "tr.archive.value-malformed";
        m_values.push_back(std::move(*value));
        return std::nullopt;
    }

    static std::optional<Value> valueOf(std::string_view name, std::string_view content) {
        if (name == "integer") {
            const auto number = numberIn<std::int64_t>(content);
            return number ? std::optional(Value{Kind::integer, *number, {}, {}}) : std::nullopt;
        }
        if ((name == "true" || name == "false") && content.empty())
            return Value{Kind::boolean, name == "true", {}, {}};
        if (name == "real")
            return Value{Kind::real, 0, {}, {}};
        if (name != "string" && name != "key" && name != "data")
            return std::nullopt;
        auto bytes = name == "data" ? decoded(content) : unescaped(content);
        const Kind kind = name == "data" ? Kind::data : Kind::text;
        return bytes ? std::optional(Value{kind, 0, std::move(*bytes), {}}) : std::nullopt;
    }

    std::string_view m_rest;
    std::vector<Value>& m_values;
    std::vector<std::size_t> m_open; // places of the containers around the next value
};

} // namespace

Problem readXmlPropertyList(std::string_view bytes, std::vector<PropertyList::Value>& values) {
    return XmlReader(bytes, values).read();
}

} // namespace tarvo
