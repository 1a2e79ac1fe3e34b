// A disk that fails: on its nth call of one operation, once or from then on.
#pragma once

#include "base/Locked.h"
#include "base/PosixDisk.h"

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace tarvo::test {

class FailingDisk final : public PosixDisk {
public:
    /// Operations are named like the member functions: "writeAt", "flush", "replaceFile", …
    /// `call` counts from 1; with `forGood` every later call fails too. Any thread.
    void failOn(std::string operation, int call, int errorNumber, bool forGood = true) {
        auto plan = m_plan.lock();
        plan->operation = std::move(operation);
        plan->callsLeft = call;
        plan->errorNumber = errorNumber;
        plan->forGood = forGood;
    }

    /// The next call of this operation waits until the test lets it go on.
    void holdNext(std::string operation) { *m_held.lock() = std::move(operation); }

    bool isHolding() const { return m_isHolding; }

    void letGoOn() { m_isHolding = false; }

    void recover() { *m_plan.lock() = {}; }

    Result<void> writeAt(int descriptor, std::string_view bytes, std::int64_t offset,
                         const std::string& path) override {
        return fails("writeAt") ? refuse("write", path) : PosixDisk::writeAt(descriptor, bytes, offset, path);
    }

    Result<void> flush(int descriptor, const std::string& path) override {
        return fails("flush") ? refuse("flush", path) : PosixDisk::flush(descriptor, path);
    }

    Result<void> replaceFile(const std::string& path, std::string_view bytes, bool durable) override {
        return fails("replaceFile") ? refuse("replace", path) : PosixDisk::replaceFile(path, bytes, durable);
    }

    Result<void> renameNoReplace(const std::string& from, const std::string& to) override {
        return fails("renameNoReplace") ? refuse("move", to) : PosixDisk::renameNoReplace(from, to);
    }

    Result<void> copyFile(const std::string& from, const std::string& to) override {
        return fails("copyFile") ? refuse("copy", to) : PosixDisk::copyFile(from, to);
    }

    Result<void> flushFolder(const std::string& path) override {
        return fails("flushFolder") ? refuse("flush the folder", path) : PosixDisk::flushFolder(path);
    }

    Result<void> makeFolders(const std::string& path) override {
        return fails("makeFolders") ? refuse("create", path) : PosixDisk::makeFolders(path);
    }

    /// What freeSpace() answers from here on; below 0: the truth.
    void pretendFree(std::int64_t bytes) { m_free = bytes; }

    std::optional<std::int64_t> freeSpace(const std::string& path) override {
        const std::int64_t pretended = m_free;
        return pretended < 0 ? PosixDisk::freeSpace(path) : pretended;
    }

private:
    struct Plan {
        std::string operation;
        int callsLeft = 0; // until the one that fails; 0: none does
        int errorNumber = 0;
        bool forGood = true;
    };

    void holdIfAsked(std::string_view operation) {
        {
            auto held = m_held.lock();
            if (*held != operation)
                return;
            held->clear();
        }
        for (m_isHolding = true; m_isHolding;)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    bool fails(std::string_view operation) {
        holdIfAsked(operation);
        auto plan = m_plan.lock();
        if (operation != plan->operation || plan->callsLeft == 0)
            return false;
        if (plan->callsLeft > 1) {
            --plan->callsLeft;
            return false;
        }
        if (!plan->forGood)
            plan->callsLeft = 0;
        return true;
    }

    tl::unexpected<Error> refuse(std::string_view operation, const std::string& path) {
        return failure(Error::posix(m_plan.lock()->errorNumber, operation, path));
    }

    Locked<Plan> m_plan;
    std::atomic<std::int64_t> m_free{-1};
    Locked<std::string> m_held; // the operation that is to wait
    std::atomic<bool> m_isHolding{false};
};

} // namespace tarvo::test
