// Which installation of the product a run looks at, and what it says of it.
#include "tests/SilentRun.h"

#include "sample_product/RunningProduct.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <fstream>
#include <sys/stat.h>

namespace fs = std::filesystem;
using namespace test_support;
using sample_product::Edition;
using sample_product::RunningProduct;
using sample_product::SampleProduct;

namespace {

class Products : public SilentRun {
protected:
    SampleProduct installSmall(Edition edition, const std::string &version, const fs::path &bundlePath = {}) {
        auto options = smallProduct();
        options.edition = edition;
        options.version = version;
        options.bundle = bundlePath;
        return install(options);
    }

    // What the log says between the start of the silent run and the collecting.
    std::string discovery() const {
        const std::string text = log();
        const std::string before = "INFO: Running without UI based on command-line parameter.\n";
        const std::size_t begin = text.find(before) + before.size();
        const std::string after = "INFO: Directory created: RUN/";
        return text.substr(begin, text.find('\n', text.find(after, begin)) + 1 - begin);
    }

    // Edition, track, version and place, as the support side gets them.
    std::string record() const {
        for (const auto &[name, item] : received()) {
            if (!name.ends_with("/DetailedInfo.json"))
                continue;
            const auto object = QJsonDocument::fromJson(QByteArray::fromStdString(item.content)).object();
            std::string text = name.substr(0, name.find('/'));
            for (const char *key : {"lumadoc_product", "lumadoc_version", "lumadoc_versionnumber"})
                text += " " + object.value(QLatin1String(key)).toString().toStdString();
            const fs::path place =
                object.value(QStringLiteral("lumadoc_lumadocinstallpath")).toString().toStdString();
            return text + " " + place.lexically_relative(home.path()).native();
        }
        return "no record";
    }

    bool hasLogsOf(const std::string &edition) const {
        return received().contains(edition + "/LumaLog/Lumadoc-1.log");
    }
};

const std::string notNamed = "ERROR: Not Found Lumadoc form Commandline params.\n";
const std::string lumadocNotRunning =
    "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.LumadocPE\n";
const std::string pellixNotRunning =
    "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.Pelx\n";
const std::string lumadocRunning =
    "INFO: Lumadoc running instance found for BundleIdentifier: com.brennic.LumadocPE\n";
const std::string pellixRunning =
    "INFO: Lumadoc running instance found for BundleIdentifier: com.brennic.Pelx\n";
const std::string noneRunning = "INFO: LumadocRunningInstance.isEmpty\n";
const std::string intoLumadoc = "INFO: Directory created: RUN/Lumadoc\n";
const std::string intoPellix = "INFO: Directory created: RUN/Pellix\n";

std::string placed(const std::string &identifier, const std::string &place) {
    return "INFO: App url for bundle: com.brennic." + identifier + " is: ~/" + place + "\n";
}

std::string flavour(const std::string &version, const std::string &track) {
    return "INFO: FlavourFromAppVersion:" + version + " flavour: " + track + "\n";
}

} // namespace

TEST_F(Products, None) {
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(discovery(), notNamed + lumadocNotRunning + pellixNotRunning + noneRunning +
                               "INFO: lumadocInstalledUrls.isEmpty\nINFO: pellixInstalledUrls.isEmpty\n" +
                               intoPellix);
    EXPECT_THAT(log(), testing::HasSubstr("\nERROR: Error copying LumaLog: No such file or directory\n"
                                          "INFO: Total files removed based on allowed extensions: 0\n"));
    const auto items = received();
    EXPECT_EQ(items.size(), 3U);
    EXPECT_TRUE(items.contains("Pellix/LumadocDiagnosticsDebugOutput.log"));
    EXPECT_EQ(record(), "Pellix Pellix Trunk  ");
}

TEST_F(Products, LumadocInstalled) {
    installSmall(Edition::lumadoc, "24.1.10");
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(discovery(), notNamed + lumadocNotRunning + pellixNotRunning + noneRunning +
                               placed("LumadocPE", "Applications/Lumadoc.app") +
                               "INFO: Lumadoc installation found.\n" + flavour("24.1.10", "Beta") +
                               intoLumadoc);
    EXPECT_EQ(record(), "Lumadoc Lumadoc Beta 24.1.10 Applications/Lumadoc.app");
    EXPECT_TRUE(hasLogsOf("Lumadoc"));
}

