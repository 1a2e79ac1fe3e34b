// Reads keyed archives, also those that were damaged on purpose.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/Error.h"
#include "base/KeyedArchiver.h"
#include "base/PropertyList.h"

namespace tarvo {

/// A keyed archive (see KeyedArchiver) being read. Time and memory are bounded whatever the bytes say; see
/// also PropertyListLimit. Nothing read stops the process: what is missing or of the wrong kind reads as
/// nothing, and firstError() tells the two apart. Used by one thread.
class KeyedUnarchiver {
public:
    /// Makes an object out of the values that the unarchiver, positioned at the object, answers.
    using Maker = std::function<Result<std::shared_ptr<Archivable>>(KeyedUnarchiver&)>;

    /// Opens an archive, XML or binary. Error: ErrorDomain::Tarvo, code 0, when it is none.
    static Result<std::unique_ptr<KeyedUnarchiver>> open(std::string_view bytes);

    KeyedUnarchiver(const KeyedUnarchiver&) = delete;
    KeyedUnarchiver& operator=(const KeyedUnarchiver&) = delete;

    /// Objects of the class called `name`, and of classes derived from it, are made by `maker`.
    void registerClass(std::string name, Maker maker);

    bool contains(std::string_view key) const;

    /// 0 when there is none.
    std::int64_t decodeInteger(std::string_view key);
    std::optional<std::string> decodeString(std::string_view key); ///< always valid UTF-8
    std::optional<std::string> decodeData(std::string_view key);
    std::optional<Url> decodeUrl(std::string_view key);

    /// Null when there is none, when its class is not registered, and when its maker failed. An object that
    /// is referred to twice is made once.
    std::shared_ptr<Archivable> decodeObject(std::string_view key);

    /// None when there is no array. Elements that can't be made are left out, see firstError(); `fallback`
    /// makes those whose class is not registered.
    std::optional<std::vector<std::shared_ptr<Archivable>>> decodeArray(std::string_view key,
                                                                        const Maker& fallback = nullptr);

    /// The first value of the wrong kind, failure of a maker, or array element of an unregistered class:
    /// for a reader that would rather refuse the archive than lose a part of it.
    const std::optional<Error>& firstError() const { return m_firstError; }

private:
    using Node = const PropertyList::Value*;

    /// An object of the archive and its number in the table; null where there is none.
    struct Reference {
        Node node = nullptr;
        std::uint64_t number = 0;

        explicit operator bool() const { return node != nullptr; }
    };

    explicit KeyedUnarchiver(PropertyList list);

    bool adopt();
    Reference follow(Node value);
    Reference lookUp(std::string_view key);
    bool isKindOf(Node object, std::string_view name);
    std::vector<std::string_view> classNames(Node object);
    const Maker* makerFor(Node object);
    std::shared_ptr<Archivable> make(const Reference& object, const Maker& maker);
    std::shared_ptr<Archivable> makeElement(Node value, const Maker& fallback);
    std::optional<std::string> textOf(Node node);
    std::optional<Url> urlOf(const Reference& object, int depth);
    bool spend(std::uint64_t bytes);
    void refuse(std::string_view reasonKey);

    const PropertyList m_list;
    Node m_current = nullptr;                              // the object whose keys are being read
    const std::vector<std::uint32_t>* m_objects = nullptr; // places in the list, by number
    std::map<std::string, Maker, std::less<>> m_makers;
    std::map<std::uint64_t, std::shared_ptr<Archivable>> m_made; // null: its maker failed
    std::set<std::uint64_t> m_beingMade;
    std::uint64_t m_budget; // bytes that may still be handed out; many keys may lead to the same text
    std::optional<Error> m_firstError;
};

} // namespace tarvo
