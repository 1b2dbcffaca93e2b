#include "collection/RestoreRecord.h"

#include "collection/PListOperations.h"
#include "discovery/RunState.h"
#include "test_support/Isolation.h"
#include "test_support/LogReader.h"
#include "test_support/Mounts.h"
#include "test_support/PropertyLists.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace PListOperations;
using namespace UtilityFunctions;
using platform::PropertyList;
using platform::PropertyListFormat;
using test_support::readFile;
using test_support::writeFile;
using test_support::xmlList;

const QByteArray enableOn =
    "<key>EnableLumaLogging</key><array><integer>10</integer><integer>7</integer></array>";
const QByteArray sustainOn = "<key>SustainLumaLogging</key><array><integer>0</integer><true/></array>";
const QByteArray enableOld =
    "<key>EnableLumaLogging</key><array><integer>1</integer><integer>2</integer></array>";
const QByteArray sustainOld = "<key>SustainLumaLogging</key><string>on</string>";

// A preference file with these keys in its logging dictionary, or with no such dictionary.
PropertyList preferences(const std::optional<QByteArray> &logging, const QByteArray &besides = {}) {
    const QByteArray entry = logging ? "<key>LumaLogging</key><dict>" + *logging + "</dict>" : QByteArray();
    return *PropertyList::parse(xmlList("<dict><key>Version</key><real>7.25</real><key>Trunk</key><dict>" +
                                        entry + "<key>Window</key><date>2020-01-02T03:04:05Z</date></dict>" +
                                        besides + "</dict>"));
}

PropertyList value(const QByteArray &xml) {
    return *PropertyList::parse(xmlList(xml));
}

class RestoreRecordTest : public testing::Test {
protected:
    RestoreRecordTest() {
        tempSystemURL = home.path() / "System";
        fs::create_directories(*tempSystemURL);
        userLibraryPrefURL = home.library() / "Preferences";
        fs::create_directories(*userLibraryPrefURL);
        LumadocInstalledInstance = {LumadocBundleIdentifier};
    }

    void write(const PropertyList &root, PropertyListFormat format = PropertyListFormat::xml) {
        writeFile(file, root.serialized(format));
    }
    // As a run that was killed has left it: the record stands.
    void switchOnAndForget() {
        EnableLumaLogging(true);
        plistUpdated = false;
        plistURL.reset();
        existingEnableLumaLogging = existingSustainLumaLogging = PropertyList::array({});
        fs::remove(log);
    }
    QStringList restart() {
        fs::remove(log);
        RestoreAfterInterruptedRun();
        return lines();
    }
    static RestoreRecord madeRecord() {
        return {QStringLiteral("com.brennic.LumadocPE.plist"), QStringLiteral("Trunk"), {}, {}};
    }

    QStringList lines() const { return test_support::logLines(log); }
    QString told(const char *what) const {
        return QStringLiteral("INFO: Interrupted run: ") + QString::fromUtf8(what) + QStringLiteral(" in ") +
               QString::fromStdString(file.native());
    }
    QString cannot() const {
        return QStringLiteral("ERROR: Interrupted run: the logging switch cannot be put back in ") +
               QString::fromStdString(file.native());
    }
    static QString unusable() {
        return QStringLiteral("WARNING: Interrupted run: its record cannot be used and is removed.");
    }

    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path file = home.library() / "Preferences/com.brennic.LumadocPE.plist";
    fs::path place = home.path() / "System/LoggingSwitch.plist";
};

TEST_F(RestoreRecordTest, SaysNothingWhereThereIsNone) {
    write(preferences(enableOn + sustainOn));
    EXPECT_EQ(restart(), QStringList());
    tempSystemURL.reset();
    EXPECT_EQ(restart(), QStringList());
    EXPECT_EQ(PropertyList::load(file), preferences(enableOn + sustainOn));
}

