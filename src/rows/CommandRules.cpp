#include "rows/CommandRules.h"

namespace tarvo {

namespace {

bool isWaiting(rf_state_t state) {
    return state == rf_state_initializing || state == rf_state_preparing || state == rf_state_ready;
}

std::size_t one(bool counts) {
    return counts ? 1 : 0;
}

} // namespace

SelectedRow selectedRowOf(const RemoteFile& job) {
    const rf_state_t state = job.currentState();
    return {.state = state,
            .supportsControl = job.supportsControl(),
            .supportsRenaming = job.supportsRenaming(),
            .hasAddress = job.url().has_value(),
            .hasFile = state == rf_state_succeeded && job.finalFilePath()};
}

void SelectionFacts::add(const SelectedRow& row, std::size_t place) {
    if (m_count++ == 0)
        m_first = place;
    m_last = place;
    const bool isRunning = row.state == rf_state_running;
    const bool isEnded = row.state == rf_state_succeeded || row.state == rf_state_stopped;
    m_running += one(isRunning && row.supportsControl);
    m_pausable += one(row.supportsControl && (isRunning || isWaiting(row.state)));
    m_resumable += one(row.supportsControl && (row.state == rf_state_paused || isWaiting(row.state)));
    m_unfinished += one(!isEnded);
    m_withAddress += one(row.hasAddress);
    m_withFile += one(row.hasFile);
    m_renamable += one(row.supportsRenaming);
    m_movable += one(row.hasAddress && !isEnded);
}

std::set<RowCommand> SelectionFacts::enabled(std::size_t rows) const {
    using enum RowCommand;
    const std::pair<RowCommand, bool> rules[] = {
        {open, m_withFile > 0},
        {showInFolder, m_count > 0},
        {copyAddress, m_withAddress > 0},
        {pause, m_pausable > 0},
        {resume, m_resumable > 0},
        {reload, m_count > 0},
        {moveUp, m_count > 0 && m_last >= m_count},
        {moveDown, m_count > 0 && m_first + m_count < rows},
        {connections, m_unfinished > 0},
        {rename, m_count == 1 && m_renamable == 1},
        {changeAddress, m_count == 1 && m_movable == 1},
        {checksums, m_count == 1 && m_withFile == 1},
        {information, m_count > 0},
        {remove, m_count > 0},
    };
    std::set<RowCommand> enabled;
    for (const auto& [command, isEnabled] : rules) {
        if (isEnabled)
            enabled.insert(command);
    }
    return enabled;
}

} // namespace tarvo