TEST_F(Products, PellixInstalled) {
    installSmall(Edition::pellix, "24.002.0");
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(discovery(),
              notNamed + lumadocNotRunning + pellixNotRunning + noneRunning +
                  "INFO: lumadocInstalledUrls.isEmpty\n" + placed("Pelx", "Applications/Pellix.app") +
                  "INFO: Pellix installation found.\n" + flavour("24.002.0", "Trunk") + intoPellix);
    EXPECT_EQ(record(), "Pellix Pellix Trunk 24.002.0 Applications/Pellix.app");
    EXPECT_TRUE(hasLogsOf("Pellix"));
}

TEST_F(Products, BothInstalledThePaidEditionWins) {
    installSmall(Edition::pellix, "24.002.1");
    installSmall(Edition::lumadoc, "10.003.20112");
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(discovery(), notNamed + lumadocNotRunning + pellixNotRunning + noneRunning +
                               placed("LumadocPE", "Applications/Lumadoc.app") +
                               "INFO: Lumadoc installation found.\n" + flavour("10.003.20112", "QZ") +
                               intoLumadoc);
    EXPECT_EQ(record(), "Lumadoc Lumadoc QZ 10.003.20112 Applications/Lumadoc.app");
}

TEST_F(Products, AVersionOfNoTrackCountsAsTrunk) {
    installSmall(Edition::lumadoc, "24.5.3");
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(record(), "Lumadoc Lumadoc Trunk 24.5.3 Applications/Lumadoc.app");
    EXPECT_TRUE(hasLogsOf("Lumadoc"));
}

TEST_F(Products, LumadocRunning) {
    installSmall(Edition::pellix, "24.002.0");
    const RunningProduct running(installSmall(Edition::lumadoc, "10.003.20112").executable);
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(discovery(),
              notNamed + lumadocRunning + flavour("10.003.20112", "QZ") + pellixNotRunning + intoLumadoc);
    EXPECT_EQ(record(), "Lumadoc Lumadoc QZ 10.003.20112 Applications/Lumadoc.app");
}

TEST_F(Products, PellixRunningAndLumadocInstalled) {
    installSmall(Edition::lumadoc, "10.003.20112");
    const RunningProduct running(installSmall(Edition::pellix, "24.1.10").executable);
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(discovery(),
              notNamed + lumadocNotRunning + pellixRunning + flavour("24.1.10", "Beta") + intoPellix);
    EXPECT_EQ(record(), "Pellix Pellix Beta 24.1.10 Applications/Pellix.app");
    EXPECT_TRUE(hasLogsOf("Pellix"));
}

TEST_F(Products, BothRunningIsLumadocWithTheVersionOfPellix) {
    const RunningProduct pellix(installSmall(Edition::pellix, "24.1.10").executable);
    const RunningProduct lumadoc(installSmall(Edition::lumadoc, "10.003.20112").executable);
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(discovery(), notNamed + lumadocRunning + flavour("10.003.20112", "QZ") + pellixRunning +
                               flavour("24.1.10", "Beta") + intoLumadoc);
    EXPECT_EQ(record(), "Lumadoc Lumadoc Beta 24.1.10 Applications/Pellix.app");
}

TEST_F(Products, TwoTracksOfOneEditionAreToldApartByTheCommandLine) {
    installSmall(Edition::lumadoc, "24.002.0", home.path() / "Applications/A.app");
    installSmall(Edition::lumadoc, "24.002.1", home.path() / "Applications/B.app");
    installSmall(Edition::lumadoc, "24.002.2", home.path() / "Applications/C.app");
    const std::vector<std::vector<std::string>> wanted = {
        {"/product=Lumadoc", "/track=Trunk", "A", "24.002.0", "Trunk"},
        {"/PRODUCT=LUMADOC", "/Track=beta", "B", "24.002.1", "Beta"},
        {"/product=lumadoc", " /TRACK=qz ", "C", "24.002.2", "QZ"},
    };
    for (const auto &one : wanted) {
        EXPECT_EQ(run({"/silent", one[0], one[1]}), exited(0));
        const std::string place = "Applications/" + one[2] + ".app";
        std::string found = flavour(one[3], one[4]);
        found.append("INFO: Found Lumadoc from Commandline params: ~/").append(place).append("\n");
        EXPECT_EQ(discovery(), found.append(intoLumadoc));
        std::string expected = "Lumadoc Lumadoc ";
        expected.append(one[4]).append(" ").append(one[3]).append(" ").append(place);
        EXPECT_EQ(record(), expected);
        EXPECT_TRUE(hasLogsOf("Lumadoc"));
    }
}

