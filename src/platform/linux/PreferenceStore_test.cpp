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
using platform::changePreferenceFile;
using platform::changePreferenceValue;
using platform::PreferenceChange;
using platform::PropertyList;
using platform::PropertyListFormat;
using test_support::propertyList;
using test_support::readFile;
using test_support::writeFile;
using test_support::xmlList;

std::vector<fs::path> entries(const fs::path &folder) {
    std::vector<fs::path> names;
    for (const auto &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    return names;
}

const QByteArray before = "<dict><key>Trunk</key><true/><key>other</key><real>0.50</real></dict>";
const QByteArray after =
    "<dict><key>Trunk</key><integer>10</integer><key>other</key><real>0.50</real></dict>";

class PreferenceStoreTest : public testing::Test {
protected:
    PreferenceStoreTest() {
        fs::create_directory(folder);
        writeFile(file, xmlList(before));
    }

    PreferenceChange setTrunk(const PropertyList &value = PropertyList::integer(10)) {
        return changePreferenceValue(file, "Trunk", [&](PropertyList &trunk) {
            trunk = value;
            return true;
        });
    }
    PreferenceChange replaceBy(const PropertyList &list) {
        return changePreferenceFile(file, [&](PropertyList &root) {
            root = list;
            return true;
        });
    }

    // No operation writes this content anew.
    void expectUnchanged(PreferenceChange expected, const QByteArray &content) {
        SCOPED_TRACE(content.left(200).constData());
        writeFile(file, content);
        EXPECT_EQ(setTrunk(), expected);
        EXPECT_EQ(changePreferenceFile(file, [](PropertyList &) { return true; }), expected);
        EXPECT_EQ(readFile(file), content);
        EXPECT_EQ(entries(folder), std::vector<fs::path>{file.filename()});
    }

    test_support::ScratchHome home;
    fs::path folder = home.path() / "Preferences";
    fs::path file = folder / "com.brennic.LumadocPE.plist";
};

TEST_F(PreferenceStoreTest, ShowsTheValueAndWritesOnlyIfWanted) {
    const auto expectTrue = [](PropertyList &value) {
        EXPECT_EQ(value, PropertyList::boolean(true));
        value = PropertyList::boolean(false);
        return false;
    };
    EXPECT_EQ(changePreferenceValue(file, "Trunk", expectTrue), PreferenceChange::none);
    EXPECT_EQ(readFile(file), xmlList(before));
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(PropertyList::load(file), propertyList(after));
    EXPECT_TRUE(readFile(file).contains("0.50"));
    EXPECT_EQ(replaceBy(propertyList("<array/>")), PreferenceChange::written);
    EXPECT_EQ(PropertyList::load(file), propertyList("<array/>"));
}

TEST_F(PreferenceStoreTest, IsNotAskedWithoutAValue) {
    const auto fail = [](PropertyList &) {
        ADD_FAILURE();
        return true;
    };
    EXPECT_EQ(changePreferenceValue(file, "Beta", fail), PreferenceChange::none);
    EXPECT_EQ(changePreferenceValue(folder / "missing.plist", "Trunk", fail), PreferenceChange::none);
    EXPECT_EQ(changePreferenceFile(folder / "missing.plist", fail), PreferenceChange::none);
    EXPECT_EQ(changePreferenceFile(folder, fail), PreferenceChange::none);
    writeFile(file, xmlList("<array><string>Trunk</string></array>"));
    EXPECT_EQ(changePreferenceValue(file, "Trunk", fail), PreferenceChange::none);
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(changePreferenceFile(file, fail), PreferenceChange::none);
    EXPECT_TRUE(fs::is_fifo(file));
    fs::remove(file);
    fs::create_symlink("missing.plist", file);
    EXPECT_EQ(changePreferenceFile(file, fail), PreferenceChange::none);
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_FALSE(fs::exists(folder / "missing.plist"));
}

TEST_F(PreferenceStoreTest, KeepsABinaryFileBinary) {
    writeFile(file, propertyList(before).serialized(PropertyListFormat::binary));
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(readFile(file), propertyList(after).serialized(PropertyListFormat::binary));
}

TEST_F(PreferenceStoreTest, ReplacesTheFileAtOnce) {
    const fs::path old = home.path() / "old";
    fs::create_hard_link(file, old);
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(readFile(old), xmlList(before));
    EXPECT_EQ(entries(folder), std::vector<fs::path>{file.filename()});
}

TEST_F(PreferenceStoreTest, KeepsTheMode) {
    for (const mode_t mode : {0644, 0440}) {
        ASSERT_EQ(::chmod(file.c_str(), mode), 0);
        EXPECT_EQ(setTrunk(), PreferenceChange::written);
        EXPECT_EQ(fs::status(file).permissions(), fs::perms(mode));
    }
}

TEST_F(PreferenceStoreTest, KeepsTheOwner) {
    if (::chown(file.c_str(), 1234, 2345) != 0)
        GTEST_SKIP() << "Only root can give a file away.";
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1234u);
    EXPECT_EQ(status.st_gid, 2345u);
    EXPECT_EQ(PropertyList::load(file), propertyList(after));
}

