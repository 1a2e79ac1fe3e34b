// The download links on a pasteboard.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/Url.h"
#include "input/Pasteboard.h"

namespace tarvo {

enum class DragOperation { none, copy };

/// Finds links in text, HTML and RTF from any source: time and memory are in proportion to
/// the data. Links are texts without line breaks; only those of plain text are sure to be supported
/// addresses, so before downloading, TRStringURL is asked. No state; any thread.
class TRPasteboardExtractor {
public:
    /// The types of data looked at, the most telling first.
    static const std::vector<std::string_view>& acceptedTypes();

    /// Copy for anything that may hold links; of files, only for unfinished downloads.
    static DragOperation suggestedDragOperationForPboard(const Pasteboard& pasteboard);

    /// The links of all HTML, then of all RTF, then of all plain text; each once, where it is first.
    static std::vector<std::string> findURLsInPasteboard(const Pasteboard& pasteboard);

    /// The targets of all anchors that stand on one line with their targets in double quotes, as
    /// `<a.*?href="(.+?)".*?>` finds them in any case; relative and other links among them, and duplicates.
    static std::vector<std::string> findURLsInHTML(std::string_view html);

    /// The bundles of unfinished downloads among the files, as file URLs.
    static std::vector<Url> findTarvoIncompleteFilesInPasteboard(const Pasteboard& pasteboard);

    /// What pasting `links` appends to a text field with one link a line, whose text is `current`.
    static std::string textForPasting(std::string_view current, const std::vector<std::string>& links);
};

} // namespace tarvo
