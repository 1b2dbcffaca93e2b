// What the black-box tests of window mode share: the shipped program with its window on a display of the
// test's own, beside the home, the bundle and the service that a silent run has.
#pragma once

#include "test_support/WindowDriver.h"
#include "tests/SilentRun.h"

class WindowRun : public SilentRun {
protected:
    using Control = test_support::Control;

    /// `scale` is what a pixel of the program's is on the display, which has this size in its own pixels.
    explicit WindowRun(int pixelScale = 1, const std::string &displaySize = largeDisplay);
    static constexpr char largeDisplay[] = "1400x1600";

    /// Nothing was printed, and the log has no other errors than those that the test has named.
    void TearDown() override;

    /// Starts the program and waits for its window, which has the keyboard then. `beforeStart` is called in
    /// the new process.
    void open(void (*beforeStart)() = nullptr);
    test_support::WindowDriver &window() { return *m_window; }

    /// Presses a button with the pointer; two presses make no double click.
    void press(const std::string &caption);
    void waitForCheck(const std::string &name, bool isOn = true);
    /// Presses the keys, which bring the keyboard there.
    void go(const std::string &keys, const std::string &role, const std::string &name);
    /// From "Start diagnostics" to the form, whose description has the keyboard then.
    void capture();
    /// Types into the box that has the keyboard, which is to hold that then.
    void describe(const std::string &text) { typeInto(descriptionName, text); }
    void writeEmail(const std::string &text);
    /// Picks one or two files of the home folder in the panel, by their names.
    void pick(const std::vector<std::string> &names);
    /// The same, of the folder that the panel shows.
    void pickShown(const std::vector<std::string> &names);
    /// From the start to "Share logs" pressed.
    void share();

    /// What the labels and announcements say, in the window's order.
    std::vector<std::string> texts() const;
    void waitForText(const std::string &text) const;

    /// Closes the window; the program ends in time, well, and has said so in its log.
    void closeAndExpectTheEnd();
    void expectTheEnd();
    void expectAnEndInTime();

    /// The errors of an upload that failed, with that code.
    void expectUploadError(const std::string &code);
    void expectError(const std::string &line) { m_expectedErrors.push_back("ERROR: " + line); }

    /// Lines of a shell that wait until that file of the home folder is there.
    QByteArray waitingFor(const std::string &file) const;
    /// Holds the capture at its second task from now on, until there is "go-on". The toggles must be on.
    void holdCapture() const;
    /// What the service has received of the form; both are expressions.
    void expectFeedback(const std::string &text, const std::string &email) const;
    /// Takes a picture where pictures are wanted (LUMAMON_SCREENSHOTS is how the names of the files begin).
    void picture(const std::string &state);

    /// Two presses with less than this between them are a double click.
    static constexpr auto doubleClick = std::chrono::milliseconds(450);
    static inline const std::string descriptionName = "Please tell us what led to the error (required)";
    static inline const std::string emailName =
        "Brennic can contact me for fixes at the following email address (optional)";
    static inline const std::string attachName = "Attach screenshot and pdf files";
    static inline const std::string sentText = "The log files were sent successfully.";

    const int scale;
    test_support::Xvfb display;
    test_support::PrivateBus bus;

private:
    void typeInto(const std::string &name, const std::string &text);

    std::unique_ptr<test_support::WindowDriver> m_window;
    std::vector<std::string> m_expectedErrors;
    bool m_hasPressed = false;
};

/// In the appearance and, unless it is given, at the scale that pictures are wanted in.
class PicturedRun : public WindowRun {
protected:
    PicturedRun();
    PicturedRun(int pixelScale, const std::string &displaySize);

    std::optional<test_support::Portal> portal;
};
