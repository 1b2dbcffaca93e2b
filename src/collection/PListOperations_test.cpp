#include "collection/PListOperations.h"

#include "discovery/RunState.h"
#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"
#include "test_support/PropertyLists.h"
#include "test_support/ScratchHome.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace PListOperations;
using namespace UtilityFunctions;
using platform::PropertyList;
using platform::PropertyListFormat;
using test_support::propertyList;
using test_support::readFile;
using test_support::writeFile;
using test_support::xmlList;

QByteArray enable(const QByteArray &value) {
    return "<key>EnableLumaLogging</key>" + value;
}

QByteArray sustain(const QByteArray &value) {
    return "<key>SustainLumaLogging</key>" + value;
}

const QByteArray enableOn = enable("<array><integer>10</integer><integer>7</integer></array>");
const QByteArray sustainOn = sustain("<array><integer>0</integer><true/></array>");
const QByteArray enableOld = enable("<array><integer>1</integer><integer>2</integer></array>");
const QByteArray sustainOld = sustain("<array><integer>3</integer><false/></array>");

// Preferences with this content of the logging dictionary of `track`, or without one, in the layout that is
// written. The other values have spellings that no writer would choose.
QByteArray preferences(const std::optional<QByteArray> &logging, const QByteArray &track = "Trunk",
                       const QByteArray &besides = {}) {
    const QByteArray entry = logging ? "<key>LumaLogging</key><dict>" + *logging + "</dict>" : QByteArray();
    return propertyList("<dict><key>Version</key><real>7.250</real><key>" + track +
                        "</key><dict><key>Window</key><date>2020-01-02T03:04:05.5Z</date>" + entry +
                        "</dict>" + besides + "</dict>")
        .serialized(PropertyListFormat::xml);
}

QByteArray binary(const QByteArray &xml) {
    return PropertyList::parse(xml)->serialized(PropertyListFormat::binary);
}

