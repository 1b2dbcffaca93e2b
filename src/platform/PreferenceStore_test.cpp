#include "platform/PreferenceStore.h"

#include "test_support/Machine.h"
#include "test_support/PropertyLists.h"

namespace {

namespace fs = std::filesystem;
using platform::changePreferenceValue;
using platform::PreferenceChange;
using platform::PropertyList;
using test_support::propertyList;
using test_support::xmlList;

class PreferenceValue : public testing::Test {
protected:
    PreferenceValue() { test_support::writeFile(file, before); }

    static bool fail(PropertyList &) {
        ADD_FAILURE();
        return true;
    }

    test_support::Machine machine;
    const QByteArray before =
        xmlList("<dict><key>Trunk</key><dict><key>LumaLogging</key><array><integer>1</integer>"
                "</array></dict><key>other</key><real>0.5</real></dict>");
    const fs::path file = machine.home() / "Preferences/com.brennic.LumadocPE.plist";
};

TEST_F(PreferenceValue, IsShownAndWrittenOnlyIfWantedAndTheOthersStay) {
    const auto change = [](PropertyList &value) {
        EXPECT_EQ(value,
                  propertyList("<dict><key>LumaLogging</key><array><integer>1</integer></array></dict>"));
        value.set("LumaLogging",
                  PropertyList::array({PropertyList::integer(10), PropertyList::boolean(true)}));
        return true;
    };
    EXPECT_EQ(changePreferenceValue(file, "Trunk",
                                    [&](PropertyList &value) {
                                        change(value);
                                        return false;
                                    }),
              PreferenceChange::none);
    EXPECT_EQ(test_support::readFile(file), before);
    EXPECT_EQ(changePreferenceValue(file, "Trunk", change), PreferenceChange::written);
    const auto written = PropertyList::load(file);
    ASSERT_TRUE(written);
    const auto isValue = [&](const char *key, const QByteArray &value) {
        return written->value(key) != nullptr && *written->value(key) == propertyList(value);
    };
    EXPECT_TRUE(
        isValue("Trunk", "<dict><key>LumaLogging</key><array><integer>10</integer><true/></array></dict>"));
    EXPECT_TRUE(isValue("other", "<real>0.5</real>"));
}

TEST_F(PreferenceValue, IsNoneThatIsMissing) {
    EXPECT_EQ(changePreferenceValue(file, "Beta", fail), PreferenceChange::none);
    EXPECT_EQ(changePreferenceValue(machine.home() / "missing.plist", "Trunk", fail), PreferenceChange::none);
}

TEST_F(PreferenceValue, HasFailedWhereItCannotBeWritten) {
    const auto setTo = [](const PropertyList &wanted) {
        return [wanted](PropertyList &value) {
            value = wanted;
            return true;
        };
    };
    // Deeper than a preference file may be.
    PropertyList deep = PropertyList::array({});
    for (int depth = 0; depth < PropertyList::limitDepth; ++depth)
        deep = PropertyList::array({deep});
    EXPECT_EQ(changePreferenceValue(file, "Trunk", setTo(deep)), PreferenceChange::failed);
    EXPECT_EQ(test_support::readFile(file), before);
}

} // namespace
