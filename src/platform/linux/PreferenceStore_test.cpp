#include "platform/PreferenceStore.h"

#include "test_support/Isolation.h"
#include "test_support/PropertyLists.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using platform::copyPreferenceValue;
using platform::PropertyList;
using platform::PropertyListFormat;
using platform::setPreferenceValue;
using platform::writePreferences;
using test_support::readFile;
using test_support::writeFile;
using test_support::xmlList;

std::vector<fs::path> entries(const fs::path &folder) {
    std::vector<fs::path> names;
    for (const auto &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    return names;
}

const QByteArray before =
    xmlList("<dict>\n\t<key>Trunk</key>\n\t<true/>\n\t<key>other</key>\n\t<real>0.5</real>\n"
            "</dict>");
const QByteArray after = xmlList("<dict>\n\t<key>Trunk</key>\n\t<integer>10</integer>\n\t<key>other</key>\n"
                                 "\t<real>0.5</real>\n</dict>");

class PreferenceStoreTest : public testing::Test {
protected:
    PreferenceStoreTest() {
        fs::create_directory(folder);
        writeFile(file, before);
    }

    bool setTrunk() { return setPreferenceValue(file, "Trunk", PropertyList::integer(10)); }

    // Neither operation may write; `file` and its folder stay as they are.
    void expectRefusal(const QByteArray &content) {
        writeFile(file, content);
        EXPECT_FALSE(setTrunk()) << content.left(200).constData();
        EXPECT_FALSE(writePreferences(file, PropertyList::dictionary())) << content.left(200).constData();
        EXPECT_EQ(readFile(file), content);
        EXPECT_EQ(entries(folder), std::vector<fs::path>{file.filename()});
    }

    test_support::ScratchHome home;
    fs::path folder = home.path() / "Preferences";
    fs::path file = folder / "com.brennic.LumadocPE.plist";
};

TEST_F(PreferenceStoreTest, ReadsAValue) {
    EXPECT_EQ(copyPreferenceValue(file, "Trunk"), PropertyList::boolean(true));
    EXPECT_EQ(copyPreferenceValue(file, "Beta"), std::nullopt);
    EXPECT_EQ(copyPreferenceValue(folder / "missing.plist", "Trunk"), std::nullopt);
    EXPECT_EQ(copyPreferenceValue(folder, "Trunk"), std::nullopt);
    writeFile(file, xmlList("<array><string>Trunk</string></array>"));
    EXPECT_EQ(copyPreferenceValue(file, "Trunk"), std::nullopt);
    writeFile(file, before.chopped(20));
    EXPECT_EQ(copyPreferenceValue(file, "Trunk"), std::nullopt);
}

TEST_F(PreferenceStoreTest, WritesAValueAndKeepsTheOthers) {
    ASSERT_TRUE(setTrunk());
    EXPECT_EQ(readFile(file), after);
    ASSERT_TRUE(setPreferenceValue(file, "new", PropertyList::boolean(false)));
    EXPECT_EQ(readFile(file),
              QByteArray(after).replace("</real>\n", "</real>\n\t<key>new</key>\n\t<false/>\n"));
}

TEST_F(PreferenceStoreTest, KeepsABinaryFileBinary) {
    writeFile(file, PropertyList::parse(before)->serialized(PropertyListFormat::binary));
    ASSERT_TRUE(setTrunk());
    EXPECT_EQ(readFile(file), PropertyList::parse(after)->serialized(PropertyListFormat::binary));
    ASSERT_TRUE(writePreferences(file, *PropertyList::parse(before)));
    EXPECT_EQ(readFile(file), PropertyList::parse(before)->serialized(PropertyListFormat::binary));
}

TEST_F(PreferenceStoreTest, ReplacesTheWholeFile) {
    ASSERT_TRUE(writePreferences(file, *PropertyList::parse(after)));
    EXPECT_EQ(readFile(file), after);
}

TEST_F(PreferenceStoreTest, MakesAPrivateXmlFileWhereThereIsNone) {
    fs::remove(file);
    ASSERT_TRUE(setTrunk());
    EXPECT_EQ(readFile(file), xmlList("<dict>\n\t<key>Trunk</key>\n\t<integer>10</integer>\n</dict>"));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(PreferenceStoreTest, ReplacesTheFileAtOnce) {
    const fs::path old = home.path() / "old";
    fs::create_hard_link(file, old);
    ASSERT_TRUE(setTrunk());
    EXPECT_EQ(readFile(old), before);
    EXPECT_EQ(readFile(file), after);
    EXPECT_EQ(entries(folder), std::vector<fs::path>{file.filename()});
}

TEST_F(PreferenceStoreTest, KeepsTheMode) {
    ASSERT_EQ(::chmod(file.c_str(), 0644), 0);
    ASSERT_TRUE(setTrunk());
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0644));
    ASSERT_EQ(::chmod(file.c_str(), 0440), 0);
    ASSERT_TRUE(writePreferences(file, *PropertyList::parse(before)));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0440));
}

TEST_F(PreferenceStoreTest, KeepsTheOwner) {
    if (::chown(file.c_str(), 1234, 2345) != 0)
        GTEST_SKIP() << "Only root can give a file away.";
    ASSERT_TRUE(setTrunk());
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1234u);
    EXPECT_EQ(status.st_gid, 2345u);
    EXPECT_EQ(readFile(file), after);
}

