#include "ui/WindowScene.h"

#include "ui/Views.h"
#include "ui/WindowTest.h"

#include <cstdlib>

namespace {

using test_support::readFile;
using test_support::runMainQueueUntil;

using WindowSceneDeathTest = WindowTest;

bool closingIsToldBeforeAnyStep(const std::filesystem::path &log) {
    const QByteArray firstStep = "onDisappear triggered";
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    registerViews();
    WindowScene scene;
    std::vector<bool> wasBehindFirstStep;
    scene.open([&] { wasBehindFirstStep.push_back(readFile(log).contains(firstStep)); });
    if (!runMainQueueUntil([] { return !QGuiApplication::topLevelWindows().isEmpty(); }))
        return false;
    QGuiApplication::topLevelWindows().front()->close();
    return wasBehindFirstStep == std::vector<bool>{false} && readFile(log).contains(firstStep);
}

// The limit of the end begins when the closing is told, and the first step is a line of the log, whose disk
// may have stopped answering. The window is shown in a process that ends at once: Qt Quick keeps its textures
// to the end of the process, which counts as a leak.
TEST_F(WindowSceneDeathTest, TellsOfItsClosingBeforeAnyStep) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(std::_Exit(closingIsToldBeforeAnyStep(log) ? 0 : 1), testing::ExitedWithCode(0), "");
}

} // namespace
