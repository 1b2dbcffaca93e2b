#include "platform/posix/PropertyList.h"

#include "platform/posix/Program.h"
#include "test_support/PropertyLists.h"
#include "test_support/ScratchHome.h"

#include <QList>
#include <clocale>
#include <gtest/gtest.h>
#include <random>

namespace {

using platform::PropertyList;
using platform::PropertyListFormat;
using test_support::propertyList;
using test_support::xmlList;

TEST(PropertyListTest, ComparesTypesAndValuesAllTheWayDown) {
    // Each row has spellings of one value, and no two rows have the same value.
    const QByteArray rows = R"(
        <integer>10</integer> | <integer> +10 </integer> | <integer>0xA</integer>
        <real>10</real> | <real>10.0</real> | <real>1e1</real>
        <string>10</string> | <string>&#49;<![CDATA[0]]></string>
        <true/> | <true></true>
        <false/>
        <integer>-1</integer> | <integer>-0x1</integer>
        <integer>99999999999999999999</integer>
        <real>10.000000000000002</real>
        <data>AAEC</data> | <data>&#10; AA EC</data>
        <data>A$A=E</data>
        <date>2020-01-02T03:04:05Z</date>
        <array/>
        <dict/>
        <array><integer>10</integer><integer>7</integer></array>
        <array><integer>7</integer><integer>10</integer></array>
        <dict><key>b</key><true/></dict>
        <dict><key>a</key><true/><key>b</key><true/></dict>)";
    const QList<QByteArray> different = rows.trimmed().split('\n');
    for (const QByteArray &one : different) {
        const PropertyList list = propertyList(one.split('|')[0]);
        for (const QByteArray &other : different) {
            for (const QByteArray &spelling : other.split('|'))
                EXPECT_EQ(list == propertyList(spelling), one == other)
                    << one.constData() << " and " << spelling.constData();
        }
    }
    EXPECT_EQ(PropertyList::array({PropertyList::integer(0), PropertyList::boolean(true),
                                   PropertyList::string(QStringLiteral("é"))}),
              propertyList("<array><integer>0</integer><true/><string>\xC3\xA9</string></array>"));
}

TEST(PropertyListTest, ChangesDictionariesAndNothingElse) {
    PropertyList dictionary = PropertyList::dictionary();
    dictionary.set("a", PropertyList::integer(1));
    dictionary.set("b", PropertyList::boolean(true));
    dictionary.set("a", PropertyList::integer(2));
    const PropertyList copy = dictionary;
    dictionary.remove("a");
    dictionary.remove("missing");
    EXPECT_EQ(dictionary, propertyList("<dict><key>b</key><true/></dict>"));
    EXPECT_EQ(dictionary.value("a"), nullptr);
    EXPECT_EQ(copy, propertyList("<dict><key>a</key><integer>2</integer><key>b</key><true/></dict>"));

    PropertyList array = PropertyList::array({PropertyList::integer(1)});
    array.set("a", PropertyList::integer(1));
    array.set("", PropertyList::integer(1));
    array.remove("");
    EXPECT_EQ(array.value(""), nullptr);
    EXPECT_EQ(array, propertyList("<array><integer>1</integer></array>"));
}

TEST(PropertyListTest, TakesTheLastOfEqualKeysAndKeepsTheOthers) {
    PropertyList list = propertyList("<dict><key>a</key><integer>1</integer><key>a</key><integer>2</integer>"
                                     "<key>b</key><true/></dict>");
    EXPECT_EQ(*list.value("a"), PropertyList::integer(2));
    for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary})
        EXPECT_EQ(PropertyList::parse(list.serialized(format)), list);
    list.set("a", PropertyList::integer(3));
    EXPECT_EQ(list, propertyList("<dict><key>a</key><integer>1</integer><key>a</key><integer>3</integer>"
                                 "<key>b</key><true/></dict>"));
    list.remove("a");
    EXPECT_EQ(list, propertyList("<dict><key>b</key><true/></dict>"));
}

