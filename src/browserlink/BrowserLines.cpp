#include "browserlink/BrowserLines.h"

namespace tarvo {

bool BrowserLines::add(std::string_view bytes, const std::function<bool(std::string_view line)>& take) {
    while (!m_isBroken && !bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        m_rest += bytes.substr(0, end);
        if (m_rest.size() > kLongestBrowserLine) {
            m_isBroken = true;
        } else if (end == std::string_view::npos) {
            break;
        } else {
            bytes.remove_prefix(end + 1);
            const std::string line = std::move(m_rest); // `take` may turn a loop in which more arrives
            m_rest.clear();
            m_isBroken = !take(line);
        }
    }
    return !m_isBroken;
}

} // namespace tarvo
