// Writes objects with their keys as a keyed archive: a property list that other programs read too.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <plist/plist.h>

#include "base/Url.h"

namespace tarvo {

class KeyedArchiver;

/// What can stand in a keyed archive as an object of its own.
class Archivable {
public:
    virtual ~Archivable() = default;

    /// The name of the class in archives. Never changes, so that every version reads every other's files.
    virtual std::string archivedClassName() const = 0;

    /// Hands the object's values to the archiver. Keys must not begin with "$".
    virtual void encode(KeyedArchiver& archiver) const = 0;
};

/// A keyed archive under construction, with the structure of an NSKeyedArchiver file: a flat table of
/// objects which refer to each other by number (UID), and the top-level keys. An object that is encoded
/// twice stands in it once. For one archive; used by one thread at a time.
class KeyedArchiver {
public:
    enum class Format { Xml, Binary };
    using Object = std::shared_ptr<const Archivable>;

    explicit KeyedArchiver(Format format);
    ~KeyedArchiver();
    KeyedArchiver(const KeyedArchiver&) = delete;
    KeyedArchiver& operator=(const KeyedArchiver&) = delete;

    void encodeInteger(std::string_view key, std::int64_t value);

    /// `text` is UTF-8. What a property list can't hold (broken UTF-8, control characters) becomes U+FFFD.
    void encodeString(std::string_view key, std::string_view text);
    void encodeData(std::string_view key, std::string_view bytes);

    /// No URL is the null object, and so is no object.
    void encodeUrl(std::string_view key, const std::optional<Url>& url);
    void encodeObject(std::string_view key, const Object& object);
    void encodeArray(std::string_view key, const std::vector<Object>& objects);

    /// Lets go of the objects: all of them are encoded, and the archive is a copy of what they said. What
    /// follows, finish() and the destructor, may run on another thread than the objects'.
    void endEncoding() { m_numbers.clear(); }

    /// The archive as bytes. Called once, last. Slow for tens of thousands of objects.
    std::string finish();

private:
    std::uint64_t add(plist_t node);
    std::uint64_t addText(std::string_view text);
    std::uint64_t addObject(const Object& object);
    std::uint64_t classNumber(const std::string& name);
    void put(std::string_view key, plist_t value);

    Format m_format;
    plist_t m_archive;
    plist_t m_objects;
    plist_t m_current; // the object whose keys are being written
    std::uint64_t m_count = 0;
    std::map<std::string, std::uint64_t> m_classes;
    std::map<Object, std::uint64_t> m_numbers; // also keeps the objects, so that no address is used twice
};

/// `text` as a property list can hold it, see KeyedArchiver::encodeString().
std::string archivableText(std::string_view text);

} // namespace tarvo