// The same in both formats, in reading as in writing.
TEST(PropertyListTest, BoundsDepthAndNumber) {
    const auto nested = [](int depth) {
        return xmlList(QByteArray("<array>").repeated(depth) + QByteArray("</array>").repeated(depth));
    };
    const auto many = [](int pairs) {
        return xmlList("<dict>" + QByteArray("<key>a</key><true/>").repeated(pairs) + "</dict>");
    };
    for (const QByteArray &text : {nested(128), many(49'999)}) {
        const auto list = PropertyList::parse(text);
        ASSERT_TRUE(list);
        for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary}) {
            EXPECT_EQ(PropertyList::parse(list->serialized(format)), list);
            EXPECT_TRUE(
                PropertyList::array({*list, PropertyList::boolean(true)}).serialized(format).isEmpty());
        }
    }
    for (const QByteArray &text : {nested(129), nested(1'000'000), many(50'000)})
        EXPECT_FALSE(PropertyList::parse(text));
}

TEST(PropertyListTest, RefusesEveryTruncation) {
    const PropertyList list =
        propertyList("<dict><key>a</key><string>b&amp;c</string><key>d</key><array/></dict>");
    for (const QByteArray &whole :
         {list.serialized(PropertyListFormat::xml).trimmed(), list.serialized(PropertyListFormat::binary)}) {
        EXPECT_EQ(PropertyList::parse(whole), list);
        for (qsizetype size = 0; size < whole.size(); ++size)
            ASSERT_FALSE(PropertyList::parse(whole.left(size))) << size;
    }
}

TEST(PropertyListTest, ReadsNumbersAlikeInEveryLocale) {
    const test_support::ScratchFolder locales;
    const auto made =
        platform::runProgram({.path = "/usr/bin/localedef",
                              .arguments = {"-i", "de_DE", "-f", "UTF-8", locales.path() / "de_DE.UTF-8"},
                              .workingFolder = locales.path()});
    const test_support::ScopedEnvironment path("LOCPATH", locales.path().native());
    ASSERT_EQ(made, 0);
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    const PropertyList list = propertyList("<real>1.5</real>");
    const auto binary = PropertyList::parse(list.serialized(PropertyListFormat::binary));
    ASSERT_EQ(binary, list);
    EXPECT_EQ(binary->spelling(PropertyListFormat::xml), "1.5");
}

// What is no regular file or cannot be read is a matter of the file system's functions.
TEST(PropertyListTest, LoadsFilesBelowTheLimitOnly) {
    const test_support::ScratchFolder folder;
    const auto file = folder.path() / "list.plist";
    EXPECT_FALSE(PropertyList::load(file));
    const QByteArray list = xmlList("<true/>");
    const QByteArray filler(static_cast<qsizetype>(PropertyList::limitBytes) - list.size(), ' ');
    test_support::writeFile(file, list + filler);
    EXPECT_FALSE(PropertyList::load(file));
    EXPECT_FALSE(PropertyList::parse(list + filler));
    test_support::writeFile(file, list + filler.chopped(1));
    EXPECT_EQ(PropertyList::load(file), PropertyList::boolean(true));
    for (const QByteArray content : {"", "{ a = b; }", "bplist00", "bplist16"})
        EXPECT_FALSE(PropertyList::parse(content)) << content.constData();
}

// Changes bytes of a list at random: one, a run, or a part moved elsewhere in it.
QByteArray mutated(QByteArray bytes, std::mt19937 &random) {
    const auto below = [&](qsizetype limit) { return qsizetype(random() % unsigned(limit)); };
    for (auto changes = 1 + below(3); changes > 0 && !bytes.isEmpty(); --changes) {
        const qsizetype at = below(bytes.size());
        const QByteArray part = bytes.mid(below(bytes.size()), 1 + below(40));
        const QByteArray bit(1, char(unsigned(bytes[at]) ^ (1u << below(8))));
        const std::pair<qsizetype, QByteArray> replacements[] = {
            {1, bit}, {0, part}, {part.size(), part}, {1 + below(8), {}}};
        const auto &[size, replacement] = replacements[below(4)];
        bytes.replace(at, size, replacement);
    }
    return bytes;
}

// Whatever is read from a mutated list comes through writing as it is.
TEST(PropertyListFuzzTest, SurvivesMutatedLists) {
    const PropertyList list = propertyList(
        "<dict><key>Trunk</key><dict><key>LumaLogging</key><dict><key>EnableLumaLogging</key><array>"
        "<integer>10</integer><integer>7</integer></array></dict><key>t</key><string>a&lt;b\xC3\xA9</string>"
        "</dict><key>r</key><real>0.1</real><key>d</key><date>2020-01-02T03:04:05Z</date><key>b</key>"
        "<data>AAEC</data><key>f</key><false/></dict>");
    for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary}) {
        const QByteArray whole = list.serialized(format);
        std::mt19937 random(20'261'115);
        int accepted = 0;
        for (int i = 0; i < 15'000; ++i) {
            const QByteArray bytes = mutated(whole, random);
            const auto read = PropertyList::parse(bytes);
            if (!read)
                continue;
            ++accepted;
            EXPECT_EQ(PropertyList::parse(read->serialized(format)), read) << bytes.toHex().constData();
        }
        EXPECT_GT(accepted, 150);
        EXPECT_LT(accepted, 15'000);
    }
}

} // namespace
