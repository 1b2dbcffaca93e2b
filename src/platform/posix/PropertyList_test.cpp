#include "platform/posix/PropertyList.h"

#include "platform/posix/Program.h"
#include "platform/posix/PropertyListCheck.h"
#include "test_support/PropertyLists.h"
#include "test_support/ScopedEnvironment.h"
#include "test_support/ScratchHome.h"

#include <QList>
#include <clocale>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using platform::PropertyList;
using platform::PropertyListFormat;
using test_support::xmlList;

PropertyList fromXml(const QByteArray &value) {
    auto list = PropertyList::parse(xmlList(value));
    EXPECT_TRUE(list) << value.constData();
    return list ? *list : PropertyList::dictionary();
}

TEST(PropertyListTest, ComparesTypesAndValuesAllTheWayDown) {
    const QList<QByteArray> different{
        "<integer>10</integer>",
        "<real>10</real>",
        "<string>10</string>",
        "<integer>1</integer>",
        "<true/>",
        "<false/>",
        "<integer>0</integer>",
        "<integer>-1</integer>",
        "<integer>18446744073709551615</integer>",
        "<real>10.000000000000002</real>",
        "<string>10 </string>",
        "<data>AAEC</data>",
        "<data>AAECAw==</data>",
        "<data>AAED</data>",
        "<date>2020-01-02T03:04:05Z</date>",
        "<date>2020-01-02T03:04:06Z</date>",
        "<array/>",
        "<dict/>",
        "<array><integer>10</integer><integer>7</integer></array>",
        "<array><integer>7</integer><integer>10</integer></array>",
        "<array><integer>10</integer></array>",
        "<array><integer>10</integer><real>7</real></array>",
        "<array><integer>0</integer><true/></array>",
        "<array><integer>0</integer><integer>1</integer></array>",
        "<dict><key>a</key><true/></dict>",
        "<dict><key>b</key><true/></dict>",
        "<dict><key>a</key><false/></dict>",
        "<dict><key>a</key><true/><key>b</key><true/></dict>",
    };
    for (qsizetype i = 0; i < different.size(); ++i) {
        for (qsizetype j = 0; j < different.size(); ++j)
            EXPECT_EQ(fromXml(different[i]) == fromXml(different[j]), i == j)
                << different[i].constData() << " and " << different[j].constData();
    }
    EXPECT_TRUE(fromXml("<dict><key>a</key><true/><key>b</key><false/></dict>") ==
                fromXml("<dict><key>b</key><false/><key>a</key><true/></dict>"));
    EXPECT_TRUE(PropertyList::array({PropertyList::integer(0), PropertyList::boolean(true)}) ==
                fromXml("<array><integer>0</integer><true/></array>"));
}

TEST(PropertyListTest, AnswersForItsOwnTypeOnly) {
    EXPECT_EQ(fromXml("<string>\xC3\xA9</string>").text(), QStringLiteral("\u00e9"));
    EXPECT_EQ(fromXml("<true/>").flag(), true);
    EXPECT_EQ(fromXml("<false/>").flag(), false);
    EXPECT_EQ(fromXml("<integer>1</integer>").flag(), std::nullopt);
    EXPECT_EQ(fromXml("<integer>1</integer>").text(), std::nullopt);
    EXPECT_TRUE(fromXml("<array/>").isEmptyArray());
    EXPECT_FALSE(fromXml("<array><true/></array>").isEmptyArray());
    EXPECT_FALSE(fromXml("<dict/>").isEmptyArray());
    EXPECT_TRUE(fromXml("<dict/>").isDictionary());
    EXPECT_FALSE(fromXml("<array/>").isDictionary());
}

