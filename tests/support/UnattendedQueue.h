// A whole queue with nobody at it: no passwords, no browser, nobody to tell or to ask. Tests let somebody
// be there by overriding.
#pragma once

#include "queue/QueueController.h"

namespace tarvo::test {

class UnattendedQueue : public AuthenticationPrompt,
                        private PasswordStore,
                        private PageOpener,
                        private AlertPresenter {
public:
    /// Everything referred to outlives it. `session` may be null.
    UnattendedQueue(const JobEnvironment& environment, UserDefaults* session, Seconds retryDelay)
        : m_credentials(*this, this, environment.defaults, environment.clock),
          controller({.jobs = environment,
                      .notifications = notifications,
                      .authManager = m_credentials,
                      .pages = *this,
                      .alerts = *this,
                      .session = session,
                      .retryDelay = retryDelay}) {}

    /// Whether every job of the queue has succeeded.
    bool isDone() {
        auto& files = controller.remoteFiles();
        return files.succeededJobs() == files.content().size();
    }

private:
    std::optional<AuthenticationAnswer> promptAuthentication(const AuthenticationQuestion&) override {
        return {};
    }

    void cancelPrompt() override {}

    std::vector<std::string> accounts(const std::string&) override { return {}; }

    std::optional<std::string> password(const std::string&, const std::string&) override { return {}; }

    void store(const std::string&, const std::string&, const std::string&) override {}

    BrowserEndReason openBrowserFor(const std::shared_ptr<RemoteFile>&,
                                    std::shared_ptr<RemoteFile>&) override {
        return BrowserEndReason::cancelled;
    }

    void closePages() override {}

    void presentError(const Error&) override {}

    std::size_t runAlert(const std::string&, const std::string&,
                         const std::vector<std::string>& buttons) override {
        return buttons.size() - 1;
    }

    AuthenticationManager m_credentials;

public:
    NotificationCenter notifications;
    QueueController controller;
};

} // namespace tarvo::test
