// Finds the user name and password for a server: remembered, stored, written in the address, or asked for.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "base/Clock.h"
#include "base/Locked.h"
#include "base/Url.h"
#include "base/UserDefaults.h"
#include "engine/transfer/TRAuthToken.h"
#include "jobs/AuthenticationPrompt.h"
#include "jobs/PasswordStore.h"

namespace tarvo {

/// One for the whole run; what was answered or found is remembered until it ends, in memory only. Looking up
/// is allowed from any thread. Nothing here is an error: without credentials there is simply no token.
class AuthenticationManager {
public:
    using Token = std::shared_ptr<const TRAuthToken>; ///< null: no credentials

    /// For so long a server that the password store does not know is not looked up again: a thousand files
    /// from one server are one look-up.
    static constexpr Seconds kMissIsRemembered{10.0};

    /// Everything passed in outlives the manager. `prompt` may be null: then the user is not asked.
    AuthenticationManager(PasswordStore& store, AuthenticationPrompt* prompt, const UserDefaults& defaults,
                          const Clock& clock);

    /// The credentials to try on the server of `url`: remembered ones first, then stored ones, then those
    /// in the address itself. For an empty user name ("ftp://@host") the login name of the system's user, and
    /// where SFTP names none, too, if that user has an SSH key or agent. Waits for the password store.
    Token getCredentialsForURL(const Url& url);

    /// Whether getCredentialsForURL() finds remembered or stored ones. Waits for the password store.
    bool knowsCredentialsForURL(const Url& url);

    /// Scheme and host, "ftp://host", and the port where it is not the scheme's usual one, "ftp://host:2121":
    /// another port may well be another's server.
    static std::string getServiceNameFromURL(const Url& url);

    /// Asks the user, starting from what is known. Answers whether the user confirmed; the next
    /// getCredentialsForURL() then gives the answer. Main thread.
    bool promptUserForCredentialsForURL(const Url& url);

    /// Has the question that is open, if any, end as if the user had cancelled it. Main thread.
    void cancelPrompt();

    /// Remembers the credentials of a service in the place of earlier ones.
    void cacheResultForService(const std::string& service, const std::string& username,
                               const std::string& password);

    /// Remembers what the user has given together with an address. Many a host sends its visitors from http
    /// to https: there it is the same one, and the credentials are better kept.
    void rememberGiven(const Url& url, const std::string& username, const std::string& password);

    /// What is remembered for a service; for a user name that is not empty only if it is the same.
    Token getCachedUsingService(const std::string& service, const std::optional<std::string>& username);

private:
    struct Credentials {
        std::string username;
        std::string password;
    };

    /// Remembered or stored ones. Sets the user name that it has found.
    Token getKnownUsingService(const std::string& service, std::optional<std::string>& username);

    /// In the store; without a user name, those of the service's first account. Sets the name it has found.
    std::optional<std::string> storedPassword(const std::string& service,
                                              std::optional<std::string>& username);

    Token makeToken(const std::string& service, const std::string& username,
                    const std::string& password) const;
    void promptCompletedWithResult(const TRAuthToken& token, bool shouldSave);
    void promptCanceled();
    bool shouldShowKeypairHint(const std::string& service) const;
    bool canLogInWithKey() const;

    PasswordStore& m_store;
    AuthenticationPrompt* m_prompt;
    const UserDefaults& m_defaults;
    const Clock& m_clock;
    bool m_popupDidSucceed = false; // of the last prompt; main thread
    std::mutex m_lookUps;           // of workers, one after the other: a locked store asks the user once
    Locked<std::map<std::string, Credentials>> m_cache;
    /// When the store was last asked in vain, by service and user name.
    Locked<std::map<std::pair<std::string, std::optional<std::string>>, TimePoint>> m_misses;
};

} // namespace tarvo
