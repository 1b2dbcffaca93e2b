#include "discovery/ProductDiscovery.h"

#include "discovery/Constants.h"
#include "discovery/Workspace.h"
#include "platform/posix/Text.h"
#include "sample_product/RunningProduct.h"
#include "sample_product/SampleProduct.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <QCoreApplication>
#include <QTimer>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using platform::displayText;
using sample_product::Edition;
using test_support::logLines;

class DiscoveryTest : public testing::Test {
protected:
    sample_product::SampleProduct install(Edition edition, const std::string &version, const char *name) {
        return sample_product::makeSampleBundle(
            home.path(),
            {.edition = edition, .version = version, .bundle = home.path() / "Applications" / name});
    }
    sample_product::SampleProduct installLumadoc(const std::string &version = "10.003.20112",
                                                 const char *name = "Lumadoc.app") {
        return install(Edition::lumadoc, version, name);
    }
    sample_product::SampleProduct installPellix(const std::string &version = "24.1.10") {
        return install(Edition::pellix, version, "Pellix.app");
    }

    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
};

struct VersionCase {
    const char *version;
    const char *strict;
    const char *lenient;
};

class FlavourTest : public DiscoveryTest, public testing::WithParamInterface<VersionCase> {};

TEST_P(FlavourTest, TheLastPiecesFirstCharacterTellsTheTrack) {
    const auto product = installLumadoc(GetParam().version);
    const auto found = GetFlavourFromAppVersion(product.bundle);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->version, QString::fromLatin1(GetParam().version));
    EXPECT_EQ(found->flavour.value_or(QStringLiteral("none")), QString::fromLatin1(GetParam().strict));
    EXPECT_EQ(flavour, QStringLiteral("Trunk"));
    EXPECT_TRUE(LumadocVersion.isEmpty());

    FlavourFromAppVersion(product.bundle);
    EXPECT_EQ(flavour, QString::fromLatin1(GetParam().lenient));
    EXPECT_EQ(LumadocVersion, QString::fromLatin1(GetParam().version));
    EXPECT_EQ(LumadocInstalledUrlUsed, product.bundle);
    EXPECT_EQ(logLines(log),
              QStringList{
                  QStringLiteral("INFO: FlavourFromAppVersion:%1 flavour: %2").arg(LumadocVersion, flavour)});
}

INSTANTIATE_TEST_SUITE_P(Versions, FlavourTest,
                         testing::Values(VersionCase{"10.003.20112", "QZ", "QZ"},
                                         VersionCase{"24.1.10", "Beta", "Beta"},
                                         VersionCase{"24.002.0", "Trunk", "Trunk"},
                                         VersionCase{"24.5.3", "none", "Trunk"},
                                         VersionCase{"24.5.", "none", "Trunk"}, VersionCase{"2", "QZ", "QZ"},
                                         VersionCase{"x", "none", "Trunk"}));

