#include "ui/FileHasher.h"

#include <atomic>
#include <cerrno>

#include <QPointer>

#include "base/Runloop.h"

namespace tarvo {

/// What the two threads share of one file.
class FileHasher::Run final : public TRFileHashDelegate {
public:
    bool update(TRFileHash& hash, std::int64_t, std::int64_t) override {
        percent = static_cast<int>(hash.percentComplete());
        return !isCancelled;
    }

    std::atomic<bool> isCancelled{false};
    std::atomic<int> percent{0};
};

FileHasher::FileHasher(QObject* parent) : QObject(parent) {
    constexpr int betweenLooksMs = 100;
    m_progressTimer.setInterval(betweenLooksMs);
    connect(&m_progressTimer, &QTimer::timeout, this, [this] { Q_EMIT progressed(m_run->percent); });
}

FileHasher::~FileHasher() {
    cancel();
}

void FileHasher::start(const std::string& path) {
    Runloop::assertMain();
    cancel();
    m_run = std::make_shared<Run>();
    m_progressTimer.start();
    m_queue.async([self = QPointer(this), run = m_run, path] {
        if (run->isCancelled)
            return;
        TRFileHash hash(path, run);
        const auto digests = hash.computeAll();
        Runloop::runOnMainLater([self, run, digests, error = hash.error()] {
            if (self)
                self->hasEnded(run, digests, error);
        });
    });
}

void FileHasher::cancel() {
    Runloop::assertMain();
    m_progressTimer.stop();
    if (const auto run = std::exchange(m_run, nullptr))
        run->isCancelled = true;
}

void FileHasher::hasEnded(const std::shared_ptr<Run>& run, const std::optional<TRFileHash::Digests>& digests,
                          const std::optional<Error>& error) {
    if (run != m_run)
        return;
    cancel();
    if (digests)
        Q_EMIT finished(*digests);
    else
        Q_EMIT failed(error.value_or(Error::posix(EIO, "read", "")));
}

} // namespace tarvo
