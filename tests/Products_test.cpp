// Which installation of the product a run looks at, what it logs of that, and what the support side gets.
#include "tests/SilentRun.h"

#include "sample_product/RunningProduct.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace fs = std::filesystem;
using namespace test_support;
using sample_product::Edition;
using sample_product::RunningProduct;

namespace {

const std::string notNamed = "ERROR: Not Found Lumadoc form Commandline params.\n";
const std::string noLumadocRuns =
    "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.LumadocPE\n";
const std::string noPellixRuns =
    "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.Pelx\n";
const std::string lumadocRuns =
    "INFO: Lumadoc running instance found for BundleIdentifier: com.brennic.LumadocPE\n";
const std::string pellixRuns =
    "INFO: Lumadoc running instance found for BundleIdentifier: com.brennic.Pelx\n";
const std::string nothingRuns =
    notNamed + noLumadocRuns + noPellixRuns + "INFO: LumadocRunningInstance.isEmpty\n";
const std::string qz = "INFO: FlavourFromAppVersion:10.003.20112 flavour: QZ\n";
const std::string beta = "INFO: FlavourFromAppVersion:24.1.10 flavour: Beta\n";
const std::string lumadocInstalled = "INFO: App url for bundle: com.brennic.LumadocPE is: "
                                     "~/Applications/Lumadoc.app\nINFO: Lumadoc installation found.\n" +
                                     qz;

struct Case {
    std::string name;
    // Installed, with the versions below; "*" after the name: and running.
    std::vector<std::string> products;
    std::vector<std::string> arguments;
    // What the log says up to the creation of the edition's folder.
    std::string log;
    // Folder, edition, track, version and place, as the support side gets them.
    std::string record;
    bool hasLogs = true;
};

void PrintTo(const Case &products, std::ostream *out) {
    *out << products.name;
}

class Products : public SilentRun, public testing::WithParamInterface<Case> {
protected:
    std::string discovery() const {
        return logBetween("INFO: Running without UI based on command-line parameter.\n",
                          "INFO: Directory created: RUN/");
    }

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

} // namespace

TEST_P(Products, AreChosenFrom) {
    std::vector<std::unique_ptr<RunningProduct>> running;
    for (const std::string &name : GetParam().products) {
        const bool lumadoc = name.starts_with("Lumadoc");
        auto options = smallProduct();
        options.edition = lumadoc ? Edition::lumadoc : Edition::pellix;
        options.version = lumadoc ? "10.003.20112" : "24.1.10";
        const auto product = install(options);
        if (name.ends_with('*'))
            running.push_back(std::make_unique<RunningProduct>(product.executable));
    }
    std::vector<std::string> arguments = GetParam().arguments;
    arguments.insert(arguments.begin(), "/silent");
    EXPECT_EQ(run(arguments), exited(0));
    EXPECT_EQ(discovery(), GetParam().log);
    EXPECT_EQ(record(), GetParam().record);
    EXPECT_EQ(hasLogsOf(GetParam().record.substr(0, GetParam().record.find(' '))), GetParam().hasLogs);
}

INSTANTIATE_TEST_SUITE_P(
    Each, Products,
    testing::Values(Case{"None",
                         {},
                         {},
                         nothingRuns +
                             "INFO: lumadocInstalledUrls.isEmpty\nINFO: pellixInstalledUrls.isEmpty\n",
                         "Pellix Pellix Trunk  ",
                         false},
                    Case{"Pellix",
                         {"Pellix"},
                         {},
                         nothingRuns +
                             "INFO: lumadocInstalledUrls.isEmpty\n"
                             "INFO: App url for bundle: com.brennic.Pelx is: ~/Applications/Pellix.app\n"
                             "INFO: Pellix installation found.\n" +
                             beta,
                         "Pellix Pellix Beta 24.1.10 Applications/Pellix.app"},
                    Case{"BothOfWhichThePaidOneWins",
                         {"Pellix", "Lumadoc"},
                         {},
                         nothingRuns + lumadocInstalled,
                         "Lumadoc Lumadoc QZ 10.003.20112 Applications/Lumadoc.app"},
                    Case{"PellixThatRunsAndLumadoc",
                         {"Lumadoc", "Pellix*"},
                         {},
                         notNamed + noLumadocRuns + pellixRuns + beta,
                         "Pellix Pellix Beta 24.1.10 Applications/Pellix.app"},
                    Case{"BothRunningIsLumadocWithTheVersionOfPellix",
                         {"Pellix*", "Lumadoc*"},
                         {},
                         notNamed + lumadocRuns + qz + pellixRuns + beta,
                         "Lumadoc Lumadoc Beta 24.1.10 Applications/Pellix.app",
                         false},
                    Case{"NamedOneGoesBeforeWhatRuns",
                         {"Pellix", "Lumadoc*"},
                         {"/PRODUCT=Pellix", " /track=BETA "},
                         beta + "INFO: Found Lumadoc from Commandline params: ~/Applications/Pellix.app\n",
                         "Pellix Pellix Beta 24.1.10 Applications/Pellix.app"},
                    Case{"NamedTrackIsMissing",
                         {"Lumadoc"},
                         {"/product=lumadoc", "/track=beta"},
                         nothingRuns + lumadocInstalled,
                         "Lumadoc Lumadoc QZ 10.003.20112 Applications/Lumadoc.app"},
                    Case{"OnlyTheProductIsNamed",
                         {"Lumadoc"},
                         {"/product=lumadoc", "/track="},
                         nothingRuns + lumadocInstalled,
                         "Lumadoc Lumadoc QZ 10.003.20112 Applications/Lumadoc.app"}),
    [](const auto &products) { return products.param.name; });