TEST_F(DiscoveryTest, ABundleWithoutAReadableVersionChangesNothing) {
    flavour = QStringLiteral("Beta");
    test_support::writeFile(home.path() / "No.app/Contents/Info.plist", "<plist><dict/></plist>");
    for (const char *bundle : {"No.app", "Missing.app"}) {
        EXPECT_FALSE(GetFlavourFromAppVersion(home.path() / bundle));
        FlavourFromAppVersion(home.path() / bundle);
    }
    EXPECT_EQ(flavour, QStringLiteral("Beta"));
    EXPECT_FALSE(LumadocInstalledUrlUsed);
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(DiscoveryTest, CommandLineProductAndTrackAreComparedIgnoringCase) {
    installLumadoc("24.1.0", "A.app");
    const auto beta = installLumadoc("24.1.10", "B.app");
    installPellix("24.1.10");
    lumadocInstalledUrls = {"/elsewhere"};

    EXPECT_EQ(IsFlavourValid(QStringLiteral("LUMADOC"), QStringLiteral("beta")), beta.bundle);
    EXPECT_EQ(flavour, QStringLiteral("Beta"));
    EXPECT_EQ(LumadocVersion, QStringLiteral("24.1.10"));
    EXPECT_EQ(lumadocInstalledUrls, std::vector{beta.bundle});
    EXPECT_EQ(LumadocInstalledInstance, QStringList{LumadocBundleIdentifier});
    EXPECT_TRUE(pellixInstalledUrls.empty());
    EXPECT_FALSE(LumadocInstalledUrlUsed);
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: FlavourFromAppVersion:24.1.10 flavour: Beta")});
}

TEST_F(DiscoveryTest, CommandLineProductPellixSearchesOnlyTheFreeEdition) {
    installLumadoc("24.1.10");
    EXPECT_FALSE(IsFlavourValid(QStringLiteral("pellix"), QStringLiteral("beta")));
    const auto pellix = installPellix("24.1.10");
    EXPECT_EQ(IsFlavourValid(QStringLiteral("pellix"), QStringLiteral("beta")), pellix.bundle);
    EXPECT_EQ(pellixInstalledUrls, std::vector{pellix.bundle});
    EXPECT_EQ(LumadocInstalledInstance, QStringList{PellixBundleIdentifier});
}

TEST_F(DiscoveryTest, UnmatchedProductOrTrackChangesNothing) {
    installLumadoc("24.5.3"); // A track that nobody knows.
    for (const char *product : {"", "lumadoc", "other", "lumadoc "}) {
        for (const char *track : {"", "trunk", "qz"})
            EXPECT_FALSE(IsFlavourValid(QString::fromLatin1(product), QString::fromLatin1(track)));
    }
    EXPECT_TRUE(LumadocInstalledInstance.isEmpty() && lumadocInstalledUrls.empty() &&
                LumadocVersion.isEmpty());
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(DiscoveryTest, ListsEveryInstalledCopyOfAnEdition) {
    const auto first = installLumadoc("24.1.0", "A.app");
    const auto second = installLumadoc("24.1.10", "B.app");
    setLumadocInstalledPath();
    setPellixInstalledPath();
    EXPECT_EQ(lumadocInstalledUrls, (std::vector{first.bundle, second.bundle}));
    EXPECT_TRUE(pellixInstalledUrls.empty());
    const QString line = QStringLiteral("INFO: App url for bundle: com.brennic.LumadocPE is: ");
    EXPECT_EQ(logLines(log),
              (QStringList{line + displayText(first.bundle), line + displayText(second.bundle)}));
}

TEST_F(DiscoveryTest, ARunningEditionBecomesTheOneUnderDiagnosis) {
    const auto product = installLumadoc("24.1.10");
    const sample_product::RunningProduct running(product.executable);
    EXPECT_TRUE(IsApplicationRunning(LumadocBundleIdentifier));
    EXPECT_EQ(ProcessId, QString::number(running.processId()));
    EXPECT_EQ(LumadocInstalledUrlUsed, product.bundle);
    EXPECT_EQ(flavour, QStringLiteral("Beta"));
    EXPECT_EQ(logLines(log),
              (QStringList{QStringLiteral("INFO: Lumadoc running instance found for BundleIdentifier: "
                                          "com.brennic.LumadocPE"),
                           QStringLiteral("INFO: FlavourFromAppVersion:24.1.10 flavour: Beta")}));
}

TEST_F(DiscoveryTest, AnEditionThatDoesNotRunIsToldAsAWarning) {
    const auto product = installLumadoc();
    const sample_product::RunningProduct helper(product.helper);
    EXPECT_FALSE(IsApplicationRunning(LumadocBundleIdentifier));
    EXPECT_TRUE(ProcessId.isEmpty());
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("WARNING: Lumadoc running instance not found for "
                                                        "BundleIdentifier: com.brennic.LumadocPE")});
}

TEST_F(DiscoveryTest, BothInstalledTakesThePaidEditionAndNeverLooksForTheFreeOne) {
    const auto product = installLumadoc("24.1.10");
    installPellix();
    SetLumadocRunningOrInstalledInstances(true);
    EXPECT_EQ(LumadocInstalledInstance, QStringList{LumadocBundleIdentifier});
    EXPECT_TRUE(pellixInstalledUrls.empty());
    EXPECT_EQ(logLines(log),
              (QStringList{QStringLiteral("INFO: LumadocRunningInstance.isEmpty"),
                           QStringLiteral("INFO: App url for bundle: com.brennic.LumadocPE is: ") +
                               displayText(product.bundle),
                           QStringLiteral("INFO: Lumadoc installation found."),
                           QStringLiteral("INFO: FlavourFromAppVersion:24.1.10 flavour: Beta")}));
}

TEST_F(DiscoveryTest, TheFreeEditionIsTakenWhenThePaidOneIsMissing) {
    const auto product = installPellix("24.2.10");
    SetLumadocRunningOrInstalledInstances(false);
    EXPECT_EQ(LumadocInstalledInstance, QStringList{PellixBundleIdentifier});
    EXPECT_EQ(logLines(log),
              (QStringList{QStringLiteral("INFO: LumadocRunningInstance.isEmpty"),
                           QStringLiteral("INFO: lumadocInstalledUrls.isEmpty"),
                           QStringLiteral("INFO: App url for bundle: com.brennic.Pelx is: ") +
                               displayText(product.bundle),
                           QStringLiteral("INFO: Pellix installation found."),
                           QStringLiteral("INFO: FlavourFromAppVersion:24.2.10 flavour: Beta")}));
}

