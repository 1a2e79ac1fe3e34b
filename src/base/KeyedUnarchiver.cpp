#include "base/KeyedUnarchiver.h"

#include <algorithm>
#include <utility>

namespace tarvo {

namespace {

using Kind = PropertyList::Kind;

constexpr std::size_t kDeepestObject = 64;    // objects made within each other's makers
constexpr int kLongestUrlChain = 8;           // relative URLs that lean on each other
constexpr std::uint64_t kBudget = 128u << 20; // bytes of all that is handed out
constexpr std::uint64_t kElementCost = 16;    // a shared pointer
constexpr std::size_t kMostClassNames = 16;   // of a class and its ancestors

bool isKind(const PropertyList::Value* node, Kind kind) {
    return node && node->kind == kind;
}

} // namespace

Result<std::unique_ptr<KeyedUnarchiver>> KeyedUnarchiver::open(std::string_view bytes) {
    auto list = PropertyList::read(bytes);
    if (!list)
        return failure(list.error());
    std::unique_ptr<KeyedUnarchiver> unarchiver(new KeyedUnarchiver(std::move(*list)));
    if (!unarchiver->adopt())
        return failure(damagedArchive("tr.archive.no-archive"));
    return unarchiver;
}

KeyedUnarchiver::KeyedUnarchiver(PropertyList list) : m_list(std::move(list)), m_budget(kBudget) {
}

bool KeyedUnarchiver::adopt() {
    const Node archiver = m_list.find(&m_list.root(), "$archiver");
    const Node version = m_list.find(&m_list.root(), "$version");
    const Node objects = m_list.find(&m_list.root(), "$objects");
    m_current = m_list.find(&m_list.root(), "$top");
    if (!isKind(archiver, Kind::text) || archiver->bytes != "NSKeyedArchiver" ||
        !isKind(version, Kind::integer) || version->number != 100000 || !isKind(objects, Kind::array) ||
        !isKind(m_current, Kind::dictionary))
        return false;
    m_objects = &objects->parts;
    const Node none = m_objects->empty() ? nullptr : &m_list.at(m_objects->front());
    return isKind(none, Kind::text) && none->bytes == "$null";
}

void KeyedUnarchiver::registerClass(std::string name, Maker maker) {
    m_makers[std::move(name)] = std::move(maker);
}

bool KeyedUnarchiver::contains(std::string_view key) const {
    return m_list.find(m_current, key) != nullptr;
}

std::int64_t KeyedUnarchiver::decodeInteger(std::string_view key) {
    const Reference found = lookUp(key);
    if (!found)
        return 0;
    if (isKind(found.node, Kind::integer) || isKind(found.node, Kind::boolean))
        return found.node->number;
    refuse("tr.archive.integer-kind");
    return 0;
}

std::optional<std::string> KeyedUnarchiver::decodeString(std::string_view key) {
    const Reference found = lookUp(key);
    return found ? textOf(found.node) : std::nullopt;
}

std::optional<std::string> KeyedUnarchiver::decodeData(std::string_view key) {
    Reference found = lookUp(key);
    if (found && isKindOf(found.node, "NSData"))
        found = follow(m_list.find(found.node, "NS.data"));
    if (!found)
        return std::nullopt;
    if (!isKind(found.node, Kind::data)) {
        refuse("tr.archive.data-kind");
        return std::nullopt;
    }
    return spend(found.node->bytes.size()) ? std::optional(found.node->bytes) : std::nullopt;
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
        refuse("tr.archive.object-kind");
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
    const Node elements = isKindOf(found.node, "NSArray") ? m_list.find(found.node, "NS.objects") : nullptr;
    if (!isKind(elements, Kind::array)) {
        refuse("tr.archive.array-kind");
        return std::nullopt;
    }
    std::vector<std::shared_ptr<Archivable>> objects;
    if (!spend(elements->parts.size() * kElementCost))
        return objects;
    for (const std::uint32_t place : elements->parts) {
        if (auto object = makeElement(&m_list.at(place), fallback))
            objects.push_back(std::move(object));
    }
    return objects;
}

/// Where `value` is a UID, the object that it stands for. In XML a UID is spelled as a dictionary.
KeyedUnarchiver::Reference KeyedUnarchiver::follow(Node value) {
    Node uid = isKind(value, Kind::uid) ? value : nullptr;
    if (isKind(value, Kind::dictionary) && value->parts.size() == 2)
        uid = m_list.find(value, "CF$UID");
    if (!isKind(uid, Kind::uid) && !isKind(uid, Kind::integer))
        return {value, 0};
    const auto number = static_cast<std::uint64_t>(uid->number);
    if (number >= m_objects->size()) {
        refuse("tr.archive.reference-nowhere");
        return {};
    }
    return number == 0 ? Reference{} : Reference{&m_list.at((*m_objects)[number]), number};
}

KeyedUnarchiver::Reference KeyedUnarchiver::lookUp(std::string_view key) {
    return follow(m_list.find(m_current, key));
}

/// The class of an object and its ancestors, nearest first; none when it is no object. The class record says
/// it, so that subclasses (NSMutableArray) need no mention here.
std::vector<std::string_view> KeyedUnarchiver::classNames(Node object) {
    std::vector<std::string_view> names;
    const Reference record = follow(m_list.find(object, "$class"));
    if (const Node name = m_list.find(record.node, "$classname"); isKind(name, Kind::text))
        names.push_back(name->bytes);
    const Node ancestry = m_list.find(record.node, "$classes");
    if (!isKind(ancestry, Kind::array))
        return names;
    const std::size_t count = std::min(ancestry->parts.size(), kMostClassNames);
    for (std::size_t i = 0; i < count; ++i) {
        if (const Node name = &m_list.at(ancestry->parts[i]); isKind(name, Kind::text))
            names.push_back(name->bytes);
    }
    return names;
}

bool KeyedUnarchiver::isKindOf(Node object, std::string_view name) {
    const auto names = classNames(object);
    return std::find(names.begin(), names.end(), name) != names.end();
}

const KeyedUnarchiver::Maker* KeyedUnarchiver::makerFor(Node object) {
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
        refuse("tr.archive.object-nesting");
        return nullptr;
    }
    m_beingMade.insert(object.number);
    const Node outer = std::exchange(m_current, object.node);
    auto made = maker(*this);
    m_current = outer;
    m_beingMade.erase(object.number);
    if (!made && !m_firstError)
        m_firstError = made.error();
    return m_made[object.number] = made ? *made : nullptr;
}

