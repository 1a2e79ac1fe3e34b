// Texts with something filled in.
#include "base/Localized.h"

#include "base/Error.h"
#include "base/Readable.h"

#include <cerrno>
#include <cstdlib>

#include <QLocale>
#include <gtest/gtest.h>

namespace tarvo {

TEST(Localized, WhatIsFilledInStaysAsItIs) {
    // A key without a text stands for itself.
    EXPECT_EQ(localized("%2 of %1 (%3, %%, 100%)", {"a%2b", "%1"}), "%1 of a%2b (%3, %%, 100%)");
}

TEST(Localized, TheUsersLanguageIsFoundWithItsPluralForms) {
    // In a process of its own, for texts stay once they are installed.
    EXPECT_EXIT(
        {
            QLocale::setDefault(QLocale(QLocale::French, QLocale::Canada));
            installLocalizedTexts();
            const bool isRight = localized("Cancel") == "Annuler" &&
                                 localizedCount("tr.add.addresses", 0) == "0 adresse" &&
                                 localizedCount("tr.add.addresses", 2) == "2 adresses";
            QLocale::setDefault(QLocale(QLocale::German, QLocale::Austria));
            installLocalizedTexts();
            const bool isRightToo =
                localized("Cancel") == "Abbrechen" && localizedCount("tr.add.addresses", 0) == "0 Adressen" &&
                localizedCount("tr.add.addresses", 1) == "1 Adresse" && readableSpeed(1536) == "1,5 KiB/s" &&
                readableSpeed(1536, DecimalMark::point) == "1.5 KiB/s";
            std::_Exit(isRight && isRightToo ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(Localized, AFailedCallSaysWhatWasTriedOnWhatAndWhy) {
    EXPECT_EQ(Error::posix(EIO, "move the download to", "/a%2b").description,
              "Could not move the download to \"/a%2b\": Input/output error.");
    EXPECT_EQ(Error::posix(EIO, "paint", "/%3").description, "Could not paint \"/%3\": Input/output error.");
}

} // namespace tarvo
