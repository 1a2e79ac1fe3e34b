// Sets up what every program of this folder runs in: the main thread, and a log that formats all its lines.
#include "Fuzz.h"

#include <memory>

#include <QCoreApplication>
#include <spdlog/sinks/null_sink.h>

#include "base/Localized.h"
#include "base/Log.h"
#include "base/Runloop.h"

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    static QCoreApplication application(*argc, *argv);
    static const tarvo::Runloop::Main mainThread;
    tarvo::installLocalizedTexts();
    const auto sink = std::make_shared<spdlog::sinks::null_sink_mt>();
    sink->set_level(spdlog::level::trace);
    tarvo::Log::attach(sink);
    return 0;
}
