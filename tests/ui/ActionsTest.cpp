// The commands of the main window: their words and keys.
#include "ui/Actions.h"

#include <map>

#include <gtest/gtest.h>

namespace tarvo {
namespace {

TEST(Actions, NoTwoHaveTheSameKeysAndEachHasWords) {
    QObject parent;
    const Actions actions(&parent);
    std::map<QString, QString> takenBy;
    for (const QAction* action : actions.findChildren<QAction*>()) {
        EXPECT_FALSE(action->text().isEmpty());
        EXPECT_FALSE(action->text().startsWith("tr.")) << action->text().toStdString();
        for (const auto& keys : action->shortcuts()) {
            const auto [other, isFree] = takenBy.try_emplace(keys.toString(), action->text());
            EXPECT_TRUE(isFree) << keys.toString().toStdString() << ": " << other->second.toStdString();
        }
    }
}

} // namespace
} // namespace tarvo
