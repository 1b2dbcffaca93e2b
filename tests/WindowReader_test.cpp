// A whole run as a person has it who neither sees nor points nor types: everything is read, written and
// worked over the accessibility bus.
#include "sample_product/RunningProduct.h"
#include "test_support/StandIns.h"
#include "tests/WindowRun.h"

#include <set>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

class WindowReader : public PicturedRun {
protected:
    // Two presses of the same button are no double press.
    void work(const std::string &role, const std::string &name) {
        const Control control = window().findEnabled(role, name);
        if (!m_worked.insert(control.path).second)
            std::this_thread::sleep_for(doubleClick);
        EXPECT_TRUE(window().work(control)) << name;
    }
    void workButton(const std::string &name) { work("push button", name); }

    Control box(const std::string &name) { return window().find("text", name); }
    // What the rules leave of a text, or of one that is put into it.
    void expectFilled(const std::string &name, const std::string &text, const std::string &left) {
        EXPECT_TRUE(reader().fill(box(name), text));
        EXPECT_EQ(window().textOf(box(name)), left);
    }
    void expectInserted(const std::string &name, int place, const std::string &text,
                        const std::string &left) {
        EXPECT_TRUE(reader().insert(box(name), place, text));
        EXPECT_EQ(window().textOf(box(name)), left);
    }
    const Accessibility &reader() { return window().accessibility(); }

    // The rules of the boxes hold for what comes in this way.
    void expectRules() {
        expectFilled(descriptionName, " ", "");
        waitForText("Desciption is required");
        EXPECT_FALSE(window().find("push button", "Share logs").isEnabled());
        expectFilled(descriptionName, std::string(2500, 'x'), std::string(2000, 'x'));
        expectInserted(descriptionName, 5, "yy", "xxxxxyy" + std::string(1993, 'x'));
        waitForText("2000 of 2000 characters");
        expectFilled(emailName, std::string(50, 'x'), std::string(40, 'x'));
        waitForText("Invalid email address");
        picture("at-the-limits");
        expectFilled(emailName, " some one@brennic.example\n", "someone@brennic.example");
        window().waitUntilGone("notification", "Invalid email address");
        expectFilled(descriptionName, "It is ", "It is ");
        EXPECT_EQ(reader().caretIn(box(descriptionName)), 6);
        expectInserted(descriptionName, 6, "slow", "It is slow");
    }

    // Whether or not the program says that it was done.
    void expectFixed(const std::string &name) {
        const std::string text = window().textOf(box(name));
        reader().fill(box(name), "changed");
        reader().insert(box(name), 0, "changed");
        EXPECT_EQ(window().textOf(box(name)), text) << name;
    }

    void attach(const std::vector<std::string> &names) {
        workButton(attachName);
        for (const std::string &name : names) {
            work("check box", name);
            waitForCheck(name);
        }
        workButton(names.size() == 1 ? "Attach" : "Attach 2 files");
    }

private:
    std::set<std::string> m_worked;
};

} // namespace

