#include "tests/WindowRun.h"

#include <algorithm>
#include <sstream>

namespace fs = std::filesystem;
using test_support::exited;
using test_support::ProgramOptions;
using test_support::waitUntil;
using test_support::WindowDriver;

namespace {

constexpr char disappeared[] =
    "INFO: --------------onDisappear triggered, application closed-------------- \n";

} // namespace

void WindowRun::TearDown() {
    if (!m_window)
        return;
    EXPECT_EQ(window().program().standardOutput(), "");
    EXPECT_EQ(window().printedErrors(), "");
    EXPECT_THAT(unexpectedErrors(), testing::IsEmpty());
    if (HasFailure())
        std::cerr << "The window shows:\n" << window().description() << "The log:\n" << log();
}

WindowRun::WindowRun(test_support::DisplaySize size)
    : display(size) {
    // The sample product has none of these.
    expectError("Error copying lumaUpdaterTools.log: No such file or directory");
}

void WindowRun::open(ProgramOptions options) {
    const fs::path runtime = home.path() / "runtime";
    fs::create_directories(runtime);
    fs::permissions(runtime, fs::perms::owner_all);
    options.variables.emplace_back("XDG_RUNTIME_DIR", runtime.native());
    m_window = std::make_unique<WindowDriver>(options, display, bus, scale);
    waitForButton("Start diagnostics");
    focusWindow();
}

void WindowRun::focusWindow() {
    window().screen().focus(window().window());
}

void WindowRun::press(const std::string &caption) {
    waitForButton(caption);
    if (m_hasPressed)
        std::this_thread::sleep_for(doubleClick);
    window().click("push button", caption);
    m_hasPressed = true;
}

void WindowRun::capture() {
    press("Start diagnostics");
    press("Stop diagnostics");
    window().waitForFocus("text", descriptionName);
}

void WindowRun::waitForCheck(const std::string &name, bool isOn) {
    window().find("check box", name, [isOn](const Control &toggle) { return toggle.isChecked() == isOn; });
}

void WindowRun::go(const std::string &keys, const std::string &role, const std::string &name) {
    window().key(keys);
    window().waitForFocus(role, name);
}

void WindowRun::typeInto(const std::string &name, const std::string &text) {
    window().type(text);
    const auto typed = [&] { return window().textOf(window().find("text", name)); };
    ASSERT_TRUE(waitUntil([&] { return typed() == text; })) << typed();
}

void WindowRun::describe(const std::string &text) {
    typeInto(descriptionName, text);
}

void WindowRun::writeEmail(const std::string &text) {
    window().clickAt(email());
    window().waitForFocus("text", emailName);
    typeInto(emailName, text);
}

void WindowRun::share(const std::string &text) {
    capture();
    describe(text);
    press("Share logs");
}

void WindowRun::pick(const std::string &names) {
    window().click("push button", attachName);
    window().find("dialog", "Attach files");
    window().screen().focus(window().window("Attach files — Brennic Lumadoc Diagnostics"));
    window().waitForFocus("text", "File name:");
    window().type(names);
    window().key("Return");
    window().waitUntilGone("dialog", "Attach files");
    focusWindow();
}

std::vector<std::string> WindowRun::texts() {
    std::vector<std::string> found;
    for (const Control &control : window().controls()) {
        const bool isText =
            control.role == "label" || control.role == "notification" || control.role == "heading";
        if (isText && !control.name.empty() && control.name != " ")
            found.push_back(control.name);
    }
    return found;
}

bool WindowRun::shows(const std::string &text) {
    const auto all = texts();
    return std::find(all.begin(), all.end(), text) != all.end();
}

void WindowRun::waitForText(const std::string &text) {
    ASSERT_TRUE(waitUntil([&] { return shows(text); }, WindowDriver::limit)) << "no \"" << text << "\"";
}

void WindowRun::waitForNoText(const std::string &text) {
    ASSERT_TRUE(waitUntil([&] { return !shows(text); }, WindowDriver::limit)) << "still \"" << text << "\"";
}

void WindowRun::closeAndExpectTheEnd() {
    window().close();
    expectTheEnd();
}

void WindowRun::expectTheEnd(int status) {
    EXPECT_EQ(window().program().waitForEnd(std::chrono::seconds(2)), exited(status));
    EXPECT_THAT(log(), testing::HasSubstr(disappeared));
}

std::string WindowRun::logFrom(const std::string &line) const {
    const std::string text = log();
    const std::size_t at = text.find(line);
    return at == std::string::npos ? "no \"" + line + "\" in\n" + text : text.substr(at);
}

void WindowRun::expectUploadError(const std::string &code) {
    const bool isTransport = code.starts_with('-');
    expectError("Upload error code: " + code);
    expectError(isTransport ? "Upload error domain: NSURLErrorDomain"
                            : "Upload error domain: com.brennic.LumadocDiagnostics.upload");
    if (code == "-999") {
        expectError("Upload task was canceled");
    } else if (code == "-1009") {
        expectError("No internet connection");
    } else {
        expectError("Other network error: Internal Server Error.");
        expectError("userInfo: Internal Server Error.");
    }
}

QByteArray WindowRun::waitingFor(const std::string &file) const {
    return "while [ ! -e '" + QByteArray::fromStdString(home.path() / file) + "' ]; do sleep 0.02; done\n";
}

void WindowRun::holdCapture() {
    test_support::writeProgram(bundle.path() / "Contents/Helpers/system_profiler",
                               "#!/bin/sh\n" + waitingFor("go-on"));
}

void WindowRun::release(const std::string &file) const {
    test_support::writeFile(home.path() / file, "");
}

std::vector<std::string> WindowRun::unexpectedErrors() const {
    std::vector<std::string> errors;
    std::istringstream lines(log());
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("ERROR: ") &&
            std::find(m_expectedErrors.begin(), m_expectedErrors.end(), line) == m_expectedErrors.end())
            errors.push_back(line);
    }
    return errors;
}
