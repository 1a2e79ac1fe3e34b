// Chromium without a window, on a page of the test's, clicked at as with a mouse.
#pragma once

#include "base/Disk.h"
#include "support/ServerProcess.h"
#include "support/TemporaryFolder.h"
#include "support/TurnUntil.h"

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarvo::test {

/// Speaks the Chrome DevTools Protocol (chromedevtools.github.io) over a pair of pipes. The profile is new
/// and goes with the object, and so do the processes.
class Browser {
public:
    static bool isInstalled() { return Disk::exists("/usr/bin/chromium"); }

    /// Opens `page`. `environment` ("NAME=VALUE") is what the browser and the programs that it opens links
    /// with find around them. The user has told it to open links of `scheme` on pages of `origin` unasked.
    Browser(const std::vector<std::string>& environment, const std::string& page, const std::string& origin,
            const char* scheme) {
        const QJsonObject trusted{{origin.c_str(), QJsonObject{{scheme, true}}}};
        const QJsonObject handlers{{"allowed_origin_protocol_pairs", trusted}};
        std::filesystem::create_directories(m_folder.path("profile/Default"));
        m_folder.write("profile/Default/Preferences",
                       QJsonDocument(QJsonObject{{"protocol_handler", handlers}}).toJson().toStdString());
        m_requests = makePipe("requests");
        m_answers = makePipe("answers");
        std::vector<std::string> command{"/usr/bin/env"};
        command.insert(command.end(), environment.begin(), environment.end());
        // Its sandbox is for pages of strangers, and wants rights that not every machine gives.
        command.insert(command.end(),
                       {"/bin/sh", "-c",
                        "exec /usr/bin/chromium --headless=new --no-sandbox --remote-debugging-pipe "
                        "--user-data-dir=\"$0/profile\" about:blank 3<\"$0/requests\" 4>\"$0/answers\"",
                        m_folder.path()});
        m_process.start(command, log(), {});
        load(page);
    }

    ~Browser() {
        ::close(m_requests);
        ::close(m_answers);
    }

    Browser(const Browser&) = delete;
    Browser& operator=(const Browser&) = delete;

    /// Clicks at the first link with that text, once the page has been drawn: before that it takes no input.
    void click(const std::string& text) {
        const std::string centre =
            "(async text => {"
            "  for (let frame = 0; frame < 2; ++frame)"
            "    await new Promise(requestAnimationFrame);"
            "  const box = [...document.links].find(link => link.text == text).getBoundingClientRect();"
            "  return [box.x + box.width / 2, box.y + box.height / 2];"
            "})('" +
            text + "')";
        const QJsonObject script{
            {"expression", centre.c_str()}, {"awaitPromise", true}, {"returnByValue", true}};
        const QJsonValue place = ask("Runtime.evaluate", script)["result"]["value"];
        for (const auto* type : {"mousePressed", "mouseReleased"})
            ask("Input.dispatchMouseEvent",
                {{"type", type}, {"x", place[0]}, {"y", place[1]}, {"button", "left"}, {"clickCount", 1}});
    }

private:
    std::string log() const { return m_folder.path("log"); }

    /// Both ends, so that opening waits for nobody.
    int makePipe(const char* name) const {
        EXPECT_EQ(::mkfifo(m_folder.path(name).c_str(), 0600), 0);
        return ::open(m_folder.path(name).c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }

    void load(const std::string& page) {
        const QJsonValue tab = ask("Target.createTarget", {{"url", "about:blank"}})["targetId"];
        m_session = ask("Target.attachToTarget", {{"targetId", tab}, {"flatten", true}})["sessionId"];
        ask("Page.navigate", {{"url", page.c_str()}});
        EXPECT_TRUE(turnUntil([&] {
            return ask("Runtime.evaluate", {{"expression", "document.readyState"}})["result"]["value"] ==
                   "complete";
        }));
    }

    QJsonValue ask(const char* method, const QJsonObject& parameters) {
        QJsonObject request{{"id", ++m_count}, {"method", method}, {"params", parameters}};
        if (m_session.isString())
            request["sessionId"] = m_session;
        const QByteArray text = QJsonDocument(request).toJson(QJsonDocument::Compact);
        const auto length = static_cast<std::size_t>(text.size()) + 1; // with the NUL that ends it
        EXPECT_EQ(::write(m_requests, text.constData(), length), static_cast<ssize_t>(length));
        QJsonObject answer;
        EXPECT_TRUE(turnUntil([&] {
            answer = nextMessage();
            return answer["id"] == m_count;
        })) << method
            << ": " << contentOf(log());
        EXPECT_FALSE(answer.contains("error"))
            << method << ": " << QJsonDocument(answer).toJson().toStdString();
        return answer["result"];
    }

    /// Empty if none has come.
    QJsonObject nextMessage() {
        std::array<char, 65536> buffer{};
        const ssize_t count = ::read(m_answers, buffer.data(), buffer.size());
        if (count > 0)
            m_received.append(buffer.data(), count);
        const qsizetype end = m_received.indexOf('\0');
        const QByteArray text = m_received.left(end);
        if (end >= 0)
            m_received.remove(0, end + 1);
        return end < 0 ? QJsonObject() : QJsonDocument::fromJson(text).object();
    }

    TemporaryFolder m_folder;
    ServerProcess m_process;
    int m_requests = -1;
    int m_answers = -1;
    QByteArray m_received;
    int m_count = 0;
    QJsonValue m_session;
};

} // namespace tarvo::test
