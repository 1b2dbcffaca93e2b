#include "platform/posix/PropertyList.h"

#include "platform/posix/Program.h"
#include "test_support/PropertyLists.h"
#include "test_support/ScratchHome.h"

#include <QList>
#include <QStringEncoder>
#include <clocale>
#include <ctime>
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
        <string>&#xFEFF;10</string>
        <true/> | <true></true>
        <false/>
        <integer>-1</integer> | <integer>-0x1</integer>
        <data>AAEC</data> | <data>&#10; AA EC</data>
        <data>A$A=E</data>
        <date>2020-01-02T03:04:05Z</date>
        <array/>
        <dict/>
        <array><integer>10</integer><integer>7</integer></array>
        <array><integer>7</integer><integer>10</integer></array>
        <dict><key>b</key><true/></dict>)";
    const QList<QByteArray> different = rows.trimmed().split('\n');
    for (const QByteArray &one : different) {
        const PropertyList list = propertyList(one.split('|')[0]);
        for (const QByteArray &other : different) {
            for (const QByteArray &spelling : other.split('|'))
                EXPECT_EQ(list == propertyList(spelling), one == other)
                    << one.constData() << " and " << spelling.constData();
        }
    }
}

TEST(PropertyListTest, ChangesDictionariesAndNothingElse) {
    PropertyList dictionary = PropertyList::dictionary();
    dictionary.set("a", PropertyList::integer(1));
    dictionary.set("b", PropertyList::boolean(true));
    const PropertyList copy = dictionary;
    dictionary.set("a", PropertyList::integer(2));
    EXPECT_EQ(dictionary, propertyList("<dict><key>a</key><integer>2</integer><key>b</key><true/></dict>"));
    dictionary.remove("a");
    EXPECT_EQ(dictionary, propertyList("<dict><key>b</key><true/></dict>"));
    EXPECT_EQ(dictionary.value("a"), nullptr);
    EXPECT_EQ(copy, propertyList("<dict><key>a</key><integer>1</integer><key>b</key><true/></dict>"));

    PropertyList array = PropertyList::array({PropertyList::integer(1)});
    array.set("", PropertyList::integer(1));
    array.remove("");
    EXPECT_EQ(array.value(""), nullptr);
    EXPECT_EQ(array, propertyList("<array><integer>1</integer></array>"));

    // Of equal keys the last one counts, and the others are kept.
    const QByteArray first = "<dict><key>a</key><integer>1</integer><key>a</key>";
    PropertyList twice = propertyList(first + "<integer>2</integer></dict>");
    for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary})
        EXPECT_EQ(PropertyList::parse(twice.serialized(format)), twice);
    twice.set("a", PropertyList::integer(3));
    EXPECT_EQ(twice, propertyList(first + "<integer>3</integer></dict>"));
    twice.remove("a");
    EXPECT_EQ(twice, PropertyList::dictionary());
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
    const QByteArray binary = propertyList("<real>1.5</real>").serialized(PropertyListFormat::binary);
    EXPECT_EQ(PropertyList::parse(binary)->spelling(PropertyListFormat::xml), "1.5");
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

// --- XML ---

TEST(XmlPropertyListTest, ReadsAndWritesContainersAndEscapedTexts) {
    const PropertyList list = propertyList(
        "<dict><!-- > and < --><key>a &amp; b</key><string> x&lt;&#65;&#x1F600;<![CDATA[<&>]]></string>"
        "<key></key><string/><key>f</key><false /><key>n</key>"
        "<array><dict></dict><array/><data>\n\tAAEC\n\t/w==\n\t</data></array></dict>");
    EXPECT_EQ(list.serialized(PropertyListFormat::xml),
              xmlList("\t<dict>\n\t\t<key>a &amp; b</key>\n\t\t<string> x&lt;A😀&lt;&amp;&gt;</string>\n"
                      "\t\t<key/>\n\t\t<string/>\n\t\t<key>f</key>\n\t\t<false/>\n\t\t<key>n</key>\n"
                      "\t\t<array>\n\t\t\t<dict/>\n\t\t\t<array/>\n"
                      "\t\t\t<data>\n\tAAEC\n\t/w==\n\t</data>\n\t\t</array>\n\t</dict>"));
}

