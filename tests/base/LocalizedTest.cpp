// Texts with something filled in.
#include "base/Localized.h"

#include <gtest/gtest.h>

namespace tarvo {

TEST(Localized, WhatIsFilledInStaysAsItIs) {
    // A key without a text stands for itself.
    EXPECT_EQ(localized("%2 of %1 (%3, %%, 100%)", {"a%2b", "%1"}), "%1 of a%2b (%3, %%, 100%)");
}

} // namespace tarvo
