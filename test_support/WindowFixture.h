// What the tests of the window share: a home, a log, an application object without a display, a record of
// what happens to the window's fields, and for tests of the flow the workspace of a launched program, a small
// product.
#pragma once

#include "sample_product/RunningProduct.h"
#include "sample_product/SampleProduct.h"
#include "test_support/EventLoop.h"
#include "test_support/LoggedTest.h"
#include "test_support/ScratchHome.h"
#include "ui/ContentView.h"

#include <QApplication>
#include <QPropertyNotifier>
#include <gmock/gmock.h>
#include <memory>
#include <optional>
#include <vector>

class WindowTest : public testing::Test {
protected:
    test_support::ScratchHome home;
    // Neither a display nor a desktop: whoever runs the tests may have both.
    test_support::ScopedEnvironment display{"QT_QPA_PLATFORM", "offscreen"};
    test_support::ScopedEnvironment sessionBus{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus"};
    std::filesystem::path log = test_support::startLog();

    int argumentCount = 1;
    char programName[5] = "test";
    char *arguments[2] = {programName, nullptr};
    QApplication application{argumentCount, arguments};
};

/// What happens to an object's fields, and what the log says meanwhile, in the order in which it happens: a
/// line for each, "field = value" or the log's line.
class Recorder {
public:
    /// From now on. `home` shows as "~", the run folder's stamp as RUN, the Log ID as LOGID, and process
    /// identifiers as PID.
    Recorder(QObject &object, std::filesystem::path home);

    using Lines = std::vector<std::string>;

    /// What has happened since the last call, or since the beginning.
    Lines take();
    /// The same, the fields and the log each by itself.
    std::pair<Lines, Lines> takeApart();
    Lines takeFields() { return takeApart().first; }
    Lines takeLog() { return takeApart().second; }

private:
    void addLogLines();
    std::string shortened(QString line) const;

    std::filesystem::path m_home;
    qsizetype m_linesRead = 0;
    Lines m_record;
    std::vector<QPropertyNotifier> m_notifiers;
};

class RunTest : public WindowTest {
protected:
    /// Does what the launch does before the window opens.
    RunTest();

    /// A product with 58 KiB of logs and three crash reports.
    sample_product::SampleProduct install(sample_product::SampleProductOptions options = {});

    void press() { view.primaryButtonPressed(); }
    void waitUntil(const char *caption);
    /// Presses the button and waits for its next caption.
    void pressUntil(const char *caption);
    bool hasCaption(const char *caption) const;

    std::filesystem::path root() const { return home.library() / "LumadocDiagnostics"; }
    std::filesystem::path systemLog() const { return root() / "System/LumadocDiagnosticsDebugOutput.log"; }

    ContentView view;
    /// Title, message and button of each alert.
    std::vector<std::vector<std::string>> alerts;
    Recorder record{view, home.path()};
};
