#include "base/KeyedUnarchiver.h"

#include "base/PropertyListGuard.h"

#include <algorithm>
#include <utility>

namespace tarvo {

namespace {

constexpr std::size_t kDeepestObject = 64;    // objects made within each other's makers
constexpr int kLongestUrlChain = 8;           // relative URLs that lean on each other
constexpr std::uint64_t kBudget = 128u << 20; // bytes of all that is handed out
constexpr std::uint64_t kElementCost = 16;    // a shared pointer
constexpr std::uint32_t kMostClassNames = 16; // of a class and its ancestors

std::string_view viewOf(plist_t string) {
    std::uint64_t length = 0;
    const char* text = plist_get_string_ptr(string, &length);
    return text ? std::string_view(text, length) : std::string_view();
}

plist_t valueOf(plist_t dictionary, std::string_view key) {
    return plist_dict_get_item(dictionary, std::string(key).c_str());
}

bool isKind(plist_t node, plist_type type) {
    return node && plist_get_node_type(node) == type;
}

/// The number in a UID. In XML it is spelled as a dictionary with this one key, which libplist leaves as it
/// is.
std::optional<std::uint64_t> uidOf(plist_t node) {
    std::uint64_t number = 0;
    if (isKind(node, PLIST_UID)) {
        plist_get_uid_val(node, &number);
        return number;
    }
    plist_t spelled =
        isKind(node, PLIST_DICT) && plist_dict_get_size(node) == 1 ? valueOf(node, "CF$UID") : nullptr;
    if (!isKind(spelled, PLIST_UINT))
        return std::nullopt;
    plist_get_uint_val(spelled, &number);
    return number;
}

} // namespace

Result<std::unique_ptr<KeyedUnarchiver>> KeyedUnarchiver::open(std::string_view bytes) {
    const auto format = judgePropertyList(bytes);
    if (!format)
        return failure(format.error());
    plist_t archive = nullptr;
    const auto length = static_cast<std::uint32_t>(bytes.size());
    if (*format == PropertyListFormat::Binary)
        plist_from_bin(bytes.data(), length, &archive);
    else
        plist_from_xml(bytes.data(), length, &archive);
    std::unique_ptr<KeyedUnarchiver> unarchiver(new KeyedUnarchiver(archive));
    if (!unarchiver->adopt())
        return failure(damagedArchive("it is no keyed archive"));
    return unarchiver;
}

KeyedUnarchiver::KeyedUnarchiver(plist_t archive) : m_archive(archive), m_budget(kBudget) {
}

KeyedUnarchiver::~KeyedUnarchiver() {
    plist_free(m_archive);
}

bool KeyedUnarchiver::adopt() {
    if (!isKind(m_archive, PLIST_DICT))
        return false;
    plist_t archiver = valueOf(m_archive, "$archiver");
    plist_t version = valueOf(m_archive, "$version");
    plist_t objects = valueOf(m_archive, "$objects");
    m_current = valueOf(m_archive, "$top");
    if (!isKind(archiver, PLIST_STRING) || viewOf(archiver) != "NSKeyedArchiver" ||
        !isKind(version, PLIST_UINT) || !isKind(objects, PLIST_ARRAY) || !isKind(m_current, PLIST_DICT))
        return false;
    std::uint64_t number = 0;
    plist_get_uint_val(version, &number);
    const std::uint32_t count = plist_array_get_size(objects);
    m_objects.reserve(count);
    plist_array_iter position = nullptr;
    plist_array_new_iter(objects, &position);
    for (std::uint32_t i = 0; i < count; ++i) {
        plist_t object = nullptr;
        plist_array_next_item(objects, position, &object);
        m_objects.push_back(object);
    }
    std::free(position);
    return number == 100000 && !m_objects.empty() && isKind(m_objects[0], PLIST_STRING) &&
           viewOf(m_objects[0]) == "$null";
}

void KeyedUnarchiver::registerClass(std::string name, Maker maker) {
    m_makers[std::move(name)] = std::move(maker);
}

bool KeyedUnarchiver::contains(std::string_view key) const {
    return valueOf(m_current, key) != nullptr;
}

std::int64_t KeyedUnarchiver::decodeInteger(std::string_view key) {
    const Reference found = lookUp(key);
    if (!found)
        return 0;
    std::uint64_t number = 0;
    std::uint8_t truth = 0;
    switch (plist_get_node_type(found.node)) {
    case PLIST_UINT:
        plist_get_uint_val(found.node, &number);
        return static_cast<std::int64_t>(number);
    case PLIST_BOOLEAN:
        plist_get_bool_val(found.node, &truth);
        return truth;
    default:
        refuse("an integer is of another kind");
        return 0;
    }
}

std::optional<std::string> KeyedUnarchiver::decodeString(std::string_view key) {
    const Reference found = lookUp(key);
    return found ? textOf(found.node) : std::nullopt;
}

std::optional<std::string> KeyedUnarchiver::decodeData(std::string_view key) {
    Reference found = lookUp(key);
    if (found && isKindOf(found.node, "NSData"))
        found = follow(valueOf(found.node, "NS.data"));
    if (!found)
        return std::nullopt;
    if (!isKind(found.node, PLIST_DATA)) {
        refuse("data is of another kind");
        return std::nullopt;
    }
    std::uint64_t length = 0;
    const char* bytes = plist_get_data_ptr(found.node, &length);
    if (!spend(length))
        return std::nullopt;
    return bytes ? std::string(bytes, length) : std::string();
}

std::optional<Url> KeyedUnarchiver::decodeUrl(std::string_view key) {
    const Reference found = lookUp(key);
    return found ? urlOf(found, 0) : std::nullopt;
}

std::shared_ptr<Archivable> KeyedUnarchiver::decodeObject(std::string_view key) {
    const Reference found = lookUp(key);
    if (!found)
        return nullptr;
    if (found.number == 0 || classNames(found.node).empty()) {
        refuse("an object is of another kind");
        return nullptr;
    }
    const Maker* maker = makerFor(found.node);
    return maker ? make(found, *maker) : nullptr;
}

std::optional<std::vector<std::shared_ptr<Archivable>>> KeyedUnarchiver::decodeArray(std::string_view key,
                                                                                     const Maker& fallback) {
    const Reference found = lookUp(key);
    if (!found)
        return std::nullopt;
    plist_t elements = isKindOf(found.node, "NSArray") ? valueOf(found.node, "NS.objects") : nullptr;
    if (!isKind(elements, PLIST_ARRAY)) {
        refuse("an array is of another kind");
        return std::nullopt;
    }
    const std::uint32_t count = plist_array_get_size(elements);
    std::vector<std::shared_ptr<Archivable>> objects;
    if (!spend(count * kElementCost))
        return objects;
    plist_array_iter position = nullptr;
    plist_array_new_iter(elements, &position);
    for (std::uint32_t i = 0; i < count; ++i) {
        plist_t element = nullptr;
        plist_array_next_item(elements, position, &element);
        if (auto object = makeElement(element, fallback))
            objects.push_back(std::move(object));
    }
    std::free(position);
    return objects;
}

KeyedUnarchiver::Reference KeyedUnarchiver::follow(plist_t value) {
    const auto number = uidOf(value);
    if (!number)
        return {value, 0};
    if (*number >= m_objects.size()) {
        refuse("a reference leads nowhere");
        return {};
    }
    return *number == 0 ? Reference{} : Reference{m_objects[*number], *number};
}

KeyedUnarchiver::Reference KeyedUnarchiver::lookUp(std::string_view key) {
    return follow(valueOf(m_current, key));
}

/// The class of an object and its ancestors, nearest first; none when it is no object. The class record says
/// it, so that subclasses (NSMutableArray) need no mention here.
std::vector<std::string_view> KeyedUnarchiver::classNames(plist_t object) {
    std::vector<std::string_view> names;
    const Reference record = isKind(object, PLIST_DICT) ? follow(valueOf(object, "$class")) : Reference{};
    if (!isKind(record.node, PLIST_DICT))
        return names;
    if (plist_t name = valueOf(record.node, "$classname"); isKind(name, PLIST_STRING))
        names.push_back(viewOf(name));
    plist_t ancestry = valueOf(record.node, "$classes");
    if (!isKind(ancestry, PLIST_ARRAY))
        return names;
    const std::uint32_t count = std::min(plist_array_get_size(ancestry), kMostClassNames);
    for (std::uint32_t i = 0; i < count; ++i) {
        if (plist_t name = plist_array_get_item(ancestry, i); isKind(name, PLIST_STRING))
            names.push_back(viewOf(name));
    }
    return names;
}

bool KeyedUnarchiver::isKindOf(plist_t object, std::string_view name) {
    const auto names = classNames(object);
    return std::find(names.begin(), names.end(), name) != names.end();
}

const KeyedUnarchiver::Maker* KeyedUnarchiver::makerFor(plist_t object) {
    for (const std::string_view name : classNames(object)) {
        if (const auto known = m_makers.find(name); known != m_makers.end())
            return &known->second;
    }
    return nullptr;
}

std::shared_ptr<Archivable> KeyedUnarchiver::make(const Reference& object, const Maker& maker) {
    if (const auto known = m_made.find(object.number); known != m_made.end())
        return known->second;
    if (m_beingMade.count(object.number) != 0 || m_beingMade.size() >= kDeepestObject) {
        refuse("an object contains itself, or too many others within each other");
        return nullptr;
    }
    m_beingMade.insert(object.number);
    plist_t outer = std::exchange(m_current, object.node);
    auto made = maker(*this);
    m_current = outer;
    m_beingMade.erase(object.number);
    if (!made && !m_firstError)
        m_firstError = made.error();
    return m_made[object.number] = made ? *made : nullptr;
}

std::shared_ptr<Archivable> KeyedUnarchiver::makeElement(plist_t value, const Maker& fallback) {
    const Reference found = follow(value);
    const bool isObject = found.number != 0 && !classNames(found.node).empty();
    const Maker* maker = isObject ? makerFor(found.node) : nullptr;
    if (isObject && !maker && fallback)
        maker = &fallback;
    if (!maker) {
        refuse("an array holds something else than expected");
        return nullptr;
    }
    return make(found, *maker);
}

std::optional<std::string> KeyedUnarchiver::textOf(plist_t node) {
    if (isKindOf(node, "NSString"))
        node = follow(valueOf(node, "NS.string")).node;
    if (!isKind(node, PLIST_STRING)) {
        refuse("a text is of another kind");
        return std::nullopt;
    }
    const std::string_view text = viewOf(node);
    if (!spend(text.size()))
        return std::nullopt;
    return archivableText(text);
}

std::optional<Url> KeyedUnarchiver::urlOf(const Reference& object, int depth) {
    plist_t relative =
        isKindOf(object.node, "NSURL") ? follow(valueOf(object.node, "NS.relative")).node : nullptr;
    if (!relative || depth == kLongestUrlChain) {
        refuse("an address is of another kind");
        return std::nullopt;
    }
    const auto text = textOf(relative);
    if (!text)
        return std::nullopt;
    const Reference base = follow(valueOf(object.node, "NS.base"));
    std::optional<Url> url;
    if (!base)
        url = Url::parse(*text);
    else if (const auto baseUrl = urlOf(base, depth + 1))
        url = baseUrl->resolved(*text);
    if (!url)
        refuse("an address is malformed");
    return url;
}

/// Accounts for `bytes` that are about to be handed out; false when that would be too much.
bool KeyedUnarchiver::spend(std::uint64_t bytes) {
    if (bytes > m_budget) {
        refuse("it grows too large when it is read");
        return false;
    }
    m_budget -= bytes;
    return true;
}

void KeyedUnarchiver::refuse(std::string_view reason) {
    if (!m_firstError)
        m_firstError = damagedArchive(reason);
}

} // namespace tarvo
