// Whole runs through the window, from the start of the diagnostics to the end of the program.
#include "tests/WindowRun.h"

#include "sample_product/RunningProduct.h"

#include <regex>

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;
using sample_product::RunningProduct;

namespace {

class WindowWholeRun : public WindowRun {
protected:
    static constexpr char restartTitle[] = "Lumadoc restart required";
    static constexpr char replaceTitle[] = "Confirm Replace";

    fs::path attachments() const { return runFolder() / "Lumadoc/UserFiles"; }
    void expectAttached(const std::string &count) { waitForText(count + " file(s) attached"); }

    void expectSent(const std::string &text, const std::string &email) {
        ASSERT_EQ(service.receipts().size(), 1U);
        const auto items = received();
        const auto record = items.find("Lumadoc/UserEmailFeedback.json");
        ASSERT_NE(record, items.end());
        EXPECT_THAT(record->second.content,
                    testing::MatchesRegex("\\{\"machineid\":\"[0-9a-f]{128}\",\"email\":\"" + email +
                                          "\",\"problemdesc\":\"" + text + "\"\\}"));
    }
};

// Where the diagnostics begin to differ from what every launch logs.
constexpr char started[] = "INFO: Start diagnostics pressed.";

constexpr char wholeRunLog[] =
    "INFO: Start diagnostics pressed. Advanced Log Checkbox: No\n"
    "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.LumadocPE\n"
    "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.Pelx\n"
    "INFO: LumadocRunningInstance.isEmpty\n"
    "INFO: App url for bundle: com.brennic.LumadocPE is: ~/Applications/Lumadoc.app\n"
    "INFO: Lumadoc installation found.\n"
    "INFO: FlavourFromAppVersion:10.003.20112 flavour: QZ\n"
    "INFO: Directory created: RUN/Lumadoc\n"
    "INFO: PropertyList URL: ~/.local/share/Library/Preferences/com.brennic.LumadocPE.plist\n"
    "INFO: Lumalogging dictionary created\n"
    "INFO: Changes synchronized to plist successfully.\n"
    "INFO: ShowRestartLumadocAlert: false\n"
    "INFO: Monitoring Queue initiated.\n"
    "WARNING: Lumadoc running instance not Verified. OldProcessId: \n"
    "INFO: File copied successfully.\n"
    "INFO: File copied successfully.\n"
    "ERROR: Error copying lumaUpdaterTools.log: No such file or directory\n"
    "INFO: Total [\"lumacef\"] files found: 3. Copying: 3 of size 58 kb. MaxFileCopyCount: 100\n"
    "INFO: File created and content written successfully.\n"
    "INFO: Stop diagnostics Queue Completed.\n"
    "INFO: File created and content written successfully.\n"
    "INFO: Removed file with extension: bin\n"
    "INFO: Total files removed based on allowed extensions: 1\n"
    "INFO: Compressed File: lumaMacLog_LOGID_abc.zip\n"
    "INFO: Directory compressed successfully.\n"
    "INFO: Deleted: Lumadoc\n"
    "INFO: File copied successfully.\n"
    "INFO: Deleted: lumaMacLog_LOGID_abc.zip\n"
    "INFO: Compressed file size: SIZE mb\n"
    "INFO: Uploading 0%\n"
    "INFO: Status Code: 200\n"
    "INFO: Response Data: Received.\n"
    "INFO: Directory deleted successfully. Path: RUN\n"
    "INFO: --------------onDisappear triggered, application closed-------------- \n"
    "MALFORMED: \nMALFORMED: \n";

} // namespace

TEST_F(WindowWholeRun, LeadsFromTheStartToTheEnd) {
    const auto product = install();
    open();
    EXPECT_EQ(texts(),
              (std::vector<std::string>{
                  "Brennic Lumadoc Diagnostics",
                  "Lumadoc Diagnostics needs to collect the following information to address the issue",
                  "BASIC LOGS\n• Lumadoc configuration, settings and logs\n"
                  "• System configuration and settings"}));
    press("Start diagnostics");
    waitForText(reproduceText);
    press("Stop diagnostics");
    window().waitForFocus("text", descriptionName);
    EXPECT_THAT(texts(), testing::IsSupersetOf(
                             {"Logs generated successfully.", "Use the below Log ID for your reference:"}));
    describe("It stopped");
    writeEmail("someone@brennic.example");
    press("Share logs");
    waitForText(sentText);
    expectSent("It stopped", "someone@brennic.example");
    const auto items = received();
    EXPECT_EQ(items.at("Lumadoc/LumaLog/Lumadoc-1.log").content,
              readFile(product.logs / "Lumadoc-1.log").toStdString());
    EXPECT_TRUE(items.contains("Lumadoc/DetailedInfo.json"));
    // The run's folder goes once the archive is sent.
    EXPECT_EQ(namesIn("Output"), std::vector<std::string>());
    EXPECT_EQ(namesIn("temp"), std::vector<std::string>());
    window().waitForFocus("push button", "Close");
    window().click("push button", "Close");
    expectTheEnd();
    EXPECT_EQ(std::regex_replace(logFrom(started), std::regex("size: [0-9.]+ mb"), "size: SIZE mb"),
              wholeRunLog);
}

