#include "ui/PasteboardData.h"

#include <algorithm>
#include <array>

#include <QClipboard>
#include <QGuiApplication>
#include <QPointer>

namespace tarvo {

Pasteboard pasteboardOf(const QMimeData& data) {
    constexpr std::array kinds{"text/html", "text/plain", "text/rtf", "application/rtf", "text/uri-list"};
    std::vector<MimeData> forms;
    const QPointer<const QMimeData> present(&data);
    for (const QString& format : data.formats()) {
        if (!present) // the program that had it has been asked, and meanwhile another one took the clipboard
            break;
        const auto isThisKind = [&](const char* kind) { return format.startsWith(QLatin1String(kind)); };
        if (std::any_of(kinds.begin(), kinds.end(), isThisKind))
            forms.emplace_back(format.toStdString(), data.data(format).toStdString());
    }
    return pasteboardFromMimeData(forms);
}

Pasteboard clipboardContent() {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    return data ? pasteboardOf(*data) : Pasteboard{};
}

} // namespace tarvo
