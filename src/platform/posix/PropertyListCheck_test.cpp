#include "platform/posix/PropertyListCheck.h"

#include "platform/posix/PropertyList.h"
#include "test_support/PropertyLists.h"

#include <QList>
#include <QSet>
#include <QtEndian>
#include <chrono>
#include <gtest/gtest.h>
#include <string>

namespace {

using platform::isSafePropertyList;
using platform::PropertyList;
using platform::propertyListFingerprint;
using platform::PropertyListLimits;
using test_support::xmlList;

QByteArray bigEndian(quint64 value, int size) {
    QByteArray bytes(8, '\0');
    qToBigEndian(value, bytes.data());
    return bytes.right(size);
}

// The marker of an object with a count of items, bytes or characters.
QByteArray marker(unsigned type, quint64 count) {
    if (count < 15)
        return QByteArray(1, char(type << 4 | unsigned(count)));
    return QByteArray(1, char(type << 4 | 15)) + '\x13' + bigEndian(count, 8);
}

QByteArray references(const QList<quint64> &objects) {
    QByteArray bytes;
    for (const quint64 object : objects)
        bytes += bigEndian(object, 4);
    return bytes;
}

QByteArray arrayOf(const QList<quint64> &objects) {
    return marker(0xA, quint64(objects.size())) + references(objects);
}

QByteArray dictionaryOf(const QList<quint64> &keysThenValues) {
    return marker(0xD, quint64(keysThenValues.size() / 2)) + references(keysThenValues);
}

QByteArray asciiText(const QByteArray &text) {
    return marker(0x5, quint64(text.size())) + text;
}

struct Trailer {
    quint64 offsetSize = 4;
    quint64 referenceSize = 4;
    std::optional<quint64> objects = {};
    quint64 root = 0;
    std::optional<quint64> table = {};
};

// A binary list of these objects, the first being the root.
QByteArray binaryList(const QList<QByteArray> &objects, const Trailer &trailer = {}) {
    QByteArray bytes = "bplist00";
    QByteArray table;
    for (const QByteArray &object : objects) {
        table += bigEndian(quint64(bytes.size()), 4);
        bytes += object;
    }
    const auto tableAt = quint64(bytes.size());
    return bytes + table + QByteArray(6, '\0') + bigEndian(trailer.offsetSize, 1) +
           bigEndian(trailer.referenceSize, 1) +
           bigEndian(trailer.objects.value_or(quint64(objects.size())), 8) + bigEndian(trailer.root, 8) +
           bigEndian(trailer.table.value_or(tableAt), 8);
}

// A text with the same value of the library's hash function for every number below 2^20.
QByteArray collidingText(int number) {
    QByteArray text;
    for (int bit = 0; bit < 20; ++bit)
        text += (number >> bit & 1) != 0 ? "Ez" : "FY";
    return text;
}

QByteArray repeated(const QByteArray &text, int count) {
    return text.repeated(count);
}

TEST(PropertyListCheckTest, AcceptsEveryKindOfValueInXml) {
    EXPECT_TRUE(
        isSafePropertyList(xmlList("<dict>"
                                   "<key>a &amp; b</key><string> x&lt;&#65;&#x1F600;<![CDATA[<&>]]></string>"
                                   "<key></key><string/><key>i</key><integer>-5</integer>"
                                   "<key>r</key><real>1e300</real><key>t</key><true/><key>f</key><false />"
                                   "<!-- said > and < --><key>d</key><date>2020-01-02T03:04:05Z</date>"
                                   "<key>b</key><data>\n\tAAEC\n\t/w==\n\t</data>"
                                   "<key>n</key><dict><key>e</key><array/><key>f</key><dict></dict></dict>"
                                   "</dict>")));
}

TEST(PropertyListCheckTest, RejectsXmlThatIsNoPropertyList) {
    const QList<QByteArray> bodies{
        "",
        "text",
        "<true/><true/>",
        "<dict><true/></dict>",
        "<dict><key>a</key></dict>",
        "<dict><key>a</key><key>b</key><true/></dict>",
        "<dict><key>a</key><true/><key>a</key><false/></dict>",
        "<array><key>a</key></array>",
        "<array><true/></dict>",
        "<array>",
        "</array>",
        "<array/></array>",
        "<array><string>a</array>",
        "<string>a<b/></string>",
        "<string>a</key>",
        "<string>&foo;</string>",
        "<string>&lt</string>",
        "<string>&;</string>",
        "<string>&#;</string>",
        "<string>&#0;</string>",
        "<string>&#x;</string>",
        "<string>&#xD800;</string>",
        "<string>&#x110000;</string>",
        "<string>&#-5;</string>",
        "<string>a<!-- b</string>",
        "<string>a<![CDATA[b</string>",
        "<string>\x01</string>",
        "<string>\xFF\xFE</string>",
        "<true>x</true>",
        "<array class=\"x\"/>",
        "<array / >",
        "<null/>",
        "<Dict/>",
        "<plist><true/></plist>",
        "<!DOCTYPE x><true/>",
        "<!ELEMENT x><true/>",
        "<? \"?><true/><? \"?>",
    };
    for (const QByteArray &body : bodies)
        EXPECT_FALSE(isSafePropertyList(xmlList(body))) << body.constData();
}

TEST(PropertyListCheckTest, RejectsXmlWithoutAPlainFrame) {
    const QList<QByteArray> texts{
        "",
        " ",
        "<",
        "<true/>",
        "<plist/>",
        "<plist></plist>",
        "<plists><true/></plist>",
        "<plist /><true/></plist>",
        "<plist><true/></plist>x",
        "<plist><true/></plist><plist><true/></plist>",
        "x<plist><true/></plist>",
        "<plist version=\"><true/></plist>",
        "<!DOCTYPE plist [ <!ENTITY a \"b\"> ]><plist><true/></plist>",
        "<!DOCTYPE plist [ ]><plist><true/></plist>",
        "<!DOCTYPE \"><plist><true/></plist>",
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><plist><true/></plist>",
        QByteArray("<plist>\0<true/></plist>", 23),
    };
    for (const QByteArray &text : texts)
        EXPECT_FALSE(isSafePropertyList(text)) << text.constData();
    EXPECT_TRUE(
        isSafePropertyList("<?xml version='1.0' encoding='utf-8'?><plist><true/></plist> <!-- end -->"));
}

TEST(PropertyListCheckTest, RejectsEveryTruncation) {
    const QByteArray xml =
        xmlList("<dict><key>a</key><string>b&amp;c</string><key>d</key><array/></dict>").trimmed();
    const QByteArray binary =
        binaryList({dictionaryOf({1, 2}), asciiText("key"), marker(0x6, 1) + "\x4e\x2d"});
    for (const QByteArray &whole : {xml, binary}) {
        ASSERT_TRUE(isSafePropertyList(whole));
        for (qsizetype size = 0; size < whole.size(); ++size)
            ASSERT_FALSE(isSafePropertyList(whole.left(size))) << size;
    }
}

TEST(PropertyListCheckTest, BoundsTheDepthOfXml) {
    const auto nested = [](int depth) {
        return xmlList(repeated("<array>", depth) + repeated("</array>", depth));
    };
    EXPECT_TRUE(isSafePropertyList(nested(128)));
    EXPECT_FALSE(isSafePropertyList(nested(129)));
    EXPECT_FALSE(isSafePropertyList(nested(1'000'000)));
    EXPECT_TRUE(PropertyList::parse(nested(128)));
    EXPECT_FALSE(PropertyList::parse(nested(1'000'000)));
}

TEST(PropertyListCheckTest, BoundsTheNumberOfValues) {
    const auto values = [](int count) {
        return xmlList("<array>" + repeated("<true/>", count) + "</array>");
    };
    EXPECT_TRUE(isSafePropertyList(values(PropertyListLimits::nodes - 1)));
    EXPECT_FALSE(isSafePropertyList(values(PropertyListLimits::nodes)));
}

TEST(PropertyListCheckTest, BoundsTheWorkOfCharacterReferences) {
    EXPECT_TRUE(isSafePropertyList(xmlList("<string>" + repeated("&lt;", 20'000) + "</string>")));
    EXPECT_FALSE(isSafePropertyList(xmlList("<string>" + repeated("&lt;", 30'000) + "</string>")));
}

TEST(PropertyListCheckTest, BoundsTheWorkOfValuesThatShareAHash) {
    const auto keys = [](int count) {
        QByteArray entries;
        for (int i = 0; i < count; ++i)
            entries += "<key>" + collidingText(i) + "</key><true/>";
        return xmlList("<dict>" + entries + "</dict>");
    };
    const auto texts = [](int count, const QByteArray &prefix) {
        QList<QByteArray> objects{{}};
        QList<quint64> items;
        for (int i = 0; i < count; ++i) {
            items << quint64(objects.size());
            objects << asciiText(prefix + collidingText(i));
        }
        objects[0] = arrayOf(items);
        return binaryList(objects);
    };
    EXPECT_TRUE(isSafePropertyList(keys(5'000)));
    EXPECT_FALSE(isSafePropertyList(keys(7'000)));
    EXPECT_TRUE(isSafePropertyList(texts(5'000, {})));
    EXPECT_FALSE(isSafePropertyList(texts(7'000, {})));
    EXPECT_FALSE(isSafePropertyList(texts(5'000, QByteArray(2'000, 'x'))));
}

TEST(PropertyListCheckTest, AllowsAKeyThatManyDictionariesShare) {
    EXPECT_TRUE(isSafePropertyList(
        xmlList("<array>" + repeated("<dict><key>name</key><true/></dict>", 30'000) + "</array>")));
}

TEST(PropertyListCheckTest, AcceptsEveryKindOfValueInBinary) {
    EXPECT_TRUE(isSafePropertyList(binaryList({
        dictionaryOf({1, 2, 3}) + references({4}),
        asciiText("a"),
        marker(0x6, 2) + QByteArray::fromHex("d83dde00"),
        arrayOf({5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}),
        arrayOf({}),
        "\x08",
        "\x09",
        QByteArray::fromHex("10ff"),
        QByteArray::fromHex("13ffffffffffffffff"),
        QByteArray::fromHex("140000000000000000ffffffffffffffff"),
        QByteArray::fromHex("223f800000"),
        QByteArray::fromHex("233fb999999999999a"),
        QByteArray::fromHex("3341c0000000400000"),
        QByteArray::fromHex("43000102"),
        QByteArray::fromHex("8005"),
        QByteArray::fromHex("d0"),
    })));
}

TEST(PropertyListCheckTest, RejectsBinaryObjectsThatAreNone) {
    const QList<QByteArray> hexadecimal{
        "00",                       // null
        "0f",                       // fill
        "0c5161",                   // a location
        "b0",                       // an ordered set
        "7161",                     // text in UTF-8
        "10",                       // nothing behind the marker
        "15" + QByteArray(64, '0'), // an integer of 32 bytes
        "213c00",                   // a real of two bytes
        "323f800000",               // a date of four bytes
        "4f",                       // no count
        "4f4000",                   // a count that is no integer
        "4f14" + QByteArray(32, '0'),
        "4f13ffffffffffffffff",
        "5f13",
        "5f13ffffffffffffffff61",
        "6f138000000000000000",
        "6f137fffffffffffffff",
        "af134000000000000000",
        "df132000000000000000",
        "df13ffffffffffffffff",
        "52c3a9",   // not ASCII
        "53610062", // a NUL
        "63006100000062",
        "61d83d", // half a character
        "61de00",
        "8700", // more bytes than there are
        "8f0000",
    };
    for (const QByteArray &object : hexadecimal)
        EXPECT_FALSE(isSafePropertyList(binaryList({QByteArray::fromHex(object)}))) << object.constData();
    // An identifier wider than 32 bits is well-formed; the library refuses it by itself.
    EXPECT_FALSE(PropertyList::parse(binaryList({QByteArray::fromHex("870100000000000005")})));
}

TEST(PropertyListCheckTest, RejectsATrailerThatLiesAboutTheFile) {
    const quint64 far = ~quint64{0};
    ASSERT_TRUE(isSafePropertyList(binaryList({"\x09"})));
    for (const Trailer &trailer : {
             Trailer{.offsetSize = 0},
             Trailer{.offsetSize = 9},
             Trailer{.offsetSize = 255},
             Trailer{.offsetSize = 8},
             Trailer{.referenceSize = 0},
             Trailer{.referenceSize = 255},
             Trailer{.objects = 0},
             Trailer{.objects = 2},
             Trailer{.objects = quint64{1} << 62},
             Trailer{.objects = far},
             Trailer{.root = 1},
             Trailer{.root = far},
             Trailer{.table = 0},
             Trailer{.table = 8},
             Trailer{.table = 14},
             Trailer{.table = far},
             Trailer{.table = far - 3},
         })
        EXPECT_FALSE(isSafePropertyList(binaryList({"\x09"}, trailer)));
    const QByteArray wideOffset = bigEndian(0, 1) + bigEndian(8, 8);
    EXPECT_FALSE(
        isSafePropertyList(binaryList({"\x09", wideOffset}, {.offsetSize = 9, .objects = 1, .table = 9})));
}

TEST(PropertyListCheckTest, RejectsOffsetsAndReferencesThatPointElsewhere) {
    const QByteArray whole = binaryList({arrayOf({1}), "\x09"});
    const qsizetype table = whole.size() - 32 - 8;
    ASSERT_TRUE(isSafePropertyList(whole));
    for (const quint64 offset : {quint64{0}, quint64{7}, quint64(table), quint64{0xFFFFFFFF}}) {
        QByteArray changed = whole;
        changed.replace(table + 4, 4, bigEndian(offset, 4));
        EXPECT_FALSE(isSafePropertyList(changed)) << offset;
    }
    EXPECT_FALSE(isSafePropertyList(binaryList({arrayOf({2}), "\x09"})));
    EXPECT_FALSE(isSafePropertyList(binaryList({arrayOf({0xFFFFFFFF}), "\x09"})));
}

TEST(PropertyListCheckTest, RejectsBinaryDictionariesWithoutProperKeys) {
    EXPECT_FALSE(isSafePropertyList(binaryList({dictionaryOf({1, 1}), "\x09"})));
    EXPECT_FALSE(isSafePropertyList(binaryList({dictionaryOf({1, 1, 2, 2}), asciiText("a"), "\x09"})));
    EXPECT_TRUE(isSafePropertyList(binaryList({dictionaryOf({1, 2}), asciiText("a"), "\x09"})));
}

TEST(PropertyListCheckTest, RejectsListsThatHoldThemselves) {
    EXPECT_FALSE(PropertyList::parse(binaryList({arrayOf({0})})));
    EXPECT_FALSE(PropertyList::parse(binaryList({arrayOf({1}), arrayOf({0})})));
    EXPECT_FALSE(PropertyList::parse(binaryList({dictionaryOf({1, 0}), asciiText("a")})));
}

TEST(PropertyListCheckTest, RejectsSharedPartsThatUnfoldWithoutBound) {
    QList<QByteArray> laughs;
    for (quint64 level = 1; level <= 12; ++level)
        laughs << arrayOf(QList<quint64>(10, level));
    laughs << asciiText("lol");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(PropertyList::parse(binaryList(laughs)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));

    const QByteArray megabyte = asciiText(QByteArray(1 << 20, 'x'));
    EXPECT_TRUE(isSafePropertyList(binaryList({arrayOf(QList<quint64>(32, 1)), megabyte})));
    EXPECT_FALSE(isSafePropertyList(binaryList({arrayOf(QList<quint64>(33, 1)), megabyte})));
}

TEST(PropertyListCheckTest, BoundsTheDepthOfBinary) {
    const auto nested = [](quint64 depth) {
        QList<QByteArray> objects;
        for (quint64 level = 1; level < depth; ++level)
            objects << arrayOf({level});
        objects << arrayOf({});
        return binaryList(objects);
    };
    EXPECT_TRUE(PropertyList::parse(nested(128)));
    EXPECT_FALSE(PropertyList::parse(nested(129)));
    EXPECT_FALSE(PropertyList::parse(nested(300'000)));
}

TEST(PropertyListCheckTest, TakesTheSameFingerprintForTheSameValuesOnly) {
    const auto fingerprint = [](const QByteArray &body) {
        return propertyListFingerprint(xmlList(body)).value();
    };
    EXPECT_EQ(fingerprint("<string>a&#66;c</string>"),
              fingerprint("<string>a<!-- x --><![CDATA[B]]>c</string>"));
    EXPECT_EQ(fingerprint("<real>0.1</real>"), fingerprint("<real>0.10000000000000001</real>"));
    EXPECT_EQ(fingerprint("<data>AA EC</data>"), fingerprint("<data>AAEC</data>"));
    const QList<QByteArray> different{
        "<array/>",
        "<dict/>",
        "<true/>",
        "<false/>",
        "<string/>",
        "<string>1</string>",
        "<integer>1</integer>",
        "<real>1</real>",
        "<date>1</date>",
        "<data>1</data>",
        "<array><true/></array>",
        "<array><array/><true/></array>",
        "<array><array><true/></array></array>",
        "<array><string>ab</string><string>c</string></array>",
        "<array><string>a</string><string>bc</string></array>",
    };
    QSet<QByteArray> seen;
    for (const QByteArray &body : different)
        seen.insert(fingerprint(body));
    EXPECT_EQ(seen.size(), different.size());
}

TEST(PropertyListCheckTest, ReadsBinaryIntegersAsTheNumbersTheyAre) {
    const auto fingerprint = [](const char *object) {
        return propertyListFingerprint(binaryList({QByteArray::fromHex(object)})).value();
    };
    EXPECT_EQ(fingerprint("10ff"), fingerprint("1300000000000000ff"));
    EXPECT_EQ(fingerprint("10ff"), fingerprint("14000000000000000000000000000000ff"));
    EXPECT_NE(fingerprint("13ffffffffffffffff"), fingerprint("140000000000000000ffffffffffffffff"));
    EXPECT_EQ(fingerprint("13ffffffffffffffff"), fingerprint("14ffffffffffffffffffffffffffffffff"));
}

// What the library reads from a binary list and writes back as something else.
TEST(PropertyListCheckTest, TellsBinaryValuesThatRewritingKeepsFromThoseItChanges) {
    const QList<QByteArray> kept{
        "08",
        "10ff",
        "11ffff",
        "12ffffffff",
        "13ffffffffffffffff",
        "130000000000000005",
        "138000000000000000",
        "140000000000000000ffffffffffffffff",
        "223dcccccd",
        "233fb999999999999a",
        "237e37e43c8800759c",
        "238000000000000000",
        "237ff0000000000000",
        "3341c0000000400000",
        "33c220000000000000",
        "334270000000000000",
        "40",
        "43000102",
        "50",
        "5161",
        "62d83dde00",
        "6100e9",
        "61ffff",
        "8005",
        "83ffffffff",
        "a0",
        "d0",
    };
    for (const QByteArray &object : kept)
        EXPECT_TRUE(PropertyList::survivesRewriting(binaryList({QByteArray::fromHex(object)})))
            << object.constData();
    const QList<QByteArray> changed{
        "140000000000000001ffffffffffffffff", // wider than 64 bits
        "14ffffffffffffffffffffffffffffffff", // -1 in 16 bytes
        "c0",                                 // a set becomes an array
    };
    for (const QByteArray &object : changed) {
        const QByteArray bytes = binaryList({QByteArray::fromHex(object)});
        EXPECT_TRUE(isSafePropertyList(bytes)) << object.constData();
        EXPECT_FALSE(PropertyList::survivesRewriting(bytes)) << object.constData();
    }
}

} // namespace
