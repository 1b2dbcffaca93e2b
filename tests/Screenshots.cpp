// Pictures of the window in each of its states, in both appearances and at two scales: it drives the shipped
// program through them. Into the folder that LUMAMON_SCREENSHOTS names.
#include "tests/WindowRun.h"

#include "sample_product/RunningProduct.h"
#include "test_support/StandIns.h"

#include <cstdlib>

using namespace support_service;
using namespace test_support;
using sample_product::RunningProduct;

namespace {

struct Look {
    const char *name;
    Portal::ColorScheme colorScheme;
    int scale;
};

class Screenshots : public WindowRun, public testing::WithParamInterface<Look> {
protected:
    Screenshots()
        : WindowRun(DisplaySize{1400, 1200})
        , portal(bus, GetParam().colorScheme) {
        scale = GetParam().scale;
    }

    // Once two pictures in a row are the same, or a moving bar has gone on for long enough.
    void take(const std::string &state) {
        window().movePointerAway();
        QImage picture;
        for (int turn = 0; turn < 9; ++turn) {
            const QImage next = window().screen().picture(window().window().extents);
            const bool isStill = next == picture;
            picture = next;
            if (isStill && turn > 2)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
        }
        const char *folder = std::getenv("LUMAMON_SCREENSHOTS");
        ASSERT_NE(folder, nullptr);
        const std::string file = std::string(folder) + '/' + GetParam().name + '-' + state + ".png";
        ASSERT_TRUE(picture.save(QString::fromStdString(file))) << file;
    }

    Portal portal;
};

} // namespace

TEST_P(Screenshots, OfAWholeRun) {
    const auto product = install({.logBytes = 6'000'000, .logFiles = 6, .incompressible = true});
    RunningProduct running(product.executable);
    const StandInProgram zip("zip", waitingFor("pack") + "exec \"$real\" \"$@\"\n");
    holdCapture();
    open();
    take("start");
    window().click("check box", "Advanced logs");
    window().click("check box", "System apps information");
    take("toggles");
    press("Start diagnostics");
    window().waitForFocus("push button", "OK");
    take("restart-alert");
    window().key("Return");
    window().waitUntilGone("push button", "OK");
    take("reproducing");
    press("Stop diagnostics");
    waitForText("Capturing system configuration and settings.");
    take("capturing");
    writeFile(home.path() / "go-on", "");
    window().waitForFocus("text", descriptionName);
    take("form");
    window().type("x");
    window().key("BackSpace");
    waitForText("Desciption is required");
    take("required");
    window().clickAt(window().find("text", descriptionName));
    describe("Saving a large document stops at about 80 percent, and the window does not answer any more.");
    writeEmail("someone@brennic");
    writeFile(home.path() / "window.png", "1");
    writeFile(home.path() / "report.pdf", "1");
    pick("\"window.png\" \"report.pdf\"");
    waitForText("2 file(s) attached");
    take("filled");
    pick("window.png");
    window().waitForFocus("push button", "Cancel");
    take("replace-alert");
    window().click("push button", "Replace");
    waitForText("2 file(s) attached");
    service.setBehaviour({.stopReadingAfterBytes = 2'500'000}, 1);
    service.setBehaviour({.status = 500}, 1);
    press("Share logs");
    waitForText("Compressing logs.");
    take("compressing");
    writeFile(home.path() / "pack", "");
    ASSERT_TRUE(service.waitForBodyBytes(2'000'000, std::chrono::seconds(30)));
    take("uploading");
    expectUploadError("-999");
    press("Stop upload");
    waitForText("Upload cancelled.");
    take("cancelled");
    expectUploadError("1");
    press("Share logs");
    window().waitUntilGone("notification", "Upload cancelled.");
    waitForText("Error sharing logs.");
    take("failed");
    press("Share logs");
    waitForText(sentText);
    take("done");
}

TEST_P(Screenshots, WithoutANetwork) {
    install();
    expectUploadError("-1009");
    auto options = program({});
    options.beforeStart = enterNoNetwork;
    open(options);
    share();
    waitForText("Error sharing logs.");
    take("no-network");
}

TEST_P(Screenshots, OfAnArchiveThatIsTooLarge) {
    install();
    expectError("Logs Size is large.");
    const StandInProgram zip("zip", "exec truncate -s 104857600 \"$3\"\n");
    open();
    share();
    waitForText("Error sharing logs.");
    take("too-large");
}

TEST_P(Screenshots, OfTheStandaloneProgram) {
    makeStandalone();
    install();
    open();
    press("Start diagnostics");
    press("Stop diagnostics");
    window().waitForFocus("push button", "Close");
    take("standalone");
}

INSTANTIATE_TEST_SUITE_P(Looks, Screenshots,
                         testing::Values(Look{"light-100", Portal::ColorScheme::light, 1},
                                         Look{"dark-100", Portal::ColorScheme::dark, 1},
                                         Look{"light-200", Portal::ColorScheme::light, 2},
                                         Look{"dark-200", Portal::ColorScheme::dark, 2}));
