// Property lists in their binary form: a table of objects which name each other by number.
#include "base/PropertyListForms.h"

#include <algorithm>
#include <string>

#include <QStringDecoder>

namespace tarvo {

namespace {

using Kind = PropertyList::Kind;
using Value = PropertyList::Value;

/// Reads a binary list by its table, each object once, and its references as they are.
class BinaryReader {
public:
    BinaryReader(std::string_view bytes, std::vector<Value>& values) : m_bytes(bytes), m_values(values) {}

    Problem read(std::size_t& root) {
        if (!readTrailer())
            return "tr.archive.table-broken";
        root = m_root;
        m_values.resize(m_count);
        for (std::uint64_t i = 0; i < m_count; ++i) {
            const std::uint64_t at = number(m_table + i * m_offsetSize, m_offsetSize);
            if (at < kMagic || at >= m_table)
                return "tr.archive.object-broken";
            if (auto problem = readObject(at, m_values[i]))
                return problem;
        }
        return std::nullopt;
    }

private:
    static constexpr std::size_t kMagic = 8;

    std::uint64_t number(std::uint64_t at, std::uint64_t size) const {
        std::uint64_t value = 0;
        for (std::uint64_t i = 0; i < size; ++i)
            value = value << 8 | static_cast<unsigned char>(m_bytes[at + i]);
        return value;
    }

    bool readTrailer() {
        constexpr std::size_t trailerSize = 32;
        if (m_bytes.size() < kMagic + 1 + trailerSize)
            return false;
        const std::size_t trailer = m_bytes.size() - trailerSize;
        m_offsetSize = number(trailer + 6, 1);
        m_referenceSize = number(trailer + 7, 1);
        m_count = number(trailer + 8, 8);
        m_root = number(trailer + 16, 8);
        m_table = number(trailer + 24, 8);
        return m_offsetSize >= 1 && m_offsetSize <= 8 && m_referenceSize >= 1 && m_referenceSize <= 8 &&
               m_count <= PropertyListLimit::kValues && m_root < m_count && m_table > kMagic &&
               m_table <= trailer && m_count * m_offsetSize <= trailer - m_table;
    }

    Problem readObject(std::uint64_t at, Value& value) {
        const std::uint64_t marker = number(at++, 1);
        const std::uint64_t type = marker >> 4;
        std::uint64_t count = marker & 0xF;
        const bool isCounted = (type >= 0x4 && type <= 0x6) || type == 0xA || type == 0xD;
        if (isCounted && count == 0xF && !readCount(at, count))
            return "tr.archive.object-broken";
        const auto length = lengthOf(type, count);
        if (!length || *length > m_table - at)
            return "tr.archive.object-broken";
        m_read += *length; // several objects may share the same bytes
        if (m_read > PropertyListLimit::kBytes)
            return "tr.archive.grows-too-large";
        if (type == 0xA || type == 0xD)
            return readReferences(at, count, type == 0xD, value);
        return readScalar(type, m_bytes.substr(at, *length), value);
    }

    /// The length of what is longer than a marker can say.
    bool readCount(std::uint64_t& at, std::uint64_t& count) const {
        if (at >= m_table || number(at, 1) < 0x10 || number(at, 1) > 0x13)
            return false;
        const std::uint64_t size = 1u << (number(at++, 1) & 0xF);
        if (size > m_table - at)
            return false;
        count = number(at, size);
        at += size;
        return count <= m_bytes.size();
    }

    /// Of what follows the marker, in bytes; none for types that have no place here.
    std::optional<std::uint64_t> lengthOf(std::uint64_t type, std::uint64_t count) const {
        switch (type) {
        case 0x0:
            return count == 8 || count == 9 ? std::optional(0) : std::nullopt;
        case 0x1:
            return count <= 3 ? std::optional(1u << count) : std::nullopt;
        case 0x2:
            return count == 2 || count == 3 ? std::optional(1u << count) : std::nullopt;
        case 0x4:
        case 0x5:
            return count;
        case 0x6:
            return 2 * count;
        case 0x8:
            return count <= 7 ? std::optional(count + 1) : std::nullopt;
        case 0xA:
            return count * m_referenceSize;
        case 0xD:
            return 2 * count * m_referenceSize;
        default:
            return std::nullopt;
        }
    }

    Problem readScalar(std::uint64_t type, std::string_view content, Value& value) {
        constexpr Kind kinds[] = {Kind::boolean, Kind::integer, Kind::real, Kind::real, Kind::data,
                                  Kind::text,    Kind::text,    Kind::real, Kind::uid};
        value.kind = kinds[type];
        const auto at = static_cast<std::uint64_t>(content.data() - m_bytes.data());
        if (type == 0x0)
            value.number = number(at - 1, 1) == 0x9;
        else if (type == 0x1 || type == 0x8)
            value.number = static_cast<std::int64_t>(number(at, content.size()));
        else if (type == 0x4 || type == 0x5)
            value.bytes = content;
        else if (type == 0x6)
            value.bytes = utf16Text(content);
        const bool isGood = type != 0x5 || std::none_of(content.begin(), content.end(),
                                                        [](char c) { return (c & 0x80) != 0; });
        return isGood ? std::nullopt : Problem("tr.archive.text-malformed");
    }

    static std::string utf16Text(std::string_view content) {
        QStringDecoder decoder(QStringDecoder::Utf16BE, QStringConverter::Flag::Stateless);
        const QString text = decoder(QByteArrayView(content.data(), static_cast<qsizetype>(content.size())));
        return text.toStdString();
    }

    Problem readReferences(std::uint64_t at, std::uint64_t count, bool isDictionary, Value& value) {
        value.kind = isDictionary ? Kind::dictionary : Kind::array;
        if (isDictionary && count > PropertyListLimit::kDictionaryEntries)
            return PropertyListProblem::kTooWide;
        m_references += isDictionary ? 2 * count : count;
        if (m_references > PropertyListLimit::kValues)
            return PropertyListProblem::kTooMany;
        for (std::uint64_t i = 0; i < count; ++i) {
            if (!readReference(at + i * m_referenceSize, value) ||
                (isDictionary && !readReference(at + (count + i) * m_referenceSize, value)))
                return "tr.archive.reference-nowhere";
        }
        return std::nullopt;
    }

    bool readReference(std::uint64_t at, Value& value) const {
        const std::uint64_t place = number(at, m_referenceSize);
        value.parts.push_back(static_cast<std::uint32_t>(place));
        return place < m_count;
    }

    std::string_view m_bytes;
    std::vector<Value>& m_values;
    std::uint64_t m_offsetSize = 0;
    std::uint64_t m_referenceSize = 0;
    std::uint64_t m_count = 0;
    std::uint64_t m_root = 0;
    std::uint64_t m_table = 0;
    std::uint64_t m_read = 0;
    std::uint64_t m_references = 0;
};

} // namespace

Problem readBinaryPropertyList(std::string_view bytes, std::vector<PropertyList::Value>& values,
                               std::size_t& root) {
    return BinaryReader(bytes, values).read(root);
}

} // namespace tarvo
