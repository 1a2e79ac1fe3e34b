// The way to the main thread, which owns states, signals and the queue.
#pragma once

#include <functional>
#include <source_location>

namespace tarvo {

/// Closures run in the order in which they come. One that turns a loop of its own (QEventLoop) holds no
/// other back: they are served inside it.
class Runloop {
public:
    /// Runs `closure` on the main thread and waits for it; at once when already there. Answers whether
    /// it ran: false means that the program is quitting and the main thread serves no caller any more.
    static bool runOnMainAndWait(const std::function<void()>& closure);

    /// Runs `closure` on the main thread soon; at once when already there. Closures that arrive after
    /// the main loop has ended are dropped.
    static void runOnMainLater(std::function<void()> closure);

    /// Runs `closure` on a later turn of the main loop, also when already on the main thread.
    static void runOnNextTurn(std::function<void()> closure);

    static bool isMainThread();

    /// The first line of what belongs to the main thread: see assertThread() of base/ThreadOwner.h.
    static void assertMain(std::source_location where = std::source_location::current());

    /// Made once in main(), after the application object, by the thread that will run the event loop.
    /// Its end releases every worker that still waits for the main thread.
    class Main {
    public:
        Main();
        ~Main();
        Main(const Main&) = delete;
        Main& operator=(const Main&) = delete;
    };
};

} // namespace tarvo