TEST_F(RestoreRecordTest, StandsFromTheSwitchToItsRestoreForTheUserAlone) {
    write(preferences(std::nullopt));
    EnableLumaLogging(true);
    EXPECT_EQ(fs::symlink_status(place).type(), fs::file_type::regular);
    EXPECT_EQ(fs::status(place).permissions(), fs::perms(0600));
    bool isUnusable = true;
    RestoreRecord expected = madeRecord();
    expected.enable.written = value("<array><integer>10</integer><integer>7</integer></array>");
    expected.sustain.written = value("<array><integer>0</integer><true/></array>");
    EXPECT_EQ(RestoreRecord::read(isUnusable), expected);
    EXPECT_FALSE(isUnusable);
    RevertLumaLogPList(true);
    EXPECT_FALSE(fs::exists(place));
    EXPECT_EQ(std::distance(fs::directory_iterator(*tempSystemURL), fs::directory_iterator()), 0);
}

// The switch leaves such a dictionary in the file as it is.
TEST_F(RestoreRecordTest, OfAnExistingSwitchSaysWhatIsReallyWritten) {
    write(preferences(enableOld + sustainOld));
    EnableLumaLogging(true);
    bool isUnusable = true;
    const auto record = RestoreRecord::read(isUnusable);
    ASSERT_TRUE(record);
    const auto old = value("<array><integer>1</integer><integer>2</integer></array>");
    EXPECT_EQ(record->enable, (RestoreRecord::Key{old, old}));
    EXPECT_EQ(record->sustain,
              (RestoreRecord::Key{value("<string>on</string>"), value("<string>on</string>")}));
}

TEST_F(RestoreRecordTest, IsNotMadeWhenNothingIsSwitched) {
    write(preferences(enableOn + sustainOn));
    EnableLumaLogging(true);
    EXPECT_FALSE(fs::exists(place));
}

TEST_F(RestoreRecordTest, GoesWhenTheSwitchCannotBeWritten) {
    writeFile(file, xmlList("<dict><key>Trunk</key><dict/><key>Seen</key>"
                            "<date>2020-01-02T03:04:05.5Z</date></dict>"));
    EnableLumaLogging(true);
    EXPECT_FALSE(plistUpdated);
    EXPECT_FALSE(fs::exists(place));
}

TEST_F(RestoreRecordTest, StaysWhenTheRestoreCannotBeWritten) {
    write(preferences(std::nullopt));
    EnableLumaLogging(true);
    writeFile(file, xmlList("<dict><key>Trunk</key><dict/><key>Seen</key>"
                            "<date>2020-01-02T03:04:05.5Z</date></dict>"));
    RevertLumaLogPList(true);
    EXPECT_TRUE(fs::exists(place));
}

TEST_F(RestoreRecordTest, CostsOneLineWhereItCannotBeWritten) {
    if (!test_support::hasOwnNamespaces())
        GTEST_SKIP() << "this machine gives a test no namespaces of its own";
    const auto full = test_support::Mount::memory(*tempSystemURL, 4096);
    writeFile(*tempSystemURL / "fill", QByteArray(4096, 'x'));
    write(preferences(std::nullopt));
    EnableLumaLogging(true);
    EXPECT_TRUE(plistUpdated);
    EXPECT_EQ(PropertyList::load(file), preferences(enableOn + sustainOn));
    const QString path = QString::fromStdString(file.native());
    EXPECT_EQ(lines(), (QStringList{QStringLiteral("INFO: PropertyList URL: ") + path,
                                    QStringLiteral("INFO: Lumalogging dictionary created"),
                                    QStringLiteral(
                                        "ERROR: Failed to keep a record of the logging switch: No space left "
                                        "on device"),
                                    QStringLiteral("INFO: Changes synchronized to plist successfully.")}));
}

class Format : public RestoreRecordTest, public testing::WithParamInterface<PropertyListFormat> {};

TEST_P(Format, OfTheFileIsKeptWhenItsSwitchIsPutBack) {
    write(preferences(std::nullopt), GetParam());
    switchOnAndForget();
    ASSERT_EQ(PropertyList::load(file), preferences(enableOn + sustainOn));
    EXPECT_EQ(restart(), QStringList{told("EnableLumaLogging, SustainLumaLogging put back")});
    EXPECT_EQ(PropertyList::load(file), preferences(""));
    EXPECT_EQ(PropertyList::format(readFile(file)), GetParam());
    EXPECT_FALSE(fs::exists(place));
    EXPECT_EQ(restart(), QStringList());
}

INSTANTIATE_TEST_SUITE_P(Each, Format, testing::Values(PropertyListFormat::xml, PropertyListFormat::binary));