TEST_F(PreferenceStoreTest, KeepsALink) {
    const fs::path target = home.path() / "shared" / "real.plist";
    writeFile(target, xmlList(before));
    fs::remove(file);
    fs::create_symlink("../shared/second", file);
    fs::create_symlink("real.plist", home.path() / "shared/second");
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(fs::read_symlink(file), "../shared/second");
    EXPECT_EQ(fs::read_symlink(home.path() / "shared/second"), "real.plist");
    EXPECT_EQ(PropertyList::load(target), propertyList(after));
}

TEST_F(PreferenceStoreTest, LeavesFilesAloneThatAreNoPropertyLists) {
    const QByteArray list = xmlList(before);
    for (const QByteArray &content :
         {QByteArray(""), QByteArray("{ Trunk = 1; }"), QByteArray("bplist00 and no more"), list.chopped(10),
          xmlList(QByteArray("<array>").repeated(200) + QByteArray("</array>").repeated(200)),
          list + QByteArray(static_cast<qsizetype>(PropertyList::limitBytes) - list.size(), ' ')})
        expectUnchanged(PreferenceChange::none, content);
}

TEST_F(PreferenceStoreTest, WritesNothingThatCouldNotBeReadAgain) {
    // Indented on the way out, these lines pass the limit.
    const QByteArray line = "<string>" + QByteArray(400, 'x') + "</string>";
    const QByteArray large =
        xmlList("<dict><key>Trunk</key><array>" + line.repeated(40'000) + "</array></dict>");
    ASSERT_LT(static_cast<std::size_t>(large.size()), PropertyList::limitBytes);
    writeFile(file, large);
    EXPECT_EQ(changePreferenceFile(file, [](PropertyList &) { return true; }), PreferenceChange::failed);
    EXPECT_EQ(readFile(file), large);
    writeFile(file, xmlList(before));
    EXPECT_EQ(setTrunk(PropertyList::string(QStringLiteral("\x01"))), PreferenceChange::failed);
    EXPECT_EQ(readFile(file), xmlList(before));
}

class SmallDiskTest : public PreferenceStoreTest {
protected:
    void SetUp() override {
        if (!test_support::hasOwnNamespaces())
            GTEST_SKIP() << "This machine lets nobody but root mount a file system.";
        ASSERT_EQ(::mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k,mode=700"), 0);
        writeFile(file, xmlList(before));
    }
    void TearDown() override { ::umount2(folder.c_str(), MNT_DETACH); }
};

TEST_F(SmallDiskTest, AFullDiskLeavesTheOldFile) {
    writeFile(folder / "filler", QByteArray(61'440, 'x'));
    const PropertyList large = PropertyList::string(QString(8'192, u'y'));
    EXPECT_EQ(setTrunk(large), PreferenceChange::failed);
    EXPECT_EQ(readFile(file), xmlList(before));
    EXPECT_EQ(entries(folder).size(), 2u);
    fs::remove(folder / "filler");
    EXPECT_EQ(setTrunk(large), PreferenceChange::written);
    EXPECT_EQ(*PropertyList::load(file)->value("Trunk"), large);
}

TEST_F(SmallDiskTest, AReadOnlyDiskLeavesTheOldFile) {
    ASSERT_EQ(::mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(setTrunk(), PreferenceChange::failed);
    EXPECT_EQ(replaceBy(propertyList(after)), PreferenceChange::failed);
    EXPECT_EQ(readFile(file), xmlList(before));
    EXPECT_EQ(entries(folder), std::vector<fs::path>{file.filename()});
}

} // namespace
