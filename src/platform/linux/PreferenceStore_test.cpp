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

TEST_F(PreferenceStoreTest, ShowsTheValueAndReplacesTheFileAtOnceInItsModeAndFormatOnlyIfWanted) {
    const auto expectTrue = [](PropertyList &value) {
        EXPECT_EQ(value, PropertyList::boolean(true));
        value = PropertyList::boolean(false);
        return false;
    };
    for (const auto format : {PropertyListFormat::xml, PropertyListFormat::binary}) {
        const QByteArray before = propertyList(original).serialized(format);
        writeFile(file, before);
        EXPECT_EQ(changePreferenceValue(file, "Trunk", expectTrue), PreferenceChange::none);
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

TEST_F(PreferenceStoreTest, IsNotAskedWithoutAValue) {
    const auto fail = [](PropertyList &) {
        ADD_FAILURE();
        return true;
    };
    EXPECT_EQ(changePreferenceValue(file, "Beta", fail), PreferenceChange::none);
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

TEST_F(PreferenceStoreTest, KeepsALink) {
    const fs::path target = home.path() / "shared" / "real.plist";
    writeFile(target, xmlList(original));
    fs::remove(file);
    fs::create_symlink("../shared/real.plist", file);
    EXPECT_EQ(setTrunk(), PreferenceChange::written);
    EXPECT_EQ(fs::read_symlink(file), "../shared/real.plist");
    EXPECT_EQ(PropertyList::load(target), propertyList(after));
}

TEST_F(PreferenceStoreTest, WritesNothingThatCouldNotBeReadAgainOrThatTheDiskDoesNotTake) {
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
