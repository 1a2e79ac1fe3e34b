#include "queue/JobChanges.h"

#include "base/Runloop.h"

#include <utility>

namespace tarvo {

JobChanges::JobChanges(std::chrono::milliseconds between, Tell tell) : m_tell(std::move(tell)) {
    m_timer.setSingleShot(true);
    m_timer.setInterval(between);
    connect(&m_timer, &QTimer::timeout, this, &JobChanges::tell);
}

void JobChanges::watch(const Job& job) {
    Runloop::assertMain();
    const auto noteIt = [this, one = job.get()] { note(*one); };
    connect(job.get(), &RemoteFile::totalBytesDownloadedChanged, this, noteIt);
    connect(job.get(), &RemoteFile::fileSizeChanged, this, noteIt);
    connect(job.get(), &RemoteFile::fileNameChanged, this, noteIt);
    connect(job.get(), &RemoteFile::currentStateChanged, this, noteIt);
}

void JobChanges::forget(const Job& job) {
    Runloop::assertMain();
    job->disconnect(this);
    m_changed.erase(job);
}

void JobChanges::note(RemoteFile& job) {
    Runloop::assertMain();
    m_changed.insert(job.shared_from_this());
    if (!m_timer.isActive())
        m_timer.start();
}

void JobChanges::tell() {
    Runloop::assertMain();
    const auto changed = std::exchange(m_changed, {});
    m_tell({changed.begin(), changed.end()});
}

} // namespace tarvo
