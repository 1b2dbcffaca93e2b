#include "EscapedText.h"

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;
using spindump::escaped;

TEST(EscapedText, LeavesOrdinaryTextAlone) {
    EXPECT_EQ(escaped("a b~ \"ä€😀\""), "a b~ \"ä€😀\"");
}

TEST(EscapedText, WritesWhatActsAsHexadecimal) {
    EXPECT_EQ(escaped("a\nb\tc\0d\x1b[31m\x7f"s), "a\\x0ab\\x09c\\x00d\\x1b[31m\\x7f");
    EXPECT_EQ(escaped("\\x0a"), "\\x5cx0a");
    // NEXT LINE, LINE SEPARATOR, RIGHT-TO-LEFT OVERRIDE.
    EXPECT_EQ(escaped("\u0085|\u2028|\u202e"), "\\xc2\\x85|\\xe2\\x80\\xa8|\\xe2\\x80\\xae");
}

TEST(EscapedText, WritesWhatIsNoTextAsHexadecimal) {
    EXPECT_EQ(escaped("\xff|\xc3"), "\\xff|\\xc3");
    // An overlong slash, a surrogate, beyond the last character.
    EXPECT_EQ(escaped("\xc0\xaf"), "\\xc0\\xaf");
    EXPECT_EQ(escaped("\xed\xa0\x80"), "\\xed\\xa0\\x80");
    EXPECT_EQ(escaped("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
}

TEST(EscapedText, CutsBetweenCharacters) {
    EXPECT_EQ(escaped("abcdef", 4), "abcd… (2 bytes more)");
    EXPECT_EQ(escaped("abcä", 4), "abc… (2 bytes more)");
    EXPECT_EQ(escaped("abcd", 4), "abcd");
}

} // namespace