TEST(PropertyListTest, ChangesDictionariesAndNothingElse) {
    PropertyList dictionary = PropertyList::dictionary();
    dictionary.set("a", PropertyList::integer(1));
    dictionary.set("b", PropertyList::boolean(true));
    dictionary.set("a", PropertyList::integer(2));
    EXPECT_TRUE(dictionary == fromXml("<dict><key>a</key><integer>2</integer><key>b</key><true/></dict>"));
    dictionary.remove("a");
    dictionary.remove("missing");
    EXPECT_TRUE(dictionary == fromXml("<dict><key>b</key><true/></dict>"));
    EXPECT_EQ(dictionary.value("a"), std::nullopt);
    EXPECT_EQ(dictionary.value("b"), PropertyList::boolean(true));

    PropertyList array = PropertyList::array({PropertyList::integer(1)});
    array.set("a", PropertyList::integer(1));
    array.remove("a");
    EXPECT_EQ(array.value("a"), std::nullopt);
    EXPECT_TRUE(array == fromXml("<array><integer>1</integer></array>"));
}

TEST(PropertyListTest, CopiesAreDeep) {
    PropertyList original = fromXml("<dict><key>a</key><dict><key>b</key><true/></dict></dict>");
    PropertyList copy = original;
    PropertyList inner = *copy.value("a");
    inner.set("b", PropertyList::boolean(false));
    copy.set("a", inner);
    inner.remove("b");
    EXPECT_TRUE(original == fromXml("<dict><key>a</key><dict><key>b</key><true/></dict></dict>"));
    EXPECT_TRUE(copy == fromXml("<dict><key>a</key><dict><key>b</key><false/></dict></dict>"));
    original = copy;
    EXPECT_TRUE(original == copy);
}

TEST(PropertyListTest, KnowsTheFormatOfBytes) {
    EXPECT_EQ(PropertyList::format(xmlList("<true/>")), PropertyListFormat::xml);
    EXPECT_EQ(PropertyList::format(" \n<plist>"), PropertyListFormat::xml);
    EXPECT_EQ(PropertyList::format(PropertyList::dictionary().serialized(PropertyListFormat::binary)),
              PropertyListFormat::binary);
    EXPECT_EQ(PropertyList::format("{ a = b; }"), std::nullopt);
    EXPECT_EQ(PropertyList::format(""), std::nullopt);
}

TEST(PropertyListTest, WritesBothFormats) {
    const PropertyList list =
        fromXml("<dict><key>z</key><integer>-5</integer><key>a&lt;</key><array><real>0.5</real>"
                "</array></dict>");
    EXPECT_EQ(list.serialized(PropertyListFormat::xml),
              xmlList("<dict>\n\t<key>z</key>\n\t<integer>-5</integer>\n\t<key>a&lt;</key>\n\t<array>\n"
                      "\t\t<real>0.5</real>\n\t</array>\n</dict>"));
    const QByteArray binary = list.serialized(PropertyListFormat::binary);
    EXPECT_TRUE(binary.startsWith("bplist00"));
    EXPECT_EQ(PropertyList::parse(binary), list);
}

TEST(PropertyListTest, DoesNotWriteWhatItCouldNotReadBack) {
    PropertyList nested = fromXml(QByteArray("<array>").repeated(128) + QByteArray("</array>").repeated(128));
    PropertyList outer = PropertyList::dictionary();
    outer.set("a", nested);
    EXPECT_TRUE(outer.serialized(PropertyListFormat::xml).isEmpty());
    EXPECT_TRUE(outer.serialized(PropertyListFormat::binary).isEmpty());
    EXPECT_TRUE(fromXml("<string>&#1;</string>").serialized(PropertyListFormat::xml).isEmpty());
}

