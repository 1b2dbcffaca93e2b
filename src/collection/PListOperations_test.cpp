#include "collection/PListOperations.h"

#include "discovery/RunState.h"
#include "platform/posix/FileDescriptor.h"
#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"
#include "test_support/PropertyLists.h"

#include <sys/resource.h>
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
using testing::ElementsAre;

QByteArray dictionary(const QByteArray &content) {
    return "<dict>" + content + "</dict>";
}

QByteArray enable(const QByteArray &value) {
    return "<key>EnableLumaLogging</key>" + value;
}

QByteArray sustain(const QByteArray &value) {
    return "<key>SustainLumaLogging</key>" + value;
}

const QByteArray enableOn = enable("<array><integer>10</integer><integer>7</integer></array>");
const QByteArray sustainOn = sustain("<array><integer>0</integer><true/></array>");
const QByteArray allOn = dictionary(enableOn + sustainOn);
const QByteArray enableOld = enable("<array><integer>1</integer><integer>2</integer></array>");
const QByteArray sustainOld = sustain("<array><integer>3</integer><false/></array>");

// Preferences with this logging entry in `track`, or without one, in the layout that is written. The other
// values have spellings that no writer would choose.
QByteArray preferences(const QByteArray &logging = {}, const QByteArray &track = "Trunk",
                       const QByteArray &besides = {}) {
    const QByteArray entry = logging.isEmpty() ? QByteArray() : "<key>LumaLogging</key>" + logging;
    return propertyList("<dict><key>Version</key><real>7.250</real><key>" + track +
                        "</key><dict><key>Window</key><date>2020-01-02T03:04:05.5Z</date>" + entry +
                        "</dict>" + besides + "</dict>")
        .serialized(PropertyListFormat::xml);
}

