// The door check for property lists, format by format; nothing here recurses.
#include "base/PropertyListGuard.h"

#include "base/Localized.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string>
#include <vector>

#include <QStringDecoder>

namespace tarvo {

namespace {

using Reason = std::optional<std::string_view>; // none: nothing wrong so far

constexpr std::uint64_t kMostMovedBytes = 8'000'000'000; // about two seconds
constexpr std::string_view kBlanks = " \t\r\n";

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool isPlainInteger(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, fault] = std::from_chars(text.data(), text.data() + text.size(), value);
    const std::string_view digits = startsWith(text, "-") ? text.substr(1) : text;
    // The parser behind takes a leading zero for octal.
    return fault == std::errc() && end == text.data() + text.size() &&
           (digits == "0" || !startsWith(digits, "0"));
}

bool isPlainText(std::string_view text) {
    constexpr std::array<std::string_view, 5> kEntities = {"&lt;", "&gt;", "&amp;", "&quot;", "&apos;"};
    for (std::size_t at = text.find('&'); at != std::string_view::npos; at = text.find('&', at + 1)) {
        const std::string_view rest = text.substr(at);
        const bool named = std::any_of(kEntities.begin(), kEntities.end(),
                                       [rest](std::string_view entity) { return startsWith(rest, entity); });
        if (named)
            continue;
        if (!startsWith(rest, "&#"))
            return false;
        const std::size_t prefix = startsWith(rest, "&#x") ? 3 : 2;
        const std::size_t end = rest.substr(0, 12).find(';');
        if (end == std::string_view::npos)
            return false;
        const std::string_view digits = rest.substr(prefix, end - prefix);
        std::uint32_t character = 0;
        const auto [stop, fault] =
            std::from_chars(digits.data(), digits.data() + digits.size(), character, prefix == 3 ? 16 : 10);
        if (fault != std::errc() || stop != digits.data() + digits.size() || character < 1 ||
            character > 0x10FFFF)
            return false;
    }
    return true;
}

bool isAscii(std::string_view text) {
    return std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
}

bool isBase64(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
               c == '/' || c == '=' || kBlanks.find(c) != std::string_view::npos;
    });
}

/// Walks an XML property list from tag to tag.
class XmlGuard {
public:
    explicit XmlGuard(std::string_view bytes) : m_rest(bytes) {}

    Reason judge() {
        if (auto reason = enter())
            return reason;
        do {
            if (auto reason = step())
                return reason;
        } while (!m_open.empty());
        skipBlanks();
        if (!take("</plist>"))
            return "the list does not end after its value";
        skipBlanks();
        if (!m_rest.empty())
            return "something follows the list";
        return std::nullopt;
    }

private:
    struct Container {
        bool isDictionary = false;
        bool awaitsValue = false; // a key has been read
        std::uint64_t entries = 0;
    };

    void skipBlanks() { m_rest.remove_prefix(std::min(m_rest.find_first_not_of(kBlanks), m_rest.size())); }

