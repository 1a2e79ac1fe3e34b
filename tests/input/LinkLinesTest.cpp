// What is said of a text while it is being typed.
#include "input/LinkLines.h"

#include <gtest/gtest.h>

namespace tarvo {
namespace {

using Kind = LinkLine::Kind;

std::vector<Kind> kindsOf(const std::vector<LinkLine>& lines) {
    std::vector<Kind> kinds;
    for (const auto& line : lines)
        kinds.push_back(line.kind);
    return kinds;
}

TEST(LinkReader, TellsEveryLineApartAndCountsAnAddressOnce) {
    LinkReader reader;
    bool isKnown = false;
    const auto known = [&](const std::string& identity) { return isKnown && identity == "http://a/2"; };
    const std::string text =
        "http://a/1\n\n  http://a/2 \nhttp://a/1\r\nmagnet:?xt=1\nfile:///x\nhttp://\nwords";
    const std::vector<Kind> kinds{Kind::good,        Kind::empty,       Kind::good,      Kind::repeated,
                                  Kind::otherScheme, Kind::otherScheme, Kind::malformed, Kind::noAddress};
    EXPECT_EQ(kindsOf(reader.read(text, known)), kinds);
    isKnown = true; // another program has added it while the text was being typed
    const auto lines = reader.read(text, known);
    EXPECT_EQ(lines[2].kind, Kind::alreadyThere);
    const LinkCounts counts = countsOf(lines);
    EXPECT_EQ(counts.addresses, 2U);
    EXPECT_EQ(counts.alreadyThere, 1U);
    EXPECT_EQ(counts.bad, 4U);
}

} // namespace
} // namespace tarvo
