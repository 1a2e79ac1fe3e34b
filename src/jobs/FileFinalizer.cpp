// Extended attributes.
#include "jobs/FileFinalizer.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

#include <plist/plist.h>
#include <sys/xattr.h>

#include "base/Error.h"
#include "base/Log.h"
#include "base/Url.h"

namespace tarvo {

namespace {

constexpr const char* kPlainAttribute = "user.xdg.origin.url";
constexpr const char* kTagAttribute = "user.com.unregistered.tarvo.etag";
constexpr const char* kModifiedAttribute = "user.com.unregistered.tarvo.modified";
constexpr const char* kServerAttribute = "user.com.unregistered.tarvo.server";
constexpr const char* kListAttribute = "user.com.apple.metadata:kMDItemWhereFroms";

std::optional<std::string> binaryListOf(const std::string& text) {
    const std::unique_ptr<void, decltype(&plist_free)> list(plist_new_array(), plist_free);
    plist_array_append_item(list.get(), plist_new_string(text.c_str()));
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(list.get(), &bytes, &length);
    const std::unique_ptr<char, decltype(&std::free)> owned(bytes, std::free);
    if (!bytes)
        return std::nullopt;
    return std::string(bytes, length);
}

void setAttribute(const std::string& path, const char* name, const std::string& value) {
    if (::setxattr(path.c_str(), name, value.data(), value.size(), 0) == 0)
        return;
    const int number = errno;
    const Error error = Error::posix(number, std::string("set the attribute ") + name + " of", path);
    Log::error("Could not set extended attributes: {} ({})", error.description, number);
}

std::string attributeOf(const std::string& path, const char* name) {
    constexpr std::size_t kLongest = 4096;
    std::string value(kLongest, '\0');
    const ssize_t length = ::getxattr(path.c_str(), name, value.data(), value.size());
    value.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return value;
}

} // namespace

void FileFinalizer::setVersion(const Validator& version) const {
    const auto set = [this](const char* name, const std::string& value) {
        if (!value.empty())
            setAttribute(m_filePath, name, value);
    };
    set(kTagAttribute, version.entityTag);
    if (version.isModificationStrong) // what another version could have too tells nothing later
        set(kModifiedAttribute, version.lastModified);
    set(kServerAttribute, version.origin);
}

Validator FileFinalizer::version() const {
    Validator noted{.entityTag = attributeOf(m_filePath, kTagAttribute),
                    .lastModified = attributeOf(m_filePath, kModifiedAttribute),
                    .origin = attributeOf(m_filePath, kServerAttribute)};
    noted.isModificationStrong = !noted.lastModified.empty();
    return noted;
}

void FileFinalizer::setWhereFrom(std::string_view address) const {
    const auto url = Url::parse(address);
    if (!Log::assertThat(url.has_value(), "The place a file came from is no URL"))
        return;
    const std::string origin = url->withoutCredentials().absoluteString();
    setAttribute(m_filePath, kPlainAttribute, origin);
    if (const auto list = binaryListOf(origin))
        setAttribute(m_filePath, kListAttribute, *list);
    else
        Log::error("Failed to serialize property list: no binary form of the address");
}

bool FileFinalizer::isFrom(std::string_view address) const {
    const auto url = Url::parse(address);
    if (!url)
        return false;
    const std::string origin = url->withoutCredentials().absoluteString();
    std::string noted(origin.size() + 1, '\0'); // one more, to see that it is no longer one
    const ssize_t length = ::getxattr(m_filePath.c_str(), kPlainAttribute, noted.data(), noted.size());
    return length == static_cast<ssize_t>(origin.size()) && noted.starts_with(origin);
}

} // namespace tarvo
