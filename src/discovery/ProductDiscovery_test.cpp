#include "discovery/ProductDiscovery.h"

#include "sample_product/RunningProduct.h"
#include "sample_product/SampleProduct.h"
#include "test_support/LoggedTest.h"

#include <QCoreApplication>
#include <QTimer>

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using sample_product::Edition;
using sample_product::RunningProduct;
using testing::ElementsAre;

QString text(const char *latin1) {
    return QString::fromLatin1(latin1);
}

class Discovery : public test_support::LoggedTest {
protected:
    sample_product::SampleProduct installLumadoc(const char *version, const char *name = "Lumadoc.app",
                                                 Edition edition = Edition::lumadoc) {
        return sample_product::makeSampleBundle(
            home.path(),
            {.edition = edition, .version = version, .bundle = home.path() / "Applications" / name});
    }
    sample_product::SampleProduct installPellix(const char *version) {
        return installLumadoc(version, "Pellix.app", Edition::pellix);
    }

    const std::string noneRuns = "INFO: LumadocRunningInstance.isEmpty";
    const std::string noLumadoc = "INFO: lumadocInstalledUrls.isEmpty";
};

TEST_F(Discovery, TheFirstCharacterOfTheLastPieceOfAVersionIsTheTrack) {
    const struct {
        const char *version;
        const char *strict;
        const char *lenient;
    } cases[] = {{"10.003.20112", "QZ", "QZ"}, {"24.1.10", "Beta", "Beta"}, {"24.002.0", "Trunk", "Trunk"},
                 {"24.5.3", "none", "Trunk"},  {"24.5.", "none", "Trunk"},  {"2", "QZ", "QZ"},
                 {"x", "none", "Trunk"}};
    for (const auto &[version, strict, lenient] : cases) {
        flavour = text("before");
        LumadocVersion.clear();
        const auto product = installLumadoc(version);
        const auto found = GetFlavourFromAppVersion(product.bundle);
        ASSERT_TRUE(found) << version;
        EXPECT_EQ(found->version, text(version));
        EXPECT_EQ(found->flavour.value_or(text("none")), text(strict));
        EXPECT_EQ(flavour + LumadocVersion, text("before")) << "only read so far";

        FlavourFromAppVersion(product.bundle);
        EXPECT_EQ(flavour, text(lenient));
        EXPECT_EQ(LumadocVersion, text(version));
        EXPECT_EQ(LumadocInstalledUrlUsed, product.bundle);
        EXPECT_EQ(said().back(),
                  std::string("INFO: FlavourFromAppVersion:") + version + " flavour: " + lenient);
    }
    // A bundle without a readable version changes nothing.
    test_support::writeFile(home.path() / "No.app/Contents/Info.plist", "<plist><dict/></plist>");
    for (const char *bundle : {"No.app", "Missing.app"}) {
        EXPECT_FALSE(GetFlavourFromAppVersion(home.path() / bundle));
        FlavourFromAppVersion(home.path() / bundle);
    }
    EXPECT_EQ(LumadocVersion, text("x"));
    EXPECT_EQ(said().size(), std::size(cases));
}

TEST_F(Discovery, TheCommandLinesProductAndTrackAreComparedIgnoringCase) {
    installLumadoc("24.5.3", "A.app"); // A track that nobody knows.
    installLumadoc("24.1.0", "B.app");
    const auto beta = installLumadoc("24.1.10", "C.app");
    lumadocInstalledUrls = {"/elsewhere"};
    for (const char *product : {"", "other", "lumadoc ", "pellix"})
        EXPECT_FALSE(IsFlavourValid(text(product), text("beta"))) << product;
    for (const char *track : {"", "qz", "beta "})
        EXPECT_FALSE(IsFlavourValid(text("lumadoc"), text(track))) << track;
    EXPECT_EQ(lumadocInstalledUrls, std::vector<fs::path>{"/elsewhere"});
    EXPECT_TRUE(LumadocInstalledInstance.isEmpty() && LumadocVersion.isEmpty() && !fs::exists(log));

    EXPECT_EQ(IsFlavourValid(text("LUMADOC"), text("beta")), beta.bundle);
    EXPECT_EQ(flavour, text("Beta"));
    EXPECT_EQ(LumadocVersion, text("24.1.10"));
    EXPECT_EQ(lumadocInstalledUrls, std::vector{beta.bundle});
    EXPECT_EQ(LumadocInstalledInstance, QStringList{LumadocBundleIdentifier});
    EXPECT_TRUE(pellixInstalledUrls.empty() && !LumadocInstalledUrlUsed);
    EXPECT_THAT(said(), ElementsAre("INFO: FlavourFromAppVersion:24.1.10 flavour: Beta"));

    const auto pellix = installPellix("24.1.10");
    EXPECT_EQ(IsFlavourValid(text("pellix"), text("beta")), pellix.bundle);
    EXPECT_EQ(pellixInstalledUrls, std::vector{pellix.bundle});
    EXPECT_EQ(LumadocInstalledInstance, QStringList{PellixBundleIdentifier});
}

