// The window on the desktop: the clipboard, the system's appearance, its size; and its end in each of these
// states.
#include "tests/WindowRun.h"

using namespace test_support;

namespace {

// The display's clipboard manager: saves what was copied in a program that ends (freedesktop.org, "Clipboard
// Manager Specification").
class ClipboardManager {
public:
    explicit ClipboardManager(const std::string &display)
        : m_screen(display)
        , m_window(xcb_generate_id(m_screen.connection())) {
        xcb_create_window(m_screen.connection(), 0, m_window, m_screen.root(), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_set_selection_owner(m_screen.connection(), m_window, m_screen.atom("CLIPBOARD_MANAGER"),
                                XCB_CURRENT_TIME);
        xcb_flush(m_screen.connection());
    }

    /// Waits for a program that asks for its copy to be saved, and gives the copied text.
    std::string save() const {
        const auto request = nextEvent<xcb_selection_request_event_t>(XCB_SELECTION_REQUEST);
        EXPECT_EQ(request.target, m_screen.atom("SAVE_TARGETS"));
        const std::string text = "UTF8_STRING";
        xcb_convert_selection(m_screen.connection(), m_window, m_screen.atom("CLIPBOARD"),
                              m_screen.atom(text), m_screen.atom(text), XCB_CURRENT_TIME);
        xcb_flush(m_screen.connection());
        nextEvent<xcb_selection_notify_event_t>(XCB_SELECTION_NOTIFY);
        // To the program that asked: its copy is saved.
        m_screen.send(request.requestor, xcb_selection_notify_event_t{
                                             XCB_SELECTION_NOTIFY, 0, 0, request.time, request.requestor,
                                             request.selection, request.target, request.property});
        const auto saved = m_screen.property<char>(m_window, text);
        return {saved.begin(), saved.end()};
    }

private:
    template <typename Event>
    Event nextEvent(int type) const {
        Event found{};
        EXPECT_TRUE(waitUntil([&] {
            const auto event = Screen::owned(xcb_poll_for_event(m_screen.connection()));
            if (event && (event->response_type & 0x7f) == type)
                found = *reinterpret_cast<const Event *>(event.get());
            return found.response_type != 0;
        }));
        return found;
    }

    Screen m_screen;
    xcb_window_t m_window;
};

class WindowDesktop : public WindowRun {
protected:
    using WindowRun::WindowRun;

    // A captured run whose Log ID is copied; gives that.
    std::string copyLogId() {
        install();
        open();
        capture();
        window().click("push button", "Copy ID");
        window().find("push button", "ID Copied!");
        return window().textOf(window().find("text", "Log ID"));
    }
};

class WindowOnASmallDisplay : public PicturedRun {
protected:
    WindowOnASmallDisplay()
        : PicturedRun(2, "1366x768") {}

    bool isInSight(const char *role, const std::string &name) {
        if (!window().shows(role, name))
            return false;
        const Extents frame = window().window().extents;
        const Extents place = window().onDisplay(window().find(role, name).extents);
        return place.y >= frame.y && place.bottom() <= frame.bottom();
    }
};

} // namespace

TEST_F(WindowDesktop, TheCopiedLogIdOutlivesTheWindow) {
    const std::string copied = copyLogId();
    const ClipboardManager manager(display.name());
    window().close();
    EXPECT_EQ(manager.save(), copied);
    expectTheEnd();
}

TEST_F(WindowDesktop, AClipboardManagerThatHangsDoesNotHoldTheEnd) {
    copyLogId();
    const ClipboardManager manager(display.name());
    closeAndExpectTheEnd();
}

TEST_F(WindowDesktop, BeginsInTheSystemsAppearanceAndFollowsIt) {
    Portal portal(bus, Portal::ColorScheme::dark);
    open();
    const Extents place = window().window().extents;
    const auto background = [&] { return qGray(window().screen().pixel(place.x + 4, place.y + 4)); };
    EXPECT_TRUE(waitUntil([&] { return background() < 60; })) << background();
    // Again and again: what is said before the window listens is lost.
    EXPECT_TRUE(waitUntil([&] {
        portal.change(Portal::ColorScheme::light);
        return background() > 230;
    })) << background();
    portal.change(Portal::ColorScheme::dark);
    EXPECT_TRUE(waitUntil([&] { return background() < 60; })) << background();
    closeAndExpectTheEnd();
}

TEST_F(WindowDesktop, IsNeverSmallerThanItsContentAndUsesTheRoomOfALargerWindow) {
    install();
    open();
    const auto place = window().window();
    // As high as its fullest page.
    EXPECT_EQ(std::pair(place.extents.width, place.extents.height), std::pair(680, 756));
    // ICCCM 4.1.2.3: flags, four unused, minimum width and height.
    const auto hints = window().screen().property<std::uint32_t>(place.number, "WM_NORMAL_HINTS");
    ASSERT_GT(hints.size(), 6U);
    EXPECT_EQ(std::pair(hints[5], hints[6]), std::pair(680U, 576U));
    capture();
    window().resize(1000, 900);
    // The sections are in the middle.
    window().find("push button", "Share logs", [](const Control &button) {
        return std::abs(button.extents.x + button.extents.width / 2 - 500) <= 6;
    });
    describe("Never mind");
    closeAndExpectTheEnd();
    EXPECT_EQ(service.connections(), 0U);
}

TEST_F(WindowOnASmallDisplay, EverythingIsInsideTheWindowOrCanBeScrolledTo) {
    install();
    service.setBehaviour({.status = 500}, 1);
    expectUploadError("1");
    open();
    share();
    const Extents frame = window().window().extents;
    EXPECT_EQ(frame.width, 1360);
    EXPECT_LE(frame.height, 768);
    window().waitForFocus("push button", "Share logs");
    for (const auto &[key, role, name] : {std::tuple("End", "link", "lumadoc-support@brennic.example"),
                                          {"Home", "heading", "Brennic Lumadoc Diagnostics"}}) {
        window().key(key);
        window().find(role, name);
        picture(std::string("small-") + key);
        for (const Control &control : window().controls()) {
            const Extents place = window().onDisplay(control.extents);
            EXPECT_TRUE(control.role == "scroll bar" ||
                        (place.x >= frame.x && place.right() <= frame.right()))
                << control;
        }
    }
    service.setBehaviour({.stopReadingAfterBytes = 1000});
    press("Share logs");
    window().findEnabled("push button", "Stop upload");
    const auto isAtTop = [this] { return isInSight("heading", "Brennic Lumadoc Diagnostics"); };
    const auto isAtBottom = [this] { return isInSight("push button", attachName); };
    EXPECT_TRUE(isAtTop());
    EXPECT_FALSE(isAtBottom());
    window().movePointerAway();
    for (const auto &[down, up] : {std::pair("Next", "Prior"), {"End", "Home"}}) {
        const auto press = [this](const char *key, const auto &isThere) {
            return waitUntil([&] {
                window().key(key);
                return isThere();
            });
        };
        EXPECT_TRUE(press(down, isAtBottom)) << down;
        EXPECT_TRUE(press(up, isAtTop)) << up;
        EXPECT_FALSE(isAtBottom());
    }
    ASSERT_TRUE(service.waitForBodyBytes(1000, std::chrono::seconds(20)));
    closeAndExpectTheEnd();
}