std::shared_ptr<Archivable> KeyedUnarchiver::makeElement(Node value, const Maker& fallback) {
    const Reference found = follow(value);
    const bool isObject = found.number != 0 && !classNames(found.node).empty();
    const Maker* maker = isObject ? makerFor(found.node) : nullptr;
    if (isObject && !maker && fallback)
        maker = &fallback;
    if (!maker) {
        refuse("tr.archive.array-element-kind");
        return nullptr;
    }
    return make(found, *maker);
}

std::optional<std::string> KeyedUnarchiver::textOf(Node node) {
    if (isKindOf(node, "NSString"))
        node = follow(m_list.find(node, "NS.string")).node;
    if (!isKind(node, Kind::text)) {
        refuse("tr.archive.text-kind");
        return std::nullopt;
    }
    return spend(node->bytes.size()) ? std::optional(archivableText(node->bytes)) : std::nullopt;
}

std::optional<Url> KeyedUnarchiver::urlOf(const Reference& object, int depth) {
    const Node relative =
        isKindOf(object.node, "NSURL") ? follow(m_list.find(object.node, "NS.relative")).node : nullptr;
    if (!relative || depth == kLongestUrlChain) {
        refuse("tr.archive.address-kind");
        return std::nullopt;
    }
    const auto text = textOf(relative);
    if (!text)
        return std::nullopt;
    const Reference base = follow(m_list.find(object.node, "NS.base"));
    std::optional<Url> url;
    if (!base)
        url = Url::parse(*text);
    else if (const auto baseUrl = urlOf(base, depth + 1))
        url = baseUrl->resolved(*text);
    if (!url)
        refuse("tr.archive.address-malformed");
    return url;
}

/// Accounts for `bytes` that are about to be handed out; false when that would be too much.
bool KeyedUnarchiver::spend(std::uint64_t bytes) {
    if (bytes > m_budget) {
        refuse("tr.archive.grows-too-large");
        return false;
    }
    m_budget -= bytes;
    return true;
}

void KeyedUnarchiver::refuse(std::string_view reasonKey) {
    if (!m_firstError)
        m_firstError = damagedArchive(reasonKey);
}

} // namespace tarvo
