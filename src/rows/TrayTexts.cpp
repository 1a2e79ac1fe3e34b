#include "rows/TrayTexts.h"

#include <algorithm>
#include <cmath>

#include <QString>

#include "base/Localized.h"
#include "base/Readable.h"

namespace tarvo {

namespace {

/// Rounded down: all is there only at the end. The tiny part more is for 0.29, which is no binary fraction.
std::string wholePercent(double percent) {
    return std::to_string(static_cast<int>(std::floor(std::min(percent, 100.0) + 1e-9)));
}

QString cutInTheMiddle(const QString& name) {
    if (name.size() <= kTrayNameLength)
        return name;
    const qsizetype half = (kTrayNameLength - 1) / 2;
    return name.left(half) + QChar(u'…') + name.right(half);
}

} // namespace

std::string trayLine(const std::string& name, double percent) {
    std::string shown = cutInTheMiddle(QString::fromStdString(name)).replace('&', "&&").toStdString();
    return percent < 0 ? shown : localized("tr.tray.download", {shown, wholePercent(percent)});
}

std::string trayTip(std::int64_t bytesPerSecond, double fraction) {
    const std::string speed = readableSpeed(bytesPerSecond);
    return fraction < 0 ? speed : localized("tr.tray.tip", {speed, wholePercent(fraction * 100)});
}

} // namespace tarvo
