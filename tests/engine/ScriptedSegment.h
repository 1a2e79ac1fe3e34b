// A segment without a network: the test says what arrives and sees what was done to it.
#pragma once

#include "engine/transfer/CurlDownloader.h"

#include <functional>

namespace tarvo::test {

class ScriptedSegment final : public CurlSegment {
public:
    using CurlSegment::CurlSegment;

    std::function<void(CurlSegmentDelegate&)> script; ///< what happens when the transfer is started
    std::int64_t status = 200;
    std::string done; ///< "start", "pause", "resume", in the order in which they were called

    /// One header line arrives, as the delegate gets it.
    void deliverHeader(std::string_view line) { delegate().lock()->curlHasHeader(*this, line); }

    std::int64_t deliverData(std::string_view data) { return delegate().lock()->curlHasData(*this, data); }

    std::int64_t tick() { return delegate().lock()->curlHasProgress(*this); }

    void* curlHandle() override { return nullptr; }

    void configure() override {}

    void configureAndStart() override {
        done += "start ";
        if (script)
            script(*delegate().lock());
    }

    void wakeup() override {}

    void pause() override { done += "pause "; }

    void resume() override { done += "resume "; }

    std::optional<Error> error() const override {
        if (errorCode() == 0)
            return std::nullopt;
        return Error{std::string(ErrorDomain::CurlSegment), errorCode(), "", ""};
    }

    std::optional<Url> effectiveUrl() const override { return request().url; }

    std::int64_t contentLength() const override { return 0; }

    std::int64_t httpCode() const override { return status; }
};

} // namespace tarvo::test