TEST(XmlPropertyListTest, KeepsTheSpellingOfEveryValue) {
    const QList<QByteArray> values =
        QByteArray(
            "<integer>0x1F</integer> | <integer>+5</integer> | <integer> 010 </integer> | <integer/> | "
            "<integer>99999999999999999999</integer> | <integer>5 apples</integer> | <real>-0</real> | "
            "<real>1.50</real> | <real>+infinity</real> | <real>1e400</real> | <date>yesterday</date> | "
            "<date>2020-01-02T03:04:05.5Z</date> | <date>0001-01-01T00:00:00Z</date> | "
            "<data>AAEC\n\t/w==</data> | <data>A$A=E</data> | <string>   </string> | "
            "<string>a&#13;b&#13;\n\tc </string> | <string>\xF0\x9F\x98\x80\x7F</string> | "
            "<array>\n\t\t<dict>\n\t\t\t<key>&#13;</key>\n\t\t\t<true/>\n\t\t</dict>\n\t</array>")
            .replace(" | ", "|")
            .split('|');
    for (const QByteArray &value : values) {
        const auto read = PropertyList::parse(xmlList(value));
        ASSERT_TRUE(read) << value.constData();
        EXPECT_TRUE(read->serialized(PropertyListFormat::xml).contains(value)) << value.constData();
    }
}

TEST(XmlPropertyListTest, ReadsEveryEncoding) {
    const auto encoded = [](QStringConverter::Encoding encoding, const QByteArray &name, bool hasMark) {
        QStringEncoder encoder(encoding, hasMark ? QStringEncoder::Flag::WriteBom : QStringEncoder::Flag());
        const QString declaration = QStringLiteral("<?xml version=\"1.0\" encoding=\"%1\"?>");
        const QString text = QStringLiteral("<plist><string>caf\u00e9</string></plist>");
        const QString head = name.isEmpty() ? QString() : declaration.arg(QString::fromLatin1(name));
        return QByteArray(encoder(head + text));
    };
    using Converter = QStringConverter;
    const QByteArray ascii =
        "<?xml version='1.0' encoding='US-ASCII'?><plist><string>caf&#xE9;</string></plist>";
    for (const QByteArray &bytes :
         {encoded(Converter::Utf8, "", false), encoded(Converter::Utf8, "utf-8", true),
          encoded(Converter::Latin1, "ISO-8859-1", false), encoded(Converter::Utf16LE, "UTF-16", true),
          encoded(Converter::Utf16BE, "UTF-16", false), encoded(Converter::Utf32LE, "", true), ascii})
        EXPECT_EQ(PropertyList::parse(bytes), PropertyList::string(QStringLiteral("caf\u00e9")))
            << bytes.constData();
    for (const QByteArray &bytes :
         {encoded(Converter::Latin1, "", false), encoded(Converter::Latin1, "windows-1252", false),
          encoded(Converter::Latin1, "UTF-16", false), encoded(Converter::Utf16LE, "UTF-16", true) + '\n'})
        EXPECT_FALSE(PropertyList::parse(bytes)) << bytes.constData();
}

TEST(XmlPropertyListTest, ReadsEveryFrame) {
    for (const QByteArray text :
         {"<true/>", " \n<plist><true/></plist>", " <?xml version='1.0'?><plist><true/></plist>",
          "<!DOCTYPE plist SYSTEM 'file://localhost/System/DTDs/PropertyList.dtd'><plist><true/></plist>",
          "<!-- <!DOCTYPE a [ <a --><plist version='1.0' xmlns:a='>'><true/><?a b?></plist> <!-- end -->"})
        EXPECT_EQ(PropertyList::parse(text), PropertyList::boolean(true)) << text.constData();
}

