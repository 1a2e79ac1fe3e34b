// A screen of the test's own, with a window manager: without one no window is ever active.
#pragma once

#include "support/ServerProcess.h"
#include "support/TurnUntil.h"

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tarvo::test {

/// To be made and destroyed on the main thread.
class VirtualDisplay {
public:
    /// `size`: pixels, "1280x900". Fails the test when the screen doesn't come up.
    explicit VirtualDisplay(const std::string& size = "1280x900") {
        const std::string log = m_folder.path("xvfb.log");
        m_server.start({programPath("Xvfb", "xvfb"), "-displayfd", "1", "-screen", "0", size + "x24",
                        "-nolisten", "tcp"},
                       log, {});
        const bool isUp = turnUntil([&] { return !(m_name = nameIn(contentOf(log))).empty(); });
        EXPECT_TRUE(isUp) << contentOf(log);
        m_windowManager.start({"/usr/bin/env", environment(), programPath("openbox", "openbox")},
                              m_folder.path("openbox.log"), {});
    }

    /// "DISPLAY=:7", for the environment of a program.
    std::string environment() const { return "DISPLAY=" + m_name; }

    /// One call of xdotool: keys, clicks, windows.
    void act(const std::vector<std::string>& words) const {
        std::vector<std::string> command{"/usr/bin/env", environment(), programPath("xdotool", "xdotool")};
        command.insert(command.end(), words.begin(), words.end());
        runProgram(command);
    }

private:
    /// The server prints its number on a line of its own.
    static std::string nameIn(const std::string& output) {
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line) && !lines.eof();) {
            if (!line.empty() && line.find_first_not_of("0123456789") == std::string::npos)
                return ":" + line;
        }
        return {};
    }

    TemporaryFolder m_folder;
    ServerProcess m_server;
    ServerProcess m_windowManager;
    std::string m_name;
};

} // namespace tarvo::test
