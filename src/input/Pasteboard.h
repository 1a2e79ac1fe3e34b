// What a clipboard or a drag holds, in the words of the extractor, whatever desktop it comes from.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarvo {

/// The kinds of data that links are looked for in.
namespace PasteboardType {
inline constexpr std::string_view kHtml = "public.html";
inline constexpr std::string_view kUrl = "public.url";
inline constexpr std::string_view kRtf = "public.rtf";
inline constexpr std::string_view kPlainText = "public.utf8-plain-text";
inline constexpr std::string_view kFileUrl = "public.file-url";
} // namespace PasteboardType

/// One thing that was copied or is dragged: the same content in one or more forms. RTF is bytes, all other
/// forms are UTF-8 (possibly invalid) with "\n" between lines.
using PasteboardItem = std::map<std::string, std::string, std::less<>>;

struct Pasteboard {
    std::vector<PasteboardItem> items;

    /// Whether any item has data of that type.
    bool offers(std::string_view type) const;

    /// Of the first item that has one; empty without.
    std::string plainText() const;
};

/// A media type as the desktop names it, with parameters ("text/plain;charset=utf-8"), and its bytes.
using MimeData = std::pair<std::string, std::string>;

/// The pasteboard of a desktop that names kinds of data by media type. text/html, text/plain, text/rtf and
/// application/rtf are forms of the first item; of several of one kind the one that says that it is UTF-8
/// counts, else the first. Each line of text/uri-list (RFC 2483, section 5) is an item of its own: a file,
/// or an address, which is its own plain text. Other types are passed over, and so is what is longer than
/// 32 MiB. Any thread.
Pasteboard pasteboardFromMimeData(const std::vector<MimeData>& data);

} // namespace tarvo