TEST(XmlPropertyListTest, RefusesWhatIsNoPropertyList) {
    const QByteArray values =
        " | text | <true/><true/> | <dict><true/></dict> | <dict><key>a</key></dict> | <dict>a</dict> | "
        "<dict><key>a</key><key>b</key><true/></dict> | <array><key>a</key></array> | <array> | "
        "<array><true/></dict> | <string>a<b/></string> | <string>&foo;</string> | <string>&#0;</string> | "
        "<string>&#xD800;</string> | <string>a<!-- b</string> | <string>a<![CDATA[b</string> | "
        "<string>\x01</string> | <string>\xFF\xFE</string> | <true>x</true> | <array class=\"x\"/> | "
        "<null/> | <plist><true/></plist> | <!DOCTYPE x><true/>";
    for (const QByteArray &value : values.split('|'))
        EXPECT_FALSE(PropertyList::parse(xmlList(value))) << value.constData();
    const QByteArray texts =
        " | < | <plist/> | <plists><true/></plists> | <plist><true/></plist>x | x<plist><true/></plist> | "
        "<plist><true/></plist><plist><true/></plist> | <plist version=\"><true/></plist> | "
        "<!DOCTYPE plist [ <!ENTITY a 'b'> ]><plist><string>&a;</string></plist>";
    for (const QByteArray &text : texts.split('|'))
        EXPECT_FALSE(PropertyList::parse(text)) << text.constData();
    EXPECT_FALSE(PropertyList::parse(QByteArray("<plist>\0<true/></plist>", 23)));
}

TEST(XmlPropertyListTest, ReadsHostileTextsInLinearTime) {
    // The processor's time: the machine may have other work.
    const std::clock_t start = std::clock();
    const int many = 1'000'000;
    const QByteArray attributes = QByteArray(" a=''").repeated(many);
    EXPECT_FALSE(PropertyList::parse("<plist" + attributes + "><true/></plist>"));
    EXPECT_FALSE(PropertyList::parse("<plist b='\"' a='>'" + attributes + "/>"));
    EXPECT_FALSE(PropertyList::parse(QByteArray("<!--").repeated(many)));
    for (const QByteArray text : {"&lt;", "<!---->x"})
        EXPECT_TRUE(PropertyList::parse(xmlList("<string>" + text.repeated(many) + "</string>")));
    EXPECT_LT(std::clock() - start, 20 * CLOCKS_PER_SEC);
}

TEST(XmlPropertyListTest, WritesNothingThatItCannotHold) {
    const QString text = QStringLiteral("\x01");
    PropertyList dictionary = PropertyList::dictionary();
    dictionary.set(text, PropertyList::boolean(true));
    for (const PropertyList &list : {dictionary, PropertyList::string(text)})
        EXPECT_TRUE(list.serialized(PropertyListFormat::xml).isEmpty());
}

// --- Hostile bytes ---

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

// Whatever is read from a mutated list comes through writing as it is. A part of a list is none.
TEST(PropertyListFuzzTest, SurvivesMutatedListsAndRefusesTruncatedOnes) {
    const PropertyList list = propertyList(
        "<dict><key>Trunk</key><dict><key>LumaLogging</key><dict><key>EnableLumaLogging</key><array>"
        "<integer>10</integer><integer>7</integer></array></dict><key>t</key><string>a&lt;b\xC3\xA9</string>"
        "</dict><key>r</key><real>0.1</real><key>d</key><date>2020-01-02T03:04:05Z</date><key>b</key>"
        "<data>AAEC</data><key>f</key><false/></dict>");
    for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary}) {
        const QByteArray whole = list.serialized(format);
        for (qsizetype size = 0; size < whole.trimmed().size(); ++size)
            ASSERT_FALSE(PropertyList::parse(whole.left(size))) << size;
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
