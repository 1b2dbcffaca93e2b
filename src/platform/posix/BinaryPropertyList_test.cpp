#include "platform/posix/PropertyList.h"
#include "test_support/PropertyLists.h"

#include <QList>
#include <QtEndian>
#include <ctime>
#include <gtest/gtest.h>

namespace {

using platform::PropertyList;
using platform::PropertyListFormat;
using test_support::propertyList;

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

// A binary list of these objects, the first being the root.
QByteArray binaryList(const QList<QByteArray> &objects) {
    QByteArray bytes = "bplist00";
    QByteArray table;
    for (const QByteArray &object : objects) {
        table += bigEndian(quint64(bytes.size()), 4);
        bytes += object;
    }
    return bytes + table + QByteArray(6, '\0') + "\4\4" + bigEndian(quint64(objects.size()), 8) +
           bigEndian(0, 8) + bigEndian(quint64(bytes.size()), 8);
}

// A list of one object, in hexadecimal.
std::optional<PropertyList> object(const QByteArray &hexadecimal) {
    return PropertyList::parse(binaryList({QByteArray::fromHex(hexadecimal)}));
}

void expectKept(const QByteArray &hexadecimal) {
    const auto list = object(hexadecimal);
    ASSERT_TRUE(list) << hexadecimal.constData();
    const QByteArray written = list->serialized(PropertyListFormat::binary);
    EXPECT_EQ(written.mid(8, hexadecimal.size() / 2).toHex(), hexadecimal);
}

TEST(BinaryPropertyListTest, ReadsAndWritesContainers) {
    const QByteArray bytes = binaryList({
        dictionaryOf({1, 2, 3, 4}),
        asciiText("a"),
        marker(0x6, 2) + QByteArray::fromHex("d83dde00"),
        arrayOf({5, 5}),
        "\xD0",
        "\x09",
    });
    const auto list = PropertyList::parse(bytes);
    ASSERT_EQ(list, propertyList("<dict><key>a</key><array><true/><true/></array>"
                                 "<key>\xF0\x9F\x98\x80</key><dict/></dict>"));
    EXPECT_EQ(list->serialized(PropertyListFormat::binary).toHex(),
              // "bplist00", the root, its keys, the array, its item, the dictionary, the offsets, the trailer
              "62706c6973743030d201020305516162d83dde00a2040409d0080d0f141718"
              "0000000000000101000000000000000600000000000000000000000000000019");
}

// Each row has an object in hexadecimal and its value in XML.
TEST(BinaryPropertyListTest, KeepsTheFormOfEveryValue) {
    const QByteArray rows = R"(
        08 <false/>
        09 <true/>
        10ff <integer>255</integer>
        12ffffffff <integer>4294967295</integer>
        130000000000000005 <integer>5</integer>
        13ffffffffffffffff <integer>-1</integer>
        140000000000000000ffffffffffffffff <integer>18446744073709551615</integer>
        223dcccccd <real>0.10000000149011612</real>
        233fb999999999999a <real>0.1</real>
        238000000000000000 <real>-0</real>
        237ff0000000000000 <real>inf</real>
        237ff8000000000000 <real>nan</real>
        33c1cd27e440800000 <date>1969-12-31T23:59:59Z</date>
        33c22d63c37f000000 <date>0001-01-01T00:00:00Z</date>
        33424d62d23c7f8000 <date>9999-12-31T23:59:59Z</date>
        4f1001ff <data>/w==</data>
        50 <string/>
        5161 <string>a</string>
        5f100161 <string>a</string>
        62d83dde00 <string>😀</string>
        d0 <dict/>)";
    for (const QByteArray &line : rows.trimmed().split('\n')) {
        const QByteArray row = line.trimmed();
        const QByteArray hexadecimal = row.left(row.indexOf(' '));
        const QByteArray xml = row.mid(hexadecimal.size() + 1);
        expectKept(hexadecimal);
        const auto list = object(hexadecimal);
        const QByteArray written = list->serialized(PropertyListFormat::xml);
        EXPECT_TRUE(written.contains("\n\t" + xml + "\n")) << written.constData();
        EXPECT_EQ(PropertyList::parse(written), list) << hexadecimal.constData();
    }
}

// Wide integers, dates between seconds and beyond the years, texts of no characters, UIDs, sets.
TEST(BinaryPropertyListTest, KeepsWhatXmlCannotHold) {
    const QByteArray objects = "140000000000000001ffffffffffffffff 14ffffffffffffffffffffffffffffffff "
                               "3341c0000000400000 33c22d63c37f020000 33424d62d23c800000 337ff0000000000000 "
                               "337ff8000000000000 334341c37937e08000 53610062 52c3a9 61d83d 61ffff 8005 "
                               "870100000000000005 8f000102030405060708090a0b0c0d0e0f c0";
    const QList<QByteArray> list = objects.split(' ');
    for (const QByteArray &hexadecimal : list) {
        expectKept(hexadecimal);
        EXPECT_TRUE(object(hexadecimal)->serialized(PropertyListFormat::xml).isEmpty())
            << hexadecimal.constData();
    }
}

