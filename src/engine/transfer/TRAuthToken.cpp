// Finds the keys in the user's folder, and what to try with them.
#include "engine/transfer/TRAuthToken.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace tarvo {

namespace fs = std::filesystem;

namespace {

bool isFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

} // namespace

std::optional<std::string> TRAuthToken::sshDir() const {
    const fs::path folder(m_sshDirectory);
    std::error_code ignored;
    if (!folder.is_absolute() || !fs::is_directory(folder, ignored))
        return std::nullopt;
    return m_sshDirectory;
}

std::vector<std::string> TRAuthToken::privKeys() const {
    std::vector<std::string> keys;
    const auto folder = sshDir();
    if (!folder)
        return keys;
    for (const char* name : {"id_ed25519", "id_ecdsa", "id_rsa", "id_dsa"})
        if (const fs::path key = fs::path(*folder) / name; isFile(key))
            keys.push_back(key.string());
    return keys;
}

std::optional<std::string> TRAuthToken::privKey() const {
    if (m_attemptsKey)
        return m_attemptsKey;
    const auto keys = privKeys();
    return keys.empty() ? std::nullopt : std::optional(keys.front());
}

std::optional<std::string> TRAuthToken::pubKey() const {
    const auto key = privKey();
    return key && isFile(*key + ".pub") ? std::optional(*key + ".pub") : std::nullopt;
}

std::vector<std::shared_ptr<const TRAuthToken>> TRAuthToken::sshAttempts() const {
    const auto keys = privKeys();
    std::vector<std::shared_ptr<const TRAuthToken>> attempts;
    for (const auto& key : keys) {
        auto attempt = std::make_shared<TRAuthToken>(*this);
        attempt->m_attemptsKey = key;
        attempt->m_asksAgent = key == keys.front();
        attempt->m_offersPassword = key == keys.back();
        attempts.push_back(std::move(attempt));
    }
    if (attempts.empty())
        attempts.push_back(std::make_shared<TRAuthToken>(*this));
    return attempts;
}

bool isSshAgentThere() {
    const char* socket = std::getenv("SSH_AUTH_SOCK");
    return socket && *socket;
}

} // namespace tarvo
