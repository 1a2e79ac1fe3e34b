// Follows the downloads of the built-in browser, and turns those that can be fetched by parts into jobs that
// do.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <QObject>

#include "base/SerialQueue.h"
#include "browserlink/BrowserMessages.h"
#include "jobs/DownloadProbe.h"
#include "jobs/URLRemoteFile.h"

namespace tarvo {

/// Main thread, but for the probes.
class WebkitDownloadHelper final : public QObject {
    Q_OBJECT

public:
    using Job = std::shared_ptr<RemoteFile>;

    /// Whether the part file of a download may be where the browser says: a folder that it was given.
    using IsKnownFolder = std::function<bool(const std::string& folder)>;
    using Cancel = std::function<void(std::int64_t download)>;

    /// `environment` outlives the helper. `stem`: see StartBrowser.
    WebkitDownloadHelper(const JobEnvironment& environment, std::string stem, IsKnownFolder isKnownFolder,
                         Cancel cancel);

    /// Ends the probe that is under way.
    ~WebkitDownloadHelper() override;

    void downloadDidBegin(const DownloadBegan& began);
    void didReceiveData(const DownloadProgress& progress);
    void downloadDidEnd(const DownloadEnded& end);

    /// The browser's process is gone, and its downloads with it.
    void browserDidEnd();

Q_SIGNALS:
    /// A download has begun; `job` runs. It is kept by who is told.
    void didBegin(const std::shared_ptr<tarvo::RemoteFile>& job, std::int64_t visit);

    /// What becomes of it: `result` is the same job, or
    /// a segmented one of the same address, for which `job` is to make room.
    void didCreateRemoteFile(const std::shared_ptr<tarvo::RemoteFile>& job,
                             const std::shared_ptr<tarvo::RemoteFile>& result, std::int64_t visit);

private:
    struct Download {
        std::shared_ptr<URLRemoteFile> job;
        std::int64_t visit = 0;
    };

    void probe(const Download& download, const Url& url);
    void decide(const Download& download, bool isFile);
    std::shared_ptr<URLRemoteFile> find(std::int64_t download) const;

    const JobEnvironment& m_environment;
    const std::string m_stem;
    const IsKnownFolder m_isKnownFolder;
    const Cancel m_cancel;
    std::map<std::int64_t, std::shared_ptr<URLRemoteFile>> m_downloadMappings;
    std::shared_ptr<bool> m_isThere = std::make_shared<bool>(true); // gone with the object
    Locked<std::shared_ptr<DownloadProbe>> m_probe;                 // the one under way
    std::atomic<bool> m_isEnding{false};
    SerialQueue m_upgradeQueue{"com.unregistered.tarvo2.upgradeQueue"}; // ends first
};

/// Whether libcurl can fetch the same: what was asked for by GET, over HTTP.
bool canBeFetched(const DownloadBegan& began);

} // namespace tarvo
