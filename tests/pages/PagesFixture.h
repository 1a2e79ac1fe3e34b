// A queue with the built-in browser, without a window.
#pragma once

#include "app/CookieKeeper.h"
#include "pages/BuiltInBrowser.h"
#include "support/JobHarness.h"
#include "support/MemoryPasswordStore.h"

#include <gtest/gtest.h>

namespace tarvo::test {

class PagesFixture : public ::testing::Test, public AlertPresenter, public AuthenticationPrompt {
protected:
    /// Makes the browser, whose process is `command`, and the queue.
    void begin(const BrowserProcess::Command& command) {
        harness.defaults.set(SettingKey::kDefaultDirectory, QString::fromStdString(folder()));
        harness.defaults.set(SettingKey::kDefaultThreading, 10);
        harness.defaults.set(SettingKey::kDefaultConcurrency, 4);
        harness.defaults.set(SettingKey::kAutoStartAfterAdd, true);
        browser = std::make_unique<BuiltInBrowser>(cookies, harness.defaults, *this, "/", command);
        queue = std::make_unique<QueueController>(QueueController::Environment{.jobs = environment,
                                                                               .notifications = notifications,
                                                                               .authManager = credentials,
                                                                               .pages = *browser,
                                                                               .alerts = *this});
        browser->attach(*queue, environment);
    }

    void TearDown() override {
        bool hasEnded = !queue;
        if (queue) {
            QObject::connect(queue.get(), &QueueController::ended, [&] { hasEnded = true; });
            queue->quit();
        }
        EXPECT_TRUE(turnUntil([&] { return hasEnded; }));
        queue.reset();
        browser.reset();
    }

    std::string folder() { return harness.folder.path("downloads"); }

    std::vector<std::shared_ptr<RemoteFile>> jobs() { return queue->remoteFiles().contentAsArray(); }

    /// The only job, once it has come to that state.
    std::shared_ptr<RemoteFile> onlyJob(rf_state_t state) {
        const bool isThere =
            turnUntil([&] { return jobs().size() == 1 && jobs()[0]->currentState() == state; });
        EXPECT_TRUE(isThere) << jobs().size() << " jobs"
                             << (jobs().empty() ? ""
                                                : ", the first " + statusText(jobs()[0]->currentState()));
        return isThere ? jobs()[0] : nullptr;
    }

    JobHarness harness;
    std::vector<Error> errors;
    CookieKeeper cookies{harness.disk, harness.clock, harness.folder.path("state/cookies.txt")};
    TransferEnvironment transfers{harness.defaults, cookies.store(), harness.clock};
    JobEnvironment environment{harness.defaults, harness.disk, harness.clock, transfers, harness.savingQueue};
    MemoryPasswordStore passwords;
    AuthenticationManager credentials{passwords, this, harness.defaults, harness.clock};
    NotificationCenter notifications;
    std::unique_ptr<BuiltInBrowser> browser;
    std::unique_ptr<QueueController> queue;

private:
    void presentError(const Error& error) override { errors.push_back(error); }

    std::size_t runAlert(const std::string&, const std::string&, const std::vector<std::string>&) override {
        return 0;
    }

    std::optional<AuthenticationAnswer> promptAuthentication(const AuthenticationQuestion&) override {
        return AuthenticationAnswer{"user", "password", false};
    }

    void cancelPrompt() override {}
};

} // namespace tarvo::test
