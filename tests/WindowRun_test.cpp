// Whole runs through the window, from the start of the diagnostics to the end of the program: by pointer and
// by keys.
#include "tests/WindowRun.h"

#include "sample_product/RunningProduct.h"
#include "test_support/StandIns.h"

namespace fs = std::filesystem;
using namespace test_support;
using sample_product::RunningProduct;

namespace {

class WindowWholeRun : public PicturedRun {
protected:
    // What can be worked and what can be read, and whatever is without a name; without the bars that scroll
    // and what only holds others.
    std::vector<std::string> shown() {
        std::vector<std::string> lines;
        for (const Control &control : window().controls()) {
            const bool isOmitted =
                control.role == "scroll bar" || control.role == "panel" || control.role == "frame";
            if (!isOmitted || control.name.empty())
                lines.push_back(control.role + ": " + control.name +
                                (control.isEnabled() ? "" : " (disabled)") +
                                (control.isChecked() ? " (checked)" : ""));
        }
        return lines;
    }
    // Waits for it, below the title: a step changes the window's parts one after the other.
    void expectShown(std::vector<testing::Matcher<std::string>> lines) {
        lines.insert(lines.begin(), {"heading: Brennic Lumadoc Diagnostics",
                                     "label: Lumadoc Diagnostics needs to collect the following information "
                                     "to address the issue"});
        const testing::Matcher<std::vector<std::string>> all = testing::ElementsAreArray(lines);
        waitUntil([&] { return all.Matches(shown()); });
        EXPECT_THAT(shown(), all);
    }
};

} // namespace

