#include "platform/SecretServicePasswordStore.h"

#include "base/Disk.h"
#include "base/Log.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <type_traits>
#include <utility>

#include <gio/gio.h>
#include <libsecret/secret.h>

namespace tarvo {

namespace {

using SteadyClock = std::chrono::steady_clock;

const SecretSchema kSchema = {"com.unregistered.Tarvo",
                              SECRET_SCHEMA_NONE,
                              {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                               {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                               {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                              0,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr};

struct Release {
    void operator()(gpointer object) const { g_object_unref(object); }

    void operator()(GError* error) const { g_error_free(error); }

    void operator()(GHashTable* table) const { g_hash_table_unref(table); }

    void operator()(GList* objects) const { g_list_free_full(objects, g_object_unref); }

    void operator()(SecretValue* value) const { secret_value_unref(value); }
};

template <class T>
using Owned = std::unique_ptr<T, Release>;

/// A few calls of asynchronous operations, each waited for, all together within a time limit: a service that
/// does not answer is left. The calls run on a main context of their own, so that waiting serves nothing
/// else.
class Attempt {
public:
    Attempt(std::chrono::seconds limit, const std::atomic<bool>& isQuitting)
        : m_context(g_main_context_new()), m_cancellable(g_cancellable_new()), m_isQuitting(isQuitting),
          m_end(SteadyClock::now() + limit) {
        g_main_context_push_thread_default(m_context);
        m_timer = g_timeout_source_new(50);
        g_source_set_callback(m_timer, &Attempt::onTick, this, nullptr);
        g_source_attach(m_timer, m_context);
    }

    ~Attempt() {
        g_source_destroy(m_timer);
        g_source_unref(m_timer);
        while (g_main_context_iteration(m_context, FALSE)) {
        }
        g_main_context_pop_thread_default(m_context);
        g_main_context_unref(m_context);
        g_clear_error(&m_error);
    }

    Attempt(const Attempt&) = delete;
    Attempt& operator=(const Attempt&) = delete;

    /// Starts an operation with `start(cancellable, callback, data)`, waits for it, and answers what
    /// `finish(result, error)` makes of its result: nothing when it failed or was given up.
    template <class Start, class Finish>
    auto complete(Start start, Finish finish) {
        using Outcome = std::invoke_result_t<Finish, GAsyncResult*, GError**>;
        const auto pending = std::make_shared<Pending>();
        start(m_cancellable.get(), &Attempt::onResult, new std::shared_ptr<Pending>(pending));
        while (!pending->result && !m_isGivenUp)
            g_main_context_iteration(m_context, TRUE);
        g_clear_error(&m_error);
        return pending->result ? finish(pending->result.get(), &m_error) : Outcome{};
    }

    /// Why the last operation failed.
    const char* complaint() const { return m_error ? m_error->message : "no service"; }

private:
    /// Shared with the operation, which may outlive the attempt: libsecret loses the result of a prompt when
    /// the bus goes away meanwhile, and then cancelling does not end it either.
    struct Pending {
        Owned<GAsyncResult> result;
    };

    static constexpr std::chrono::milliseconds kCancelLimit{300};

    static void onResult(GObject*, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<std::shared_ptr<Pending>> pending(static_cast<std::shared_ptr<Pending>*>(data));
        (*pending)->result.reset(G_ASYNC_RESULT(g_object_ref(result)));
    }

    static gboolean onTick(gpointer data) {
        auto* self = static_cast<Attempt*>(data);
        const auto now = SteadyClock::now();
        if (self->m_isQuitting)
            self->m_end = std::min(self->m_end, now + SecretServicePasswordStore::kQuitLimit);
        if (now > self->m_end)
            g_cancellable_cancel(self->m_cancellable.get());
        self->m_isGivenUp = now > self->m_end + kCancelLimit;
        return G_SOURCE_CONTINUE;
    }

    GMainContext* m_context;
    Owned<GCancellable> m_cancellable;
    const std::atomic<bool>& m_isQuitting;
    SteadyClock::time_point m_end;
    GSource* m_timer = nullptr;
    GError* m_error = nullptr;
    bool m_isGivenUp = false;
};

/// Whether an address of a session bus is known. Without one GLib would try to launch a bus.
bool hasSessionBus() {
    const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
    const char* runtimeFolder = std::getenv("XDG_RUNTIME_DIR");
    return (address && *address) || (runtimeFolder && Disk::exists(std::string(runtimeFolder) + "/bus"));
}

/// The service, and the connection to it.
struct Session {
    Owned<GDBusConnection> bus;
    Owned<SecretService> service;

    explicit operator bool() const { return service != nullptr; }
};

Session openSession(Attempt& attempt) {
    Session session;
    if (!hasSessionBus())
        return session;
    session.bus.reset(attempt.complete([](auto... arguments) { g_bus_get(G_BUS_TYPE_SESSION, arguments...); },
                                       &g_bus_get_finish));
    if (!session.bus)
        return session;
    // The end of the session's bus would otherwise end the process, and with it its downloads.
    g_dbus_connection_set_exit_on_close(session.bus.get(), FALSE);
    // Not the one that libsecret keeps for all: it would outlive the service behind it.
    session.service.reset(attempt.complete(
        [](auto... arguments) {
            secret_service_open(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION, arguments...);
        },
        &secret_service_open_finish));
    return session;
}

/// The attributes of an item; null when D-Bus could not carry them.
Owned<GHashTable> attributes(const std::string& service, const std::string* account) {
    const bool isText =
        g_utf8_validate(service.data(), static_cast<gssize>(service.size()), nullptr) &&
        (!account || g_utf8_validate(account->data(), static_cast<gssize>(account->size()), nullptr));
    if (!isText)
        return nullptr;
    Owned<GHashTable> all(g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free));
    g_hash_table_insert(all.get(), g_strdup("service"), g_strdup(service.c_str()));
    if (account)
        g_hash_table_insert(all.get(), g_strdup("account"), g_strdup(account->c_str()));
    return all;
}

/// The items with these attributes, unlocked ones first, as they are: nothing is unlocked for it.
Owned<GList> search(Attempt& attempt, const Session& session, GHashTable* wanted, int flags) {
    SecretService* service = session.service.get();
    return Owned<GList>(attempt.complete(
        [&](auto... arguments) {
            secret_service_search(service, &kSchema, wanted,
                                  static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | flags), arguments...);
        },
        [&](auto... arguments) { return secret_service_search_finish(service, arguments...); }));
}

void storeNow(const std::string& service, const std::string& account, const std::string& password,
              const std::atomic<bool>& isQuitting) {
    Attempt attempt(SecretServicePasswordStore::kStoreLimit, isQuitting);
    const auto wanted = attributes(service, &account);
    const Session session = wanted ? openSession(attempt) : Session{};
    if (!session) {
        Log::info("No password store to keep the password for {}: {}", service, attempt.complaint());
        return;
    }
    const Owned<SecretValue> value(
        secret_value_new(password.data(), static_cast<gssize>(password.size()), "text/plain"));
    const std::string label = service + " (" + account + ")";
    SecretService* keeper = session.service.get();
    const bool stored = attempt.complete(
        [&](auto... arguments) {
            secret_service_store(keeper, &kSchema, wanted.get(), SECRET_COLLECTION_DEFAULT, label.c_str(),
                                 value.get(), arguments...);
        },
        [&](auto... arguments) { return secret_service_store_finish(keeper, arguments...); });
    if (!stored)
        Log::warning("The password for {} could not be stored: {}", service, attempt.complaint());
}

} // namespace

SecretServicePasswordStore::~SecretServicePasswordStore() {
    m_isQuitting = true;
}

std::vector<std::string> SecretServicePasswordStore::accounts(const std::string& service) {
    std::vector<std::string> accounts;
    Attempt attempt(kLookUpLimit, m_isQuitting);
    const auto wanted = attributes(service, nullptr);
    const Session session = wanted ? openSession(attempt) : Session{};
    if (!session)
        return accounts;
    const auto items = search(attempt, session, wanted.get(), SECRET_SEARCH_NONE);
    for (const GList* item = items.get(); item; item = item->next) {
        const Owned<GHashTable> found(secret_item_get_attributes(SECRET_ITEM(item->data)));
        if (const auto* account = static_cast<const char*>(g_hash_table_lookup(found.get(), "account")))
            accounts.emplace_back(account);
    }
    return accounts;
}

std::optional<std::string> SecretServicePasswordStore::password(const std::string& service,
                                                                const std::string& account) {
    Attempt attempt(kLookUpLimit, m_isQuitting);
    const auto wanted = attributes(service, &account);
    const Session session = wanted ? openSession(attempt) : Session{};
    if (!session)
        return std::nullopt;
    const auto items = search(attempt, session, wanted.get(), SECRET_SEARCH_LOAD_SECRETS);
    for (const GList* item = items.get(); item; item = item->next) {
        // A locked item has no secret.
        if (const Owned<SecretValue> value(secret_item_get_secret(SECRET_ITEM(item->data))); value) {
            gsize length = 0;
            const char* bytes = secret_value_get(value.get(), &length);
            return std::string(bytes, length);
        }
    }
    return std::nullopt;
}

void SecretServicePasswordStore::store(const std::string& service, const std::string& account,
                                       const std::string& password) {
    m_storing.async(
        [this, service, account, password] { storeNow(service, account, password, m_isQuitting); });
}

} // namespace tarvo
