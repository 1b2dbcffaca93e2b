#include "platform/PreferenceStore.h"

#include "test_support/Isolation.h"
#include "test_support/PropertyLists.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

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

const QByteArray original = "<dict><key>Trunk</key><true/><key>other</key><real>0.50</real></dict>";
const QByteArray after =
    "<dict><key>Trunk</key><integer>10</integer><key>other</key><real>0.50</real></dict>";

class PreferenceStoreTest : public testing::Test {
protected:
    PreferenceStoreTest() {
        fs::create_directory(folder);
        writeFile(file, xmlList(original));
    }

    PreferenceChange setTrunk(const PropertyList &value = PropertyList::integer(10)) {
        return changePreferenceValue(file, "Trunk", [&](PropertyList &trunk) {
            trunk = value;
            return true;
        });
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
    EXPECT_EQ(readFile(file), xmlList(original));
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(PropertyList::load(file), propertyList(after));
    EXPECT_TRUE(readFile(file).contains("0.50"));
    EXPECT_EQ(changePreferenceFile(file, [](PropertyList &root) { return root.isDictionary(); }),
              PreferenceChange::written);
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
    writeFile(file, xmlList(original).chopped(10));
    EXPECT_EQ(changePreferenceFile(file, fail), PreferenceChange::none);
    EXPECT_EQ(readFile(file), xmlList(original).chopped(10));
    fs::remove(file);
    fs::create_symlink("missing.plist", file);
    EXPECT_EQ(changePreferenceFile(file, fail), PreferenceChange::none);
    EXPECT_TRUE(fs::is_symlink(file));
    EXPECT_FALSE(fs::exists(folder / "missing.plist"));
}

TEST_F(PreferenceStoreTest, KeepsABinaryFileBinary) {
    writeFile(file, propertyList(original).serialized(PropertyListFormat::binary));
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(readFile(file), propertyList(after).serialized(PropertyListFormat::binary));
}

TEST_F(PreferenceStoreTest, ReplacesTheFileAtOnceAndKeepsItsMode) {
    const fs::path old = home.path() / "old";
    fs::create_hard_link(file, old);
    fs::permissions(file, fs::perms(0440));
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(readFile(old), xmlList(original));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0440));
}

TEST_F(PreferenceStoreTest, KeepsALink) {
    const fs::path target = home.path() / "shared" / "real.plist";
    writeFile(target, xmlList(original));
    fs::remove(file);
    fs::create_symlink("../shared/second", file);
    fs::create_symlink("real.plist", home.path() / "shared/second");
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(fs::read_symlink(file), "../shared/second");
    EXPECT_EQ(fs::read_symlink(home.path() / "shared/second"), "real.plist");
    EXPECT_EQ(PropertyList::load(target), propertyList(after));
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
    writeFile(file, xmlList(original));
    EXPECT_EQ(setTrunk(PropertyList::string(QStringLiteral("\x01"))), PreferenceChange::failed);
    EXPECT_EQ(readFile(file), xmlList(original));
}

TEST_F(PreferenceStoreTest, SaysWhenTheDiskTakesNothing) {
    ASSERT_TRUE(test_support::hasOwnNamespaces());
    const auto disk = test_support::Mount::readOnly(folder);
    EXPECT_EQ(setTrunk(), PreferenceChange::failed);
    EXPECT_EQ(readFile(file), xmlList(original));
}

} // namespace
