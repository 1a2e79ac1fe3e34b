// A password store without a desktop.
#pragma once

#include "jobs/PasswordStore.h"

#include <atomic>
#include <chrono>
#include <map>
#include <thread>
#include <utility>

namespace tarvo::test {

/// Holds what is put into it; nothing else.
class MemoryPasswordStore final : public PasswordStore {
public:
    std::vector<std::string> accounts(const std::string& service) override {
        ++lookedUp;
        while (!answers)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::vector<std::string> names;
        for (const auto& [key, password] : entries)
            if (key.first == service)
                names.push_back(key.second);
        return names;
    }

    std::optional<std::string> password(const std::string& service, const std::string& account) override {
        const auto found = entries.find({service, account});
        return found == entries.end() ? std::nullopt : std::optional(found->second);
    }

    void store(const std::string& service, const std::string& account, const std::string& password) override {
        entries[{service, account}] = password;
    }

    std::map<std::pair<std::string, std::string>, std::string> entries;
    std::atomic<int> lookedUp = 0;
    std::atomic<bool> answers{true}; ///< else the caller waits, as for a locked keyring
};

} // namespace tarvo::test
