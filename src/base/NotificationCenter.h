// Tells listeners that something has happened, without the teller knowing them.
#pragma once

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tarvo {

/// What happened, to which object, and what belongs to it.
struct Notification {
    using UserInfo = std::map<std::string, std::any, std::less<>>;

    std::string name;
    const void* object = nullptr;
    UserInfo userInfo;

    /// The entry under `key`; null when there is none, or one of another type.
    template <class Value>
    const Value* info(std::string_view key) const {
        const auto entry = userInfo.find(key);
        return entry == userInfo.end() ? nullptr : std::any_cast<Value>(&entry->second);
    }
};

/// Main thread. Listeners are called by post(), at once, in the order in which they came.
class NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;

    /// Keeps a handler listening; with its end the handler is called no more. May outlive the center.
    using Observation = std::shared_ptr<const Handler>;

    /// Calls `handler` for every notification of that name, for as long as the answer is kept.
    [[nodiscard]] Observation observe(std::string_view name, Handler handler);

    void post(std::string_view name, const void* object, Notification::UserInfo userInfo = {});

private:
    std::map<std::string, std::vector<std::weak_ptr<const Handler>>, std::less<>> m_handlers;
};

} // namespace tarvo
