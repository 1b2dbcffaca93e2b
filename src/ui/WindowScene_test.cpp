#include "ui/WindowScene.h"

#include "test_support/WindowFixture.h"

#include <cstdlib>

namespace {

using test_support::readFile;
using test_support::runMainQueueUntil;

using WindowSceneDeathTest = WindowTest;

bool closingIsReportedBeforeAnyStep(const std::filesystem::path &log) {
    const QByteArray firstStep = "onDisappear triggered";
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    registerViews();
    WindowScene scene;
    std::vector<bool> wasAfterFirstStep;
    scene.open([&] { wasAfterFirstStep.push_back(readFile(log).contains(firstStep)); });
    if (!runMainQueueUntil([] { return !QGuiApplication::topLevelWindows().isEmpty(); }))
        return false;
    QGuiApplication::topLevelWindows().front()->close();
    return wasAfterFirstStep == std::vector<bool>{false} && readFile(log).contains(firstStep);
}

// The time that the end may take is counted from this call, and the first step writes to the log, whose disk
// may have stopped answering. The window is shown in a process that ends at once: Qt Quick keeps its textures
// to the end of the process, which counts as a leak.
TEST_F(WindowSceneDeathTest, ReportsItsClosingBeforeAnyStep) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(closingIsReportedBeforeAnyStep(log) ? 0 : 1), testing::ExitedWithCode(0), "");
}

} // namespace
