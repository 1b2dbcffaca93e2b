// The form: its boxes under the keys of a user, and files attached through the panel.
#include "tests/WindowRun.h"

namespace fs = std::filesystem;
using namespace test_support;

namespace {

class WindowForm : public WindowRun {
protected:
    WindowForm() {
        install();
        open();
        capture();
    }

    void expectAttached(const std::string &count) { waitForText(count + " file(s) attached"); }

    fs::path attachments() const { return runFolder() / "Lumadoc/UserFiles"; }

    static constexpr char tooLargeTitle[] = "File Size Error";
    static constexpr char replaceTitle[] = "Confirm Replace";
};

} // namespace

TEST_F(WindowForm, TabAndReturnLeadFromBoxToBox) {
    describe("One");
    window().key("Tab");
    window().waitForFocus("text", emailName);
    window().key("Return");
    window().waitForFocus("text", descriptionName);
    window().key("Return");
    window().waitForFocus("text", emailName);
    EXPECT_EQ(descriptionText(), "One");
    EXPECT_EQ(emailText(), "");
    window().key("shift+Tab");
    window().waitForFocus("text", descriptionName);
    window().key("End");
    window().key("shift+Return");
    // As the bus tells of a new line.
    const auto hasNewLine = [this] {
        return descriptionText() == "One\n" || descriptionText() == "One\u2029" ||
               descriptionText() == "One\u2028";
    };
    EXPECT_TRUE(waitUntil(hasNewLine)) << testing::PrintToString(descriptionText());
}

TEST_F(WindowForm, AnAddressHasNoSpacesAndAnEnd) {
    window().clickAt(email());
    window().waitForFocus("text", emailName);
    window().type("a b");
    waitForText("Invalid email address");
    EXPECT_EQ(emailText(), "ab");
    EXPECT_EQ(email().description, "Invalid email address");
    window().type("@brennic.example0123456789012345678901234567890");
    ASSERT_TRUE(waitUntil([this] { return emailText().size() == 40; })) << emailText();
    EXPECT_EQ(emailText(), "ab@brennic.example0123456789012345678901");
    for (int i = 0; i < 22; ++i)
        window().key("BackSpace");
    waitForNoText("Invalid email address");
    EXPECT_EQ(emailText(), "ab@brennic.example");
}

TEST_F(WindowForm, ADescriptionDoesNotBeginBlankAndHasAnEnd) {
    window().type(" ");
    window().type("x");
    EXPECT_TRUE(waitUntil([this] { return descriptionText() == "x"; })) << descriptionText();
    // Pasted, as long texts are.
    ProgramRun clipboard(
        {.program = "/bin/sh",
         .arguments = {"-c", "head -c 2500 /dev/zero | tr '\\0' a | xclip -selection clipboard"},
         .variables = {{"DISPLAY", display.name()}}});
    ASSERT_EQ(clipboard.waitForEnd(), exited(0));
    window().key("ctrl+v");
    EXPECT_TRUE(waitUntil([this] { return descriptionText() == "x" + std::string(1999, 'a'); }))
        << descriptionText().size();
}

TEST_F(WindowForm, FilesAreAttachedSentAndRemoved) {
    writeFile(home.path() / "one.png", "first");
    writeFile(home.path() / "two.pdf", "second");
    pick("one.png");
    expectAttached("1");
    EXPECT_EQ(readFile(attachments() / "one.png"), "first");
    window().click("push button", "Remove attached files");
    waitForNoText("1 file(s) attached");
    EXPECT_FALSE(fs::exists(attachments()));
    EXPECT_FALSE(window().shows("push button", "Remove attached files"));
    pick("\"one.png\" \"two.pdf\"");
    expectAttached("2");
    window().clickAt(description());
    window().waitForFocus("text", descriptionName);
    describe("Attached");
    press("Share logs");
    waitForText(sentText);
    const auto items = received();
    EXPECT_EQ(items.at("Lumadoc/UserFiles/one.png").content, "first");
    EXPECT_EQ(items.at("Lumadoc/UserFiles/two.pdf").content, "second");
}

TEST_F(WindowForm, ANameClashIsForTheUserToDecide) {
    writeFile(home.path() / "one.png", "first");
    pick("one.png");
    expectAttached("1");
    writeFile(home.path() / "one.png", "second");
    pick("one.png");
    window().find("dialog", replaceTitle);
    waitForText("File one.png already exists. Do you want to replace it?");
    window().waitForFocus("push button", "Cancel");
    window().click("push button", "Cancel");
    window().waitUntilGone("dialog", replaceTitle);
    EXPECT_EQ(readFile(attachments() / "one.png"), "first");
    // The file that waits comes first at the next pick.
    writeFile(home.path() / "two.png", "other");
    pick("two.png");
    window().find("dialog", replaceTitle);
    waitForText("File one.png already exists. Do you want to replace it?");
    window().click("push button", "Replace");
    window().waitUntilGone("dialog", replaceTitle);
    expectAttached("2");
    EXPECT_EQ(readFile(attachments() / "one.png"), "second");
    EXPECT_EQ(readFile(attachments() / "two.png"), "other");
}

TEST_F(WindowForm, EscapeInTheQuestionCancelsIt) {
    writeFile(home.path() / "one.png", "first");
    pick("one.png");
    expectAttached("1");
    writeFile(home.path() / "one.png", "second");
    pick("one.png");
    window().waitForFocus("push button", "Cancel");
    window().key("Escape");
    window().waitUntilGone("dialog", replaceTitle);
    EXPECT_EQ(readFile(attachments() / "one.png"), "first");
    EXPECT_TRUE(shows("1 file(s) attached"));
}

TEST_F(WindowForm, MoreThanTenMebibytesAreRefused) {
    constexpr qsizetype limit = 10'485'760;
    writeFile(home.path() / "most.png", QByteArray(limit, 'm'));
    writeFile(home.path() / "more.png", "1");
    pick("\"most.png\" \"more.png\"");
    window().find("dialog", tooLargeTitle);
    waitForText("The total file size should not exceed 10 MB.");
    window().waitForFocus("push button", "OK");
    window().key("Return");
    window().waitUntilGone("dialog", tooLargeTitle);
    window().waitForFocus("push button", attachName);
    EXPECT_FALSE(fs::exists(attachments()));
    pick("most.png");
    expectAttached("1");
    pick("more.png");
    window().find("dialog", tooLargeTitle);
    window().key("Escape");
    window().waitUntilGone("dialog", tooLargeTitle);
    EXPECT_TRUE(shows("1 file(s) attached"));
    EXPECT_FALSE(fs::exists(attachments() / "more.png"));
}

TEST_F(WindowForm, ACancelledPanelAttachesNothing) {
    openPanel();
    window().key("Escape");
    window().waitUntilGone("dialog", "Attach files");
    focusWindow();
    window().clickAt(description());
    window().waitForFocus("text", descriptionName);
    describe("Still here");
    EXPECT_FALSE(window().shows("push button", "Remove attached files"));
    EXPECT_FALSE(fs::exists(attachments()));
}
