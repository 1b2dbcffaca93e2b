// What the tests of the window share: a home, a log and an application object without a display.
#pragma once

#include "test_support/EventLoop.h"
#include "test_support/Isolation.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <QApplication>
#include <QPropertyNotifier>
#include <gmock/gmock.h>
#include <memory>
#include <vector>

// For tests that mount something: on a machine where a test cannot have namespaces of its own they would
// disturb it.
#define REQUIRE_OWN_NAMESPACES()                                                                             \
    if (!test_support::hasOwnNamespaces())                                                                   \
    GTEST_SKIP() << "this machine gives a test no namespaces of its own"

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

    /// What has happened since the last call, or since the beginning.
    std::vector<std::string> take();
    /// The same, in the log alone and of the fields alone.
    std::vector<std::string> takeLog();
    std::vector<std::string> takeFields();

private:
    void addLogLines();
    QString shortened(QString line) const;

    std::filesystem::path m_home;
    qsizetype m_linesRead = 0;
    std::vector<std::pair<bool, std::string>> m_record;
    std::vector<QPropertyNotifier> m_notifiers;
};

/// A property as the recorder writes it.
std::string printedField(const QObject &object, const char *name);
