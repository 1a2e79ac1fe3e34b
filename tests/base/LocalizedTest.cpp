// Texts with something filled in.
#include "base/Localized.h"

#include "base/Error.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace tarvo {

TEST(Localized, WhatIsFilledInStaysAsItIs) {
    // A key without a text stands for itself.
    EXPECT_EQ(localized("%2 of %1 (%3, %%, 100%)", {"a%2b", "%1"}), "%1 of a%2b (%3, %%, 100%)");
}

TEST(Localized, AFailedCallSaysWhatWasTriedOnWhatAndWhy) {
    EXPECT_EQ(Error::posix(EIO, "move the download to", "/a%2b").description,
              "Could not move the download to \"/a%2b\": Input/output error.");
    EXPECT_EQ(Error::posix(EIO, "paint", "/%3").description, "Could not paint \"/%3\": Input/output error.");
}

} // namespace tarvo
