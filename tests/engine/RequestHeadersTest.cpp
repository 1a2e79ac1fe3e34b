// Which header fields are stored, and what is believed of a file that has them.
#include "engine/transfer/RequestHeaders.h"

#include <gtest/gtest.h>

namespace tarvo {

TEST(RequestHeaders, WhatMayHoldASecretIsNotKept) {
    const RequestHeaders harmless{"Accept: text/plain", "X-Want: yes", "Referer-Policy: a", "X-Empty:"};
    RequestHeaders all = harmless;
    for (const auto* name : {"Authorization", "proxy-authorization", "COOKIE", "X-Api-Key", "PRIVATE-TOKEN",
                             "X-Amz-Signature", "X-Client-Secret", "X-PassWord", "X-Session-Id"})
        all.push_back(std::string(name) + ": a");
    all.insert(all.end(), {"X-Login: Bearer a", "X-Login:basic a"});
    EXPECT_EQ(headersToKeep(all), harmless);
}

TEST(RequestHeaders, AFileIsBelievedOnlyWhatMayBeSet) {
    EXPECT_EQ(headersIn(textOf({"A: 1", "B: 2"})), (RequestHeaders{"A: 1", "B: 2"}));
    EXPECT_EQ(headersIn("Range: bytes=0-1\nno field\n\nX: a\rY: b\nCookie: c\n: d\nZ: 1\n"),
              RequestHeaders{"Z: 1"});
    EXPECT_EQ(withOthers({"A: mine"}, {"a: theirs", "B: 2", "B: 3"}),
              (RequestHeaders{"A: mine", "B: 2", "B: 3"}));
}

} // namespace tarvo