// Takes as long as the sample of the running product does, which is to be restarted first.
TEST_F(WindowReader, WorksAWholeRunOverTheBusAlone) {
    REQUIRE_OWN_NAMESPACES();
    const auto product = install();
    const sample_product::RunningProduct running(product.executable);
    const StandInProgram hands("xdotool");
    const StandInProgram opener("xdg-open");
    service.setBehaviour({.status = 500}, 1);
    service.setBehaviour({.stopReadingAfterBytes = 1000}, 1);
    expectUploadError("1");
    expectUploadError("-999");
    open();
    for (const char *name : {"Advanced logs", "System apps information"}) {
        work("check box", name);
        waitForCheck(name);
    }
    window().find("heading", "ADVANCED LOGS");
    waitForText("• Full Lumadoc data dump\n• System apps version information");
    picture("toggles");
    workButton("Start diagnostics");
    const Control dialog = window().find("dialog", "Lumadoc restart required");
    waitForText("We suggest restarting Lumadoc immediately to gather detailed logs and then perform the "
                "problematic steps.");
    window().waitForFocus("push button", "OK");
    const Control ok = window().find("push button", "OK");
    EXPECT_GE(ok.extents.x, dialog.extents.x);
    EXPECT_LE(ok.extents.right(), dialog.extents.right());
    picture("restart-alert");
    // What is below the alert cannot be worked.
    std::this_thread::sleep_for(doubleClick);
    window().work(window().find("push button", "Stop diagnostics"));
    window().waitForFocus("push button", "OK");
    EXPECT_THAT(log(), testing::AllOf(testing::HasSubstr("Advanced Log Checkbox: Yes"),
                                      testing::HasSubstr("INFO: ShowRestartLumadocAlert: true\n"),
                                      testing::Not(testing::HasSubstr("Monitoring Queue initiated."))));
    workButton("OK");
    window().waitUntilGone("dialog", "Lumadoc restart required");
    // The choice is fixed by now.
    window().work(window().find("check box", "Advanced logs"));
    EXPECT_FALSE(window().find("check box", "Advanced logs").isEnabled());
    waitForCheck("Advanced logs");
    workButton("Stop diagnostics");
    waitForText("Capturing Lumadoc data dump. Please wait for a few minutes.");
    picture("capturing");

    window().waitForFocus("text", descriptionName);
    EXPECT_TRUE(reader().grabFocus(box(emailName)));
    window().waitForFocus("text", emailName);
    expectRules();
    writeFile(home.path() / "one.png", "first");
    writeFile(home.path() / "two.pdf", "second");
    attach({"one.png", "two.pdf"});
    waitForText("2 file(s) attached");
    workButton("Remove attached files");
    window().waitUntilGone("push button", "Remove attached files");
    attach({"one.png"});
    waitForText("1 file(s) attached");
    writeFile(home.path() / "one.png", "third");
    attach({"one.png"});
    waitForText("File one.png already exists. Do you want to replace it?");
    workButton("Replace");
    window().waitUntilGone("dialog", "Confirm Replace");

    workButton("Share logs");
    waitForText("Error sharing logs.");
    picture("refused");
    for (const std::string &name : {descriptionName, emailName})
        expectFixed(name);
    work("link", "view the logs");
    EXPECT_TRUE(waitUntil([&] { return opener.calls().size() == 1; }));
    workButton("Share logs");
    window().find("push button", "Stop upload");
    picture("uploading-again");
    workButton("Stop upload");
    waitForText("Upload cancelled.");
    picture("refused-then-cancelled");
    workButton("Share logs");
    waitForText(sentText);
    expectFeedback("It is slow", "someone@brennic.example");
    auto items = received();
    EXPECT_EQ(items["Lumadoc/UserFiles/one.png"].content, "third");
    EXPECT_THAT(items["Lumadoc/spinReport.txt"].content,
                testing::AllOf(testing::StartsWith("Process sample by Lumadoc Diagnostics\n"),
                               testing::HasSubstr(product.executable.native()),
                               testing::ContainsRegex("Thread [0-9]+")));
    EXPECT_THAT(
        items["Lumadoc/sysinfo.txt"].content,
        testing::AllOf(testing::StartsWith("Applications:\n"), testing::HasSubstr(product.bundle.native())));
    EXPECT_THAT(log(), testing::HasSubstr("INFO: No SpinResult debug description\n"));
    EXPECT_FALSE(items.contains("Lumadoc/UserFiles/two.pdf"));
    workButton("Copy ID");
    window().find("push button", "ID Copied!");
    expectFixed("Log ID");
    EXPECT_EQ("lumaMacLog_" + window().textOf(box("Log ID")) + "_abc.zip",
              service.receipts().back().fileName);
    workButton("Close");
    expectTheEnd();
    EXPECT_THAT(hands.calls(), testing::IsEmpty());
}
