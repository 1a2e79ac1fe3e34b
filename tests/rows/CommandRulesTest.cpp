// Which commands are enabled, and what is opened by a click.
#include "rows/CommandRules.h"
#include "rows/OpenRules.h"

#include <gtest/gtest.h>

namespace tarvo {
namespace {

using enum RowCommand;
using Commands = std::set<RowCommand>;

/// The commands of rows that stand at the first places of ten.
Commands enabledFor(const std::vector<SelectedRow>& rows) {
    SelectionFacts facts;
    for (std::size_t i = 0; i < rows.size(); ++i)
        facts.add(rows[i], i);
    return facts.enabled(10);
}

Commands operator+(Commands a, const Commands& b) {
    a.insert(b.begin(), b.end());
    return a;
}

TEST(CommandRules, EachStateHasItsCommands) {
    const Commands always{showInFolder, copyAddress, reload, moveDown, information, remove};
    const std::pair<SelectedRow, Commands> table[] = {
        {{.state = rf_state_initializing, .supportsRenaming = true},
         {pause, resume, connections, changeAddress, rename}},
        {{.state = rf_state_preparing}, {pause, resume, connections, changeAddress}},
        {{.state = rf_state_running}, {pause, connections, changeAddress}},
        {{.state = rf_state_running, .supportsControl = false}, {connections, changeAddress}},
        {{.state = rf_state_paused}, {resume, connections, changeAddress}},
        {{.state = rf_state_failed}, {connections, changeAddress}},
        {{.state = rf_state_stopped}, {}},
        {{.state = rf_state_succeeded, .hasFile = true}, {open, checksums}},
    };
    EXPECT_TRUE(enabledFor({}).empty());
    for (const auto& [row, own] : table)
        EXPECT_EQ(enabledFor({row}), always + own) << row.state;
    // Of several, each that does something to any of them, but not those about one row.
    EXPECT_EQ(enabledFor({{.state = rf_state_succeeded, .hasFile = true},
                          {.state = rf_state_paused, .supportsRenaming = true, .hasAddress = false}}),
              always + Commands({open, resume, connections}));
}

TEST(CommandRules, RowsMoveOnlyWhereThereIsRoom) {
    const auto moves = [](const std::vector<std::size_t>& places) {
        SelectionFacts facts;
        for (const std::size_t place : places)
            facts.add({}, place);
        const auto enabled = facts.enabled(4);
        return std::pair(enabled.contains(moveUp), enabled.contains(moveDown));
    };
    EXPECT_EQ(moves({0, 1}), std::pair(false, true));
    EXPECT_EQ(moves({2, 3}), std::pair(true, false));
    EXPECT_EQ(moves({0, 3}), std::pair(true, true)); // towards each other
    EXPECT_EQ(moves({0, 1, 2, 3}), std::pair(false, false));
}

TEST(CommandRules, TheKeyForBothPausesWhatRunsAndElseResumes) {
    const auto pauses = [](const std::vector<rf_state_t>& states) {
        SelectionFacts facts;
        for (std::size_t i = 0; i < states.size(); ++i)
            facts.add({.state = states[i]}, i);
        return facts.pausesRather();
    };
    EXPECT_TRUE(pauses({rf_state_paused, rf_state_running}));
    EXPECT_FALSE(pauses({rf_state_paused, rf_state_failed}));
    EXPECT_FALSE(pauses({rf_state_ready}));
}

TEST(OpenRules, NothingThatCouldRunIsOpened) {
    const std::pair<FileKind, Opening> table[] = {
        {{.mimeTypes = {"application/zip"}}, Opening::open},
        {{.isExecutable = true, .mimeTypes = {"application/zip"}}, Opening::showOnly},
        {{.isExecutable = true, .mimeTypes = {"image/png"}}, Opening::open}, // as all are on some disks
        {{.mimeTypes = {"text/plain", "application/x-desktop"}}, Opening::showOnly},
        {{.mimeTypes = {"application/x-shellscript", "text/plain"}}, Opening::showOnly},
        {{.mimeTypes = {"application/vnd.appimage", "application/x-executable"}}, Opening::showOnly},
        {{.exists = false}, Opening::missing},
    };
    for (const auto& [file, opening] : table)
        EXPECT_EQ(howToOpen(file), opening) << (file.mimeTypes.empty() ? "" : file.mimeTypes.front());
}

} // namespace
} // namespace tarvo
