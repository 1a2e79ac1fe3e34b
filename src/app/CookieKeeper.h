// Keeps the cookies over the end of the program.
#pragma once

#include <string>

#include <QObject>
#include <QTimer>

#include "base/SerialQueue.h"
#include "engine/transfer/CookieStore.h"

namespace tarvo {

/// Main thread. What changes the store changes it here; transfers read it.
class CookieKeeper final : public QObject {
    Q_OBJECT

public:
    /// `disk` and `clock` outlive the object. `file` is an absolute path.
    CookieKeeper(Disk& disk, const Clock& clock, std::string file);

    /// Writes what is not in the file yet.
    ~CookieKeeper() override;

    /// cookies.txt in stateFolder().
    static std::string standardFile();

    const CookieStore& store() const { return m_store; }

    /// Takes over what the file holds. Before anything else; one short read.
    void load();

    void add(const Cookie& cookie);
    void remove(const Cookie& cookie);
    void removeAll();

private:
    void save();

    Disk& m_disk;
    const Clock& m_clock;
    const std::string m_file;
    CookieStore m_store;
    QTimer m_timer;                                                         // from the first change on
    SerialQueue m_savingQueue{"com.unregistered.tarvo2.cookieSavingQueue"}; // ends first
};

} // namespace tarvo
