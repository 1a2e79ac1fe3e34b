// Passwords in a real keyring on a bus of the test's own, and quiet where there is none.
#include "platform/SecretServicePasswordStore.h"

#include "support/PrivateBus.h"

#include <QDBusObjectPath>
#include <QDBusVirtualObject>

namespace tarvo::test {

namespace {

using namespace std::chrono_literals;

/// In the place of the desktop's prompter, which the keyring calls when it wants the user to unlock
/// something. Counts those calls and answers none: the user is still thinking.
class Prompter final : public QDBusVirtualObject {
public:
    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override {
        calls += message.interface() == "org.gnome.keyring.internal.Prompter" ? 1 : 0;
        message.setDelayedReply(true);
        return true;
    }

    int calls = 0;
};

class SecretServicePasswordStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name :
             {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
            ::setenv(name, m_folder.path().c_str(), 1);
        for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY"})
            ::setenv(name, "", 1);
    }

    static void useBus(const std::string& address) {
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    }

    /// A bus with a keyring that is open.
    void startKeyring() {
        m_bus.start();
        useBus(m_bus.address());
        const std::string command =
            "printf %s sesame | " + programPath("gnome-keyring-daemon", "gnome-keyring") +
            " --unlock --foreground --components=secrets --control-directory=" + m_folder.path("control");
        m_keyring.start({"/bin/sh", "-c", command}, m_folder.path("keyring.log"), {});
        ASSERT_TRUE(turnUntil([this] { return m_bus.has("org.freedesktop.secrets"); }))
            << contentOf(m_folder.path("keyring.log"));
    }

    /// Whether what is stored in the background is there at last.
    bool keeps(const std::string& service, const std::string& account, const std::string& password) {
        m_store.store(service, account, password);
        return turnUntil([&] { return m_store.password(service, account) == password; });
    }

    TemporaryFolder m_folder;
    PrivateBus m_bus;
    ServerProcess m_keyring;
    SecretServicePasswordStore m_store;
};

} // namespace

TEST_F(SecretServicePasswordStoreTest, KeepsFindsAndReplacesPasswords) {
    startKeyring();
    ASSERT_TRUE(keeps("ftp://host", "bob", "first")) << contentOf(m_folder.path("keyring.log"));
    EXPECT_TRUE(keeps("ftp://host", "bob", "sécond \n'\""));
    EXPECT_TRUE(keeps("ftp://host", "älice", "hers"));
    EXPECT_TRUE(keeps("http://host", "carol", "other"));
    EXPECT_EQ(m_store.accounts("ftp://host").size(), 2u);
    EXPECT_EQ(m_store.password("ftp://host", "carol"), std::nullopt);
    EXPECT_EQ(m_store.password("ftp://host", "broken \xff"), std::nullopt);
    {
        SecretServicePasswordStore passing; // the program ends while it is being stored
        passing.store("ftp://host", "bob", "late");
    }
    EXPECT_EQ(m_store.password("ftp://host", "bob"), "late");
}

TEST_F(SecretServicePasswordStoreTest, WithoutABusOrAServiceNothingIsFoundAtOnce) {
    m_bus.start();
    for (const std::string& address : {std::string(), m_bus.address() + "-of-nobody", m_bus.address()}) {
        useBus(address);
        m_store.store("ftp://host", "bob", "lost");
        EXPECT_LT(timeOf([&] { EXPECT_EQ(m_store.password("ftp://host", "bob"), std::nullopt); }), 1s);
        EXPECT_TRUE(m_store.accounts("ftp://host").empty());
    }
}

TEST_F(SecretServicePasswordStoreTest, ABusThatNeverAnswersIsLeft) {
    m_bus.start();
    m_bus.freeze();
    useBus(m_bus.address());
    const auto time = timeOf([&] { EXPECT_EQ(m_store.password("ftp://host", "bob"), std::nullopt); });
    EXPECT_GE(time, SecretServicePasswordStore::kLookUpLimit);
    EXPECT_LT(time, 2 * SecretServicePasswordStore::kLookUpLimit);
    EXPECT_LT(timeOf([&] { SecretServicePasswordStore().store("ftp://host", "bob", "lost"); }), 4s);
}

// Last, as libsecret keeps the connection that broke while it was waiting.
TEST_F(SecretServicePasswordStoreTest, OnlyStoringAsksTheUserAndThenTheEndOfTheBusDoesNoHarm) {
    startKeyring();
    ASSERT_TRUE(keeps("ftp://host", "bob", "secret"));
    Prompter prompter;
    ASSERT_TRUE(m_bus.connection().registerVirtualObject("/", &prompter, QDBusConnection::SubPath));
    ASSERT_TRUE(m_bus.connection().registerService("org.gnome.keyring.SystemPrompter"));
    const QList<QDBusObjectPath> login{QDBusObjectPath("/org/freedesktop/secrets/collection/login")};
    m_bus.call("org.freedesktop.secrets", "/org/freedesktop/secrets", "org.freedesktop.Secret.Service",
               "Lock", {QVariant::fromValue(login)});

    EXPECT_LT(timeOf([&] { EXPECT_EQ(m_store.password("ftp://host", "bob"), std::nullopt); }), 3s);
    EXPECT_EQ(m_store.accounts("ftp://host"), std::vector<std::string>{"bob"});
    turnUntil([] { return false; }, 200ms);
    EXPECT_EQ(prompter.calls, 0);

    EXPECT_LT(timeOf([&] { m_store.store("ftp://host", "bob", "newer"); }), 1s);
    EXPECT_TRUE(turnUntil([&] { return prompter.calls > 0; }));

    m_bus.stop(); // while the store waits for the user: GLib's default would be to end the process
    turnUntil([] { return false; }, 300ms);
    EXPECT_EQ(m_store.password("ftp://host", "bob"), std::nullopt);
}

} // namespace tarvo::test
