// A value together with the mutex that guards it: the value can't be touched without the lock.
#pragma once

#include <mutex>
#include <utility>

namespace tarvo {

template <class T>
class Locked {
public:
    Locked() = default;

    explicit Locked(T value) : m_value(std::move(value)) {}

    /// Holds the lock for as long as it lives; the value is reached through it.
    class Guard {
    public:
        explicit Guard(Locked& owner) : m_lock(owner.m_mutex), m_value(owner.m_value) {}

        /// Holds nothing, and must not be used, where another thread holds the lock.
        Guard(Locked& owner, std::try_to_lock_t)
            : m_lock(owner.m_mutex, std::try_to_lock), m_value(owner.m_value) {}

        explicit operator bool() const { return m_lock.owns_lock(); }

        T* operator->() { return &m_value; }

        T& operator*() { return m_value; }

    private:
        std::unique_lock<std::mutex> m_lock;
        T& m_value;
    };

    Guard lock() { return Guard(*this); }

    /// Never waits: to be asked whether it holds the lock.
    Guard tryLock() { return Guard(*this, std::try_to_lock); }

private:
    std::mutex m_mutex;
    T m_value{};
};

} // namespace tarvo
