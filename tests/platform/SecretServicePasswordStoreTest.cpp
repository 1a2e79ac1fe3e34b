// Passwords in a real keyring on a bus of the test's own, and quiet where there is none.
#include "platform/SecretServicePasswordStore.h"

#include "support/ServerProcess.h"
#include "support/TemporaryFolder.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <thread>

#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tarvo {

namespace {

using namespace std::chrono_literals;

/// Variables of the environment, as they were again when it goes.
class Environment {
public:
    ~Environment() {
        for (const auto& [name, value] : m_before)
            value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    }

    void set(const std::string& name, const std::string& value) {
        const char* before = std::getenv(name.c_str());
        m_before.try_emplace(name, before ? std::optional<std::string>(before) : std::nullopt);
        ::setenv(name.c_str(), value.c_str(), 1);
    }

private:
    std::map<std::string, std::optional<std::string>> m_before;
};

bool comesTrue(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(20ms);
    }
    return true;
}

/// The test's own connection to the bus.
class Bus {
public:
    explicit Bus(const std::string& socketPath)
        : m_connection(g_dbus_connection_new_for_address_sync(
              ("unix:path=" + socketPath).c_str(),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr)) {}

    ~Bus() {
        if (m_connection) {
            g_dbus_connection_close_sync(m_connection, nullptr, nullptr);
            g_object_unref(m_connection);
        }
    }

    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    bool hasOwner(const char* name) {
        gboolean has = FALSE;
        if (GVariant* answer = callBus("NameHasOwner", g_variant_new("(s)", name))) {
            g_variant_get(answer, "(b)", &has);
            g_variant_unref(answer);
        }
        return has;
    }

    /// Takes the place of the desktop's prompter, which the keyring calls when it wants the user to unlock
    /// something, and counts those calls.
    void becomePrompter() {
        g_dbus_connection_add_filter(m_connection, &Bus::count, nullptr, nullptr);
        s_prompts = 0;
        GVariant* answer =
            callBus("RequestName", g_variant_new("(su)", "org.gnome.keyring.SystemPrompter", 0u));
        ASSERT_NE(answer, nullptr);
        g_variant_unref(answer);
    }

    void lockKeyring() {
        GVariant* answer =
            call("org.freedesktop.secrets", "/org/freedesktop/secrets", "org.freedesktop.Secret.Service",
                 "Lock", g_variant_new_parsed("([objectpath '/org/freedesktop/secrets/collection/login'],)"));
        ASSERT_NE(answer, nullptr);
        g_variant_unref(answer);
    }

    static int prompts() { return s_prompts; }

private:
    static GDBusMessage* count(GDBusConnection*, GDBusMessage* message, gboolean isIncoming, gpointer) {
        const char* interface = g_dbus_message_get_interface(message);
        if (!isIncoming || !interface || std::string(interface) != "org.gnome.keyring.internal.Prompter")
            return message;
        ++s_prompts;
        g_object_unref(message); // never answered: the user is still thinking
        return nullptr;
    }

    GVariant* call(const char* name, const char* path, const char* interface, const char* method,
                   GVariant* arguments) {
        if (!m_connection)
            return nullptr;
        return g_dbus_connection_call_sync(m_connection, name, path, interface, method, arguments, nullptr,
                                           G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr);
    }

    GVariant* callBus(const char* method, GVariant* arguments) {
        return call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method,
                    arguments);
    }

    GDBusConnection* m_connection;
    static inline std::atomic<int> s_prompts{0};
};

class SecretServicePasswordStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name :
             {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_RUNTIME_DIR"})
            m_environment.set(name, m_folder.path());
        m_environment.set("DBUS_SESSION_BUS_ADDRESS", "");
        m_environment.set("DISPLAY", "");
        m_environment.set("WAYLAND_DISPLAY", "");
    }

    std::string socketPath() const { return m_folder.path("private-bus"); }

    void startBus() {
        m_environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + socketPath());
        const std::string settings = m_folder.write(
            "bus.conf",
            "<busconfig><type>session</type><listen>unix:path=" + socketPath() +
                "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
                "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>");
        m_bus.start({test::programPath("dbus-daemon", "dbus"), "--nofork", "--config-file=" + settings},
                    m_folder.path("bus.log"), {});
        ASSERT_TRUE(comesTrue([&] { return std::filesystem::exists(socketPath()); }))
            << test::contentOf(m_folder.path("bus.log"));
    }

    /// A keyring that is open.
    void startKeyring() {
        const std::string command =
            "printf %s sesame | " + test::programPath("gnome-keyring-daemon", "gnome-keyring") +
            " --unlock --foreground --components=secrets --control-directory=" + m_folder.path("control");
        m_keyring.start({"/bin/sh", "-c", command}, m_folder.path("keyring.log"), {});
        ASSERT_TRUE(comesTrue([this] { return isServiceUp(); }))
            << test::contentOf(m_folder.path("keyring.log"));
    }

    bool isServiceUp() const { return Bus(socketPath()).hasOwner("org.freedesktop.secrets"); }

    test::TemporaryFolder m_folder;
    Environment m_environment;
    test::ServerProcess m_bus;
    test::ServerProcess m_keyring;
    SecretServicePasswordStore m_store;
};