TEST_F(Discovery, ARunningEditionBecomesTheOneUnderDiagnosisOfBothThePaidOneWithTheVersionOfTheFreeOne) {
    const auto product = installLumadoc("24.1.10");
    const RunningProduct helper(product.helper);
    FindRunningEditions();
    EXPECT_TRUE(ProcessId.isEmpty() && LumadocRunningInstance.isEmpty());
    const RunningProduct running(product.executable);
    LumadocRunningInstance = {text("from before")};
    FindRunningEditions();
    EXPECT_EQ(LumadocRunningInstance, QStringList{LumadocBundleIdentifier});
    EXPECT_EQ(ProcessId, QString::number(running.processId()));
    EXPECT_EQ(LumadocInstalledUrlUsed, product.bundle);
    const std::string notFound = "WARNING: Lumadoc running instance not found for BundleIdentifier: ";
    EXPECT_THAT(
        said(),
        ElementsAre(notFound + "com.brennic.LumadocPE", notFound + "com.brennic.Pelx",
                    "INFO: Lumadoc running instance found for BundleIdentifier: com.brennic.LumadocPE",
                    "INFO: FlavourFromAppVersion:24.1.10 flavour: Beta", notFound + "com.brennic.Pelx"));

    const RunningProduct second(installPellix("10.003.20112").executable);
    tempOutputURL = home.path();
    FindRunningEditions();
    SetLumadocOrPellix();
    EXPECT_EQ(LumadocRunningInstance, LumadocBundleIndentifiers);
    EXPECT_EQ(lumadocOrPellix, text("Lumadoc"));
    EXPECT_EQ(LumadocVersion, text("10.003.20112"));
    EXPECT_EQ(ProcessId, QString::number(second.processId()));
}

TEST_F(Discovery, WhenNoEditionRunsAnInstalledOneIsTakenThePaidOneFirst) {
    const auto pellix = installPellix("24.2.10");
    LumadocRunningInstance = {PellixBundleIdentifier};
    SetLumadocRunningOrInstalledInstances(true);
    EXPECT_TRUE(LumadocInstalledInstance.isEmpty());
    EXPECT_FALSE(fs::exists(log));

    LumadocRunningInstance.clear();
    SetLumadocRunningOrInstalledInstances(false);
    EXPECT_EQ(LumadocInstalledInstance, QStringList{PellixBundleIdentifier});
    EXPECT_THAT(said(),
                ElementsAre(noneRuns, noLumadoc,
                            "INFO: App url for bundle: com.brennic.Pelx is: " + pellix.bundle.native(),
                            "INFO: Pellix installation found.",
                            "INFO: FlavourFromAppVersion:24.2.10 flavour: Beta"));

    const auto first = installLumadoc("24.1.10", "A.app");
    const auto second = installLumadoc("24.1.0", "B.app");
    LumadocInstalledInstance.clear();
    pellixInstalledUrls.clear();
    fs::remove(log);
    SetLumadocRunningOrInstalledInstances(true);
    EXPECT_EQ(LumadocInstalledInstance, QStringList{LumadocBundleIdentifier});
    EXPECT_EQ(lumadocInstalledUrls, (std::vector{first.bundle, second.bundle}));
    EXPECT_TRUE(pellixInstalledUrls.empty()) << "the free one is not looked for";
    const std::string line = "INFO: App url for bundle: com.brennic.LumadocPE is: ";
    EXPECT_THAT(said(), ElementsAre(noneRuns, line + first.bundle.native(), line + second.bundle.native(),
                                    "INFO: Lumadoc installation found.",
                                    "INFO: FlavourFromAppVersion:24.1.10 flavour: Beta"));
}