TEST_F(RestoreRecordTest, PutsBackNothingThatTheProductHasChangedAndKeepsItsOtherKeys) {
    struct {
        std::optional<QByteArray> now;
        std::optional<QByteArray> restored;
        const char *told;
    } const cases[] = {
        {enableOld + sustainOn, enableOld,
         "SustainLumaLogging put back, EnableLumaLogging changed since and left"},
        {enableOn + sustainOld, sustainOld,
         "EnableLumaLogging put back, SustainLumaLogging changed since and left"},
        {enableOld + sustainOld, enableOld + sustainOld,
         "EnableLumaLogging, SustainLumaLogging changed since and left"},
        {enableOn + sustainOn + "<key>New</key><true/>", "<key>New</key><true/>",
         "EnableLumaLogging, SustainLumaLogging put back"},
        {sustainOn, "", "SustainLumaLogging put back"},
        {"", "", "nothing to put back"},
        {std::nullopt, std::nullopt, "nothing to put back"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.told);
        write(preferences(std::nullopt));
        switchOnAndForget();
        const QByteArray besides = "<key>Beta</key><dict>" + enableOn + "</dict>";
        write(preferences(one.now, besides));
        EXPECT_EQ(restart(), QStringList{told(one.told)});
        EXPECT_EQ(PropertyList::load(file), preferences(one.restored, besides));
        EXPECT_FALSE(fs::exists(place));
    }
}

TEST_F(RestoreRecordTest, OfAnExistingSwitchChangesNothing) {
    write(preferences(enableOld + sustainOn));
    switchOnAndForget();
    const QByteArray before = readFile(file);
    EXPECT_EQ(restart(), QStringList{told("nothing to put back")});
    EXPECT_EQ(readFile(file), before);
    EXPECT_FALSE(fs::exists(place));
}

TEST_F(RestoreRecordTest, PutsAValueBackWhereThereWasOne) {
    RestoreRecord record = madeRecord();
    record.enable = {value("<array><integer>1</integer><integer>2</integer></array>"),
                     value("<array><integer>10</integer><integer>7</integer></array>")};
    ASSERT_FALSE(record.write());
    write(preferences(enableOn + sustainOn));
    EXPECT_EQ(restart(),
              QStringList{told("EnableLumaLogging put back, SustainLumaLogging changed since and left")});
    EXPECT_EQ(PropertyList::load(file), preferences(enableOld + sustainOn));
}

TEST_F(RestoreRecordTest, OfAFileThatIsGoneHasNothingToPutBack) {
    write(preferences(std::nullopt));
    switchOnAndForget();
    fs::remove(file);
    EXPECT_EQ(restart(), QStringList{told("nothing to put back")});
    EXPECT_FALSE(fs::exists(file));
    EXPECT_FALSE(fs::exists(place));
}

TEST_F(RestoreRecordTest, WaitsForAFileThatCannotBeReadOrWrittenNow) {
    write(preferences(std::nullopt));
    switchOnAndForget();
    const QByteArray on = readFile(file);
    // Writing this one anew would cut the date's fraction off.
    const QByteArray lossy = QByteArray(on).replace("03:04:05Z", "03:04:05.5Z");
    for (const QByteArray &content : {lossy, QByteArray("junk")}) {
        writeFile(file, content);
        EXPECT_EQ(restart(), QStringList{cannot()});
        EXPECT_EQ(readFile(file), content);
        EXPECT_TRUE(fs::exists(place));
    }
    if (test_support::hasOwnNamespaces()) {
        writeFile(file, on);
        const auto readOnly = test_support::Mount::readOnly(*userLibraryPrefURL);
        EXPECT_EQ(restart(), QStringList{cannot()});
    }
    writeFile(file, on);
    EXPECT_EQ(restart(), QStringList{told("EnableLumaLogging, SustainLumaLogging put back")});
    EXPECT_EQ(PropertyList::load(file), preferences(""));
}

