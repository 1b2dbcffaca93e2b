// What the tests of the window share.
#pragma once

#include "sample_product/RunningProduct.h"
#include "sample_product/SampleProduct.h"
#include "test_support/EventLoop.h"
#include "test_support/LoggedTest.h"
#include "test_support/ScratchHome.h"
#include "ui/ContentView.h"

#include <QGuiApplication>
#include <QPropertyNotifier>
#include <functional>
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
    QGuiApplication application{argumentCount, arguments};

    /// Expects it of a process that may show windows, and that ends at once: Qt Quick keeps its textures to
    /// the end of the process, which counts as a leak.
    void expectInOwnProcess(const std::function<bool()> &isGood);
};

/// The changes of an object's fields, as "field = value", and the lines of the log, in their order.
class Recorder {
public:
    /// `home` shows as "~", and the run folder's stamp as RUN.
    Recorder(QObject &object, std::filesystem::path home);

    using Lines = std::vector<std::string>;

    /// What has happened since the last call.
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

/// The window of a launched program.
class RunTest : public WindowTest {
protected:
    RunTest();

    /// A small product.
    sample_product::SampleProduct install(sample_product::SampleProductOptions options = {});

    void press() { view.primaryButtonPressed(); }
    void waitUntil(const char *caption);
    /// Presses the button and waits for its next caption.
    void pressUntil(const char *caption);
    bool hasCaption(const char *caption) const;

    std::filesystem::path root() const { return home.library() / "LumadocDiagnostics"; }
    std::filesystem::path systemLog() const { return root() / "System/LumadocDiagnosticsDebugOutput.log"; }

    ContentView view;
    /// The titles of the alerts.
    std::vector<std::string> alerts;
    Recorder record{view, home.path()};
};
