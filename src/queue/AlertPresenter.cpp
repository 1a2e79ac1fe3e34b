#include "queue/AlertPresenter.h"

#include <algorithm>

#include "base/Localized.h"

namespace tarvo {

std::size_t harmlessAnswer(const std::vector<std::string>& buttons) {
    const auto cancel = std::find(buttons.begin(), buttons.end(), localized("Cancel"));
    const auto chosen = cancel != buttons.end() ? cancel : std::prev(buttons.end());
    return static_cast<std::size_t>(chosen - buttons.begin());
}

} // namespace tarvo