TEST(PropertyListTest, TellsXmlValuesThatRewritingKeeps) {
    for (const QByteArray body : {
             "<integer>-5</integer>",
             "<integer>-9223372036854775808</integer>",
             "<integer> 9223372036854775807 </integer>",
             "<integer>18446744073709551615</integer>",
             "<real>0.1</real>",
             "<real>1e300</real>",
             "<real>1.0</real>",
             "<real>5e-324</real>",
             "<real>-1.7976931348623157e308</real>",
             "<real>nan</real>",
             "<real>+infinity</real>",
             "<date>2020-01-02T03:04:05Z</date>",
             "<date>1601-01-01T00:00:00Z</date>",
             "<date>2100-01-01T00:00:00Z</date>",
             "<date>9999-12-31T23:59:59Z</date>",
             "<data>AAEC/w==</data>",
             "<data/>",
             "<string/>",
             "<string>   </string>",
             "<string> a\n\tb </string>",
             "<string>&lt;&gt;&amp;&apos;&quot;'\"]]&gt;</string>",
             "<string>a<![CDATA[<b>&amp;]]>c</string>",
             "<string>\xF0\x9F\x98\x80&#x1F600;\x7F</string>",
             "<array/>",
             "<dict></dict>",
             "<dict><key>z</key><true/><key> a&amp;b&lt;\xC3\xA9 </key><false/><key>A</key><array/></dict>",
             "<array><dict><key>CF$UID</key><integer>5</integer></dict></array>",
             "<array><!-- a note, which is no value --><true/></array>",
         })
        EXPECT_TRUE(PropertyList::survivesRewriting(xmlList(body))) << body.constData();
}

TEST(PropertyListTest, TellsXmlValuesThatRewritingChanges) {
    for (const QByteArray body : {
             "<integer>99999999999999999999</integer>",
             "<integer>010</integer>",
             "<integer>5 apples</integer>",
             "<integer/>",
             "<real>-0.0</real>",
             "<real>1e400</real>",
             "<real>1,5</real>",
             "<real></real>",
             "<date>2020-01-02T03:04:05.5Z</date>",
             "<date>0001-01-01T00:00:00Z</date>",
             "<date>2020-13-40T00:00:00Z</date>",
             "<date>yesterday</date>",
             "<date/>",
             "<data>AAEC<!-- cut -->AAEC</data>",
             "<data>A$A=E</data>",
             "<string>a&#13;b</string>",
             "<string>a&#1;b</string>",
         }) {
        EXPECT_TRUE(platform::isSafePropertyList(xmlList(body))) << body.constData();
        EXPECT_FALSE(PropertyList::survivesRewriting(xmlList(body))) << body.constData();
    }
}

TEST(PropertyListTest, ReadsNumbersAlikeInEveryLocale) {
    const test_support::ScratchFolder locales;
    const auto made =
        platform::runProgram({.path = "/usr/bin/localedef",
                              .arguments = {"-i", "de_DE", "-f", "UTF-8", locales.path() / "de_DE.UTF-8"},
                              .workingFolder = locales.path(),
                              .variables = {}});
    const test_support::ScopedEnvironment path("LOCPATH", locales.path().native());
    ASSERT_EQ(made, 0);
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    const QByteArray list = xmlList("<array>\n\t<real>1.5</real>\n</array>");
    EXPECT_TRUE(PropertyList::survivesRewriting(list));
    EXPECT_EQ(fromXml("<array><real>1.5</real></array>").serialized(PropertyListFormat::xml), list);
    EXPECT_STREQ(std::localeconv()->decimal_point, ",");
}

class PropertyListFileTest : public testing::Test {
protected:
    test_support::ScratchHome home;
    fs::path file = home.path() / "list.plist";
};

TEST_F(PropertyListFileTest, LoadsAFile) {
    test_support::writeFile(file, xmlList("<array><true/></array>"));
    EXPECT_EQ(PropertyList::load(file), PropertyList::array({PropertyList::boolean(true)}));
}

TEST_F(PropertyListFileTest, LoadsNothingThatIsNoPropertyListFile) {
    EXPECT_FALSE(PropertyList::load(file));
    EXPECT_FALSE(PropertyList::load(home.path()));
    test_support::writeFile(file, "");
    EXPECT_FALSE(PropertyList::load(file));
    test_support::writeFile(file, "{ a = b; }");
    EXPECT_FALSE(PropertyList::load(file));
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(PropertyList::load(file));
    EXPECT_FALSE(PropertyList::load("/dev/zero"));
}