// Runs the event loop until the alerts asked for so far were shown, and gives them.
QStringList shownAlerts(const std::function<void()> &ask) {
    int count = 0;
    const QCoreApplication application(count, nullptr);
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

TEST_F(Discovery, AlertsSayThatNothingIsInstalledOrThatTwoEditionsRun) {
    EXPECT_EQ(shownAlerts([] { SetLumadocRunningOrInstalledInstances(true); }),
              (QStringList{text("No Lumadoc installation detected"),
                           text("No Lumadoc installation found on this device. Please install Lumadoc and "
                                "then start troubeshooting."),
                           text("OK")}));
    EXPECT_THAT(said(), ElementsAre(noneRuns, noLumadoc, "INFO: pellixInstalledUrls.isEmpty"));
    LumadocRunningInstance = LumadocBundleIndentifiers;
    EXPECT_EQ(shownAlerts([] { EXPECT_TRUE(IsMultipleInstance()); }),
              (QStringList{text("Multiple instances of Lumadoc detected"),
                           text("Please ensure that only one Lumadoc app which needs troubleshooting is "
                                "open, before running Brennic Lumadoc Diagnostics."),
                           text("OK")}));
    const auto otherwise = [] {
        LumadocRunningInstance = {LumadocBundleIdentifier};
        EXPECT_FALSE(IsMultipleInstance());
        LumadocRunningInstance.clear();
        SetLumadocRunningOrInstalledInstances(false);
    };
    EXPECT_TRUE(shownAlerts(otherwise).isEmpty());
}

TEST_F(Discovery, ThePaidEditionWinsWhereItIsFirstInAList) {
    const QStringList paid{LumadocBundleIdentifier};
    const QStringList free{PellixBundleIdentifier};
    const struct {
        QStringList running;
        QStringList installed;
        const char *edition;
    } cases[] = {{paid, {}, "Lumadoc"},   {paid + free, {}, "Lumadoc"}, {free, {}, "Pellix"},
                 {free, paid, "Lumadoc"}, {{}, paid, "Lumadoc"},        {{}, free, "Pellix"},
                 {{}, {}, "Pellix"}};
    for (const auto &[running, installed, edition] : cases) {
        tempOutputURL = home.path() / "run";
        LumadocRunningInstance = running;
        LumadocInstalledInstance = installed;
        SetLumadocOrPellix();
        EXPECT_EQ(lumadocOrPellix, text(edition));
        EXPECT_EQ(tempOutputURL, home.path() / "run" / edition);
        EXPECT_TRUE(fs::is_directory(*tempOutputURL));
        EXPECT_EQ(said().back(), "INFO: Directory created: " + tempOutputURL->native());
    }
    tempOutputURL = log;
    SetLumadocOrPellix();
    EXPECT_EQ(said().back(), "ERROR: Directory created: " + log.native() + "/Pellix");
}

// That a restarted product is followed is tested with the whole capture.

TEST_F(Discovery, ARestartIsAdvisedOnTheQzTrackToWhoeverRunsOutsideTheProduct) {
    const fs::path product = "/opt/Lumadoc.app";
    const std::string standalone = "/opt/Diagnostics.app/Contents/Linux/Diagnostics";
    const std::string embedded =
        "/home/jdoe/Library/Application Support/Brennic/Lumadoc/QZ/SupportFiles/Helpers/"
        "Brennic_Lumadoc_Diagnostics.app/Contents/Linux/Brennic_Lumadoc_Diagnostics";
    const std::string within = "INFO: Dont show restart alert: invocation within consumer.";
    const struct {
        bool isRunning;
        const char *track;
        OptionalURL used;
        // The path by which the program was started.
        std::string self;
        std::string line;
    } cases[] = {
        {false, "QZ", product, standalone, ""},
        {true, "Trunk", product, standalone, ""},
        {true, "Beta", product, standalone, ""},
        {true, "QZ", product, standalone, "INFO: Show Restart Alert: standalone consumer detected."},
        {true, "QZ", product, "/opt/Lumadoc.app/Contents/Helpers/Diagnostics", within},
        {true, "QZ", product, embedded, within},
        // A relative name stands for the real path.
        {true, "QZ", fs::read_symlink("/proc/self/exe").parent_path(), "discovery_test", within},
        {true, "QZ", std::nullopt, standalone, within},
    };
    for (auto [isRunning, track, used, self, line] : cases) {
        SCOPED_TRACE(self + ' ' + track);
        fs::remove(log);
        LumadocRunningInstance = isRunning ? QStringList{LumadocBundleIdentifier} : QStringList();
        flavour = text(track);
        LumadocInstalledUrlUsed = used;
        int count = 1;
        char *arguments[] = {self.data(), nullptr};
        const QCoreApplication application(count, arguments);
        EXPECT_EQ(IsLumadocRestartRequired(), line.starts_with("INFO: Show"));
        EXPECT_EQ(said(), line.empty() ? std::vector<std::string>() : std::vector{line});
    }
}

} // namespace