// Preferences that can be read and hold as many values as that allows.
QByteArray fullPreferences() {
    return preferences(std::nullopt, "Trunk",
                       "<key>Full</key><array>" + QByteArray("<true/>").repeated(99'991) + "</array>");
}

class PListOperationsTest : public testing::Test {
protected:
    PListOperationsTest() {
        userLibraryURL = home.library();
        userLibraryPrefURL = home.library() / "Preferences";
        tempOutputURL = home.path() / "Output";
        tempSystemURL = home.path() / "System";
        LumadocInstalledInstance = QStringList{QStringLiteral("com.brennic.LumadocPE")};
        fs::create_directories(*userLibraryPrefURL);
        fs::create_directories(*tempSystemURL);
    }

    QStringList lines() const { return test_support::logLines(log); }

    static QString created() { return QStringLiteral("INFO: Lumalogging dictionary created"); }
    static QString synchronized() {
        return QStringLiteral("INFO: Changes synchronized to plist successfully.");
    }
    static QString failed() { return QStringLiteral("ERROR: Failed to synchronize plist changes."); }
    QString located() const {
        return QStringLiteral("INFO: PropertyList URL: ") + QString::fromStdString(file.native());
    }
    QString notRestored() const {
        return QStringLiteral("ERROR: RevertLumaLogPList Failed to update plist. URL: ") +
               QString::fromStdString(file.native());
    }

    // Switches on where the file must stay as it is and nothing more is logged than its name.
    void expectSilence(const QByteArray &content) {
        SCOPED_TRACE(content.left(200).constData());
        writeFile(file, content);
        EnableLumaLogging(true);
        EXPECT_FALSE(plistUpdated);
        EXPECT_FALSE(fs::exists(record));
        RevertLumaLogPList(true);
        EXPECT_EQ(readFile(file), content);
        EXPECT_EQ(lines(), QStringList{located()});
        fs::remove(log);
    }

    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path file = home.library() / "Preferences/com.brennic.LumadocPE.plist";
    fs::path record = home.path() / "System/LoggingSwitch.plist";
};

using PListOperationsDeathTest = PListOperationsTest;

TEST_F(PListOperationsTest, MakesTheSwitchWhereThereIsNoneAndLeavesItEmpty) {
    for (const bool isBinary : {false, true}) {
        const auto inFormat = [&](const QByteArray &xml) { return isBinary ? binary(xml) : xml; };
        writeFile(file, inFormat(preferences(std::nullopt)));
        EnableLumaLogging(true);
        EXPECT_EQ(readFile(file), inFormat(preferences(enableOn + sustainOn)));
        EXPECT_TRUE(plistUpdated);
        EXPECT_EQ(plistURL, file);
        EXPECT_TRUE(existingEnableLumaLogging.isEmptyArray());
        EXPECT_TRUE(existingSustainLumaLogging.isEmptyArray());

        RevertLumaLogPList(true);
        EXPECT_EQ(readFile(file), inFormat(preferences("")));
        EXPECT_FALSE(plistUpdated);
        EXPECT_EQ(lines(), (QStringList{located(), created(), synchronized()}));
        fs::remove(log);
    }
}

TEST_F(PListOperationsTest, ReplacesALoggingEntryThatIsNoDictionaryWhole) {
    const QByteArray before = preferences("");
    writeFile(file, QByteArray(before).replace("<dict/>", "<string>on</string>"));
    EnableLumaLogging(true);
    EXPECT_EQ(readFile(file), preferences(enableOn + sustainOn));
    EXPECT_EQ(lines(), (QStringList{located(), created(), synchronized()}));
    RevertLumaLogPList(true);
    EXPECT_EQ(readFile(file), before);
}

TEST_F(PListOperationsTest, WritesNothingWhenBothKeysAreOn) {
    expectSilence(preferences(enableOn + sustainOn));
    expectSilence(binary(preferences(enableOn + sustainOn)));
    expectSilence(
        preferences(enable("<array><integer>0xA</integer><integer>+7</integer></array>") + sustainOn));
    EXPECT_TRUE(existingEnableLumaLogging.isEmptyArray());
}

TEST_F(PListOperationsTest, AnExistingSwitchIsSavedAndWrittenAsItIsAndPutBack) {
    const QByteArray old = preferences(enableOld + sustainOld + "<key>Other</key><true/>");
    writeFile(file, old);
    EnableLumaLogging(true);
    EXPECT_EQ(readFile(file), old);
    EXPECT_TRUE(plistUpdated);
    EXPECT_EQ(existingEnableLumaLogging,
              propertyList("<array><integer>1</integer><integer>2</integer></array>"));
    EXPECT_EQ(existingSustainLumaLogging, propertyList("<array><integer>3</integer><false/></array>"));

    // The product writes its own values in the meantime, other keys, and another format.
    const QByteArray besides = "<key>New</key><date>2020-01-02T03:04:05Z</date>";
    writeFile(file, binary(preferences(enableOn + sustainOn + "<key>Other</key><false/>", "Trunk", besides)));
    RevertLumaLogPList(true);
    EXPECT_EQ(readFile(file),
              binary(preferences(enableOld + sustainOld + "<key>Other</key><false/>", "Trunk", besides)));
    EXPECT_FALSE(plistUpdated);
    EXPECT_EQ(lines(), (QStringList{located(), synchronized()}));
}

TEST_F(PListOperationsTest, TreatsTheTwoKeysOfAnExistingSwitchOnTheirOwn) {
    struct {
        QByteArray before;
        bool enableSaved;
        bool sustainSaved;
        QByteArray restored;
    } const cases[] = {
        {enableOld + sustainOn, true, false, enableOld},
        {enableOn + sustainOld, false, true, sustainOld},
        {enableOld, true, false, enableOld},
        {sustainOld, false, true, sustainOld},
        {sustainOn, false, false, ""},
        {"", false, false, ""},
        {enable("<string>on</string>") + sustainOn, false, false, ""},
        {enable("<array/>") + sustain("<array/>"), false, false, ""},
        {enable("<dict/>") + sustain("<integer>0</integer>"), false, false, ""},
        // Equal as numbers, and yet other values.
        {enable("<array><real>10</real><integer>7</integer></array>") + sustainOn, true, false,
         enable("<array><real>10</real><integer>7</integer></array>")},
        {enableOn + sustain("<array><integer>0</integer><integer>1</integer></array>"), false, true,
         sustain("<array><integer>0</integer><integer>1</integer></array>")},
        {enable("<array><integer>7</integer><integer>10</integer></array>") + sustainOn, true, false,
         enable("<array><integer>7</integer><integer>10</integer></array>")},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.before.constData());
        existingEnableLumaLogging = existingSustainLumaLogging = PropertyList::array({});
        const QByteArray before = preferences(one.before);
        writeFile(file, before);
        EnableLumaLogging(true);
        EXPECT_EQ(readFile(file), before);
        EXPECT_TRUE(plistUpdated);
        EXPECT_EQ(!existingEnableLumaLogging.isEmptyArray(), one.enableSaved);
        EXPECT_EQ(!existingSustainLumaLogging.isEmptyArray(), one.sustainSaved);
        RevertLumaLogPList(true);
        EXPECT_EQ(readFile(file), preferences(one.restored));
        EXPECT_EQ(lines(), (QStringList{located(), synchronized()}));
        fs::remove(log);
    }
}

TEST_F(PListOperationsTest, PrefersTheRunningProductAndUsesTheTrackOfTheRun) {
    flavour = QStringLiteral("QZ");
    LumadocRunningInstance =
        QStringList{QStringLiteral("com.brennic.Pelx"), QStringLiteral("com.brennic.LumadocPE")};
    file = *userLibraryPrefURL / "com.brennic.Pelx.plist";
    const QByteArray trunk = "<key>Trunk</key><dict><key>LumaLogging</key><dict/></dict>";
    writeFile(file, preferences(std::nullopt, "QZ", trunk));
    EnableLumaLogging(true);
    EXPECT_EQ(readFile(file), preferences(enableOn + sustainOn, "QZ", trunk));
    EXPECT_EQ(lines(), (QStringList{located(), created(), synchronized()}));
}

TEST_F(PListOperationsTest, DoesNothingWithoutAProductOrAPreferencesFolder) {
    writeFile(file, preferences(std::nullopt));
    LumadocInstalledInstance.clear();
    EnableLumaLogging(true);
    LumadocInstalledInstance = QStringList{QStringLiteral("com.brennic.LumadocPE")};
    userLibraryPrefURL.reset();
    EnableLumaLogging(true);
    EXPECT_EQ(plistURL, std::nullopt);
    EXPECT_EQ(readFile(file), preferences(std::nullopt));
    EXPECT_EQ(lines(), QStringList{});
}

TEST_F(PListOperationsTest, TouchesNothingWhenTheFlagIsFalse) {
    lumadocOrPellix = QStringLiteral("Lumadoc");
    const fs::path logs = *userLibraryURL / "Application Support/Brennic/Lumadoc/Trunk/Lumadoc/LumaLog";
    writeFile(logs / "a.log", "a");
    writeFile(file, preferences(std::nullopt));
    EnableLumaLogging(false);
    GetLumaLogs(false);
    EXPECT_EQ(plistURL, std::nullopt);
    EXPECT_EQ(readFile(file), preferences(std::nullopt));
    EXPECT_FALSE(fs::exists(*tempOutputURL));

    EnableLumaLogging(true);
    RevertLumaLogPList(false);
    EXPECT_TRUE(plistUpdated);
    EXPECT_EQ(readFile(file), preferences(enableOn + sustainOn));
    lumadocOrPellix.reset();
    GetLumaLogs(false);
    EXPECT_EQ(lines(), (QStringList{located(), created(), synchronized()}));
}

TEST_F(PListOperationsTest, IsSilentWithoutAUsableValue) {
    for (const QByteArray &content :
         {preferences(std::nullopt, "Beta"), xmlList("<dict><key>Trunk</key><array/></dict>"),
          xmlList("<array/>"), preferences(std::nullopt).chopped(30), QByteArray(),
          QByteArray("{ Trunk = { }; }"), xmlList(QByteArray("<array>").repeated(100'000)),
          preferences(std::nullopt) + QByteArray(16 << 20, ' ')})
        expectSilence(content);
    fs::remove(file);
    EnableLumaLogging(true);
    EXPECT_FALSE(fs::exists(file));
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EnableLumaLogging(true);
    fs::remove(file);
    fs::create_directory(file);
    EnableLumaLogging(true);
    EXPECT_FALSE(plistUpdated);
    EXPECT_EQ(lines(), (QStringList{located(), located(), located()}));
}

TEST_F(PListOperationsTest, LogsWhenTheSwitchCannotBeWrittenAndRemovesTheRecord) {
    const QByteArray full = fullPreferences();
    writeFile(file, full);
    EnableLumaLogging(true);
    EXPECT_FALSE(plistUpdated);
    EXPECT_FALSE(fs::exists(record));
    RevertLumaLogPList(true);
    EXPECT_EQ(readFile(file), full);
    EXPECT_EQ(lines(), (QStringList{located(), created(), failed()}));
}

TEST_F(PListOperationsTest, LogsWhenTheRestoreCannotBeWrittenAndTriesAgainLater) {
    writeFile(file, preferences(enableOld));
    EnableLumaLogging(true);
    const QByteArray full = fullPreferences();
    writeFile(file, full);
    RevertLumaLogPList(true);
    EXPECT_TRUE(plistUpdated);
    EXPECT_TRUE(fs::exists(record));
    EXPECT_EQ(readFile(file), full);
    EXPECT_EQ(lines(), (QStringList{located(), synchronized(), notRestored()}));

    writeFile(file, preferences(enableOn + sustainOn));
    RevertLumaLogPList(true);
    EXPECT_FALSE(plistUpdated);
    EXPECT_FALSE(fs::exists(record));
    EXPECT_EQ(readFile(file), preferences(enableOld));
}

TEST_F(PListOperationsTest, RestoresNothingInAFileWithoutTheTrack) {
    writeFile(file, preferences(std::nullopt));
    EnableLumaLogging(true);
    for (const QByteArray &content :
         {preferences(std::nullopt, "Beta"), xmlList("<dict><key>Trunk</key><array/></dict>"),
          xmlList("<array/>"), QByteArray("junk")}) {
        writeFile(file, content);
        RevertLumaLogPList(true);
        EXPECT_TRUE(plistUpdated);
        EXPECT_EQ(readFile(file), content);
    }
    fs::remove(file);
    RevertLumaLogPList(true);
    EXPECT_TRUE(plistUpdated);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(lines(), (QStringList{located(), created(), synchronized()}));
}

TEST_F(PListOperationsTest, MakesTheLoggingEntryAgainWhenItIsGone) {
    writeFile(file, preferences(enableOld + sustainOld));
    EnableLumaLogging(true);
    writeFile(file, preferences(std::nullopt));
    RevertLumaLogPList(true);
    EXPECT_EQ(readFile(file), preferences(enableOld + sustainOld));
}

TEST_F(PListOperationsTest, PutsBackOnceFromTwoThreads) {
    for (int round = 0; round < 20; ++round) {
        writeFile(file, preferences(std::nullopt));
        EnableLumaLogging(true);
        fs::remove(log);
        std::thread other([] { RevertLumaLogPList(true); });
        RevertLumaLogPList(true);
        other.join();
        EXPECT_FALSE(plistUpdated);
        EXPECT_EQ(readFile(file), preferences(""));
        EXPECT_EQ(lines(), QStringList());
        // A switch that the product sets itself afterwards is not put back.
        writeFile(file, preferences(enableOn));
        RevertLumaLogPList(true);
        EXPECT_EQ(readFile(file), preferences(enableOn));
    }
}

TEST_F(PListOperationsTest, CopiesTheLogsOfTheTrackAndEdition) {
    flavour = QStringLiteral("Beta%2");
    lumadocOrPellix = QStringLiteral("Pellix");
    const fs::path logs = *userLibraryURL / "Application Support/Brennic/Lumadoc/Beta%2/Pellix/LumaLog";
    writeFile(logs / "inner/a.log", "content");
    GetLumaLogs(true);
    EXPECT_EQ(readFile(*tempOutputURL / "LumaLog/inner/a.log"), "content");
    EXPECT_EQ(lines(), QStringList{});
}

TEST_F(PListOperationsTest, LogsOnceWhenThereAreNoLogs) {
    lumadocOrPellix = QStringLiteral("Lumadoc");
    GetLumaLogs(true);
    EXPECT_EQ(lines(),
              QStringList{QStringLiteral("ERROR: Error copying LumaLog: No such file or directory")});
}

TEST_F(PListOperationsTest, WarnsWhenALocationOfTheLogsIsUnset) {
    lumadocOrPellix = QStringLiteral("Lumadoc");
    const QString warning = QStringLiteral("WARNING: Invalid source or destination URL");
    userLibraryURL.reset();
    GetLumaLogs(true);
    userLibraryURL = home.library();
    tempOutputURL.reset();
    GetLumaLogs(true);
    EXPECT_EQ(lines(), (QStringList{warning, warning}));
}

TEST_F(PListOperationsDeathTest, AnUnsetEditionIsFatal) {
    EXPECT_EXIT(GetLumaLogs(true), testing::ExitedWithCode(EXIT_FAILURE),
                "The product's edition is not known.");
}

TEST_F(PListOperationsDeathTest, AnUnsetFileIsFatalToTheRestore) {
    plistUpdated = true;
    EXPECT_EXIT(RevertLumaLogPList(true), testing::ExitedWithCode(EXIT_FAILURE),
                "The product's preference file is not known.");
}

// A run that was killed with the switch on, and the next start.
class InterruptedRunTest : public PListOperationsTest {
protected:
    void switchOnAndForget() {
        EnableLumaLogging(true);
        plistUpdated = false;
        plistURL.reset();
        existingEnableLumaLogging = existingSustainLumaLogging = PropertyList::array({});
    }
    QStringList restart() {
        fs::remove(log);
        RestoreAfterInterruptedRun();
        return lines();
    }
    QString line(const char *done) const {
        return QStringLiteral("INFO: Interrupted run: ") + QString::fromUtf8(done) + QStringLiteral(" in ") +
               QString::fromStdString(file.native());
    }
    QString cannot() const {
        return QStringLiteral("ERROR: Interrupted run: the logging switch cannot be put back in ") +
               QString::fromStdString(file.native());
    }
    static QString unusable() {
        return QStringLiteral("WARNING: Interrupted run: its record cannot be used and is removed.");
    }
    static constexpr const char *allPutBack = "EnableLumaLogging, SustainLumaLogging put back";
};

TEST_F(InterruptedRunTest, WithoutARecordIsNone) {
    writeFile(file, preferences(enableOn + sustainOn));
    EXPECT_EQ(restart(), QStringList());
    tempSystemURL.reset();
    EXPECT_EQ(restart(), QStringList());
    EXPECT_EQ(readFile(file), preferences(enableOn + sustainOn));
}

TEST_F(InterruptedRunTest, HasARecordFromTheSwitchToItsRestoreForTheUserAlone) {
    for (const bool hasSwitch : {false, true}) {
        writeFile(file, preferences(hasSwitch ? std::optional(enableOld) : std::nullopt));
        EnableLumaLogging(true);
        EXPECT_EQ(fs::symlink_status(record).type(), fs::file_type::regular);
        EXPECT_EQ(fs::status(record).permissions(), fs::perms(0600));
        const QByteArray made = hasSwitch ? "<false/>" : "<true/>";
        EXPECT_EQ(PropertyList::load(record),
                  propertyList("<dict><key>PreferenceFile</key><string>com.brennic.LumadocPE.plist</string>"
                               "<key>Track</key><string>Trunk</string><key>MadeKeys</key>" +
                               made + "</dict>"));
        RevertLumaLogPList(true);
        EXPECT_TRUE(fs::is_empty(*tempSystemURL));
    }
    tempSystemURL.reset();
    EnableLumaLogging(true);
    EXPECT_TRUE(plistUpdated);
}

TEST_F(InterruptedRunTest, CostsOneLineWhereTheRecordCannotBeWritten) {
    if (!test_support::hasOwnNamespaces())
        GTEST_SKIP() << "this machine gives a test no namespaces of its own";
    const auto full = test_support::Mount::memory(*tempSystemURL, 4096);
    writeFile(*tempSystemURL / "fill", QByteArray(4096, 'x'));
    writeFile(file, preferences(std::nullopt));
    EnableLumaLogging(true);
    EXPECT_EQ(readFile(file), preferences(enableOn + sustainOn));
    EXPECT_EQ(lines(), (QStringList{located(), created(),
                                    QStringLiteral(
                                        "ERROR: Failed to keep a record of the logging switch: No space left "
                                        "on device"),
                                    synchronized()}));
}

TEST_F(InterruptedRunTest, IsPutBackUnlessTheProductHasChangedIt) {
    struct {
        std::optional<QByteArray> now;
        std::optional<QByteArray> restored;
        const char *done;
    } const cases[] = {
        {enableOn + sustainOn, "", allPutBack},
        {enableOld + sustainOn, enableOld,
         "SustainLumaLogging put back, EnableLumaLogging changed since and left"},
        {enableOn + sustainOld, sustainOld,
         "EnableLumaLogging put back, SustainLumaLogging changed since and left"},
        {enableOld + sustainOld, enableOld + sustainOld,
         "EnableLumaLogging, SustainLumaLogging changed since and left"},
        {enableOn + sustainOn + "<key>New</key><true/>", "<key>New</key><true/>", allPutBack},
        {sustainOn, "", "SustainLumaLogging put back"},
        {"", "", "nothing to put back"},
        {std::nullopt, std::nullopt, "nothing to put back"},
    };
    for (const auto &one : cases) {
        for (const bool isBinary : {false, true}) {
            SCOPED_TRACE(one.done);
            const auto inFormat = [&](const std::optional<QByteArray> &logging) {
                const auto xml =
                    preferences(logging, "Trunk", "<key>Beta</key><dict>" + enableOn + "</dict>");
                return isBinary ? binary(xml) : xml;
            };
            writeFile(file, inFormat(std::nullopt));
            switchOnAndForget();
            writeFile(file, inFormat(one.now));
            EXPECT_EQ(restart(), QStringList{line(one.done)});
            EXPECT_EQ(readFile(file), inFormat(one.restored));
            EXPECT_FALSE(fs::exists(record));
            EXPECT_EQ(restart(), QStringList());
        }
    }
}

TEST_F(InterruptedRunTest, LeavesAnExistingSwitchAlone) {
    writeFile(file, preferences(enableOld + sustainOn));
    switchOnAndForget();
    const QByteArray now = preferences(enableOn + sustainOn);
    writeFile(file, now);
    EXPECT_EQ(restart(), QStringList{line("nothing to put back")});
    EXPECT_EQ(readFile(file), now);
    EXPECT_FALSE(fs::exists(record));
}

TEST_F(InterruptedRunTest, HasNothingToPutBackInAFileThatIsGone) {
    writeFile(file, preferences(std::nullopt));
    switchOnAndForget();
    fs::remove(file);
    EXPECT_EQ(restart(), QStringList{line("nothing to put back")});
    EXPECT_FALSE(fs::exists(file));
    EXPECT_FALSE(fs::exists(record));
}

TEST_F(InterruptedRunTest, WaitsForAFileThatCannotBeReadOrWrittenNow) {
    writeFile(file, preferences(std::nullopt));
    switchOnAndForget();
    const QByteArray on = readFile(file);
    writeFile(file, "junk");
    EXPECT_EQ(restart(), QStringList{cannot()});
    EXPECT_EQ(readFile(file), "junk");
    EXPECT_TRUE(fs::exists(record));
    writeFile(file, on);
    if (test_support::hasOwnNamespaces()) {
        const auto readOnly = test_support::Mount::readOnly(*userLibraryPrefURL);
        EXPECT_EQ(restart(), QStringList{cannot()});
        EXPECT_TRUE(fs::exists(record));
    }
    EXPECT_EQ(restart(), QStringList{line(allPutBack)});
    EXPECT_EQ(readFile(file), preferences(""));
}

TEST_F(InterruptedRunTest, RemovesARecordThatThisProgramDidNotWriteAndChangesNothing) {
    const auto recordOf = [](const QByteArray &name, const QByteArray &track = "<string>Trunk</string>",
                             const QByteArray &made = "<key>MadeKeys</key><true/>") {
        return xmlList("<dict><key>PreferenceFile</key><string>" + name + "</string><key>Track</key>" +
                       track + made + "</dict>");
    };
    const QByteArray name = "com.brennic.LumadocPE.plist";
    const QByteArray good = recordOf(name);
    const QByteArray before = preferences(enableOn + sustainOn);
    writeFile(file, before);
    writeFile(home.path() / name.toStdString(), before);
    for (const QByteArray &content :
         {QByteArray(), QByteArray("junk"), good.chopped(30), good + QByteArray(1 << 20, ' '),
          xmlList("<array/>"), xmlList("<dict/>"), recordOf("/etc/" + name), recordOf("../../../../" + name),
          recordOf("com.other.plist"), recordOf(""), recordOf(name, "<true/>"),
          recordOf(name, "<string>Trunk</string>", ""),
          recordOf(name, "<string>Trunk</string>", "<key>MadeKeys</key><string>yes</string>")}) {
        SCOPED_TRACE(content.left(400).constData());
        writeFile(record, content);
        EXPECT_EQ(restart(), QStringList{unusable()});
        EXPECT_EQ(readFile(file), before);
        EXPECT_EQ(readFile(home.path() / name.toStdString()), before);
        EXPECT_FALSE(fs::exists(fs::symlink_status(record)));
    }
    writeFile(record, good);
    EXPECT_EQ(restart(), QStringList{line(allPutBack)});
}

TEST_F(InterruptedRunTest, ReadsNoRecordThroughALinkOrFromAPipe) {
    writeFile(file, preferences(std::nullopt));
    switchOnAndForget();
    const QByteArray before = readFile(file);
    const fs::path elsewhere = home.path() / "record";
    fs::rename(record, elsewhere);
    fs::create_symlink(elsewhere, record);
    EXPECT_EQ(restart(), QStringList{unusable()});
    EXPECT_FALSE(fs::exists(fs::symlink_status(record)));
    EXPECT_TRUE(fs::exists(elsewhere));
    ASSERT_EQ(::mkfifo(record.c_str(), 0600), 0);
    EXPECT_EQ(restart(), QStringList{unusable()});
    EXPECT_FALSE(fs::exists(fs::symlink_status(record)));
    fs::create_directory(record);
    EXPECT_EQ(restart(), QStringList{unusable()});
    EXPECT_EQ(readFile(file), before);
}

TEST_F(InterruptedRunTest, IsPutBackInTheFileOfItsTrackAndEdition) {
    flavour = QStringLiteral("QZ");
    LumadocRunningInstance = {PellixBundleIdentifier};
    file = *userLibraryPrefURL / "com.brennic.Pelx.plist";
    writeFile(file, preferences(std::nullopt, "QZ"));
    switchOnAndForget();
    flavour = QStringLiteral("Trunk");
    LumadocRunningInstance.clear();
    EXPECT_EQ(restart(), QStringList{line(allPutBack)});
    EXPECT_EQ(readFile(file), preferences("", "QZ"));
}

} // namespace
