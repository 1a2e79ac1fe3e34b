#include "input/RTFLinks.h"

#include <algorithm>
#include <charconv>
#include <optional>

#include <QString>

#include "base/Log.h"
#include "base/Url.h"

namespace tarvo {

namespace {

constexpr std::size_t kDeepestGroup = 500;
constexpr qsizetype kLongestInstruction = 64 * 1024; // UTF-16 units
constexpr std::size_t kMostDigits = 10;              // of the number behind a control word

struct ControlWord {
    std::string_view name;
    std::optional<int> number;
};

/// Reads the RTF once from front to back and collects the text of field instructions.
class Reader {
public:
    explicit Reader(std::string_view rtf) : m_rest(rtf) {}

    std::vector<QString> instructions() {
        while (!m_rest.empty() && !m_isTooMuch)
            takeNext();
        if (m_isTooMuch)
            Log::warning(
                "A rich text is nested too deeply, or a link in it is too long; its rest is left out");
        return std::move(m_instructions);
    }

private:
    void takeNext() {
        const char c = m_rest.front();
        m_rest.remove_prefix(1);
        if (c == '{')
            openGroup();
        else if (c == '}')
            closeGroup();
        else if (c == '\\')
            takeControl();
        else if (c != '\r' && c != '\n') // a line of the file is no line of the text
            addByte(c);
    }

    void openGroup() {
        m_fallbackLeft = 0;
        m_fallbackLengths.push_back(m_fallbackLengths.back());
        m_isTooMuch = m_fallbackLengths.size() > kDeepestGroup;
    }

    void closeGroup() {
        m_fallbackLeft = 0;
        if (m_instructionDepth == m_fallbackLengths.size()) {
            m_instructions.push_back(std::move(m_instruction));
            m_instruction.clear();
            m_instructionDepth = 0;
        }
        if (m_fallbackLengths.size() > 1)
            m_fallbackLengths.pop_back();
    }

    void takeControl() {
        if (m_rest.empty())
            return;
        const char c = m_rest.front();
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) {
            carryOut(takeControlWord());
            return;
        }
        m_rest.remove_prefix(1);
        if (c == '\'')
            takeHexByte();
        else if (c == '~')
            addByte(' ');
        else if (c == '\\' || c == '{' || c == '}')
            addByte(c);
    }

    ControlWord takeControlWord() {
        const auto letters = std::find_if_not(m_rest.begin(), m_rest.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        });
        ControlWord word{m_rest.substr(0, static_cast<std::size_t>(letters - m_rest.begin())), {}};
        m_rest.remove_prefix(word.name.size());
        int number = 0;
        const auto numberText = m_rest.substr(0, kMostDigits + 1);
        const auto [end, problem] =
            std::from_chars(numberText.data(), numberText.data() + numberText.size(), number);
        if (problem == std::errc())
            word.number = number;
        m_rest.remove_prefix(static_cast<std::size_t>(end - numberText.data()));
        if (m_rest.starts_with(' '))
            m_rest.remove_prefix(1); // only ends the word
        return word;
    }

    void carryOut(const ControlWord& word) {
        if (word.name == "u") {
            addUnit(static_cast<char16_t>(word.number.value_or(u'?'))); // negative ones mean unit - 65536
            m_fallbackLeft = m_fallbackLengths.back();
        } else if (word.name == "uc") {
            m_fallbackLengths.back() = std::max(word.number.value_or(1), 0);
        } else if (word.name == "bin") {
            const auto length = static_cast<std::size_t>(std::max(word.number.value_or(0), 0));
            m_rest.remove_prefix(std::min(length, m_rest.size()));
        } else if (word.name == "fldinst" && m_instructionDepth == 0) {
            m_instructionDepth = m_fallbackLengths.size();
        }
    }

    void takeHexByte() {
        unsigned byte = 0;
        const auto digits = m_rest.substr(0, 2);
        const auto [end, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
        m_rest.remove_prefix(digits.size());
        if (problem == std::errc())
            addByte(static_cast<char>(byte));
    }

    /// A byte of text, in the document's character set: addresses are ASCII, of which all are a superset.
    void addByte(char byte) {
        if (m_fallbackLeft > 0)
            --m_fallbackLeft; // stands in for the \u before it, for readers that don't know \u
        else
            addUnit(static_cast<unsigned char>(byte));
    }

    void addUnit(char16_t unit) {
        if (m_instructionDepth == 0)
            return;
        m_instruction += unit;
        m_isTooMuch = m_instruction.size() > kLongestInstruction;
    }

    std::string_view m_rest;
    std::vector<int> m_fallbackLengths{1}; // one a group that is open, by \uc
    int m_fallbackLeft = 0;
    std::size_t m_instructionDepth = 0; // of the group that holds the instruction; 0: none
    QString m_instruction;
    std::vector<QString> m_instructions;
    bool m_isTooMuch = false;
};

/// Takes the next word of a field instruction; between quotes there may be blanks, and "\" quotes what
/// follows it. None at the end.
std::optional<QString> takeWord(QStringView& rest) {
    rest = rest.trimmed();
    if (rest.isEmpty())
        return std::nullopt;
    QString word;
    const bool isQuoted = rest.startsWith(u'"');
    qsizetype i = isQuoted ? 1 : 0;
    for (; i < rest.size() && (isQuoted ? rest[i] != u'"' : !rest[i].isSpace()); ++i) {
        if (isQuoted && rest[i] == u'\\' && i + 1 < rest.size())
            ++i;
        word += rest[i];
    }
    rest = rest.sliced(qMin(i + (isQuoted ? 1 : 0), rest.size()));
    return word;
}

/// What `HYPERLINK "address" \l "place in it" \o "tip" \t "window"` leads to.
std::optional<std::string> linkOf(QStringView instruction) {
    const auto field = takeWord(instruction);
    if (!field || field->compare(QLatin1String("HYPERLINK"), Qt::CaseInsensitive) != 0)
        return std::nullopt;
    QString address;
    QString place;
    while (const auto word = takeWord(instruction)) {
        if (*word == u"\\l")
            place = u'#' + takeWord(instruction).value_or(QString());
        else if (*word == u"\\o" || *word == u"\\t")
            takeWord(instruction);
        else if (!word->startsWith(u'\\') && address.isEmpty())
            address = *word;
    }
    const auto url = Url::parse((address + place).toStdString());
    return address.isEmpty() || !url ? std::nullopt : std::optional(url->absoluteString());
}

} // namespace

std::vector<std::string> linksOfRTF(std::string_view rtf) {
    std::vector<std::string> links;
    for (const QString& instruction : Reader(rtf).instructions()) {
        if (auto link = linkOf(instruction))
            links.push_back(std::move(*link));
    }
    return links;
}

} // namespace tarvo
