// Whether a web page is what was asked for.
#pragma once

#include "base/Url.h"

namespace tarvo {

/// Whether a page is what an address leads to by the look of it: its path ends in a slash, in the ending of a
/// page or of a program that makes pages (.html, .php), or has no ending at all.
bool looksLikePage(const Url& url);

} // namespace tarvo
