#include "cli/StandardOutput.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

namespace tarvo {

namespace {

constexpr std::size_t kAtOnce = 4096; // what a pipe that is ready takes without waiting (pipe(7), PIPE_BUF)

} // namespace

StandardOutput::int_type StandardOutput::overflow(int_type character) {
    if (!traits_type::eq_int_type(character, traits_type::eof()))
        m_text += traits_type::to_char_type(character);
    return traits_type::not_eof(character);
}

std::streamsize StandardOutput::xsputn(const char* text, std::streamsize count) {
    m_text.append(text, static_cast<std::size_t>(count));
    return count;
}

int StandardOutput::sync() {
    std::string text;
    text.swap(m_text);
    for (std::size_t done = 0; done < text.size() && !m_isClosed && (!m_mayNotWait || isReady());) {
        const std::size_t count = m_mayNotWait ? std::min(text.size() - done, kAtOnce) : text.size() - done;
        const ssize_t written = ::write(m_descriptor, text.data() + done, count);
        if (written >= 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno == EINTR) { // the user wants the program to end, and the reader reads no more
            m_mayNotWait = true;
        } else if (errno != EAGAIN) {
            m_isClosed = true;
            m_problem = errno == EPIPE ? 0 : errno;
        }
    }
    return 0;
}

bool StandardOutput::isReady() const {
    pollfd output{m_descriptor, POLLOUT, 0};
    return ::poll(&output, 1, 0) > 0;
}

} // namespace tarvo
