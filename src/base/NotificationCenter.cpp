#include "base/NotificationCenter.h"

#include "base/Runloop.h"

namespace tarvo {

NotificationCenter::Observation NotificationCenter::observe(std::string_view name, Handler handler) {
    Runloop::assertMain();
    auto observation = std::make_shared<const Handler>(std::move(handler));
    m_handlers[std::string(name)].push_back(observation);
    return observation;
}

void NotificationCenter::post(std::string_view name, const void* object, Notification::UserInfo userInfo) {
    Runloop::assertMain();
    const auto found = m_handlers.find(name);
    if (found == m_handlers.end())
        return;
    std::erase_if(found->second, [](const auto& handler) { return handler.expired(); });
    const Notification notification{std::string(name), object, std::move(userInfo)};
    const auto handlers = found->second; // a handler may make others listen
    for (const auto& each : handlers) {
        if (const auto handler = each.lock())
            (*handler)(notification);
    }
}

} // namespace tarvo
