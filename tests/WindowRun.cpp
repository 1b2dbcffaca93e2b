#include "tests/WindowRun.h"

#include <algorithm>
#include <sstream>

namespace fs = std::filesystem;
using test_support::waitUntil;
using test_support::WindowDriver;

namespace {

bool isPictured(const char *look) {
    const char *names = std::getenv("LUMAMON_SCREENSHOTS");
    return names != nullptr && fs::path(names).filename().native().find(look) != std::string::npos;
}

} // namespace

WindowRun::WindowRun(int pixelScale, const std::string &displaySize)
    : scale(pixelScale)
    , display(displaySize) {
    // The sample product has none of these.
    expectError("Error copying lumaUpdaterTools.log: No such file or directory");
}

void WindowRun::TearDown() {
    if (!m_window)
        return;
    EXPECT_EQ(window().program().standardOutput(), "");
    EXPECT_EQ(window().printedErrors(), "");
    std::istringstream lines(log());
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("ERROR: ")) {
            EXPECT_THAT(m_expectedErrors, testing::Contains(line));
        }
    }
    EXPECT_THAT(log(), testing::Not(testing::HasSubstr("restarted"))) << "the launch has made the workspace";
    if (HasFailure())
        std::cerr << "The window shows:\n" << window().description() << "The log:\n" << log();
}

void WindowRun::open(void (*beforeStart)()) {
    auto options = program({});
    options.beforeStart = beforeStart;
    const fs::path runtime = home.path() / "runtime";
    fs::create_directories(runtime);
    fs::permissions(runtime, fs::perms::owner_all);
    options.variables.emplace_back("XDG_RUNTIME_DIR", runtime.native());
    m_window = std::make_unique<WindowDriver>(options, display, bus, scale);
    window().findEnabled("push button", "Start diagnostics");
    window().focus();
}

void WindowRun::press(const std::string &caption) {
    window().findEnabled("push button", caption);
    if (m_hasPressed)
        std::this_thread::sleep_for(doubleClick);
    window().click("push button", caption);
    m_hasPressed = true;
}

void WindowRun::waitForCheck(const std::string &name, bool isOn) {
    window().find("check box", name, [isOn](const Control &toggle) { return toggle.isChecked() == isOn; });
}

void WindowRun::go(const std::string &keys, const std::string &role, const std::string &name) {
    window().key(keys);
    window().waitForFocus(role, name);
}

void WindowRun::capture() {
    press("Start diagnostics");
    press("Stop diagnostics");
    window().waitForFocus("text", descriptionName);
}

void WindowRun::typeInto(const std::string &name, const std::string &text) {
    window().type(text);
    window().find("text", name, [&](const Control &box) { return window().textOf(box) == text; });
}

void WindowRun::writeEmail(const std::string &text) {
    window().clickAt(window().find("text", emailName));
    window().waitForFocus("text", emailName);
    typeInto(emailName, text);
}

void WindowRun::pick(const std::vector<std::string> &names) {
    window().click("push button", attachName);
    pickShown(names);
}

void WindowRun::pickShown(const std::vector<std::string> &names) {
    for (const std::string &name : names) {
        window().click("check box", name);
        waitForCheck(name);
    }
    picture("panel");
    window().click("push button", names.size() == 1 ? "Attach" : "Attach 2 files");
    window().waitUntilGone("dialog", "Attach files");
}

void WindowRun::share() {
    capture();
    describe("It stopped");
    press("Share logs");
}

std::vector<std::string> WindowRun::texts() const {
    std::vector<std::string> found;
    for (const Control &control : m_window->controls()) {
        if (control.role == "label" || control.role == "notification")
            found.push_back(control.name);
    }
    return found;
}

void WindowRun::waitForText(const std::string &text) const {
    EXPECT_TRUE(waitUntil([&] { return std::ranges::count(texts(), text) > 0; }, WindowDriver::limit))
        << "no \"" << text << "\"";
}

void WindowRun::closeAndExpectTheEnd() {
    window().close();
    expectTheEnd();
}

void WindowRun::expectAnEndInTime() {
    auto &program = window().program();
    EXPECT_TRUE(test_support::soon([&] { return !program.isRunning(); }, std::chrono::seconds(2)));
    EXPECT_EQ(program.waitForEnd(), test_support::exited(0));
}

void WindowRun::expectTheEnd() {
    expectAnEndInTime();
    EXPECT_THAT(log(), testing::HasSubstr("INFO: --------------onDisappear triggered, application "
                                          "closed-------------- \n"));
}

void WindowRun::expectUploadError(const std::string &code) {
    const bool isCancelled = code == "-999";
    expectError("Upload error code: " + code);
    expectError(isCancelled ? "Upload error domain: NSURLErrorDomain"
                            : "Upload error domain: com.brennic.LumadocDiagnostics.upload");
    expectError(isCancelled ? "Upload task was canceled" : "Other network error: Internal Server Error.");
    expectError("userInfo: Internal Server Error.");
}

QByteArray WindowRun::waitingFor(const std::string &file) const {
    return "while [ ! -e '" + QByteArray::fromStdString(home.path() / file) + "' ]; do sleep 0.02; done\n";
}

void WindowRun::holdCapture() const {
    test_support::writeProgram(bundle.path() / "Contents/Helpers/system_profiler",
                               "#!/bin/sh\n" + waitingFor("go-on"));
}

void WindowRun::expectFeedback(const std::string &text, const std::string &email) const {
    EXPECT_THAT(received()["Lumadoc/UserEmailFeedback.json"].content,
                testing::MatchesRegex("\\{\"machineid\":\"[0-9a-f]{128}\",\"email\":\"" + email +
                                      "\",\"problemdesc\":\"" + text + "\"\\}"));
}

PicturedRun::PicturedRun()
    : PicturedRun(isPictured("-200") ? 2 : 1, largeDisplay) {}

PicturedRun::PicturedRun(int pixelScale, const std::string &displaySize)
    : WindowRun(pixelScale, displaySize) {
    if (isPictured("dark-"))
        portal.emplace(bus, test_support::Portal::ColorScheme::dark);
}

void WindowRun::picture(const std::string &state) {
    const char *names = std::getenv("LUMAMON_SCREENSHOTS");
    if (names == nullptr)
        return;
    window().movePointerAway();
    // Once two in a row are the same, or a moving bar has gone on for long enough.
    QImage taken;
    for (int turn = 0; turn < 9; ++turn) {
        const QImage next = window().screen().picture(window().window().extents);
        if (turn > 2 && next == taken)
            break;
        taken = next;
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
    }
    EXPECT_TRUE(taken.save(QString::fromStdString(names + ('-' + state) + ".png")));
}
