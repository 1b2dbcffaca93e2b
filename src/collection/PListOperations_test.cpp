#include "collection/PListOperations.h"

#include "discovery/RunState.h"
#include "test_support/LogReader.h"
#include "test_support/PropertyLists.h"
#include "test_support/ScratchHome.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using namespace PListOperations;
using namespace UtilityFunctions;
using platform::PropertyList;
using platform::PropertyListFormat;
using test_support::readFile;
using test_support::writeFile;
using test_support::xmlList;

QByteArray element(const QByteArray &tag, const QByteArray &content) {
    return content.isEmpty() ? "<" + tag + "/>\n" : "<" + tag + ">\n" + content + "</" + tag + ">\n";
}

// A preference file as it is written, with this content of the logging dictionary of `track`, or with none.
QByteArray preferences(const std::optional<QByteArray> &logging, const QByteArray &track = "Trunk",
                       const QByteArray &besides = {}) {
    QByteArray inner = "<key>Window</key>\n<real>0.5</real>\n";
    if (logging)
        inner += "<key>LumaLogging</key>\n" + element("dict", *logging);
    const QByteArray list = element("dict", "<key>Version</key>\n<string>7.1</string>\n<key>" + track +
                                                "</key>\n" + element("dict", inner) + besides);
    return PropertyList::parse(xmlList(list))->serialized(PropertyListFormat::xml);
}

QByteArray enable(const QByteArray &items) {
    return "<key>EnableLumaLogging</key>\n" + items;
}

QByteArray sustain(const QByteArray &items) {
    return "<key>SustainLumaLogging</key>\n" + items;
}

const QByteArray enableOn = enable("<array><integer>10</integer><integer>7</integer></array>");
const QByteArray sustainOn = sustain("<array><integer>0</integer><true/></array>");
const QByteArray enableOld = enable("<array><integer>1</integer><integer>2</integer></array>");
const QByteArray sustainOld = sustain("<array><integer>3</integer><false/></array>");

PropertyList valueOf(const QByteArray &xml) {
    return *PropertyList::parse(xmlList(xml));
}

class PListOperationsTest : public testing::Test {
protected:
    PListOperationsTest() {
        userLibraryURL = home.library();
        userLibraryPrefURL = home.library() / "Preferences";
        tempOutputURL = home.path() / "Output";
        LumadocInstalledInstance = QStringList{QStringLiteral("com.brennic.LumadocPE")};
        fs::create_directories(*userLibraryPrefURL);
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
        writeFile(file, content);
        EnableLumaLogging(true);
        EXPECT_FALSE(plistUpdated) << content.constData();
        RevertLumaLogPList(true);
        EXPECT_EQ(readFile(file), content);
        EXPECT_EQ(lines(), QStringList{located()});
        fs::remove(log);
    }

    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path file = home.library() / "Preferences/com.brennic.LumadocPE.plist";
};

using PListOperationsDeathTest = PListOperationsTest;

TEST_F(PListOperationsTest, MakesTheSwitchWhereThereIsNoneAndLeavesItEmpty) {
    writeFile(file, preferences(std::nullopt));
    EnableLumaLogging(true);
    EXPECT_EQ(readFile(file), preferences(enableOn + sustainOn));
    EXPECT_TRUE(plistUpdated);
    EXPECT_EQ(plistURL, file);
    EXPECT_TRUE(existingEnableLumaLogging.isEmptyArray());
    EXPECT_TRUE(existingSustainLumaLogging.isEmptyArray());

    RevertLumaLogPList(true);
    EXPECT_EQ(readFile(file), preferences(""));
    EXPECT_FALSE(plistUpdated);
    EXPECT_EQ(lines(), (QStringList{located(), created(), synchronized()}));
}

TEST_F(PListOperationsTest, ReplacesALoggingEntryThatIsNoDictionaryWhole) {
    const QByteArray entry = "<key>LumaLogging</key><string>on</string>";
    const QByteArray track = "<key>Trunk</key><dict><key>a</key><true/>";
    writeFile(file, xmlList("<dict>" + track + entry + "</dict></dict>"));
    EnableLumaLogging(true);
    EXPECT_EQ(PropertyList::load(file), valueOf("<dict>" + track + "<key>LumaLogging</key><dict>" + enableOn +
                                                sustainOn + "</dict></dict></dict>"));
    EXPECT_EQ(lines(), (QStringList{located(), created(), synchronized()}));
    RevertLumaLogPList(true);
    EXPECT_EQ(PropertyList::load(file),
              valueOf("<dict>" + track + "<key>LumaLogging</key><dict/></dict></dict>"));
}

TEST_F(PListOperationsTest, WritesNothingWhenBothKeysAreOn) {
    expectSilence(preferences(enableOn + sustainOn));
    EXPECT_TRUE(existingEnableLumaLogging.isEmptyArray());
}

