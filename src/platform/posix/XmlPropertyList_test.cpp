#include "platform/posix/PropertyList.h"
#include "test_support/PropertyLists.h"

#include <QList>
#include <QStringEncoder>
#include <chrono>
#include <gtest/gtest.h>

namespace {

using platform::PropertyList;
using platform::PropertyListFormat;
using test_support::propertyList;
using test_support::xmlList;

TEST(XmlPropertyListTest, ReadsAndWritesEveryKindOfValue) {
    const PropertyList list = propertyList(
        "<dict><!-- > and < --><key>a &amp; b</key><string> x&lt;&#65;&#x1F600;<![CDATA[<&>]]></string>"
        "<key></key><string/><key>i</key><integer>-5</integer><key>r</key><real>1e300</real>"
        "<key>t</key><true/><key>f</key><false /><key>d</key><date>2020-01-02T03:04:05Z</date>"
        "<key>n</key><array><dict></dict><array/><data>\n\tAAEC\n\t/w==\n\t</data></array></dict>");
    EXPECT_EQ(QString::fromUtf8(list.serialized(PropertyListFormat::xml)),
              QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                             "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                             "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                             "<plist version=\"1.0\">\n\t<dict>\n"
                             "\t\t<key>a &amp; b</key>\n\t\t<string> x&lt;A\U0001F600&lt;&amp;&gt;</string>\n"
                             "\t\t<key/>\n\t\t<string/>\n\t\t<key>i</key>\n\t\t<integer>-5</integer>\n"
                             "\t\t<key>r</key>\n\t\t<real>1e300</real>\n\t\t<key>t</key>\n\t\t<true/>\n"
                             "\t\t<key>f</key>\n\t\t<false/>\n\t\t<key>d</key>\n"
                             "\t\t<date>2020-01-02T03:04:05Z</date>\n\t\t<key>n</key>\n\t\t<array>\n"
                             "\t\t\t<dict/>\n\t\t\t<array/>\n\t\t\t<data>\n\tAAEC\n\t/w==\n\t</data>\n"
                             "\t\t</array>\n\t</dict>\n</plist>\n"));
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
    const auto start = std::chrono::steady_clock::now();
    const int many = 1'000'000;
    const QByteArray attributes = QByteArray(" a=''").repeated(many);
    EXPECT_FALSE(PropertyList::parse("<plist" + attributes + "><true/></plist>"));
    EXPECT_FALSE(PropertyList::parse("<plist b='\"' a='>'" + attributes + "/>"));
    EXPECT_FALSE(PropertyList::parse(QByteArray("<!--").repeated(many)));
    for (const QByteArray text : {"&lt;", "<!---->x"})
        EXPECT_TRUE(PropertyList::parse(xmlList("<string>" + text.repeated(many) + "</string>")));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

TEST(XmlPropertyListTest, WritesNothingThatItCannotHold) {
    for (const QString &text : {QStringLiteral("\x01"), QString(QChar(0xFFFE))}) {
        EXPECT_TRUE(PropertyList::string(text).serialized(PropertyListFormat::xml).isEmpty());
        PropertyList dictionary = PropertyList::dictionary();
        dictionary.set(text, PropertyList::boolean(true));
        EXPECT_TRUE(dictionary.serialized(PropertyListFormat::xml).isEmpty());
    }
}

} // namespace