TEST_F(PreferenceStoreTest, KeepsALink) {
    const fs::path target = home.path() / "shared" / "real.plist";
    writeFile(target, before);
    fs::remove(file);
    fs::create_symlink("../shared/second", file);
    fs::create_symlink("real.plist", home.path() / "shared/second");
    ASSERT_TRUE(setTrunk());
    EXPECT_EQ(fs::read_symlink(file), "../shared/second");
    EXPECT_EQ(fs::read_symlink(home.path() / "shared/second"), "real.plist");
    EXPECT_EQ(readFile(target), after);
    ASSERT_TRUE(writePreferences(file, *PropertyList::parse(before)));
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_EQ(readFile(target), before);
}

TEST_F(PreferenceStoreTest, LeavesALinkToNothingAlone) {
    fs::remove(file);
    fs::create_symlink("missing.plist", file);
    EXPECT_FALSE(setTrunk());
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_FALSE(fs::exists(folder / "missing.plist"));
}

TEST_F(PreferenceStoreTest, LeavesFilesAloneThatItCannotReadWhole) {
    expectRefusal("");
    expectRefusal("{ Trunk = 1; }");
    expectRefusal("bplist00 and no more");
    expectRefusal(before.chopped(10));
    expectRefusal(xmlList("<dict><key>a</key><integer>1</integer><key>a</key><integer>2</integer></dict>"));
    expectRefusal(xmlList(QByteArray("<array>").repeated(200) + QByteArray("</array>").repeated(200)));
    expectRefusal(before + QByteArray(static_cast<qsizetype>(PropertyList::limitBytes) - before.size(), ' '));
}

TEST_F(PreferenceStoreTest, LeavesFilesAloneThatRewritingWouldChange) {
    for (const QByteArray value : {
             "<date>2020-01-02T03:04:05.5Z</date>",
             "<integer>99999999999999999999</integer>",
             "<real>-0.0</real>",
             "<string>a&#13;b</string>",
             "<data>AAEC<!-- cut -->AAEC</data>",
         }) {
        const QByteArray list = xmlList("<dict><key>Trunk</key><true/><key>other</key>" + value + "</dict>");
        expectRefusal(list);
        EXPECT_EQ(copyPreferenceValue(file, "Trunk"), PropertyList::boolean(true));
    }
}

TEST_F(PreferenceStoreTest, SetsAKeyInADictionaryOnly) {
    writeFile(file, xmlList("<array/>"));
    EXPECT_FALSE(setTrunk());
    EXPECT_EQ(readFile(file), xmlList("<array/>"));
}

TEST_F(PreferenceStoreTest, LeavesFoldersAndPipesAlone) {
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_FALSE(setTrunk());
    EXPECT_FALSE(writePreferences(file, PropertyList::dictionary()));
    EXPECT_TRUE(fs::is_fifo(file));
    fs::remove(file);
    fs::create_directory(file);
    EXPECT_FALSE(setTrunk());
    EXPECT_FALSE(writePreferences(file, PropertyList::dictionary()));
    EXPECT_TRUE(fs::is_directory(file));
}

TEST_F(PreferenceStoreTest, WritesNothingThatWouldBeTooLargeToRead) {
    // Indented on the way out, these lines pass the limit.
    const QByteArray line = "<string>" + QByteArray(400, 'x') + "</string>";
    QByteArray list = xmlList("<dict><key>a</key><array>" + line.repeated(40'000) + "</array></dict>");
    ASSERT_LT(static_cast<std::size_t>(list.size()), PropertyList::limitBytes);
    ASSERT_TRUE(PropertyList::parse(list));
    expectRefusal(list);
}

TEST_F(PreferenceStoreTest, WritesNothingThatTheFormatCannotHold) {
    const auto control = PropertyList::parse(xmlList("<string>&#1;</string>"));
    ASSERT_TRUE(control);
    EXPECT_FALSE(setPreferenceValue(file, "Trunk", *control));
    EXPECT_FALSE(writePreferences(file, *control));
    EXPECT_EQ(readFile(file), before);
}

class SmallDiskTest : public PreferenceStoreTest {
protected:
    void SetUp() override {
        if (!test_support::hasOwnNamespaces())
            GTEST_SKIP() << "This machine lets nobody but root mount a file system.";
        ASSERT_EQ(::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k,mode=700"), 0);
        writeFile(file, before);
    }
    void TearDown() override { ::umount2(folder.c_str(), MNT_DETACH); }
};

TEST_F(SmallDiskTest, AFullDiskLeavesTheOldFile) {
    writeFile(folder / "filler", QByteArray(61'440, 'x'));
    const QByteArray text = "\t<key>text</key>\n\t<string>" + QByteArray(8'192, 'y') + "</string>\n";
    PropertyList large = *PropertyList::parse(before);
    large.set("text", *PropertyList::parse(xmlList("<string>" + QByteArray(8'192, 'y') + "</string>")));
    EXPECT_FALSE(writePreferences(file, large));
    EXPECT_FALSE(setPreferenceValue(file, "Trunk", large));
    EXPECT_EQ(readFile(file), before);
    EXPECT_EQ(entries(folder).size(), 2u);

    fs::remove(folder / "filler");
    EXPECT_TRUE(writePreferences(file, large));
    EXPECT_EQ(readFile(file), QByteArray(before).replace("</real>\n", "</real>\n" + text));
}

TEST_F(SmallDiskTest, AReadOnlyDiskLeavesTheOldFile) {
    ASSERT_EQ(::mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_FALSE(setTrunk());
    EXPECT_FALSE(writePreferences(file, *PropertyList::parse(after)));
    EXPECT_EQ(readFile(file), before);
    EXPECT_EQ(entries(folder), std::vector<fs::path>{file.filename()});
}

} // namespace
