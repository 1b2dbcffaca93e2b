// The window on the desktop: its links and the clipboard, the system's appearance, its size.
#include "tests/WindowRun.h"

#include "test_support/StandIns.h"

using namespace support_service;
using namespace test_support;

namespace {

class WindowDesktop : public WindowRun {
protected:
    using WindowRun::WindowRun;

    void expectOpened(const StandInProgram &opener, const std::vector<std::string> &targets) {
        std::vector<std::vector<std::string>> calls;
        for (const std::string &target : targets)
            calls.push_back({"/usr/bin/xdg-open", target});
        EXPECT_TRUE(waitUntil([&] { return opener.calls().size() >= calls.size(); }));
        EXPECT_THAT(opener.calls(), testing::UnorderedElementsAreArray(calls));
    }

    std::string clipboard() const {
        ProgramRun tool({.program = "/usr/bin/xclip",
                         .arguments = {"-o", "-selection", "clipboard"},
                         .variables = {{"DISPLAY", display.name()}}});
        EXPECT_EQ(tool.waitForEnd(std::chrono::seconds(5)), exited(0)) << tool.standardError();
        return tool.standardOutput();
    }

    // A captured run whose Log ID is copied; gives that.
    std::string copyLogId() {
        install();
        open();
        capture();
        window().click("push button", "Copy ID");
        window().find("push button", "ID Copied!");
        return shownLogId();
    }

    std::string shownLogId() {
        for (const std::string &text : texts()) {
            if (text.size() == 36 && std::count(text.begin(), text.end(), '-') == 4)
                return text;
        }
        return "";
    }
};

class WindowOnASmallDisplay : public WindowDesktop {
protected:
    WindowOnASmallDisplay()
        : WindowDesktop(DisplaySize{1400, 1200}) {
        scale = 2;
    }
};

} // namespace

TEST_F(WindowDesktop, TheCopiedLogIdOutlivesTheWindow) {
    const std::string copied = copyLogId();
    EXPECT_EQ(copied.size(), 36U);
    EXPECT_EQ(clipboard(), copied);
    ClipboardManager manager(display.name());
    window().close();
    EXPECT_EQ(manager.save(std::chrono::seconds(5)), copied);
    expectTheEnd();
}

TEST_F(WindowDesktop, AClipboardManagerThatHangsDoesNotHoldTheEnd) {
    copyLogId();
    const ClipboardManager manager(display.name());
    closeAndExpectTheEnd();
}

TEST_F(WindowDesktop, LinksOpenTheRunFolderAndAPreparedMessage) {
    REQUIRE_OWN_NAMESPACES();
    install();
    const StandInProgram opener("xdg-open");
    service.setBehaviour({.status = 500});
    expectUploadError("1");
    open();
    capture();
    describe("a & b");
    writeEmail("x+y@brennic.example");
    const std::string id = shownLogId();
    press("Share logs");
    window().click("link", "view the logs");
    const std::string folder = runFolder().native();
    expectOpened(opener, {folder});
    window().click("link", "lumadoc-support@brennic.example");
    const std::string message =
        "mailto:lumadoc-support@brennic.example"
        "?subject=Lumadoc%20troubleshooting%20using%20Brennic%20Lumadoc%20Diagnostics."
        "&body=Hi%20Team,%0A%0ALocal%20Log%20ID:%20" +
        id + "%0ADescription:%20a%20&%20b%0AEmail%20address:%20x+y@brennic.example%0A";
    expectOpened(opener, {folder, message});
    // By the keyboard as well.
    go("shift+Tab", "link", "view the logs");
    window().key("Return");
    expectOpened(opener, {folder, message, folder});
}

TEST_F(WindowDesktop, BeginsInTheSystemsAppearanceAndFollowsIt) {
    Portal portal(bus, Portal::ColorScheme::dark);
    open();
    const Screen::Window place = window().window();
    const auto background = [&] {
        return qGray(window().screen().pixel(place.extents.x + 4, place.extents.y + 4));
    };
    EXPECT_TRUE(waitUntil([&] { return background() < 60; })) << background();
    // The window listens by then.
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    portal.change(Portal::ColorScheme::light);
    EXPECT_TRUE(waitUntil([&] { return background() > 230; })) << background();
    portal.change(Portal::ColorScheme::dark);
    EXPECT_TRUE(waitUntil([&] { return background() < 60; })) << background();
}

TEST_F(WindowDesktop, IsNeverSmallerThanItsContentAndUsesTheRoomOfALargerWindow) {
    install();
    open();
    const Screen::Window place = window().window();
    EXPECT_EQ(place.title, "Brennic Lumadoc Diagnostics");
    EXPECT_EQ(place.minimum.width, 680);
    EXPECT_EQ(place.minimum.height, 576);
    EXPECT_EQ(place.extents.width, 680);
    EXPECT_EQ(place.extents.height, 576);
    capture();
    window().screen().resize(window().window(), 1000, 900);
    window().find("frame", "Brennic Lumadoc Diagnostics", [](const Control &frame) {
        return frame.extents.width == 1000 && frame.extents.height == 900;
    });
    // The sections are in the middle.
    EXPECT_TRUE(waitUntil([this] {
        const Extents button = window().find("push button", "Share logs").extents;
        return std::abs(button.x + button.width / 2 - 500) <= 6;
    }));
}

TEST_F(WindowOnASmallDisplay, EverythingIsInsideTheWindowOrCanBeScrolledTo) {
    install();
    service.setBehaviour({.status = 500});
    expectUploadError("1");
    open();
    const auto expectNothingIsCutOff = [this] {
        const Extents frame = window().window().extents;
        for (const Control &control : window().controls()) {
            const Extents place = window().onDisplay(control.extents);
            if (control.role == "scroll bar")
                continue;
            EXPECT_GE(place.x, frame.x) << control;
            EXPECT_LE(place.right(), frame.right()) << control;
        }
    };
    EXPECT_EQ(window().window().extents.width, 1360);
    expectNothingIsCutOff();
    capture();
    expectNothingIsCutOff();
    describe("Twice as large");
    press("Share logs");
    window().click("link", "lumadoc-support@brennic.example");
    expectNothingIsCutOff();
    // While it uploads there is more than the window can hold.
    service.setBehaviour({.stopReadingAfterBytes = 1000});
    press("Share logs");
    waitForButton("Stop upload");
    const auto isInSight = [this](const char *role, const std::string &name) {
        const Extents frame = window().window().extents;
        const Extents place = window().onDisplay(window().find(role, name).extents);
        return place.y >= frame.y && place.bottom() <= frame.bottom();
    };
    const auto isAtTop = [&] { return isInSight("heading", "Brennic Lumadoc Diagnostics"); };
    const auto isAtBottom = [&] { return isInSight("push button", attachName); };
    EXPECT_TRUE(isAtTop());
    EXPECT_FALSE(isAtBottom());
    window().movePointerAway();
    for (const auto &[down, up] : {std::pair("Next", "Prior"), {"End", "Home"}}) {
        window().key(down);
        EXPECT_TRUE(waitUntil(isAtBottom)) << down;
        window().key(up);
        EXPECT_TRUE(waitUntil([&] { return isAtTop() && !isAtBottom(); })) << up;
    }
}
