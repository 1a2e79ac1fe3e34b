#include "app/CookieKeeper.h"

#include "base/Log.h"
#include "base/Runloop.h"
#include "base/StateFolder.h"

#include <utility>

namespace tarvo {

namespace {

constexpr int kSaveDelayMs = 2000; // a page sets many at once

} // namespace

CookieKeeper::CookieKeeper(Disk& disk, const Clock& clock, std::string file)
    : m_disk(disk), m_clock(clock), m_file(std::move(file)) {
    m_timer.setSingleShot(true);
    m_timer.setInterval(kSaveDelayMs);
    connect(&m_timer, &QTimer::timeout, this, &CookieKeeper::save);
}

CookieKeeper::~CookieKeeper() {
    if (m_timer.isActive())
        save();
}

std::string CookieKeeper::standardFile() {
    return stateFolder() + "/cookies.txt";
}

void CookieKeeper::load() {
    Runloop::assertMain();
    if (const auto loaded = m_store.load(m_disk, m_file, m_clock.wallNow()); !loaded)
        Log::error("{}", loaded.error().sentence());
}

void CookieKeeper::add(const Cookie& cookie) {
    Runloop::assertMain();
    if (m_store.add(cookie, m_clock.wallNow()) && !m_timer.isActive())
        m_timer.start();
}

void CookieKeeper::remove(const Cookie& cookie) {
    Runloop::assertMain();
    m_store.remove(cookie.name, cookie.domain, cookie.path);
    if (!m_timer.isActive())
        m_timer.start();
}

void CookieKeeper::removeAll() {
    Runloop::assertMain();
    m_store.removeAll();
    save();
}

void CookieKeeper::save() {
    m_timer.stop();
    m_savingQueue.async([this] {
        if (const auto saved = m_store.save(m_disk, m_file, m_clock.wallNow()); !saved)
            Log::error("{}", saved.error().sentence());
    });
}

} // namespace tarvo
