// What the icon in the tray says of the downloads.
#pragma once

#include <cstdint>
#include <string>

namespace tarvo {

/// A long name in a menu is cut in its middle to so many characters.
inline constexpr int kTrayNameLength = 40;

/// "name.zip  45 %", for a menu: an ampersand is doubled, or it would mark a key. `percent` 0 to 100; below
/// 0, it is not known and left out.
std::string trayLine(const std::string& name, double percent);

/// "1.5 MiB/s, 45 %"; without the part that is not known. `fraction` as in RemoteFileCollectionStats.
std::string trayTip(std::int64_t bytesPerSecond, double fraction);

} // namespace tarvo
