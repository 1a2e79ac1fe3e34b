// What makes two answers one file, and what may be asked of a server.
#include "engine/progress/Validator.h"

#include <gtest/gtest.h>

namespace tarvo {

namespace {

const std::string kHere = "http://a.example";
const std::string kMonday = "Mon, 05 Jan 2026 10:00:00 GMT";
const std::string kTuesday = "Tue, 06 Jan 2026 10:00:00 GMT";

Validator web(const std::string& tag, const std::string& modified, const std::string& date = kTuesday,
              const std::string& origin = kHere) {
    return Validator::ofWebAnswer(tag, modified, date, origin);
}

} // namespace

TEST(Validator, OnlyStrongOnesMakeTwoAnswersOne) {
    using enum Sameness;
    const std::string there = "http://mirror.example";
    const std::tuple<Validator, Validator, Sameness> cases[] = {
        {web("\"a\"", kMonday), web("\"b\"", kMonday), different},
        {web("\"a\"", ""), web("W/\"a\"", ""), unknown},
        {web("W/\"a\"", kMonday), web("W/\"a\"", kMonday), same},
        {web("", kMonday, kMonday), web("", kMonday), unknown}, // it may have changed again within the second
        {web("", kMonday, ""), web("", kMonday, ""), unknown},
        {web("\"a\"", kMonday), web("\"b\"", kMonday, kTuesday, there), same}, // each mirror has its own tags
        {web("\"a\"", ""), web("\"b\"", "", kTuesday, there), unknown},
        {Validator::ofModificationTime(-1, "ftp://a"), Validator::ofModificationTime(-1, "ftp://a"), unknown},
    };
    int number = 0;
    for (const auto& [kept, answer, sameness] : cases)
        EXPECT_EQ(compare(kept, answer), sameness) << "case " << number++;
}

TEST(Validator, AsksForAVersionThatItKnowsForSure) {
    EXPECT_EQ(web("W/\"a\"", kMonday).ifRange(), kMonday);
    EXPECT_EQ(web("W/\"a\"", kMonday, kMonday).ifRange(), "");
    EXPECT_EQ(Validator::ofModificationTime(5, "ftp://a").ifRange(), "");
    EXPECT_EQ((Validator{.entityTag = "\"a\"\r\nX-Evil: 1", .origin = kHere}).ifRange(), "");
}

} // namespace tarvo
