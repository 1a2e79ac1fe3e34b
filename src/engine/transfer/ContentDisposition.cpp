// The names in a Content-Disposition field.
#include "engine/transfer/Scout.h"

#include <algorithm>

#include <QString>

#include "base/Text.h"

namespace tarvo {

namespace {

/// ext-value of RFC 8187, section 3.2.1: charset'language'percent-encoded. UTF-8 and ISO-8859-1 are read.
std::optional<std::string> decodeExtendedValue(const QString& value) {
    const QString charset = value.section(u'\'', 0, 0).toLower();
    const QString encoded = value.section(u'\'', 2);
    const QByteArray bytes = QByteArray::fromPercentEncoding(encoded.toUtf8());
    if (bytes.isEmpty())
        return std::nullopt;
    if (charset == u"utf-8")
        return QString::fromUtf8(bytes).toStdString();
    if (charset == u"iso-8859-1")
        return QString::fromLatin1(bytes).toStdString();
    return std::nullopt;
}

struct Parameter {
    std::string name; // in lower case
    std::string value;
};

/// The parameters of a field value such as `attachment; filename="a.zip"; size=1` (RFC 9110, section 5.6.6),
/// read one after the other. What stands between two semicolons without a "=" is passed over, the
/// disposition type as well. A value without quotes goes up to the semicolon, with what should not stand in
/// it, as servers write names with spaces; a quoted one without its end goes to the end of the field.
class ParameterReader {
public:
    explicit ParameterReader(std::string_view text) : m_rest(text) {}

    std::optional<Parameter> next() {
        while (!m_rest.empty()) {
            const std::size_t end = std::min(m_rest.find_first_of("=;"), m_rest.size());
            const std::string_view name = trimmed(taken(end));
            if (taken(1) == "=")
                return Parameter{lowered(name), value()};
        }
        return std::nullopt;
    }

private:
    std::string_view taken(std::size_t count) {
        const std::string_view head = m_rest.substr(0, count);
        m_rest.remove_prefix(head.size());
        return head;
    }

    std::string value() {
        taken(std::min(m_rest.find_first_not_of(" \t"), m_rest.size()));
        const bool quoted = m_rest.starts_with('"');
        std::string text = quoted ? quotedString() : "";
        const std::string_view rest = trimmed(taken(std::min(m_rest.find(';'), m_rest.size())));
        taken(1);
        return quoted ? text : std::string(rest.substr(0, rest.find('"')));
    }

    /// RFC 9110, section 5.6.4: a backslash makes the next character an ordinary one.
    std::string quotedString() {
        std::string text;
        taken(1);
        while (!m_rest.empty()) {
            std::string_view character = taken(1);
            if (character == "\"")
                break;
            if (character == "\\" && !m_rest.empty())
                character = taken(1);
            text += character;
        }
        return text;
    }

    std::string_view m_rest;
};

} // namespace

std::optional<std::string> nameFromContentDisposition(const std::string& value) {
    std::optional<std::string> extended;
    ParameterReader reader(value);
    while (const auto parameter = reader.next()) {
        if (parameter->name == "filename" && !parameter->value.empty())
            return QString::fromStdString(parameter->value).toStdString(); // other bytes are no text
        if (parameter->name == "filename*" && !extended)
            extended = decodeExtendedValue(QString::fromStdString(parameter->value));
    }
    return extended;
}

} // namespace tarvo
