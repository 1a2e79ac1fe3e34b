// Which commands make sense for the selected rows.
#pragma once

#include <cstddef>
#include <set>

#include "jobs/RemoteFile.h"

namespace tarvo {

/// What the commands go by in one selected row.
struct SelectedRow {
    rf_state_t state = rf_state_initializing;
    bool supportsControl = true;
    bool supportsRenaming = false;
    bool hasAddress = true;
    bool hasFile = false; ///< the finished one
};

/// Main thread.
SelectedRow selectedRowOf(const RemoteFile& job);

enum class RowCommand {
    open,
    showInFolder,
    copyAddress,
    pause,
    resume,
    reload,
    moveUp, ///< and to the top
    moveDown,
    connections,
    rename,
    changeAddress,
    checksums,
    information,
    remove, ///< and with data
};

/// The selection as a whole, added up row by row in their order. Rows are counted from 0.
class SelectionFacts {
public:
    void add(const SelectedRow& row, std::size_t place);

    /// What can be done; `rows` are there in all. A command is enabled if it does something to any of the
    /// rows, except for those that are about one row.
    std::set<RowCommand> enabled(std::size_t rows) const;

    /// Which of the two one key for both stands for: what runs is paused first.
    bool pausesRather() const { return m_running > 0 || m_resumable == 0; }

private:
    std::size_t m_count = 0;
    std::size_t m_first = 0;
    std::size_t m_last = 0;
    std::size_t m_running = 0;
    std::size_t m_pausable = 0;
    std::size_t m_resumable = 0;
    std::size_t m_unfinished = 0;
    std::size_t m_withAddress = 0;
    std::size_t m_withFile = 0;
    std::size_t m_renamable = 0;
    std::size_t m_movable = 0; // to another address
};

} // namespace tarvo