// Each row has a value in XML and its object in hexadecimal, or none when there is no such object.
TEST(BinaryPropertyListTest, TakesValuesFromXmlInTheFormThatOtherWritersUse) {
    const QByteArray rows = R"(
        <integer>7</integer>=1007
        <integer>256</integer>=110100
        <integer>65536</integer>=1200010000
        <integer>4294967296</integer>=130000000100000000
        <integer>-0x1</integer>=13ffffffffffffffff
        <integer>0XfF</integer>=10ff
        <integer>18446744073709551615</integer>=140000000000000000ffffffffffffffff
        <integer>5 apples</integer>=
        <real> 1.5 </real>=233ff8000000000000
        <real>1,5</real>=
        <date>2001-01-01T00:00:01Z</date>=333ff0000000000000
        <date>2001-01-01T00:00:01.5Z</date>=333ff8000000000000
        <date>2001-01-01T00:00:01</date>=
        <date>yesterday</date>=
        <data> AA	EC </data>=43000102
        <data>A$AE</data>=
        <string>fifteen letters</string>=5f100f6669667465656e206c657474657273
        <string>&#xE9;</string>=6100e9)";
    for (const QByteArray &row : rows.trimmed().split('\n')) {
        const QByteArrayList cells = row.trimmed().split('=');
        const QByteArray bytes = propertyList(cells[0]).serialized(PropertyListFormat::binary);
        EXPECT_EQ(bytes.isEmpty(), cells[1].isEmpty()) << row.constData();
        EXPECT_EQ(bytes.mid(8, cells[1].size() / 2).toHex(), cells[1]) << row.constData();
    }
}

// Markers that none has or other versions of the format have, impossible sizes, and counts beyond the end.
TEST(BinaryPropertyListTest, RefusesObjectsThatAreNone) {
    const QByteArray objects = "00 0f 0c5161 b0 7161 10 "
                               "150000000000000000000000000000000000000000000000000000000000000000 213c00 "
                               "240000000000000000000000000000000000 323f800000 4f 4f4000 "
                               "4f1400000000000000000000000000000000 4f13ffffffffffffffff 5f13 "
                               "5f13ffffffffffffffff61 6f138000000000000000 6f137fffffffffffffff "
                               "af134000000000000000 df132000000000000000 df13ffffffffffffffff 8700 8f0000";
    const QList<QByteArray> list = objects.split(' ');
    for (const QByteArray &hexadecimal : list)
        EXPECT_FALSE(object(hexadecimal)) << hexadecimal.constData();
    EXPECT_FALSE(PropertyList::parse(binaryList({dictionaryOf({1, 1}), "\x09"})));
    EXPECT_FALSE(PropertyList::parse(binaryList({dictionaryOf({1, 2}), "\x52\xC3\xA9", "\x09"})));
    EXPECT_FALSE(PropertyList::parse(binaryList({dictionaryOf({1, 2}), "\x61\xD8\x3D", "\x09"})));
}

TEST(BinaryPropertyListTest, RefusesNumbersThatLieAboutTheFile) {
    struct Trailer {
        quint64 offsetSize = 1;
        quint64 referenceSize = 1;
        quint64 objects = 1;
        quint64 root = 0;
        quint64 table = 9;
    };
    const auto read = [](const Trailer &trailer) {
        return PropertyList::parse("bplist00\x09\x08" + QByteArray(6, '\0') +
                                   bigEndian(trailer.offsetSize, 1) + bigEndian(trailer.referenceSize, 1) +
                                   bigEndian(trailer.objects, 8) + bigEndian(trailer.root, 8) +
                                   bigEndian(trailer.table, 8));
    };
    ASSERT_EQ(read({}), PropertyList::boolean(true));
    constexpr quint64 far = ~quint64{0};
    const Trailer lies[] = {{.offsetSize = 0},    {.offsetSize = 2}, {.offsetSize = 9}, {.referenceSize = 0},
                            {.referenceSize = 9}, {.objects = 0},    {.objects = 2},    {.objects = far},
                            {.root = 1},          {.root = far},     {.table = 8},      {.table = 11},
                            {.table = far - 3}};
    for (const Trailer &trailer : lies)
        EXPECT_FALSE(read(trailer)) << &trailer - lies;

    const QByteArray two = binaryList({arrayOf({1}), "\x09"});
    ASSERT_TRUE(PropertyList::parse(two));
    // The offset of the second object is the last number before the trailer.
    for (const quint64 offset : {quint64{0}, quint64{7}, quint64(two.size() - 32 - 8), quint64{0xFFFFFFFF}})
        EXPECT_FALSE(PropertyList::parse(QByteArray(two).replace(two.size() - 36, 4, bigEndian(offset, 4))))
            << offset;
    for (const quint64 reference : {2U, 0xFFFFFFFFU})
        EXPECT_FALSE(PropertyList::parse(binaryList({arrayOf({reference}), "\x09"})));
}

TEST(BinaryPropertyListTest, BoundsDepthNumberListsThatHoldThemselvesAndWhatSharedPartsUnfoldTo) {
    QList<QByteArray> laughs;
    for (quint64 level = 1; level <= 12; ++level)
        laughs << arrayOf(QList<quint64>(10, level));
    laughs << asciiText("lol");
    QList<QByteArray> deep;
    for (quint64 level = 1; level <= 128; ++level)
        deep << arrayOf({level});
    deep << arrayOf({});
    // The processor's time: the machine may have other work.
    const std::clock_t start = std::clock();
    for (const QList<QByteArray> &objects : {laughs,
                                             deep,
                                             {dictionaryOf(QList<quint64>(100'000, 1)), asciiText("a")},
                                             {arrayOf({0})},
                                             {arrayOf({1, 1}), arrayOf({0, 0})},
                                             {dictionaryOf({0, 0})}})
        EXPECT_FALSE(PropertyList::parse(binaryList(objects)));
    EXPECT_LT(std::clock() - start, 5 * CLOCKS_PER_SEC);

    const auto shared = [](int count) {
        return PropertyList::parse(
            binaryList({arrayOf(QList<quint64>(count, 1)), asciiText(QByteArray(1 << 20, 'x'))}));
    };
    ASSERT_TRUE(shared(31));
    EXPECT_EQ(PropertyList::parse(shared(31)->serialized(PropertyListFormat::binary)), shared(31));
    EXPECT_FALSE(shared(33));
}

} // namespace