    bool take(std::string_view expected) {
        if (!startsWith(m_rest, expected))
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

    Reason enter() {
        skipBlanks();
        if (take("<?xml") && !takeUntil("?>", "<>"))
            return "its declaration is broken";
        skipBlanks();
        if (take("<!DOCTYPE") && !takeUntil(">", "<[&"))
            return "its document type is broken";
        skipBlanks();
        const bool isList = take("<plist>") || (take("<plist ") && takeUntil(">", "</>"));
        return isList ? std::nullopt : Reason("it is no property list");
    }

    Reason step() {
        skipBlanks();
        if (!take("<"))
            return "a tag is missing";
        const std::size_t end = m_rest.find('>');
        if (end == std::string_view::npos)
            return "it is cut off";
        const std::string_view tag = m_rest.substr(0, end);
        m_rest.remove_prefix(end + 1);
        if (startsWith(tag, "/"))
            return close(tag.substr(1));
        if (++m_nodes > PropertyListLimit::kNodes)
            return "it holds too many values";
        if (tag == "key")
            return key();
        if (auto reason = beginValue())
            return reason;
        if (tag == "dict" || tag == "array")
            return open(tag == "dict");
        if (tag == "dict/" || tag == "array/" || tag == "string/" || tag == "data/" || tag == "true/" ||
            tag == "false/")
            return std::nullopt;
        return scalar(tag);
    }

    /// A value may stand here; the dictionary around it has its key.
    Reason beginValue() {
        if (m_open.empty() || !m_open.back().isDictionary)
            return std::nullopt;
        if (!m_open.back().awaitsValue)
            return "a key is missing";
        m_open.back().awaitsValue = false;
        return std::nullopt;
    }

    Reason key() {
        if (m_open.empty() || !m_open.back().isDictionary || m_open.back().awaitsValue)
            return "a key stands where none belongs";
        m_open.back().awaitsValue = true;
        if (++m_open.back().entries > PropertyListLimit::kDictionaryEntries)
            return "a dictionary is too large";
        return scalar("key");
    }

    Reason open(bool isDictionary) {
        if (m_open.size() == PropertyListLimit::kDepth)
            return "it is nested too deeply";
        m_open.push_back({isDictionary, false, 0});
        return std::nullopt;
    }

    Reason close(std::string_view name) {
        if (m_open.empty() || name != (m_open.back().isDictionary ? "dict" : "array"))
            return "an end tag has no start";
        if (m_open.back().awaitsValue)
            return "a value is missing";
        m_open.pop_back();
        return std::nullopt;
    }

    Reason scalar(std::string_view name) {
        const std::size_t end = m_rest.find('<');
        if (end == std::string_view::npos)
            return "it is cut off";
        const std::string_view content = m_rest.substr(0, end);
        m_rest.remove_prefix(end);
        if (!take("</") || !take(name) || !take(">"))
            return "an end tag is missing";
        // libplist moves the rest of the text for each entity that it replaces.
        m_movedBytes += static_cast<std::uint64_t>(std::count(content.begin(), content.end(), '&')) * end;
        if (m_movedBytes > kMostMovedBytes)
            return "it holds too many entities";
        const bool good =
            ((name == "string" || (name == "key" && !content.empty())) && isPlainText(content)) ||
            (name == "integer" && isPlainInteger(content)) || (name == "data" && isBase64(content)) ||
            (name == "real" && content.size() < 64);
        return good ? std::nullopt : Reason("a value is malformed");
    }

    std::string_view m_rest;
    std::vector<Container> m_open;
    std::uint64_t m_nodes = 0;
    std::uint64_t m_movedBytes = 0;
};

/// Walks the objects of a binary property list from its root, each once, and adds up what they become when
/// every reference is replaced by a copy.
class BinaryGuard {
public:
    explicit BinaryGuard(std::string_view bytes) : m_bytes(bytes) {}

    Reason judge() {
        if (auto reason = readTrailer())
            return reason;
        if (auto reason = visit(m_root))
            return reason;
        while (!m_path.empty()) {
            if (auto reason = step())
                return reason;
        }
        const Extent& all = m_extents[m_root];
        const bool fits = all.nodes <= PropertyListLimit::kNodes && all.bytes <= PropertyListLimit::kBytes;
        return fits ? std::nullopt : Reason("it grows too large when it is read");
    }

private:
    /// What an object weighs with everything below it. Saturates just above the limits.
    struct Extent {
        std::uint64_t nodes = 0; // 0: not known yet
        std::uint64_t bytes = 0;
        std::uint32_t height = 0;
        bool isOpen = false; // stands on the path, so that a reference to it would be a circle
    };

    /// An object as its first bytes describe it.
    struct Item {
        unsigned kind = 0;        // high half of the marker byte
        std::uint64_t begin = 0;  // of its payload
        std::uint64_t length = 0; // of its payload, in bytes
        std::uint64_t count = 0;  // of its elements, where it is a container

