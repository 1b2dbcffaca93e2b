// Which installation of the product a run looks at: what it logs of that, and what the support side gets.
#include "tests/SilentRun.h"

#include "sample_product/RunningProduct.h"

namespace fs = std::filesystem;
using namespace test_support;
using sample_product::Edition;
using sample_product::RunningProduct;

namespace {

const std::string notNamed = "ERROR: Not Found Lumadoc form Commandline params.\n";
const std::string nothingRuns =
    notNamed + "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.LumadocPE\n"
               "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.Pelx\n"
               "INFO: LumadocRunningInstance.isEmpty\n";
const std::string lumadocRuns =
    "INFO: Lumadoc running instance found for BundleIdentifier: com.brennic.LumadocPE\n";
const std::string pellixRuns =
    "INFO: Lumadoc running instance found for BundleIdentifier: com.brennic.Pelx\n";
const std::string qz = "INFO: FlavourFromAppVersion:10.003.20112 flavour: QZ\n";
const std::string beta = "INFO: FlavourFromAppVersion:24.1.10 flavour: Beta\n";
const std::string lumadocInstalled = "INFO: App url for bundle: com.brennic.LumadocPE is: "
                                     "~/Applications/Lumadoc.app\nINFO: Lumadoc installation found.\n" +
                                     qz;
const std::string lumadocRecord = "Lumadoc QZ 10.003.20112 Applications/Lumadoc.app";
const std::string pellixRecord = "Pellix Beta 24.1.10 Applications/Pellix.app";

struct Case {
    const char *name;
    // Installed, with the versions above; "*" after the name: and running.
    std::vector<std::string> products;
    std::vector<std::string> arguments;
    // What the log says up to the creation of the edition's folder.
    std::string log;
    // Edition, track, version and place, as the support side gets them.
    std::string record;
    bool hasLogs = true;
};

void PrintTo(const Case &products, std::ostream *out) {
    *out << products.name;
}

class Products : public SilentRun, public testing::WithParamInterface<Case> {
protected:
    std::string record() const {
        auto texts = receivedRecord();
        const fs::path place = texts["lumadoc_lumadocinstallpath"];
        return texts["lumadoc_product"] + ' ' + texts["lumadoc_version"] + ' ' +
               texts["lumadoc_versionnumber"] + ' ' + place.lexically_relative(home.path()).native();
    }
};

} // namespace

TEST_P(Products, AreChosenFrom) {
    std::vector<std::unique_ptr<RunningProduct>> running;
    for (const std::string &name : GetParam().products) {
        auto options = smallProduct();
        if (name.starts_with("Pellix"))
            options = {.edition = Edition::pellix, .version = "24.1.10"};
        const auto product = install(options);
        if (name.ends_with('*'))
            running.push_back(std::make_unique<RunningProduct>(product.executable));
    }
    std::vector<std::string> arguments = GetParam().arguments;
    arguments.insert(arguments.begin(), "/silent");
    run(program(arguments));
    EXPECT_EQ(logBetween("INFO: Running without UI based on command-line parameter.\n",
                         "INFO: Directory created: RUN/"),
              GetParam().log);
    const std::string expected = GetParam().record;
    EXPECT_EQ(record(), expected);
    EXPECT_EQ(received().contains(expected.substr(0, expected.find(' ')) + "/LumaLog/Lumadoc-1.log"),
              GetParam().hasLogs);
}

INSTANTIATE_TEST_SUITE_P(
    Each, Products,
    testing::Values(Case{"None",
                         {},
                         {},
                         nothingRuns +
                             "INFO: lumadocInstalledUrls.isEmpty\nINFO: pellixInstalledUrls.isEmpty\n",
                         "Pellix Trunk  ",
                         false},
                    Case{"BothRunningIsLumadocWithTheVersionOfPellix",
                         {"Pellix*", "Lumadoc*"},
                         {},
                         notNamed + lumadocRuns + qz + pellixRuns + beta,
                         "Lumadoc Beta 24.1.10 Applications/Pellix.app",
                         false},
                    Case{"NamedOneGoesBeforeWhatRuns",
                         {"Pellix", "Lumadoc*"},
                         {"/PRODUCT=Pellix", " /track=BETA "},
                         beta + "INFO: Found Lumadoc from Commandline params: ~/Applications/Pellix.app\n",
                         pellixRecord},
                    Case{"NamedTrackIsMissingAndThePaidEditionWins",
                         {"Pellix", "Lumadoc"},
                         {"/product=lumadoc", "/track=beta"},
                         nothingRuns + lumadocInstalled,
                         lumadocRecord}),
    [](const auto &products) { return products.param.name; });