TEST_F(PropertyListFileTest, LoadsNoFileThatMayNotBeRead) {
    test_support::writeFile(file, xmlList("<true/>"));
    ASSERT_EQ(::chmod(file.c_str(), 0), 0);
    const bool isRoot = ::geteuid() == 0;
    ASSERT_TRUE(!isRoot || ::seteuid(65534) == 0);
    EXPECT_FALSE(PropertyList::load(file));
    ASSERT_TRUE(!isRoot || ::seteuid(0) == 0);
}

TEST_F(PropertyListFileTest, LoadsFilesBelowTheLimitOnly) {
    const QByteArray list = xmlList("<true/>");
    const auto limit = static_cast<qsizetype>(PropertyList::limitBytes);
    const QByteArray filler(limit - list.size(), ' ');
    test_support::writeFile(file, list + filler);
    EXPECT_FALSE(PropertyList::load(file));
    EXPECT_FALSE(PropertyList::parse(list + filler));
    test_support::writeFile(file, list + filler.chopped(1));
    EXPECT_TRUE(PropertyList::load(file));
}

// Changes bytes of a list at random: one, a run, or a part moved elsewhere in it.
QByteArray mutated(QByteArray bytes, std::mt19937 &random) {
    const auto below = [&](qsizetype limit) { return qsizetype(random() % unsigned(limit)); };
    for (auto changes = 1 + below(3); changes > 0 && !bytes.isEmpty(); --changes) {
        const qsizetype at = below(bytes.size());
        const QByteArray part = bytes.mid(below(bytes.size()), 1 + below(40));
        switch (below(6)) {
        case 0:
            bytes[at] = char(random());
            break;
        case 1:
            bytes[at] = char(unsigned(bytes[at]) ^ (1u << below(8)));
            break;
        case 2:
            bytes.remove(at, 1 + below(8));
            break;
        case 3:
            bytes.insert(at, part);
            break;
        case 4:
            bytes.replace(at, part.size(), part);
            break;
        default:
            bytes[at] = QByteArray("\xFF\x00\x7F\x80<>/&;\"", 10)[below(10)];
        }
    }
    return bytes;
}

// Returns how many mutations were read; each of those must come through writing, or not be written.
int readMutations(const QByteArray &list, int count, unsigned seed) {
    std::mt19937 random(seed);
    int accepted = 0;
    for (int i = 0; i < count; ++i) {
        const QByteArray bytes = mutated(list, random);
        const auto read = PropertyList::parse(bytes);
        if (!read)
            continue;
        ++accepted;
        for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary}) {
            const QByteArray written = read->serialized(format);
            EXPECT_TRUE(written.isEmpty() || PropertyList::parse(written) == read)
                << bytes.toHex().constData();
        }
        PropertyList::survivesRewriting(bytes);
    }
    return accepted;
}

TEST(PropertyListFuzzTest, SurvivesMutatedLists) {
    const PropertyList list = fromXml(
        "<dict><key>Trunk</key><dict><key>LumaLogging</key><dict><key>EnableLumaLogging</key><array>"
        "<integer>10</integer><integer>7</integer></array></dict><key>t</key><string>a&lt;b\xC3\xA9</string>"
        "</dict><key>r</key><real>0.1</real><key>d</key><date>2020-01-02T03:04:05Z</date><key>b</key>"
        "<data>AAEC</data><key>f</key><false/></dict>");
    const int count = 15'000;
    for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary}) {
        const int accepted = readMutations(list.serialized(format), count, 20'261'115);
        RecordProperty(format == PropertyListFormat::xml ? "acceptedXml" : "acceptedBinary", accepted);
        EXPECT_GT(accepted, count / 100);
        EXPECT_LT(accepted, count);
    }
}

} // namespace