        std::uint64_t references() const { return kind == 0xD ? 2 * count : kind == 0xA ? count : 0; }
    };

    struct Visit {
        std::uint64_t object = 0;
        Item item;
        std::uint64_t next = 0; // the reference to follow next
    };

    std::uint64_t number(std::uint64_t at, unsigned size) const {
        std::uint64_t value = 0;
        for (unsigned i = 0; i < size; ++i)
            value = value << 8 | static_cast<unsigned char>(m_bytes[at + i]);
        return value;
    }

    Reason readTrailer() {
        constexpr std::size_t kTrailer = 32;
        constexpr std::size_t kMagic = 8;
        if (m_bytes.size() < kMagic + 1 + kTrailer)
            return "it is cut off";
        const std::size_t trailer = m_bytes.size() - kTrailer;
        m_offsetSize = static_cast<unsigned>(number(trailer + 6, 1));
        m_referenceSize = static_cast<unsigned>(number(trailer + 7, 1));
        m_count = number(trailer + 8, 8);
        m_root = number(trailer + 16, 8);
        m_table = number(trailer + 24, 8);
        const bool sane = m_offsetSize >= 1 && m_offsetSize <= 8 && m_referenceSize >= 1 &&
                          m_referenceSize <= 8 && m_count <= PropertyListLimit::kNodes && m_root < m_count &&
                          m_table > kMagic && m_table <= trailer &&
                          m_count * m_offsetSize <= trailer - m_table;
        if (!sane)
            return "its table of objects is broken";
        m_extents.resize(m_count);
        return std::nullopt;
    }

    /// Reads the marker of an object and, where one follows, its length.
    std::optional<Item> itemOf(std::uint64_t object) const {
        std::uint64_t at = number(m_table + object * m_offsetSize, m_offsetSize);
        if (at < 8 || at >= m_table)
            return std::nullopt;
        const auto marker = static_cast<unsigned>(number(at++, 1));
        const unsigned low = marker & 0xF;
        Item item;
        item.kind = marker >> 4;
        switch (item.kind) {
        case 0x0:
            if (low != 8 && low != 9)
                return std::nullopt;
            break;
        case 0x1:
            if (low > 3)
                return std::nullopt;
            item.length = 1u << low;
            break;
        case 0x2:
            if (low != 2 && low != 3)
                return std::nullopt;
            item.length = 1u << low;
            break;
        case 0x8:
            if (low > 7)
                return std::nullopt;
            item.length = low + 1;
            break;
        case 0x4:
        case 0x5:
        case 0x6:
        case 0xA:
        case 0xD:
            if (!readCount(low, at, item))
                return std::nullopt;
            break;
        default:
            return std::nullopt;
        }
        item.begin = at;
        if (item.length > m_table - at)
            return std::nullopt;
        return item;
    }

    bool readCount(unsigned low, std::uint64_t& at, Item& item) const {
        item.count = low;
        if (low == 0xF) {
            if (at >= m_table || number(at, 1) < 0x10 || number(at, 1) > 0x13)
                return false;
            const unsigned size = 1u << (number(at++, 1) & 0xF);
            if (size > m_table - at)
                return false;
            item.count = number(at, size);
            at += size;
        }
        if (item.count > m_bytes.size())
            return false;
        if (item.kind == 0xD && item.count > PropertyListLimit::kDictionaryEntries)
            return false;
        const bool isContainer = item.kind == 0xA || item.kind == 0xD;
        item.length =
            isContainer ? item.references() * m_referenceSize : item.count * (item.kind == 0x6 ? 2 : 1);
        return true;
    }

