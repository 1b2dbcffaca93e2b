// The made-up log text.
#include "LogText.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace sample_product::test {

TEST(LogText, IsWholeLinesOfTheExactSize) {
    for (const std::size_t bytes : {0U, 1U, 2U, 79U, 80U, 81U, 10'000U}) {
        for (const auto kind : {TextKind::log, TextKind::json}) {
            const std::string made = LogText(7).make(kind, bytes);
            EXPECT_EQ(made.size(), bytes);
            EXPECT_TRUE(made.empty() || made.back() == '\n');
        }
        EXPECT_EQ(LogText(7).make(TextKind::incompressible, bytes).size(), bytes);
    }
}

TEST(LogText, CutsNoLine) {
    for (const std::size_t bytes : {300U, 333U, 340U, 355U}) {
        std::string made = LogText(7).make(TextKind::json, bytes);
        made.erase(made.find_last_not_of(" \n") + 1);
        EXPECT_TRUE(made.ends_with('}')) << made;
    }
}

TEST(LogText, HasRisingTimes) {
    const std::string made = LogText(7).make(TextKind::log, 100'000);
    std::vector<std::string> times;
    for (std::size_t at = 0; at < made.size(); at = made.find('\n', at) + 1)
        times.push_back(made.substr(at, 23));
    times.pop_back();
    EXPECT_GT(times.size(), 1000U);
    EXPECT_EQ(times.front().substr(0, 14), "2026-02-01T00:");
    EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
}

} // namespace sample_product::test