TEST_F(Products, TheCommandLineGoesBeforeWhatRuns) {
    installSmall(Edition::pellix, "24.002.1");
    const RunningProduct running(installSmall(Edition::lumadoc, "10.003.20112").executable);
    EXPECT_EQ(run({"/silent", "/product=pellix", "/track=beta"}), exited(0));
    EXPECT_EQ(discovery(), flavour("24.002.1", "Beta") +
                               "INFO: Found Lumadoc from Commandline params: ~/Applications/Pellix.app\n" +
                               intoPellix);
    EXPECT_EQ(record(), "Pellix Pellix Beta 24.002.1 Applications/Pellix.app");
}

TEST_F(Products, ACommandLineThatNamesNothingThereFallsBack) {
    installSmall(Edition::lumadoc, "10.003.20112");
    const std::string fallback = notNamed + lumadocNotRunning + pellixNotRunning + noneRunning +
                                 placed("LumadocPE", "Applications/Lumadoc.app") +
                                 "INFO: Lumadoc installation found.\n" + flavour("10.003.20112", "QZ") +
                                 intoLumadoc;
    const std::vector<std::vector<std::string>> arguments = {
        {"/silent", "/product=lumadoc", "/track=beta"},
        {"/silent", "/product=pellix", "/track=qz"},
        {"/silent", "/product=other", "/track=qz"},
        {"/silent", "/product=lumadoc"},
        {"/silent", "/track=qz"},
        {"/silent", "/product=lumadoc", "/track="},
    };
    for (const auto &one : arguments) {
        EXPECT_EQ(run(one), exited(0));
        EXPECT_EQ(discovery(), fallback) << testing::PrintToString(one);
        EXPECT_EQ(record(), "Lumadoc Lumadoc QZ 10.003.20112 Applications/Lumadoc.app");
    }
}

TEST_F(Products, AHelperInsideABundleIsNoRunningProduct) {
    const RunningProduct helper(installSmall(Edition::lumadoc, "10.003.20112").helper);
    EXPECT_EQ(run(), exited(0));
    EXPECT_THAT(discovery(), testing::HasSubstr(lumadocNotRunning));
}

TEST_F(Products, OneThatWasReplacedWhileRunningStillRuns) {
    const RunningProduct running(installSmall(Edition::lumadoc, "10.003.20112").executable);
    installSmall(Edition::lumadoc, "10.003.20113");
    ASSERT_THAT(fs::read_symlink("/proc/" + std::to_string(running.processId()) + "/exe").native(),
                testing::EndsWith(" (deleted)"));
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(discovery(),
              notNamed + lumadocRunning + flavour("10.003.20113", "QZ") + pellixNotRunning + intoLumadoc);
}

TEST_F(Products, OneThatADesktopEntryStartsIsInstalled) {
    auto options = smallProduct();
    options.bundle = home.path() / "some where/else/Lumadoc \"24\".app";
    options.desktopEntry = true;
    install(options);
    EXPECT_EQ(run(), exited(0));
    EXPECT_THAT(discovery(), testing::HasSubstr(placed("LumadocPE", "some where/else/Lumadoc \"24\".app")));
    EXPECT_TRUE(hasLogsOf("Lumadoc"));
}

TEST_F(Products, BundlesThatMeanNoGoodAreNone) {
    installSmall(Edition::lumadoc, "10.003.20112");
    const fs::path applications = home.path() / "Applications";
    for (const char *name : {"A pipe", "Endless", "Huge", "Torn", "Locked up"})
        fs::create_directories(applications / (std::string(name) + ".app/Contents"));
    ASSERT_EQ(::mkfifo((applications / "A pipe.app/Contents/Info.plist").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", applications / "Endless.app/Contents/Info.plist");
    std::ofstream(applications / "Huge.app/Contents/Info.plist") << "<plist>";
    fs::resize_file(applications / "Huge.app/Contents/Info.plist", std::uintmax_t{1} << 40);
    writeFile(applications / "Torn.app/Contents/Info.plist", "bplist00\xd1\x01\x02\x5f");
    fs::create_symlink("Loop.app", applications / "Loop.app");
    fs::create_symlink("/proc/1/fd/0", applications / "Locked up.app/Contents/Info.plist");
    fs::create_directories(home.path() / ".local/share/applications");
    ASSERT_EQ(::mkfifo((home.path() / ".local/share/applications/a.desktop").c_str(), 0600), 0);
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(record(), "Lumadoc Lumadoc QZ 10.003.20112 Applications/Lumadoc.app");
}