TEST_F(PListOperationsTest, AnExistingSwitchIsSavedAndWrittenAsItIsAndPutBack) {
    const QByteArray old = preferences(enableOld + sustainOld + "<key>Other</key><true/>");
    writeFile(file, old);
    EnableLumaLogging(true);
    EXPECT_EQ(readFile(file), old);
    EXPECT_TRUE(plistUpdated);
    EXPECT_EQ(existingEnableLumaLogging, valueOf("<array><integer>1</integer><integer>2</integer></array>"));
    EXPECT_EQ(existingSustainLumaLogging, valueOf("<array><integer>3</integer><false/></array>"));

    // The product writes its own values in the meantime, and other keys.
    writeFile(file, preferences(enableOn + sustainOn + "<key>Other</key><false/>", "Trunk",
                                "<key>New</key><date>2020-01-02T03:04:05Z</date>"));
    RevertLumaLogPList(true);
    EXPECT_EQ(readFile(file), preferences(enableOld + sustainOld + "<key>Other</key><false/>", "Trunk",
                                          "<key>New</key><date>2020-01-02T03:04:05Z</date>"));
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

TEST_F(PListOperationsTest, KeepsABinaryFileBinary) {
    const auto binary = [](const QByteArray &xml) {
        return PropertyList::parse(xml)->serialized(PropertyListFormat::binary);
    };
    writeFile(file, binary(preferences(std::nullopt)));
    EnableLumaLogging(true);
    EXPECT_EQ(readFile(file), binary(preferences(enableOn + sustainOn)));
    RevertLumaLogPList(true);
    EXPECT_EQ(readFile(file), binary(preferences("")));
}

TEST_F(PListOperationsTest, UsesTheTrackOfTheRun) {
    flavour = QStringLiteral("QZ");
    const QByteArray trunk = "<key>Trunk</key><dict><key>LumaLogging</key><dict/></dict>";
    writeFile(file, preferences(std::nullopt, "QZ", trunk));
    EnableLumaLogging(true);
    EXPECT_EQ(readFile(file), preferences(enableOn + sustainOn, "QZ", trunk));
}

TEST_F(PListOperationsTest, PrefersTheRunningProduct) {
    LumadocRunningInstance =
        QStringList{QStringLiteral("com.brennic.Pelx"), QStringLiteral("com.brennic.LumadocPE")};
    file = *userLibraryPrefURL / "com.brennic.Pelx.plist";
    writeFile(file, preferences(std::nullopt));
    EnableLumaLogging(true);
    EXPECT_EQ(readFile(file), preferences(enableOn + sustainOn));
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
    EnableLumaLogging(true);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(lines(), QStringList{located()});
    fs::remove(log);
    expectSilence(preferences(std::nullopt, "Beta"));
    expectSilence(xmlList("<dict><key>Trunk</key><array/></dict>"));
    expectSilence(xmlList("<array/>"));
    expectSilence(preferences(std::nullopt).chopped(30));
    expectSilence("");
    expectSilence("{ Trunk = { }; }");
    expectSilence(xmlList(QByteArray("<array>").repeated(100'000)));
    expectSilence(preferences(std::nullopt) + QByteArray(16 << 20, ' '));
}

TEST_F(PListOperationsTest, IsSilentAboutAPipeAndAFolder) {
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    EnableLumaLogging(true);
    fs::remove(file);
    fs::create_directory(file);
    EnableLumaLogging(true);
    EXPECT_FALSE(plistUpdated);
    EXPECT_EQ(lines(), (QStringList{located(), located()}));
}

TEST_F(PListOperationsTest, TellsWhenTheSwitchCannotBeWritten) {
    // Writing the file anew would cut the date's fraction off.
    const QByteArray lossy =
        xmlList("<dict><key>Trunk</key><dict/><key>Seen</key><date>2020-01-02T03:04:05.5Z</date></dict>");
    writeFile(file, lossy);
    EnableLumaLogging(true);
    EXPECT_FALSE(plistUpdated);
    EXPECT_EQ(readFile(file), lossy);
    EXPECT_EQ(lines(), (QStringList{located(), created(), failed()}));
    RevertLumaLogPList(true);
    EXPECT_EQ(readFile(file), lossy);
}

TEST_F(PListOperationsTest, TellsWhenTheRestoreCannotBeWrittenAndTriesAgainLater) {
    writeFile(file, preferences(std::nullopt));
    EnableLumaLogging(true);
    const QByteArray seen = "<key>Seen</key><date>2020-01-02T03:04:05.5Z</date></dict>\n</plist>";
    const QByteArray lossy = preferences(enableOn + sustainOn).replace("</dict>\n</plist>", seen);
    writeFile(file, lossy);
    RevertLumaLogPList(true);
    EXPECT_TRUE(plistUpdated);
    EXPECT_EQ(readFile(file), lossy);
    EXPECT_EQ(lines(), (QStringList{located(), created(), synchronized(), notRestored()}));

    writeFile(file, preferences(enableOn + sustainOn));
    RevertLumaLogPList(true);
    EXPECT_FALSE(plistUpdated);
    EXPECT_EQ(readFile(file), preferences(""));
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

TEST_F(PListOperationsTest, CopiesTheLogsOfTheTrackAndEdition) {
    flavour = QStringLiteral("Beta%2");
    lumadocOrPellix = QStringLiteral("Pellix");
    const fs::path logs = *userLibraryURL / "Application Support/Brennic/Lumadoc/Beta%2/Pellix/LumaLog";
    writeFile(logs / "inner/a.log", "content");
    GetLumaLogs(true);
    EXPECT_EQ(readFile(*tempOutputURL / "LumaLog/inner/a.log"), "content");
    EXPECT_EQ(lines(), QStringList{});
}

TEST_F(PListOperationsTest, TellsOnceWhenThereAreNoLogs) {
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

} // namespace
