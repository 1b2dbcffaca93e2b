// Whole runs through the window, from the start of the diagnostics to the end of the program: by pointer, by
// keys, and by a screen reader.
#include "tests/WindowRun.h"

#include "sample_product/RunningProduct.h"
#include "test_support/StandIns.h"

namespace fs = std::filesystem;
using namespace test_support;
using sample_product::RunningProduct;

namespace {

// In the appearance and at the scale that pictures are wanted in.
bool isPictured(const char *look) {
    const char *names = std::getenv("LUMAMON_SCREENSHOTS");
    return names != nullptr && fs::path(names).filename().native().find(look) != std::string::npos;
}

class WindowWholeRun : public WindowRun {
protected:
    WindowWholeRun()
        : WindowRun(isPictured("-200") ? 2 : 1) {
        if (isPictured("dark-"))
            portal.emplace(bus, Portal::ColorScheme::dark);
    }

    // What can be worked and what can be read, without the bars that scroll and what only holds others.
    // Nothing is without a name.
    std::vector<std::string> shown() {
        std::vector<std::string> lines;
        for (const Control &control : window().controls()) {
            EXPECT_NE(control.name, "") << control;
            if (control.role != "scroll bar" && control.role != "panel" && control.role != "frame")
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

    void expectFeedback(const std::string &text, const std::string &email) {
        EXPECT_THAT(received()["Lumadoc/UserEmailFeedback.json"].content,
                    testing::MatchesRegex("\\{\"machineid\":\"[0-9a-f]{128}\",\"email\":\"" + email +
                                          "\",\"problemdesc\":\"" + text + "\"\\}"));
    }

    std::optional<Portal> portal;
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
    window().type("x");
    window().key("BackSpace");
    waitForText("Desciption is required");
    picture("required");
    describe("Saving stops at 80 percent.");
    window().key("ctrl+a");
    go("shift+F10", "popup menu", "Edit");
    picture("menu");
    go("Escape", "text", descriptionName);
    writeEmail("someone@brennic.example");

    const fs::path attachments = runFolder() / "Lumadoc/UserFiles";
    writeFile(home.path() / "one.png", "first");
    writeFile(home.path() / "two.pdf", "second");
    pick({"one.png"});
    waitForText("1 file(s) attached");
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
    // A name clash is for the user to decide.
    writeFile(home.path() / "one.png", "third");
    pick({"one.png"});
    waitForText("File one.png already exists. Do you want to replace it?");
    window().waitForFocus("push button", "Cancel");
    EXPECT_EQ(readFile(attachments / "one.png"), "first");
    picture("replace-alert");
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
    window().findEnabled("push button", "Stop diagnostics");
    std::this_thread::sleep_for(doubleClick);
    go("space", "text", descriptionName);
    describe("By keys");
    go("Tab", "text", emailName);
    window().type("keys@brennic.example");
    go("Tab", "push button", attachName);
    go("shift+Tab", "text", emailName);
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
    go("Return", "push button", "Close");
    expectFeedback("By keys[0-9a-f-]{36}", "keys@brennic.example");
    window().key("Return");
    expectTheEnd();
}

// Takes as long as the sample of the running product does, which is to be restarted first.
TEST_F(WindowWholeRun, WithAdvancedLogsIsWorkedByAScreenReader) {
    REQUIRE_OWN_NAMESPACES();
    const auto product = install();
    RunningProduct running(product.executable);
    open();
    for (const char *name : {"Advanced logs", "System apps information"}) {
        EXPECT_TRUE(window().work(window().findEnabled("check box", name)));
        waitForCheck(name);
    }
    window().find("heading", "ADVANCED LOGS");
    waitForText("• Full Lumadoc data dump\n• System apps version information");
    picture("toggles");
    EXPECT_TRUE(window().work(window().findEnabled("push button", "Start diagnostics")));

    const std::string restart = "Lumadoc restart required";
    const Control dialog = window().find("dialog", restart);
    const std::string advice = "We suggest restarting Lumadoc immediately to gather detailed logs and then "
                               "perform the problematic steps.";
    waitForText(advice);
    window().waitForFocus("push button", "OK");
    const Control ok = window().find("push button", "OK");
    EXPECT_GE(ok.extents.x, dialog.extents.x);
    EXPECT_LE(ok.extents.right(), dialog.extents.right());
    picture("restart-alert");
    // The run goes on below the alert, and nothing there can be reached.
    go("Tab", "notification", advice);
    go("Tab", "push button", "OK");
    window().clickAt(window().find("push button", "Stop diagnostics"));
    EXPECT_TRUE(window().shows("dialog", restart));
    EXPECT_THAT(log(), testing::AllOf(testing::HasSubstr("Advanced Log Checkbox: Yes"),
                                      testing::HasSubstr("INFO: ShowRestartLumadocAlert: true\n"),
                                      testing::Not(testing::HasSubstr("Monitoring Queue initiated."))));
    // The keyboard goes back to where it was.
    go("Return", "push button", "Stop diagnostics");
    EXPECT_FALSE(window().shows("dialog", restart));
    // The choice is fixed by now.
    window().work(window().find("check box", "Advanced logs"));
    EXPECT_FALSE(window().find("check box", "Advanced logs").isEnabled());
    waitForCheck("Advanced logs");

    EXPECT_TRUE(window().work(window().findEnabled("push button", "Stop diagnostics")));
    waitForText("Capturing Lumadoc data dump. Please wait for a few minutes.");
    picture("capturing");
    window().waitForFocus("text", descriptionName);
    describe("It is slow");
    EXPECT_TRUE(window().work(window().findEnabled("push button", "Share logs")));
    waitForText(sentText);
    auto items = received();
    EXPECT_THAT(items["Lumadoc/spinReport.txt"].content,
                testing::AllOf(testing::StartsWith("Process sample by Lumadoc Diagnostics\n"),
                               testing::HasSubstr(product.executable.native()),
                               testing::ContainsRegex("Thread [0-9]+")));
    EXPECT_THAT(
        items["Lumadoc/sysinfo.txt"].content,
        testing::AllOf(testing::StartsWith("Applications:\n"), testing::HasSubstr(product.bundle.native())));
    EXPECT_THAT(log(), testing::HasSubstr("INFO: No SpinResult debug description\n"));
    EXPECT_TRUE(window().work(window().findEnabled("push button", "Close")));
    expectTheEnd();
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
