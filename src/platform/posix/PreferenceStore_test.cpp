#include "platform/PreferenceStore.h"

#include "test_support/Isolation.h"
#include "test_support/PropertyLists.h"
#include "test_support/ScratchHome.h"

#include <QStringEncoder>
#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <map>
#include <sys/xattr.h>

namespace {

namespace fs = std::filesystem;
using platform::changePreferenceFile;
using platform::PreferenceChange;
using platform::PropertyList;
using platform::PropertyListFormat;
using test_support::propertyList;
using test_support::readFile;
using test_support::writeFile;
using test_support::xmlList;

const QByteArray original = "<dict><key>Trunk</key><true/><key>other</key><real>0.50</real></dict>";
const QByteArray after =
    "<dict><key>Trunk</key><integer>10</integer><key>other</key><real>0.50</real></dict>";

class PreferenceFile : public testing::Test {
protected:
    PreferenceFile() {
        fs::create_directory(folder);
        writeFile(file, xmlList(original));
    }

    PreferenceChange setTrunk(const PropertyList &value = PropertyList::integer(10)) {
        return changePreferenceFile(file, [&](PropertyList &root) {
            root.set("Trunk", value);
            return true;
        });
    }

    test_support::ScratchHome home;
    fs::path folder = home.path() / "Preferences";
    fs::path file = folder / "com.brennic.LumadocPE.plist";
};

TEST_F(PreferenceFile, IsShownAndReplacedAtOnceInItsModeAndFormatOnlyIfWanted) {
    const auto expectOriginal = [](PropertyList &root) {
        EXPECT_EQ(root, propertyList(original));
        root.set("Trunk", PropertyList::boolean(false));
        return false;
    };
    for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary}) {
        const QByteArray before = propertyList(original).serialized(format);
        writeFile(file, before);
        EXPECT_EQ(changePreferenceFile(file, expectOriginal), PreferenceChange::none);
        EXPECT_EQ(readFile(file), before);
        const fs::path old = home.path() / "old";
        fs::create_hard_link(file, old);
        fs::permissions(file, fs::perms(0640));
        EXPECT_EQ(setTrunk(), PreferenceChange::written);
        EXPECT_EQ(readFile(file), propertyList(after).serialized(format));
        EXPECT_EQ(readFile(old), before);
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
        fs::remove(old);
    }
}

TEST_F(PreferenceFile, IsNotChangedWhenItCannotBeRead) {
    const auto fail = [](PropertyList &) {
        ADD_FAILURE();
        return true;
    };
    EXPECT_EQ(changePreferenceFile(folder, fail), PreferenceChange::none);
    writeFile(file, xmlList(original).chopped(10));
    EXPECT_EQ(changePreferenceFile(file, fail), PreferenceChange::none);
    EXPECT_EQ(readFile(file), xmlList(original).chopped(10));
    fs::remove(file);
    fs::create_symlink("missing.plist", file);
    EXPECT_EQ(changePreferenceFile(file, fail), PreferenceChange::none);
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_FALSE(fs::exists(folder / "missing.plist"));
}

TEST_F(PreferenceFile, KeepsALink) {
    const fs::path target = home.path() / "shared" / "real.plist";
    writeFile(target, xmlList(original));
    fs::remove(file);
    fs::create_symlink("../shared/real.plist", file);
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(fs::read_symlink(file), "../shared/real.plist");
    EXPECT_EQ(PropertyList::load(target), propertyList(after));
}

// Attributes by their names.
std::map<QByteArray, QByteArray> attributesOf(const fs::path &file) {
    QByteArray names(65536, '\0');
    names.truncate(::listxattr(file.c_str(), names.data(), 65536));
    std::map<QByteArray, QByteArray> found;
    for (const QByteArray &name : names.split('\0')) {
        QByteArray value(65536, '\0');
        value.truncate(std::max<ssize_t>(0, ::getxattr(file.c_str(), name.constData(), value.data(), 65536)));
        found[name] = value;
    }
    return found;
}

void setAttribute(const fs::path &file, const char *name, const QByteArray &value) {
    ASSERT_EQ(::setxattr(file.c_str(), name, value.constData(), std::size_t(value.size()), 0), 0)
        << name << ": " << std::strerror(errno);
}