// Preferences that can be read and hold as many values as that allows.
QByteArray fullPreferences() {
    return preferences({}, "Trunk",
                       "<key>Full</key><array>" + QByteArray("<true/>").repeated(99'991) + "</array>");
}

// Preferences without a dictionary for the track.
QByteArrayList withoutTheTrack() {
    return {preferences({}, "Beta"), xmlList("<dict><key>Trunk</key><array/></dict>"), xmlList("<array/>"),
            "junk"};
}

const QByteArray fileName = "com.brennic.LumadocPE.plist";

QByteArray recordOf(const QByteArray &name, const QByteArray &track = "<string>Trunk</string>",
                    const QByteArray &made = "<true/>") {
    return xmlList("<dict><key>PreferenceFile</key><string>" + name + "</string><key>Track</key>" + track +
                   "<key>MadeKeys</key>" + made + "</dict>");
}

class LoggingSwitch : public test_support::LoggedTest {
protected:
    LoggingSwitch() {
        userLibraryURL = home.library();
        userLibraryPrefURL = home.library() / "Preferences";
        tempOutputURL = home.path() / "Output";
        tempSystemURL = home.path() / "System";
        lumadocOrPellix = QStringLiteral("Lumadoc");
        LumadocInstalledInstance = {LumadocBundleIdentifier};
        fs::create_directories(*userLibraryPrefURL);
        fs::create_directories(*tempSystemURL);
    }

    // Switches on in a file of this content.
    void switchOn(const QByteArray &content = preferences()) {
        existingEnableLumaLogging = existingSustainLumaLogging = PropertyList::array({});
        writeFile(file, content);
        EnableLumaLogging(true);
    }
    void expectFile(const QByteArray &content) const { EXPECT_EQ(readFile(file), content); }
    bool hasRecord() const { return fs::exists(fs::symlink_status(record)); }

    // The lines since the last look.
    std::vector<std::string> newLines() const {
        auto lines = said();
        fs::remove(log);
        return lines;
    }
    std::string located() const { return "INFO: PropertyList URL: " + file.native(); }

    const std::string created = "INFO: Lumalogging dictionary created";
    const std::string synchronized = "INFO: Changes synchronized to plist successfully.";
    fs::path file = home.library() / "Preferences" / fileName.toStdString();
    fs::path record = home.path() / "System/LoggingSwitch.plist";
};

TEST_F(LoggingSwitch, IsMadeOrLeftAsItIsAndPutBackKeyByKey) {
    const QByteArray reals = enable("<array><real>10</real><integer>7</integer></array>");
    const QByteArray reversed = enable("<array><integer>7</integer><integer>10</integer></array>");
    // The logging entry before and after.
    const std::pair<QByteArray, QByteArray> cases[] = {
        {"", "<dict/>"},
        {"<string>on</string>", "<dict/>"},
        {dictionary(enableOld + sustainOld), dictionary(enableOld + sustainOld)},
        {dictionary(enableOld + sustainOn), dictionary(enableOld)},
        {dictionary(enableOn + sustainOld), dictionary(sustainOld)},
        {dictionary(sustainOn), "<dict/>"},
        {dictionary(enable("<string>on</string>") + sustainOn), "<dict/>"},
        {dictionary(enable("<array/>") + sustain("<dict/>")), "<dict/>"},
        // Equal as numbers, and yet other values.
        {dictionary(reals + sustainOn), dictionary(reals)},
        {dictionary(reversed + sustainOn), dictionary(reversed)},
    };
    for (const auto &[before, after] : cases) {
        SCOPED_TRACE(before.constData());
        const bool isMade = !before.startsWith("<dict");
        switchOn(preferences(before));
        expectFile(preferences(isMade ? allOn : before));
        EXPECT_TRUE(plistUpdated);
        EXPECT_EQ(plistURL, file);
        EXPECT_EQ(PropertyList::load(record), PropertyList::parse(recordOf(fileName, "<string>Trunk</string>",
                                                                           isMade ? "<true/>" : "<false/>")));
        EXPECT_EQ(fs::symlink_status(record).permissions(), fs::perms(0600));

        RevertLumaLogPList(true);
        expectFile(preferences(after));
        EXPECT_FALSE(plistUpdated);
        EXPECT_TRUE(fs::is_empty(*tempSystemURL));
        auto lines = newLines();
        EXPECT_EQ(std::erase(lines, created), isMade ? 1U : 0U);
        EXPECT_THAT(lines, ElementsAre(located(), synchronized));
    }
}

TEST_F(LoggingSwitch, IsPutBackIntoWhatTheProductWroteInTheMeantime) {
    const QByteArray old = dictionary(enableOld + sustainOld);
    const QByteArray other = "<key>Other</key><false/>";
    const QByteArray besides = "<key>New</key><date>2020-01-02T03:04:05Z</date>";
    switchOn(preferences(old));
    writeFile(file, preferences(dictionary(enableOn + sustainOn + other), "Trunk", besides));
    RevertLumaLogPList(true);
    expectFile(preferences(dictionary(enableOld + sustainOld + other), "Trunk", besides));
    switchOn(preferences(old));
    writeFile(file, preferences());
    RevertLumaLogPList(true);
    expectFile(preferences(old));
}

TEST_F(LoggingSwitch, ThatIsOnOrHasNoPlaceIsLeftAloneWithoutAWord) {
    const QByteArray sameNumbers = enable("<array><integer>0xA</integer><integer>+7</integer></array>");
    for (const QByteArray &content :
         withoutTheTrack() +
             QByteArrayList{preferences(allOn), preferences(dictionary(sameNumbers + sustainOn))}) {
        SCOPED_TRACE(content.constData());
        switchOn(content);
        EXPECT_TRUE(existingEnableLumaLogging.isEmptyArray());
        EXPECT_FALSE(plistUpdated || hasRecord());
        RevertLumaLogPList(true);
        expectFile(content);
        EXPECT_THAT(newLines(), ElementsAre(located()));
    }
}

TEST_F(LoggingSwitch, NeedsItsFlagAProductAndAPreferencesFolder) {
    writeFile(file, preferences());
    EnableLumaLogging(false);
    GetLumaLogs(false);
    LumadocInstalledInstance.clear();
    EnableLumaLogging(true);
    LumadocInstalledInstance = {LumadocBundleIdentifier};
    userLibraryPrefURL.reset();
    EnableLumaLogging(true);
    EXPECT_EQ(plistURL, std::nullopt);
    expectFile(preferences());
    EXPECT_FALSE(fs::exists(log));

    userLibraryPrefURL = file.parent_path();
    switchOn();
    RevertLumaLogPList(false);
    EXPECT_TRUE(plistUpdated);
    expectFile(preferences(allOn));
}

TEST_F(LoggingSwitch, ThatCannotBeWrittenIsAnErrorLineAndPuttingBackIsTriedAgainLater) {
    switchOn(fullPreferences());
    EXPECT_FALSE(plistUpdated || hasRecord());
    RevertLumaLogPList(true);
    expectFile(fullPreferences());
    EXPECT_THAT(newLines(), ElementsAre(located(), created, "ERROR: Failed to synchronize plist changes."));

    switchOn(preferences(dictionary(enableOld)));
    newLines();
    for (const QByteArray &content : withoutTheTrack() + QByteArrayList{fullPreferences()}) {
        writeFile(file, content);
        RevertLumaLogPList(true);
        EXPECT_TRUE(plistUpdated && hasRecord());
        expectFile(content);
    }
    EXPECT_THAT(newLines(),
                ElementsAre("ERROR: RevertLumaLogPList Failed to update plist. URL: " + file.native()));
    writeFile(file, preferences(allOn));
    RevertLumaLogPList(true);
    EXPECT_FALSE(plistUpdated || hasRecord());
    expectFile(preferences(dictionary(enableOld)));
}

TEST_F(LoggingSwitch, IsPutBackOnceFromTwoThreads) {
    for (int round = 0; round < 20; ++round) {
        switchOn();
        newLines();
        std::thread other([] { RevertLumaLogPList(true); });
        RevertLumaLogPList(true);
        other.join();
        EXPECT_FALSE(plistUpdated || fs::exists(log));
        expectFile(preferences("<dict/>"));
    }
    // A switch that the product sets itself afterwards is not put back.
    writeFile(file, preferences(dictionary(enableOn)));
    RevertLumaLogPList(true);
    expectFile(preferences(dictionary(enableOn)));
}

TEST_F(LoggingSwitch, GoesWithTheProductsLogsOfTheTrackAndEdition) {
    flavour = QStringLiteral("Beta%2");
    lumadocOrPellix = QStringLiteral("Pellix");
    const fs::path logs = *userLibraryURL / "Application Support/Brennic/Lumadoc/Beta%2/Pellix/LumaLog";
    writeFile(logs / "inner/a.log", "content");
    GetLumaLogs(true);
    EXPECT_EQ(readFile(*tempOutputURL / "LumaLog/inner/a.log"), "content");
    userLibraryURL.reset();
    GetLumaLogs(true);
    EXPECT_THAT(said(), ElementsAre("WARNING: Invalid source or destination URL"));
    const testing::ExitedWithCode failed(1);
    lumadocOrPellix.reset();
    GetLumaLogs(false);
    EXPECT_EXIT(GetLumaLogs(true), failed, "The product's edition is not known.");
    plistUpdated = true;
    EXPECT_EXIT(RevertLumaLogPList(true), failed, "The product's preference file is not known.");
}

// A run that was killed with the switch on, and the next start.
class InterruptedRun : public LoggingSwitch {
protected:
    void switchOnAndForget(const QByteArray &content = preferences()) {
        switchOn(content);
        plistUpdated = false;
        plistURL.reset();
    }
    // The next start says this alone, and the record is gone then unless the file must wait.
    void expectRestart(const std::string &line, bool waits = false) {
        fs::remove(log);
        RestoreAfterInterruptedRun();
        EXPECT_THAT(said(), ElementsAre(line));
        EXPECT_EQ(hasRecord(), waits);
    }
    void expectRestored(const std::string &done, const QByteArray &after) {
        expectRestart("INFO: Interrupted run: " + done + " in " + file.native());
        expectFile(after);
    }
    void expectWait() {
        expectRestart("ERROR: Interrupted run: the logging switch cannot be put back in " + file.native(),
                      true);
    }
    void expectRecordRemoved() {
        expectRestart("WARNING: Interrupted run: its record cannot be used and is removed.");
        expectFile(preferences(allOn));
    }

    const std::string allPutBack = "EnableLumaLogging, SustainLumaLogging put back";
    const std::string nothing = "nothing to put back";
};

TEST_F(InterruptedRun, IsNoneWithoutARecordAndCostsOneLineWhereNoneCanBeWritten) {
    writeFile(file, preferences(allOn));
    RestoreAfterInterruptedRun();
    tempSystemURL.reset();
    RestoreAfterInterruptedRun();
    EXPECT_FALSE(fs::exists(log));
    expectFile(preferences(allOn));
    switchOn();
    EXPECT_TRUE(plistUpdated);

    newLines();
    tempSystemURL = log / "below a file";
    writeFile(log, "");
    switchOn();
    expectFile(preferences(allOn));
    EXPECT_THAT(said(), ElementsAre(located(), created,
                                    "ERROR: Failed to keep a record of the logging switch: Not a directory",
                                    synchronized));
}

TEST_F(InterruptedRun, IsPutBackUnlessTheProductHasChangedIt) {
    const std::string left = " changed since and left";
    const QByteArray newKey = "<key>New</key><true/>";
    // The logging entry at the next start, afterwards, and what is said.
    const std::tuple<QByteArray, QByteArray, std::string> cases[] = {
        {allOn, "<dict/>", allPutBack},
        {dictionary(enableOld + sustainOn), dictionary(enableOld),
         "SustainLumaLogging put back, EnableLumaLogging" + left},
        {dictionary(enableOld + sustainOld), dictionary(enableOld + sustainOld),
         "EnableLumaLogging, SustainLumaLogging" + left},
        {dictionary(enableOn + sustainOn + newKey), dictionary(newKey), allPutBack},
        {dictionary(enableOn), "<dict/>", "EnableLumaLogging put back"},
        {"<dict/>", "<dict/>", nothing},
        {"", "", nothing},
    };
    for (const auto &[now, after, done] : cases) {
        SCOPED_TRACE(done);
        const auto around = [](const QByteArray &logging) {
            return preferences(logging, "Trunk", "<key>Beta</key>" + dictionary(enableOn));
        };
        switchOnAndForget(around(""));
        writeFile(file, around(now));
        expectRestored(done, around(after));
    }
    // A switch that was there already is left alone, and so is a file that is gone.
    switchOnAndForget(preferences(dictionary(enableOld + sustainOn)));
    writeFile(file, preferences(allOn));
    expectRestored(nothing, preferences(allOn));
    switchOnAndForget();
    fs::remove(file);
    expectRestored(nothing, "");
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(InterruptedRun, WaitsForAFileThatCannotBeReadOrWrittenNow) {
    switchOnAndForget();
    writeFile(file, "junk");
    expectWait();
    expectFile("junk");
    writeFile(file, preferences(allOn));
    if (test_support::hasOwnNamespaces()) {
        const auto readOnly = test_support::Mount::readOnly(*userLibraryPrefURL);
        expectWait();
    }
    // Without a descriptor neither the record nor the log can be opened.
    struct rlimit before {};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const struct rlimit none = {rlim_t(platform::FileDescriptor(::dup(STDERR_FILENO)).get()),
                                before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    RestoreAfterInterruptedRun();
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_TRUE(hasRecord());
    expectRestored(allPutBack, preferences("<dict/>"));
}

TEST_F(InterruptedRun, RemovesARecordThatThisProgramDidNotWriteAndChangesNothing) {
    const QByteArray good = recordOf(fileName);
    const fs::path outside = home.path() / fileName.toStdString();
    writeFile(file, preferences(allOn));
    writeFile(outside, preferences(allOn));
    for (const QByteArray &content :
         {QByteArray(), good.chopped(30), good + QByteArray(1 << 20, ' '), xmlList("<array/>"),
          xmlList("<dict/>"), recordOf("/etc/" + fileName), recordOf("../../../../" + fileName),
          recordOf("com.other.plist"), recordOf(fileName, "<true/>"),
          QByteArray(good).replace("MadeKeys", "Other"),
          recordOf(fileName, "<string>Trunk</string>", "<string>yes</string>")}) {
        SCOPED_TRACE(content.left(400).constData());
        writeFile(record, content);
        expectRecordRemoved();
        EXPECT_EQ(readFile(outside), preferences(allOn));
    }
    // Nor is one read through a link or from a pipe.
    writeFile(home.path() / "record", good);
    fs::create_symlink(home.path() / "record", record);
    expectRecordRemoved();
    ASSERT_EQ(::mkfifo(record.c_str(), 0600), 0);
    expectRecordRemoved();
    writeFile(record, good);
    expectRestored(allPutBack, preferences("<dict/>"));
}

TEST_F(InterruptedRun, IsPutBackInTheFileOfTheRunningEditionAndTheTrackThatItSwitched) {
    const QByteArray trunk = "<key>Trunk</key><dict><key>LumaLogging</key><dict/></dict>";
    flavour = QStringLiteral("QZ");
    LumadocRunningInstance = {PellixBundleIdentifier, LumadocBundleIdentifier};
    file = *userLibraryPrefURL / "com.brennic.Pelx.plist";
    switchOnAndForget(preferences({}, "QZ", trunk));
    expectFile(preferences(allOn, "QZ", trunk));
    flavour = QStringLiteral("Trunk");
    LumadocRunningInstance.clear();
    expectRestored(allPutBack, preferences("<dict/>", "QZ", trunk));
}

} // namespace
