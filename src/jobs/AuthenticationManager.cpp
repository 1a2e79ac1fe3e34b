#include "jobs/AuthenticationManager.h"

#include "base/Log.h"
#include "base/Runloop.h"
#include "base/Settings.h"

#include <cstdlib>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace tarvo {

namespace {

/// One field of the system's entry of the user; empty when there is none.
std::string ofSelf(char* passwd::*field) {
    passwd entry{};
    passwd* found = nullptr;
    std::vector<char> buffer(16384);
    const int fault = ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
    return fault == 0 && found ? found->*field : "";
}

std::string usualSshFolder() {
    const char* home = std::getenv("HOME");
    return (home && *home ? std::string(home) : ofSelf(&passwd::pw_dir)) + "/.ssh";
}

} // namespace

AuthenticationManager::AuthenticationManager(PasswordStore& store, AuthenticationPrompt* prompt,
                                             const UserDefaults& defaults, const Clock& clock)
    : m_store(store), m_prompt(prompt), m_defaults(defaults), m_clock(clock) {
}

AuthenticationManager::Token AuthenticationManager::getCredentialsForURL(const Url& url) {
    std::optional<std::string> username = url.user();
    const std::optional<std::string> password = url.password();
    const std::string service = getServiceNameFromURL(url);
    if (auto known = getKnownUsingService(service, username))
        return known;
    const bool mayHaveKey = url.scheme() == "sftp" && !username && !password && canLogInWithKey();
    if (mayHaveKey || (username && username->empty()))
        username = ofSelf(&passwd::pw_name);
    if (!username && !password)
        return nullptr;
    return makeToken(service, username.value_or(""), password.value_or(""));
}

bool AuthenticationManager::knowsCredentialsForURL(const Url& url) {
    auto username = url.user();
    return getKnownUsingService(getServiceNameFromURL(url), username) != nullptr;
}

AuthenticationManager::Token
AuthenticationManager::getKnownUsingService(const std::string& service,
                                            std::optional<std::string>& username) {
    if (auto cached = getCachedUsingService(service, username))
        return cached;
    std::unique_lock turn(m_lookUps, std::defer_lock);
    if (!Runloop::isMainThread()) // which does not wait for a worker that waits for the user
        turn.lock();
    const auto stored = storedPassword(service, username);
    if (!stored)
        return nullptr;
    cacheResultForService(service, *username, *stored);
    return makeToken(service, *username, *stored);
}

std::optional<std::string> AuthenticationManager::storedPassword(const std::string& service,
                                                                 std::optional<std::string>& username) {
    const auto asked = std::make_pair(service, username);
    {
        auto misses = m_misses.lock();
        const auto missed = misses->find(asked);
        if (missed != misses->end() && m_clock.now() - missed->second < kMissIsRemembered)
            return std::nullopt;
    }
    if (!username) {
        const auto accounts = m_store.accounts(service);
        if (!accounts.empty())
            username = accounts.front();
    }
    auto password = username ? m_store.password(service, *username) : std::nullopt;
    if (!password && username == asked.second) // a name that was found, though without a password, is no miss
        m_misses.lock()->insert_or_assign(asked, m_clock.now());
    return password;
}

std::string AuthenticationManager::getServiceNameFromURL(const Url& url) {
    const std::string host = url.host();
    const auto port = url.unusualPort();
    if (!port)
        return url.scheme() + "://" + host;
    const bool isAddress = host.find(':') != std::string::npos; // of IPv6
    return url.scheme() + "://" + (isAddress ? "[" + host + "]:" : host + ":") + std::to_string(*port);
}

bool AuthenticationManager::promptUserForCredentialsForURL(const Url& url) {
    Runloop::assertMain();
    if (!m_prompt)
        return false;
    const std::string service = getServiceNameFromURL(url);
    Token start = getCredentialsForURL(url);
    if (!start)
        start = makeToken(service, url.user().value_or(""), url.password().value_or(""));
    const auto answer = m_prompt->promptAuthentication(
        {start->username(), start->password(), service, shouldShowKeypairHint(service)});
    if (answer)
        promptCompletedWithResult(*makeToken(service, answer->username, answer->password),
                                  answer->shouldSave);
    else
        promptCanceled();
    return m_popupDidSucceed;
}

void AuthenticationManager::cancelPrompt() {
    Runloop::assertMain();
    if (m_prompt)
        m_prompt->cancelPrompt();
}

void AuthenticationManager::cacheResultForService(const std::string& service, const std::string& username,
                                                  const std::string& password) {
    if (Log::assertThat(!service.empty(), "No service"))
        (*m_cache.lock())[service] = {username, password};
}

void AuthenticationManager::rememberGiven(const Url& url, const std::string& username,
                                          const std::string& password) {
    const std::string service = getServiceNameFromURL(url);
    cacheResultForService(service, username, password);
    if (url.scheme() == "http" && !url.unusualPort())
        cacheResultForService("https" + service.substr(4), username, password);
}

AuthenticationManager::Token
AuthenticationManager::getCachedUsingService(const std::string& service,
                                             const std::optional<std::string>& username) {
    auto cache = m_cache.lock();
    const auto cached = cache->find(service);
    if (cached == cache->end())
        return nullptr;
    const Credentials& known = cached->second;
    if (username && !username->empty() && *username != known.username)
        return nullptr;
    return makeToken(service, known.username, known.password);
}

/// Made anew for every request, so that a folder of keys that was granted meanwhile is in it.
AuthenticationManager::Token AuthenticationManager::makeToken(const std::string& service,
                                                              const std::string& username,
                                                              const std::string& password) const {
    std::string folder = Settings(m_defaults).sshDirectoryBookmark();
    if (folder.empty())
        folder = usualSshFolder();
    return std::make_shared<const TRAuthToken>(service, username, password, folder);
}

void AuthenticationManager::promptCompletedWithResult(const TRAuthToken& token, bool shouldSave) {
    cacheResultForService(token.service(), token.username(), token.password());
    if (shouldSave)
        m_store.store(token.service(), token.username(), token.password());
    m_popupDidSucceed = true;
}

void AuthenticationManager::promptCanceled() {
    m_popupDidSucceed = false;
}

bool AuthenticationManager::shouldShowKeypairHint(const std::string& service) const {
    return service.starts_with("sftp") && !makeToken(service, "", "")->privKeys().empty();
}

bool AuthenticationManager::canLogInWithKey() const {
    return isSshAgentThere() || !makeToken("", "", "")->privKeys().empty();
}

} // namespace tarvo