TEST_F(DiscoveryTest, ARunningEditionNeedsNoInstalledOne) {
    installLumadoc();
    LumadocRunningInstance = {PellixBundleIdentifier};
    SetLumadocRunningOrInstalledInstances(true);
    EXPECT_TRUE(LumadocInstalledInstance.isEmpty());
    EXPECT_FALSE(fs::exists(log));
}

// Runs the event loop until the alerts asked for so far were shown, and gives them.
QStringList shownAlerts(const std::function<void()> &ask) {
    int count = 1;
    char name[] = "test";
    char *arguments[] = {name, nullptr};
    const QCoreApplication application(count, arguments);
    QStringList shown;
    alertPresenter = [&](const QString &title, const QString &message, const QString &button) {
        shown.append({title, message, button});
    };
    ask();
    EXPECT_TRUE(shown.isEmpty()) << "An alert must not hold up who asks for it.";
    QTimer::singleShot(20, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();
    alertPresenter = nullptr;
    return shown;
}

TEST_F(DiscoveryTest, NothingInstalledIsToldToTheUserOnlyWhenAsked) {
    EXPECT_EQ(shownAlerts([] { SetLumadocRunningOrInstalledInstances(true); }),
              (QStringList{
                  QStringLiteral("No Lumadoc installation detected"),
                  QStringLiteral("No Lumadoc installation found on this device. Please install Lumadoc and "
                                 "then start troubeshooting."),
                  QStringLiteral("OK")}));
    EXPECT_EQ(logLines(log), (QStringList{QStringLiteral("INFO: LumadocRunningInstance.isEmpty"),
                                          QStringLiteral("INFO: lumadocInstalledUrls.isEmpty"),
                                          QStringLiteral("INFO: pellixInstalledUrls.isEmpty")}));
    EXPECT_TRUE(shownAlerts([] { SetLumadocRunningOrInstalledInstances(false); }).isEmpty());
}

TEST_F(DiscoveryTest, TwoRunningEditionsAreMultipleAndTold) {
    LumadocRunningInstance = LumadocBundleIndentifiers;
    EXPECT_EQ(shownAlerts([] { EXPECT_TRUE(IsMultipleInstance()); }),
              (QStringList{QStringLiteral("Multiple instances of Lumadoc detected"),
                           LabelConstants::MultipleLumadocRunningDesc, QStringLiteral("OK")}));
    LumadocRunningInstance = {LumadocBundleIdentifier};
    EXPECT_TRUE(shownAlerts([] { EXPECT_FALSE(IsMultipleInstance()); }).isEmpty());
}

struct EditionCase {
    QStringList running;
    QStringList installed;
    const char *edition;
};

class EditionTest : public DiscoveryTest, public testing::WithParamInterface<EditionCase> {};

TEST_P(EditionTest, PaidEditionWinsWhereItStandsFirst) {
    ASSERT_TRUE(CreateOutputDirectories());
    LumadocRunningInstance = GetParam().running;
    LumadocInstalledInstance = GetParam().installed;
    SetLumadocOrPellix();
    EXPECT_EQ(*lumadocOrPellix, QString::fromLatin1(GetParam().edition));
    EXPECT_EQ(*tempOutputURL, *tempTimeStampedURL / GetParam().edition);
    EXPECT_TRUE(fs::is_directory(*tempOutputURL));
    EXPECT_EQ(logLines(log).last(),
              QStringLiteral("INFO: Directory created: ") + displayText(*tempOutputURL));
}

INSTANTIATE_TEST_SUITE_P(
    Lists, EditionTest,
    testing::Values(EditionCase{{LumadocBundleIdentifier}, {}, "Lumadoc"},
                    EditionCase{{LumadocBundleIdentifier, PellixBundleIdentifier}, {}, "Lumadoc"},
                    EditionCase{{PellixBundleIdentifier}, {}, "Pellix"},
                    EditionCase{{PellixBundleIdentifier}, {LumadocBundleIdentifier}, "Lumadoc"},
                    EditionCase{{}, {LumadocBundleIdentifier}, "Lumadoc"},
                    EditionCase{{}, {PellixBundleIdentifier}, "Pellix"}, EditionCase{{}, {}, "Pellix"}));

TEST_F(DiscoveryTest, AnEditionFolderThatCannotBeMadeIsAnErrorLineAndNoMore) {
    ASSERT_TRUE(CreateOutputDirectories());
    test_support::writeFile(*tempTimeStampedURL / "Pellix", "in the way");
    SetLumadocOrPellix();
    EXPECT_EQ(logLines(log).last(),
              QStringLiteral("ERROR: Directory created: ") + displayText(*tempOutputURL));
}

TEST_F(DiscoveryTest, ChoosingAnEditionWithoutAnOutputFolderEndsTheProcess) {
    EXPECT_EXIT(SetLumadocOrPellix(), testing::ExitedWithCode(1), "The output folder is not known");
}

TEST_F(DiscoveryTest, BothRunningGivesThePaidEditionWithTheFreeOnesVersion) {
    const auto lumadoc = installLumadoc("10.003.20112");
    const auto pellix = installPellix("24.1.10");
    const sample_product::RunningProduct first(lumadoc.executable);
    const sample_product::RunningProduct second(pellix.executable);
    ASSERT_TRUE(CreateOutputDirectories());
    FindRunningEditions();
    SetLumadocOrPellix();
    EXPECT_EQ(*lumadocOrPellix, QStringLiteral("Lumadoc"));
    EXPECT_EQ(LumadocVersion, QStringLiteral("24.1.10"));
    EXPECT_EQ(ProcessId, QString::number(second.processId()));
    EXPECT_EQ(shownAlerts([] { EXPECT_TRUE(IsMultipleInstance()); }).size(), 3);
}

TEST_F(DiscoveryTest, FollowsAProductThatWasRestarted) {
    ProcessId = QStringLiteral("1");
    VerifyApplicationProcess();
    EXPECT_EQ(ProcessId, QStringLiteral("1"));
    const auto pellix = installPellix();
    const sample_product::RunningProduct running(pellix.executable);
    VerifyApplicationProcess();
    const QString identifier = QString::number(running.processId());
    EXPECT_EQ(ProcessId, identifier);
    EXPECT_TRUE(IsProcessRunning(identifier));
    EXPECT_FALSE(IsProcessRunning(QStringLiteral("999999")));
    EXPECT_EQ(logLines(log),
              (QStringList{
                  QStringLiteral("WARNING: Lumadoc running instance not Verified. OldProcessId: 1"),
                  QStringLiteral("INFO: Lumadoc running instance verified. NewProcessId: ") + identifier,
                  QStringLiteral("INFO: Lumadoc process is running. ProcessId: ") + identifier,
                  QStringLiteral("WARNING: Lumadoc process is not running. ProcessId: 999999"),
              }));
}

// The restart advice, asked by a program that was started as `self`.
bool restartRequired(const std::string &self) {
    int count = 1;
    std::string name = self;
    char *arguments[] = {name.data(), nullptr};
    const QCoreApplication application(count, arguments);
    return IsLumadocRestartRequired();
}

const QString within = QStringLiteral("INFO: Dont show restart alert: invocation within consumer.");
const QString standalone = QStringLiteral("INFO: Show Restart Alert: standalone consumer detected.");

TEST_F(DiscoveryTest, NoRestartWithoutARunningProductOrOnTheTracksThatLogAnyway) {
    LumadocInstalledUrlUsed = "/opt/Lumadoc.app";
    flavour = QStringLiteral("QZ");
    EXPECT_FALSE(restartRequired("/opt/Diagnostics"));
    LumadocRunningInstance = {LumadocBundleIdentifier};
    for (const char *track : {"Trunk", "Beta"}) {
        flavour = QString::fromLatin1(track);
        EXPECT_FALSE(restartRequired("/opt/Diagnostics"));
    }
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(DiscoveryTest, RestartIsAdvisedToWhoRunsStandaloneOnTheQzTrack) {
    LumadocRunningInstance = {LumadocBundleIdentifier};
    flavour = QStringLiteral("QZ");
    LumadocInstalledUrlUsed = "/opt/Lumadoc.app";
    EXPECT_TRUE(restartRequired("/opt/Diagnostics.app/Contents/Linux/Diagnostics"));
    EXPECT_FALSE(restartRequired("/opt/Lumadoc.app/Contents/Helpers/Diagnostics"));
    EXPECT_FALSE(
        restartRequired("/home/jdoe/Library/Application Support/Brennic/Lumadoc/QZ/SupportFiles/Helpers/"
                        "Brennic_Lumadoc_Diagnostics.app/Contents/Linux/Brennic_Lumadoc_Diagnostics"));
    LumadocInstalledUrlUsed.reset();
    EXPECT_FALSE(restartRequired("/opt/Diagnostics.app/Contents/Linux/Diagnostics"));
    EXPECT_EQ(logLines(log), (QStringList{standalone, within, within, within}));
}

TEST_F(DiscoveryTest, AProgramStartedByARelativeNameIsJudgedByItsRealPath) {
    LumadocRunningInstance = {LumadocBundleIdentifier};
    flavour = QStringLiteral("QZ");
    LumadocInstalledUrlUsed = fs::read_symlink("/proc/self/exe").parent_path();
    EXPECT_FALSE(restartRequired("discovery_test"));
}

} // namespace