TEST_F(WindowWholeRun, NeedsNoPointer) {
    install();
    open();
    window().waitForFocus("push button", "Start diagnostics");
    // Back over the toggles, which Space works, and round again.
    go("shift+Tab", "check box", "System apps information");
    go("shift+Tab", "check box", "Advanced logs");
    window().key("space");
    waitForCheck("Advanced logs");
    window().key("space");
    waitForCheck("Advanced logs", false);
    go("Tab", "check box", "System apps information");
    go("Tab", "push button", "Start diagnostics");
    window().key("Return");
    waitForButton("Stop diagnostics");
    std::this_thread::sleep_for(doubleClick);
    go("space", "text", descriptionName);
    describe("By keys");
    go("Tab", "text", emailName);
    window().type("keys@brennic.example");
    go("Tab", "push button", attachName);
    go("shift+Tab", "text", emailName);
    go("shift+Tab", "text", descriptionName);
    go("shift+Tab", "push button", "Copy ID");
    go("shift+Tab", "push button", "Share logs");
    go("Return", "push button", "Close");
    expectSent("By keys", "keys@brennic.example");
    window().key("Return");
    expectTheEnd();
}

TEST_F(WindowWholeRun, TheStandaloneProgramEndsAtTheLogId) {
    makeStandalone();
    install();
    open();
    press("Start diagnostics");
    press("Stop diagnostics");
    window().waitForFocus("push button", "Close");
    // It has been scrolled into sight; the rest is above it.
    EXPECT_FALSE(description().isEditable());
    EXPECT_FALSE(email().isEditable());
    EXPECT_FALSE(window().find("push button", attachName).isEnabled());
    EXPECT_FALSE(window().shows("push button", "Share logs"));
    window().click("push button", "Close");
    expectTheEnd();
    EXPECT_EQ(service.connections(), 0U);
}

TEST_F(WindowWholeRun, ARunningProductOfTheReleaseTrackIsToBeRestarted) {
    REQUIRE_OWN_NAMESPACES();
    const auto product = install();
    RunningProduct running(product.executable);
    open();
    press("Start diagnostics");
    window().find("dialog", restartTitle);
    waitForText("We suggest restarting Lumadoc immediately to gather detailed logs and then perform the "
                "problematic steps.");
    window().waitForFocus("push button", "OK");
    // The run goes on while the alert is up.
    EXPECT_TRUE(window().shows("push button", "Stop diagnostics"));
    window().key("Return");
    window().waitUntilGone("dialog", restartTitle);
    EXPECT_THAT(log(), testing::HasSubstr("INFO: ShowRestartLumadocAlert: true\n"));
    // The keyboard is where it was.
    window().waitForFocus("push button", "Stop diagnostics");
    window().key("Return");
    window().waitForFocus("text", descriptionName);
}

// Takes as long as the sample of the product does.
TEST_F(WindowWholeRun, AdvancedLogsBringBothReports) {
    REQUIRE_OWN_NAMESPACES();
    auto options = smallProduct();
    options.version = "10.003.10112";
    const auto product = install(options);
    RunningProduct running(product.executable);
    open();
    window().click("check box", "Advanced logs");
    window().click("check box", "System apps information");
    press("Start diagnostics");
    press("Stop diagnostics");
    waitForText("Capturing Lumadoc data dump. Please wait for a few minutes.");
    window().waitForFocus("text", descriptionName);
    describe("It is slow");
    press("Share logs");
    waitForText(sentText);
    const auto items = received();
    ASSERT_TRUE(items.contains("Lumadoc/spinReport.txt"));
    const std::string sample = items.at("Lumadoc/spinReport.txt").content;
    EXPECT_THAT(sample, testing::StartsWith("Process sample by Lumadoc Diagnostics\n"));
    EXPECT_THAT(sample, testing::HasSubstr(product.executable.native()));
    EXPECT_THAT(sample, testing::ContainsRegex("Thread [0-9]+"));
    ASSERT_TRUE(items.contains("Lumadoc/sysinfo.txt"));
    const std::string applications = items.at("Lumadoc/sysinfo.txt").content;
    EXPECT_THAT(applications, testing::StartsWith("Applications:\n"));
    EXPECT_THAT(applications, testing::HasSubstr(product.bundle.native()));
    EXPECT_THAT(log(), testing::HasSubstr("INFO: No SpinResult debug description\n"));
}

TEST_F(WindowWholeRun, FilesAreAttachedReplacedRemovedAndSent) {
    install();
    open();
    capture();
    writeFile(home.path() / "one.png", "first");
    writeFile(home.path() / "two.pdf", "second");
    pick("one.png");
    expectAttached("1");
    window().click("push button", "Remove attached files");
    waitForNoText("1 file(s) attached");
    EXPECT_FALSE(fs::exists(attachments()));
    EXPECT_FALSE(window().shows("push button", "Remove attached files"));
    pick("\"one.png\" \"two.pdf\"");
    expectAttached("2");
    // A name clash is for the user to decide.
    writeFile(home.path() / "one.png", "third");
    pick("one.png");
    window().find("dialog", replaceTitle);
    waitForText("File one.png already exists. Do you want to replace it?");
    window().waitForFocus("push button", "Cancel");
    EXPECT_EQ(readFile(attachments() / "one.png"), "first");
    window().click("push button", "Replace");
    window().waitUntilGone("dialog", replaceTitle);
    expectAttached("2");
    window().clickAt(description());
    window().waitForFocus("text", descriptionName);
    describe("Attached");
    press("Share logs");
    waitForText(sentText);
    const auto items = received();
    EXPECT_EQ(items.at("Lumadoc/UserFiles/one.png").content, "third");
    EXPECT_EQ(items.at("Lumadoc/UserFiles/two.pdf").content, "second");
}