/// How long `action` takes.
std::chrono::steady_clock::duration timeOf(const std::function<void()>& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - start;
}

} // namespace

TEST_F(SecretServicePasswordStoreTest, KeepsFindsAndReplacesPasswords) {
    startBus();
    startKeyring();
    m_store.store("ftp://host", "bob", "first");
    ASSERT_TRUE(comesTrue([&] { return m_store.password("ftp://host", "bob") == "first"; }))
        << test::contentOf(m_folder.path("keyring.log"));
    m_store.store("ftp://host", "bob", "sécond \n'\"");
    EXPECT_TRUE(comesTrue([&] { return m_store.password("ftp://host", "bob") == "sécond \n'\""; }));
    m_store.store("ftp://host", "älice", "hers");
    EXPECT_TRUE(comesTrue([&] { return m_store.password("ftp://host", "älice") == "hers"; }));
    m_store.store("http://host", "carol", "other");
    EXPECT_TRUE(comesTrue([&] { return m_store.accounts("http://host").size() == 1; }));

    auto accounts = m_store.accounts("ftp://host");
    std::sort(accounts.begin(), accounts.end());
    EXPECT_EQ(accounts, (std::vector<std::string>{"bob", "älice"}));
    EXPECT_EQ(m_store.password("ftp://host", "carol"), std::nullopt);
    EXPECT_EQ(m_store.password("ftp://other", "bob"), std::nullopt);
    EXPECT_EQ(m_store.password("ftp://host", "broken \xff"), std::nullopt);
    EXPECT_TRUE(m_store.accounts("ftp://other").empty());
}

TEST_F(SecretServicePasswordStoreTest, WhatIsBeingStoredWhenTheProgramEndsIsKept) {
    startBus();
    startKeyring();
    {
        SecretServicePasswordStore passing;
        passing.store("ftp://host", "bob", "late");
    }
    EXPECT_EQ(m_store.password("ftp://host", "bob"), "late");
}

TEST_F(SecretServicePasswordStoreTest, WithoutABusOrAServiceNothingIsFoundAtOnce) {
    const auto finds = [this] {
        return m_store.password("ftp://host", "bob") || !m_store.accounts("ftp://host").empty();
    };
    EXPECT_LT(timeOf([&] { EXPECT_FALSE(finds()); }), 1s); // no address
    m_environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + m_folder.path("nowhere"));
    EXPECT_LT(timeOf([&] { EXPECT_FALSE(finds()); }), 1s); // nobody there
    startBus();
    EXPECT_LT(timeOf([&] { EXPECT_FALSE(finds()); }), 1s); // no service on it
    m_store.store("ftp://host", "bob", "lost");
    EXPECT_FALSE(finds());
}

TEST_F(SecretServicePasswordStoreTest, ABusThatNeverAnswersIsLeft) {
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un place{};
    place.sun_family = AF_UNIX;
    socketPath().copy(place.sun_path, sizeof place.sun_path - 1);
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    ASSERT_EQ(::listen(listener, 8), 0);
    m_environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + socketPath());
    const auto time = timeOf([&] { EXPECT_EQ(m_store.password("ftp://host", "bob"), std::nullopt); });
    EXPECT_GE(time, SecretServicePasswordStore::kLookUpLimit);
    EXPECT_LT(time, 2 * SecretServicePasswordStore::kLookUpLimit);
    EXPECT_LT(timeOf([&] {
                  SecretServicePasswordStore passing;
                  passing.store("ftp://host", "bob", "lost");
              }),
              4s);
    ::close(listener);
}

// Last, as libsecret keeps the connection that broke while it was waiting.
TEST_F(SecretServicePasswordStoreTest, OnlyStoringAsksTheUserAndThenTheEndOfTheBusDoesNoHarm) {
    startBus();
    startKeyring();
    m_store.store("ftp://host", "bob", "secret");
    ASSERT_TRUE(comesTrue([&] { return m_store.password("ftp://host", "bob") == "secret"; }));
    Bus prompter(socketPath());
    prompter.becomePrompter();
    prompter.lockKeyring();

    EXPECT_LT(timeOf([&] { EXPECT_EQ(m_store.password("ftp://host", "bob"), std::nullopt); }), 3s);
    EXPECT_EQ(m_store.accounts("ftp://host"), std::vector<std::string>{"bob"});
    std::this_thread::sleep_for(200ms);
    EXPECT_EQ(prompter.prompts(), 0);

    EXPECT_LT(timeOf([&] { m_store.store("ftp://host", "bob", "newer"); }), 1s);
    EXPECT_TRUE(comesTrue([&] { return prompter.prompts() > 0; }));

    m_bus.stop(); // while the store waits for the user: GLib's default would be to end the process
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(m_store.password("ftp://host", "bob"), std::nullopt);
}

} // namespace tarvo
