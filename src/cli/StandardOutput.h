// Standard output that remembers why it could not be written.
#pragma once

#include <streambuf>
#include <string>

namespace tarvo {

/// Collects what a stream is given and writes it to a descriptor with each flush. After an error nothing more
/// is written; after a signal that has interrupted a write, only what no reader keeps waiting. One thread.
class StandardOutput final : public std::streambuf {
public:
    explicit StandardOutput(int descriptor) : m_descriptor(descriptor) {}

    /// The system's number for what has gone wrong first; 0: nothing. That no program reads any more (EPIPE)
    /// is nothing wrong.
    int problem() const { return m_problem; }

protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;
    int sync() override;

private:
    bool isReady() const;

    const int m_descriptor;
    std::string m_text;
    bool m_isClosed = false;
    bool m_mayNotWait = false;
    int m_problem = 0;
};

} // namespace tarvo