// Every control has its role, name and state for a screen reader, in every step.
TEST_F(WindowWholeRun, IsStoppedFailsAndIsThenSentWithItsAttachments) {
    REQUIRE_OWN_NAMESPACES();
    const auto product = install({.logBytes = 6'000'000, .logFiles = 6, .incompressible = true});
    const StandInProgram zip("zip", waitingFor("pack") + "exec \"$real\" \"$@\"\n");
    const StandInProgram opener("xdg-open");
    service.setBehaviour({.stopReadingAfterBytes = 2'500'000}, 1);
    service.setBehaviour({.status = 500}, 1);
    expectUploadError("-999");
    expectUploadError("1");
    open();
    const std::string heading = "heading: BASIC LOGS";
    const std::string list = "label: • Lumadoc configuration, settings and logs\n"
                             "• System configuration and settings";
    expectShown({heading, list, "check box: Advanced logs", "check box: System apps information",
                 "push button: Start diagnostics"});
    picture("start");
    press("Start diagnostics");
    const std::string reproduce =
        "notification: Please reproduce the steps that led to the issue and then select "
        "Stop diagnostics";
    expectShown({heading, list, "check box: Advanced logs (disabled)",
                 "check box: System apps information (disabled)", "push button: Stop diagnostics",
                 reproduce});
    picture("reproducing");
    press("Stop diagnostics");
    const std::string logId = "text: Log ID";
    const std::string generated = "notification: Logs generated successfully.";
    const std::string reference = "label: Use the below Log ID for your reference:";
    const std::string limits = "label: (Max 10 MB; Do not include any sensitive information)";
    const std::string description = ": " + descriptionName;
    const std::string email = ": " + emailName;
    const std::string attach = "push button: " + attachName;
    const std::string remove = "Remove attached files";
    expectShown({"push button: Share logs (disabled)", generated, reference, logId, "push button: Copy ID",
                 "link: view logs (disabled)", "label" + description, "text" + description, "label" + email,
                 "text" + email, attach, limits});
    window().waitForFocus("text", descriptionName);
    picture("form");
    writeFile(home.path() / "one.png", "first");
    writeFile(home.path() / "two.pdf", "second");
    pick({"one.png"});
    waitForText("1 file(s) attached");
    picture("attached-first");
    window().clickAt(window().find("text", descriptionName));
    window().type("x");
    window().key("BackSpace");
    waitForText("Desciption is required");
    picture("required");
    describe("Saving stops at 80 percent.");
    window().key("ctrl+a");
    // An entry below it would have the keyboard.
    window().movePointerAway();
    go("shift+F10", "popup menu", "Edit");
    picture("menu");
    go("Escape", "text", descriptionName);
    writeEmail("someone@brennic.example");

    const fs::path attachments = runFolder() / "Lumadoc/UserFiles";
    window().click("push button", remove);
    window().waitUntilGone("push button", remove);
    EXPECT_FALSE(fs::exists(attachments));
    pick({"one.png", "two.pdf"});
    waitForText("2 file(s) attached");
    // What is not attached is named with its reason.
    writeFile(home.path() / "notes.txt", "private");
    fs::create_symlink("notes.txt", home.path() / "harmless.png");
    pick({"harmless.png"});
    waitForText("harmless.png: Only pictures and documents can be attached");
    picture("not-attached-alert");
    window().click("push button", "OK");
    window().waitUntilGone("dialog", "Files Not Attached");
    writeFile(home.path() / "large.png", QByteArray(11 << 20, 'x'));
    pick({"large.png"});
    waitForText("The total file size should not exceed 10 MB.");
    picture("size-alert");
    window().click("push button", "OK");
    window().waitUntilGone("dialog", "File Size Error");
    // A name clash is for the user to decide, before anything else.
    writeFile(home.path() / "one.png", "third");
    pick({"one.png"});
    waitForText("File one.png already exists. Do you want to replace it?");
    window().waitForFocus("push button", "Cancel");
    EXPECT_EQ(readFile(attachments / "one.png"), "first");
    picture("replace-alert");
    window().clickAt(window().find("push button", "Share logs"));
    EXPECT_TRUE(window().shows("dialog", "Confirm Replace"));
    window().click("push button", "Replace");
    window().waitUntilGone("dialog", "Confirm Replace");
    picture("filled");

    press("Share logs");
    waitForText("Compressing logs.");
    picture("compressing");
    writeFile(home.path() / "pack", "");
    ASSERT_TRUE(service.waitForBodyBytes(2'000'000, std::chrono::seconds(30)));
    picture("uploading");
    press("Stop upload");
    waitForText("Upload cancelled.");
    picture("cancelled");
    press("Share logs");
    window().waitUntilGone("notification", "Upload cancelled.");
    expectShown({"push button: Share logs", "label" + description, "text" + description, "label" + email,
                 "text" + email + " (disabled)", attach + " (disabled)", limits,
                 "notification: 2 file(s) attached", "push button: " + remove + " (disabled)",
                 "notification: Error sharing logs.", "label: You can", "link: view the logs",
                 "label: and share it with us at", "link: lumadoc-support@brennic.example"});
    picture("failed");
    window().click("link", "view the logs");
    window().click("link", "lumadoc-support@brennic.example");
    // By the keyboard as well.
    go("shift+Tab", "link", "view the logs");
    window().key("Return");
    EXPECT_TRUE(waitUntil([&] { return opener.calls().size() >= 3; }));
    const testing::Matcher<std::string> mail = testing::MatchesRegex(
        "mailto:lumadoc-support@brennic.example\\?subject=.*Local%20Log%20ID:%20[0-9a-f-]{36}%0ADescription:"
        "%20Saving%20stops%20at%2080%20percent\\.%0AEmail%20address:%20someone@brennic.example%0A");
    const auto opened = [](const testing::Matcher<std::string> &target) {
        return testing::ElementsAre("/usr/bin/xdg-open", target);
    };
    const std::string folder = runFolder();
    EXPECT_THAT(opener.calls(), testing::UnorderedElementsAre(opened(folder), opened(mail), opened(folder)));
    press("Share logs");
    expectShown({generated, reference, logId, "push button: Copy ID", "link: view logs (disabled)",
                 "notification: " + sentText, "push button: Close"});
    picture("done");
    expectFeedback("Saving stops at 80 percent\\.", "someone@brennic.example");
    auto items = received();
    EXPECT_EQ(items["Lumadoc/LumaLog/Lumadoc-1.log"].content,
              readFile(product.logs / "Lumadoc-1.log").toStdString());
    EXPECT_TRUE(items.contains("Lumadoc/DetailedInfo.json"));
    EXPECT_EQ(items["Lumadoc/UserFiles/one.png"].content, "third");
    EXPECT_EQ(items["Lumadoc/UserFiles/two.pdf"].content, "second");
    // The run's folder goes once the archive is sent.
    EXPECT_EQ(namesIn("Output"), std::vector<std::string>());
    EXPECT_EQ(namesIn("temp"), std::vector<std::string>());
    window().waitForFocus("push button", "Close");
    window().click("push button", "Close");
    expectTheEnd();
}