    /// Weighs `object` at once where it has nothing below it; otherwise puts it on the path.
    Reason visit(std::uint64_t object) {
        const auto item = itemOf(object);
        if (!item)
            return "an object is broken";
        // Several objects may share the same bytes: bound the work, not only the result.
        m_visitedBytes += item->length;
        if (m_visitedBytes > PropertyListLimit::kBytes)
            return "it grows too large when it is read";
        if (item->kind == 0x5 && !isAscii(m_bytes.substr(item->begin, item->length)))
            return "a text is malformed";
        Extent& extent = m_extents[object];
        extent.nodes = 1;
        if (item->kind == 0xA || item->kind == 0xD) {
            if (m_path.size() == PropertyListLimit::kDepth)
                return "it is nested too deeply";
            extent.height = 1;
            extent.isOpen = true;
            m_path.push_back({object, *item, 0});
        } else {
            extent.bytes = item->length;
        }
        return std::nullopt;
    }

    /// Follows one more reference of the innermost open container, or closes it.
    Reason step() {
        Visit& top = m_path.back();
        Extent& extent = m_extents[top.object];
        if (top.next == top.item.references()) {
            extent.isOpen = false;
            m_path.pop_back();
            return std::nullopt;
        }
        if (++m_steps > 2 * PropertyListLimit::kNodes) // a reference to a container is looked at twice
            return "it holds too many values";
        const std::uint64_t child = number(top.item.begin + top.next * m_referenceSize, m_referenceSize);
        if (child >= m_count)
            return "a reference leads nowhere";
        if (m_extents[child].isOpen)
            return "an object contains itself";
        if (m_extents[child].nodes == 0) {
            if (auto reason = visit(child))
                return reason;
            if (m_extents[child].isOpen)
                return std::nullopt; // counted when this reference is looked at again, below
        }
        if (top.item.kind == 0xD && top.next < top.item.count && !isText(child))
            return "a key is no text";
        ++top.next;
        return add(extent, m_extents[child]);
    }

    bool isText(std::uint64_t object) const {
        const auto item = itemOf(object);
        return item && (item->kind == 0x5 || item->kind == 0x6) && item->length > 0;
    }

    static Reason add(Extent& whole, const Extent& part) {
        whole.nodes = std::min(whole.nodes + part.nodes, PropertyListLimit::kNodes + 1);
        whole.bytes = std::min<std::uint64_t>(whole.bytes + part.bytes, PropertyListLimit::kBytes + 1);
        whole.height = std::max(whole.height, part.height + 1);
        return whole.height > PropertyListLimit::kDepth ? Reason("it is nested too deeply") : std::nullopt;
    }

    std::string_view m_bytes;
    unsigned m_offsetSize = 0;
    unsigned m_referenceSize = 0;
    std::uint64_t m_count = 0;
    std::uint64_t m_root = 0;
    std::uint64_t m_table = 0;
    std::uint64_t m_steps = 0;
    std::uint64_t m_visitedBytes = 0;
    std::vector<Extent> m_extents;
    std::vector<Visit> m_path;
};

bool isUtf8(std::string_view bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringConverter::Flag::Stateless);
    const QString decoded = decoder(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
    return !decoder.hasError() && !decoded.contains(QChar(u'\0'));
}

} // namespace

Error damagedArchive(std::string_view reason) {
    return Error::tarvo(localized("tr.err.archive-damaged", {std::string(reason)}));
}

Result<PropertyListFormat> judgePropertyList(std::string_view bytes) {
    if (bytes.size() > PropertyListLimit::kBytes)
        return failure(damagedArchive("it is too large"));
    const bool isBinary = startsWith(bytes, "bplist00");
    if (!isBinary && !isUtf8(bytes))
        return failure(damagedArchive("it is no text"));
    const Reason reason = isBinary ? BinaryGuard(bytes).judge() : XmlGuard(bytes).judge();
    if (reason)
        return failure(damagedArchive(*reason));
    return isBinary ? PropertyListFormat::Binary : PropertyListFormat::Xml;
}

} // namespace tarvo
