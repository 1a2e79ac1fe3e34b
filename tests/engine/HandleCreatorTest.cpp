// Which connection fetches which bytes.
#include "engine/progress/HandleCreator.h"

#include <limits>

#include "LiveTransfer.h"
#include "base/Log.h"
#include "base/SettingKeys.h"
#include "support/Ranges.h"

namespace tarvo {

namespace {

class HandleCreatorTest : public test::TransferFixture {
protected:
    HandleCreatorTest() { m_defaults.registerDefaults({{std::string(SettingKey::kMinimumChunkSize), 1024}}); }

    /// The ranges that the connections of a record ask for, in their order.
    std::string planned(std::int64_t size, const test::Bounds& done, std::int64_t count) {
        const HandleCreator creator(
            std::make_shared<ProgressData>(size, test::rangesOf(done)),
            {.url = *Url::parse("http://h/f"), .authToken = m_token, .referer = Url::parse("http://page/")},
            {}, m_environment);
        std::string ranges;
        for (const auto& handle : creator.createHandles(count)) {
            const CurlRequest& request = handle->segment().request();
            EXPECT_EQ(request.authToken, m_token);
            EXPECT_EQ(request.referer, Url::parse("http://page/"));
            ranges +=
                fmt::format("{}{}-{}", ranges.empty() ? "" : " ", request.lowerBound, request.upperBound);
        }
        return ranges;
    }

    std::shared_ptr<const TRAuthToken> m_token = std::make_shared<TRAuthToken>("h", "bob", "secret");
};

} // namespace

TEST_F(HandleCreatorTest, AFreshFileIsFetchedInEqualPartsAndTheRestBelongsToTheLast) {
    EXPECT_EQ(planned(0, {}, 8), "0-0") << "of an unknown size there is one stream without a range";
    EXPECT_EQ(planned(10'003, {}, 4), "0-2500 2500-5000 5000-7500 7500-10003");
    EXPECT_EQ(planned(2500, {}, 10), "0-1024 1024-2500");
    EXPECT_EQ(planned(100, {}, 4), "0-100");
    EXPECT_EQ(planned(std::numeric_limits<std::int64_t>::max(), {}, 2),
              "0-4611686018427387903 4611686018427387903-9223372036854775807");
    EXPECT_EQ(planned(1000, {{0, 1000}}, 4), "");
}

TEST_F(HandleCreatorTest, TheLargestHoleIsHalvedUntilThereAreEnough) {
    EXPECT_EQ(planned(1000, {{0, 100}, {600, 700}}, 4), "350-600 100-350 850-1000 700-850");
    EXPECT_EQ(planned(1001, {{0, 1}}, 3), "1-501 751-1001 501-751");
    EXPECT_EQ(planned(100, {{10, 20}, {25, 60}, {62, 90}}, 2), "90-100 0-10")
        << "the smaller holes wait for a connection";
    EXPECT_EQ(planned(103, {{1, 100}}, 9), "102-103 101-102 100-101 0-1")
        << "never an empty range, which would be asked for as the whole file";
}

} // namespace tarvo