TEST_F(RestoreRecordTest, ThatIsNoneOfThisProgramsChangesNothingAndGoes) {
    const auto dictionary = [](const QByteArray &name, const QByteArray &track = "<string>Trunk</string>",
                               const QByteArray &enable = "<dict><key>Written</key><array>"
                                                          "<integer>10</integer><integer>7</integer>"
                                                          "</array></dict>") {
        return xmlList("<dict><key>PreferenceFile</key><string>" + name + "</string><key>Track</key>" +
                       track + "<key>EnableLumaLogging</key>" + enable +
                       "<key>SustainLumaLogging</key><dict/></dict>");
    };
    const QByteArray good = dictionary("com.brennic.LumadocPE.plist");
    write(preferences(enableOn + sustainOn));
    fs::copy_file(file, home.path() / "com.brennic.LumadocPE.plist");
    const QByteArray before = readFile(file);
    for (const QByteArray &content :
         {QByteArray(), QByteArray("junk"), good.chopped(30), good + QByteArray(1 << 20, ' '),
          xmlList("<array/>"), xmlList("<dict/>"), dictionary("/etc/com.brennic.LumadocPE.plist"),
          dictionary("../../../../com.brennic.LumadocPE.plist"), dictionary("com.other.plist"),
          dictionary(""), dictionary("com.brennic.LumadocPE.plist", "<true/>"),
          dictionary("com.brennic.LumadocPE.plist", "<string>Trunk</string>", "<array/>")}) {
        SCOPED_TRACE(content.left(400).constData());
        writeFile(place, content);
        EXPECT_EQ(restart(), QStringList{unusable()});
        EXPECT_EQ(readFile(file), before);
        EXPECT_EQ(readFile(home.path() / "com.brennic.LumadocPE.plist"), before);
        EXPECT_FALSE(fs::exists(fs::symlink_status(place)));
    }
    writeFile(place, good);
    EXPECT_EQ(restart(),
              QStringList{told("EnableLumaLogging put back, SustainLumaLogging changed since and left")});
}

TEST_F(RestoreRecordTest, IsNeverReadThroughALinkOrFromAPipe) {
    write(preferences(std::nullopt));
    switchOnAndForget();
    const QByteArray before = readFile(file);
    const fs::path elsewhere = home.path() / "record";
    fs::rename(place, elsewhere);
    fs::create_symlink(elsewhere, place);
    EXPECT_EQ(restart(), QStringList{unusable()});
    EXPECT_FALSE(fs::exists(fs::symlink_status(place)));
    EXPECT_TRUE(fs::exists(elsewhere));
    ASSERT_EQ(::mkfifo(place.c_str(), 0600), 0);
    EXPECT_EQ(restart(), QStringList{unusable()});
    EXPECT_FALSE(fs::exists(fs::symlink_status(place)));
    fs::create_directory(place);
    EXPECT_EQ(restart(), QStringList{unusable()});
    EXPECT_EQ(readFile(file), before);
}

TEST_F(RestoreRecordTest, TakesTheFileOfTheRunsTrackAndEdition) {
    flavour = QStringLiteral("QZ");
    LumadocRunningInstance = {PellixBundleIdentifier};
    file = *userLibraryPrefURL / "com.brennic.Pelx.plist";
    writeFile(file, xmlList("<dict><key>QZ</key><dict/></dict>"));
    switchOnAndForget();
    flavour = QStringLiteral("Trunk");
    LumadocRunningInstance.clear();
    EXPECT_EQ(restart(), QStringList{told("EnableLumaLogging, SustainLumaLogging put back")});
    EXPECT_EQ(PropertyList::load(file),
              value("<dict><key>QZ</key><dict><key>LumaLogging</key><dict/></dict></dict>"));
}

TEST_F(RestoreRecordTest, PutsBackOnceWhicheverOfTwoThreadsComesFirst) {
    for (int round = 0; round < 20; ++round) {
        write(preferences(std::nullopt));
        EnableLumaLogging(true);
        fs::remove(log);
        std::thread other([] { RevertLumaLogPList(true); });
        RevertLumaLogPList(true);
        other.join();
        EXPECT_FALSE(plistUpdated);
        EXPECT_EQ(PropertyList::load(file), preferences(""));
        EXPECT_EQ(lines(), QStringList());
        // The switch that the product sets itself is none of this program's any more.
        write(preferences(enableOn));
        RevertLumaLogPList(true);
        EXPECT_EQ(PropertyList::load(file), preferences(enableOn));
    }
}

} // namespace
