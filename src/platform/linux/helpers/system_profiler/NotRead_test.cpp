#include "platform/linux/helpers/system_profiler/NotRead.h"

#include <gtest/gtest.h>

namespace system_profiler {

namespace {

TEST(NotRead, KeepsTheFirstReasonOfAPath) {
    NotRead notRead;
    notRead.add("/a", QStringLiteral("first"));
    notRead.add("/a", QStringLiteral("second"));
    EXPECT_EQ(notRead.reasons(), (std::map<std::string, QString>{{"/a", QStringLiteral("first")}}));
    EXPECT_EQ(notRead.furtherCount(), 0U);
}

TEST(NotRead, SaysWhatASystemErrorMeansForAFile) {
    NotRead notRead;
    notRead.add("/pipe", std::make_error_code(std::errc::invalid_argument));
    notRead.add("/large", std::make_error_code(std::errc::file_too_large));
    EXPECT_EQ(notRead.reasons().at("/pipe"), QStringLiteral("not a regular file"));
    EXPECT_EQ(notRead.reasons().at("/large"), QStringLiteral("File too large"));
}

TEST(NotRead, CountsWhatIsBeyondItsLimit) {
    NotRead notRead;
    for (std::size_t i = 0; i < NotRead::limit + 7; ++i)
        notRead.add("/" + std::to_string(i), QStringLiteral("why"));
    EXPECT_EQ(notRead.reasons().size(), NotRead::limit);
    EXPECT_EQ(notRead.furtherCount(), 7U);
}

} // namespace

} // namespace system_profiler