// With an alert, files, an upload that is refused and one that is stopped.
TEST_F(WindowWholeRun, NeedsNoPointer) {
    REQUIRE_OWN_NAMESPACES();
    RunningProduct running(install().executable);
    for (const char *name : {"one.png", "two.pdf"})
        writeFile(home.path() / name, "content");
    service.setBehaviour({.status = 500}, 1);
    service.setBehaviour({.stopReadingAfterBytes = 1000}, 1);
    expectUploadError("1");
    expectUploadError("-999");
    open();
    window().waitForFocus("push button", "Start diagnostics");
    // Back over the toggles, which Space works, and round again.
    go("shift+Tab", "check box", "System apps information");
    go("shift+Tab", "check box", "Advanced logs");
    window().key("space");
    waitForCheck("Advanced logs");
    picture("keys-toggle");
    go("Tab", "check box", "System apps information");
    window().key("space");
    waitForCheck("System apps information");
    window().key("space");
    waitForCheck("System apps information", false);
    go("Tab", "push button", "Start diagnostics");
    // The run goes on below the alert, and nothing there can be reached.
    go("Return", "push button", "OK");
    go("Tab", "notification",
       "We suggest restarting Lumadoc immediately to gather detailed logs and then perform the problematic "
       "steps.");
    go("Tab", "push button", "OK");
    go("Return", "push button", "Stop diagnostics");
    EXPECT_FALSE(window().shows("dialog", "Lumadoc restart required"));
    // Then there is nothing to sample.
    running.stop();
    std::this_thread::sleep_for(doubleClick);
    go("space", "text", descriptionName);
    waitForText("The advanced logs have no data dump of Lumadoc.");
    describe("By keys");
    picture("no-sample");
    go("Tab", "text", emailName);
    window().type("keys@brennic.example");
    const std::string remove = "Remove attached files";
    for (const bool isFirst : {true, false}) {
        go("Tab", "push button", attachName);
        go("Return", "push button", "Applications/");
        go("Down", "push button", "Brennic_Lumadoc_Diagnostics.app/");
        go("Down", "push button", "runtime/");
        go("Down", "check box", "one.png");
        window().key("space");
        waitForCheck("one.png");
        go("Down", "check box", "two.pdf");
        if (isFirst) {
            window().key("Return");
            waitForCheck("two.pdf");
            picture("keys-panel");
        }
        go("Tab", "push button", "Cancel");
        go("Tab", "push button", isFirst ? "Attach 2 files" : "Attach");
        go("Return", "push button", attachName);
        waitForText(isFirst ? "2 file(s) attached" : "1 file(s) attached");
        if (isFirst) {
            go("Tab", "push button", remove);
            go("space", "push button", attachName);
            window().waitUntilGone("push button", remove);
        }
        go("shift+Tab", "text", emailName);
    }
    go("shift+Tab", "text", descriptionName);
    go("shift+Tab", "push button", "Copy ID");
    // The menu of a text: before anything is selected there is only that to do.
    go("shift+Tab", "text", "Log ID");
    go("shift+F10", "popup menu", "Edit");
    go("Down", "menu item", "Select all");
    go("Return", "text", "Log ID");
    window().key("Menu");
    go("Down", "menu item", "Copy");
    go("Return", "text", "Log ID");
    go("Tab", "push button", "Copy ID");
    go("Tab", "text", descriptionName);
    window().key("End");
    window().key("ctrl+v");
    go("shift+Tab", "push button", "Copy ID");
    go("shift+Tab", "text", "Log ID");
    go("shift+Tab", "push button", "Share logs");
    window().key("Return");
    waitForText("Error sharing logs.");
    go("shift+Tab", "link", "lumadoc-support@brennic.example");
    picture("keys-link");
    go("Tab", "push button", "Share logs");
    std::this_thread::sleep_for(doubleClick);
    go("Return", "push button", "Stop upload");
    std::this_thread::sleep_for(doubleClick);
    window().key("space");
    waitForText("Upload cancelled.");
    std::this_thread::sleep_for(doubleClick);
    go("Return", "push button", "Close");
    EXPECT_EQ(received().count("Lumadoc/UserFiles/one.png"), 1U);
    expectFeedback("By keys[0-9a-f-]{36}", "keys@brennic.example");
    window().key("Return");
    expectTheEnd();
}

TEST_F(WindowWholeRun, WithoutANetworkAsksForOne) {
    REQUIRE_OWN_NAMESPACES();
    install();
    expectError("Upload error code: -1009");
    expectError("Upload error domain: NSURLErrorDomain");
    expectError("No internet connection");
    open(enterNoNetwork);
    share();
    waitForText("Please ensure you have access to the internet.");
    picture("offline");
    closeAndExpectTheEnd();
}

TEST_F(WindowWholeRun, OfTheStandaloneProgramEndsAtTheLogId) {
    bundle.setValue("LumamonStandaloneVersion", "<true/>");
    install();
    open();
    press("Start diagnostics");
    press("Stop diagnostics");
    window().waitForFocus("push button", "Close");
    // It has been scrolled into sight; the rest is above it.
    for (const std::string &name : {descriptionName, emailName})
        EXPECT_FALSE(window().find("text", name).isEditable());
    EXPECT_FALSE(window().find("push button", attachName).isEnabled());
    EXPECT_FALSE(window().shows("push button", "Share logs"));
    picture("standalone");
    window().click("push button", "Close");
    expectTheEnd();
    EXPECT_EQ(service.connections(), 0U);
}
