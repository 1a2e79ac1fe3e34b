// A whole queue without a user: no passwords, no browser, no one to tell or to ask. A test overrides what it
// wants to answer.
#pragma once

#include "queue/QueueController.h"
#include "support/MemoryPasswordStore.h"

namespace tarvo::test {

class UnattendedQueue : public AuthenticationPrompt, private PageOpener, private AlertPresenter {
public:
    /// Everything referred to outlives it. `session` may be null.
    UnattendedQueue(const JobEnvironment& environment, UserDefaults* session, Seconds retryDelay)
        : m_credentials(passwords, this, environment.defaults, environment.clock),
          controller({.jobs = environment,
                      .notifications = notifications,
                      .authManager = m_credentials,
                      .pages = *this,
                      .alerts = *this,
                      .session = session,
                      .retryDelay = retryDelay}) {}

private:
    std::optional<AuthenticationAnswer> promptAuthentication(const AuthenticationQuestion&) override {
        return {};
    }

    void cancelPrompt() override {}

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

public:
    MemoryPasswordStore passwords;

private:
    AuthenticationManager m_credentials;

public:
    NotificationCenter notifications;
    QueueController controller;
};

} // namespace tarvo::test
