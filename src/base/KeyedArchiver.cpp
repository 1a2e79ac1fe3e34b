#include "base/KeyedArchiver.h"

#include <utility>

#include <QString>

namespace tarvo {

KeyedArchiver::KeyedArchiver(Format format)
    : m_format(format), m_archive(plist_new_dict()), m_objects(plist_new_array()),
      m_current(plist_new_dict()) {
    plist_dict_set_item(m_archive, "$version", plist_new_uint(100000));
    plist_dict_set_item(m_archive, "$archiver", plist_new_string("NSKeyedArchiver"));
    plist_dict_set_item(m_archive, "$top", m_current);
    plist_dict_set_item(m_archive, "$objects", m_objects);
    add(plist_new_string("$null"));
}

KeyedArchiver::~KeyedArchiver() {
    plist_free(m_archive);
}

void KeyedArchiver::encodeInteger(std::string_view key, std::int64_t value) {
    put(key, plist_new_uint(static_cast<std::uint64_t>(value)));
}

void KeyedArchiver::encodeString(std::string_view key, std::string_view text) {
    put(key, plist_new_uid(addText(text)));
}

void KeyedArchiver::encodeData(std::string_view key, std::string_view bytes) {
    put(key, plist_new_uid(add(plist_new_data(bytes.data(), bytes.size()))));
}

void KeyedArchiver::encodeUrl(std::string_view key, const std::optional<Url>& url) {
    if (!url) {
        put(key, plist_new_uid(0));
        return;
    }
    plist_t record = plist_new_dict();
    put(key, plist_new_uid(add(record)));
    plist_dict_set_item(record, "NS.base", plist_new_uid(0));
    plist_dict_set_item(record, "NS.relative", plist_new_uid(addText(url->absoluteString())));
    plist_dict_set_item(record, "$class", plist_new_uid(classNumber("NSURL")));
}

void KeyedArchiver::encodeObject(std::string_view key, const Object& object) {
    put(key, plist_new_uid(addObject(object)));
}

void KeyedArchiver::encodeArray(std::string_view key, const std::vector<Object>& objects) {
    plist_t record = plist_new_dict();
    put(key, plist_new_uid(add(record)));
    plist_t elements = plist_new_array();
    plist_dict_set_item(record, "NS.objects", elements);
    for (const auto& object : objects)
        plist_array_append_item(elements, plist_new_uid(addObject(object)));
    plist_dict_set_item(record, "$class", plist_new_uid(classNumber("NSArray")));
}

std::string KeyedArchiver::finish() {
    char* bytes = nullptr;
    std::uint32_t length = 0;
    if (m_format == Format::Xml)
        plist_to_xml(m_archive, &bytes, &length);
    else
        plist_to_bin(m_archive, &bytes, &length);
    std::string archive(bytes, length);
    m_format == Format::Xml ? plist_to_xml_free(bytes) : plist_to_bin_free(bytes);
    return archive;
}

std::uint64_t KeyedArchiver::add(plist_t node) {
    plist_array_append_item(m_objects, node);
    return m_count++;
}

std::uint64_t KeyedArchiver::addText(std::string_view text) {
    return add(plist_new_string(archivableText(text).c_str()));
}

std::uint64_t KeyedArchiver::addObject(const Object& object) {
    if (!object)
        return 0;
    if (const auto known = m_numbers.find(object); known != m_numbers.end())
        return known->second;
    plist_t record = plist_new_dict();
    const std::uint64_t number = add(record);
    m_numbers[object] = number; // before its values: one of them may lead back to it
    plist_t outer = std::exchange(m_current, record);
    object->encode(*this);
    m_current = outer;
    plist_dict_set_item(record, "$class", plist_new_uid(classNumber(object->archivedClassName())));
    return number;
}

std::uint64_t KeyedArchiver::classNumber(const std::string& name) {
    if (const auto known = m_classes.find(name); known != m_classes.end())
        return known->second;
    plist_t ancestry = plist_new_array();
    plist_array_append_item(ancestry, plist_new_string(name.c_str()));
    plist_array_append_item(ancestry, plist_new_string("NSObject"));
    plist_t record = plist_new_dict();
    plist_dict_set_item(record, "$classname", plist_new_string(name.c_str()));
    plist_dict_set_item(record, "$classes", ancestry);
    return m_classes[name] = add(record);
}

void KeyedArchiver::put(std::string_view key, plist_t value) {
    plist_dict_set_item(m_current, std::string(key).c_str(), value);
}

std::string archivableText(std::string_view text) {
    QString held = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    for (QChar& character : held) {
        const char16_t code = character.unicode();
        const bool isControl = code < 0x20 && code != u'\t' && code != u'\n' && code != u'\r';
        if (isControl || code == 0xFFFE || code == 0xFFFF) // XML 1.0, production 2
            character = QChar::ReplacementCharacter;
    }
    return held.toStdString();
}

} // namespace tarvo
