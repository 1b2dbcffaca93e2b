#include "logging/PrintedList.h"

#include <gtest/gtest.h>

namespace {

TEST(PrintedList, OfNothingIsAPairOfBrackets) {
    EXPECT_EQ(printedList({}), QStringLiteral("[]"));
}

TEST(PrintedList, QuotesEachTextAndSeparatesThemByCommas) {
    EXPECT_EQ(printedList({QStringLiteral("/usr/bin/program")}), QStringLiteral("[\"/usr/bin/program\"]"));
    EXPECT_EQ(printedList({QStringLiteral("a"), QString(), QStringLiteral("b c")}),
              QStringLiteral("[\"a\", \"\", \"b c\"]"));
}

TEST(PrintedList, EscapesQuotationMarksBackslashesAndLineBreaks) {
    EXPECT_EQ(printedList({QStringLiteral("a\"b\\c\nd\re\tf")}),
              QStringLiteral("[\"a\\\"b\\\\c\\nd\\re\\tf\"]"));
}

TEST(PrintedList, EscapesABackslashOnce) {
    EXPECT_EQ(printedList({QStringLiteral("\\n")}), QStringLiteral("[\"\\\\n\"]"));
}

} // namespace