// An access list in the system's form, which names root with these rights: a version, then tags, rights and
// numbers.
QByteArray accessList(char rights) {
    const std::string list("\2\0\0\0"
                           "\1\0\6\0\xff\xff\xff\xff"
                           "\2\0R\0\0\0\0\0"
                           "\4\0\4\0\xff\xff\xff\xff"
                           "\20\0\4\0\xff\xff\xff\xff"
                           "\40\0\0\0\xff\xff\xff\xff",
                           44);
    return QByteArray::fromStdString(list).replace('R', rights);
}

TEST_F(PreferenceFile, KeepsAccessListsAndExtendedAttributes) {
    // What the folder gives new files is none of this one's.
    setAttribute(folder, "system.posix_acl_default", accessList(6));
    const auto none = attributesOf(file);
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(attributesOf(file), none);
    setAttribute(file, "system.posix_acl_access", accessList(4));
    setAttribute(file, "user.empty", "");
    setAttribute(file, "user.note", QByteArray("a\0b", 3));
    const auto before = attributesOf(file);
    EXPECT_EQ(before.size(), none.size() + 3);
    EXPECT_EQ(setTrunk(PropertyList::boolean(false)), PreferenceChange::written);
    EXPECT_EQ(attributesOf(file), before);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
}

// Beside the switch is what no writer would choose to write like this.
TEST_F(PreferenceFile, SwitchesInEveryValidListAndLeavesTheOtherValuesAsTheyAre) {
    const QString values =
        QStringLiteral("<date>0001-01-01T00:00:00Z</date> <integer>0x1F</integer> <integer>+5</integer> "
                       "<integer>-0</integer> "
                       "<real>inf</real> <real>-0</real> <real>nan</real> <string>caf\u00e9</string>");
    const QString dictionary = QStringLiteral("<dict><key>Trunk</key><true/><key>other</key><array>") +
                               values + QStringLiteral("</array></dict>");
    const auto encoded = [](QStringConverter::Encoding encoding, const char *name, const QString &text) {
        const QString declaration = QStringLiteral("<?xml version=\"1.0\" encoding=\"%1\"?>\n");
        QStringEncoder encoder(encoding, QStringEncoder::Flag::WriteBom);
        return QByteArray(encoder(declaration.arg(QLatin1String(name)) + text));
    };
    using Converter = QStringConverter;
    const QString framed =
        QStringLiteral("<plist version=\"1.0\">") + dictionary + QStringLiteral("</plist>");
    for (const QByteArray &content :
         {dictionary.toUtf8(), framed.toUtf8(), encoded(Converter::Utf8, "UTF-8", framed),
          encoded(Converter::Utf16LE, "UTF-16", framed), encoded(Converter::Utf16BE, "UTF-16", dictionary),
          encoded(Converter::Latin1, "ISO-8859-1", framed)}) {
        writeFile(file, content);
        EXPECT_EQ(setTrunk(), PreferenceChange::written) << content.constData();
        QByteArray written = readFile(file);
        EXPECT_EQ(PropertyList::load(file)->value("Trunk")->spelling(PropertyListFormat::xml), "10");
        EXPECT_TRUE(written.replace("\n\t\t\t", " ").contains(values.toUtf8())) << written.constData();
    }
}

TEST_F(PreferenceFile, WritesNothingThatCouldNotBeReadAgainOrThatTheDiskDoesNotTake) {
    // Indented on the way out, these lines pass the limit.
    const QByteArray line = "<string>" + QByteArray(400, 'x') + "</string>";
    const QByteArray large =
        xmlList("<dict><key>Trunk</key><array>" + line.repeated(40'000) + "</array></dict>");
    ASSERT_LT(static_cast<std::size_t>(large.size()), PropertyList::limitBytes);
    writeFile(file, large);
    EXPECT_EQ(changePreferenceFile(file, [](PropertyList &) { return true; }), PreferenceChange::failed);
    EXPECT_EQ(readFile(file), large);
    writeFile(file, xmlList(original));
    EXPECT_EQ(setTrunk(PropertyList::string(QStringLiteral("\x01"))), PreferenceChange::failed);
    ASSERT_TRUE(test_support::hasOwnNamespaces());
    const auto disk = test_support::Mount::readOnly(folder);
    EXPECT_EQ(setTrunk(), PreferenceChange::failed);
    EXPECT_EQ(readFile(file), xmlList(original));
}

} // namespace
