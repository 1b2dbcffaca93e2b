#include "ui/WindowScene.h"

#include "discovery/ProductDiscovery.h"
#include "discovery/RunState.h"
#include "test_support/WindowFixture.h"

#include <QKeyEvent>
#include <cstdlib>

namespace {

using test_support::readFile;
using test_support::runMainQueueUntil;

// The window is shown in a process that ends at once: Qt Quick keeps its textures to the end of the process,
// which counts as a leak.
class WindowSceneDeathTest : public WindowTest {
protected:
    static void show(WindowScene &scene, std::function<void()> closing) {
        scene.open(std::move(closing));
        runMainQueueUntil([] { return !QGuiApplication::topLevelWindows().isEmpty(); });
    }

    static void expectInOwnProcess(const std::function<bool()> &isGood) {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        const auto run = [&] {
            QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
            registerViews();
            std::_Exit(isGood() ? 0 : 1);
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
    }
};

// The time that the end may take is counted from this call, and the first step writes to the log, whose disk
// may have stopped answering.
TEST_F(WindowSceneDeathTest, ReportsItsClosingBeforeAnyStep) {
    expectInOwnProcess([&] {
        const QByteArray firstStep = "onDisappear triggered";
        WindowScene scene;
        std::vector<bool> wasAfterFirstStep;
        show(scene, [&] { wasAfterFirstStep.push_back(readFile(log).contains(firstStep)); });
        QGuiApplication::topLevelWindows().front()->close();
        return wasAfterFirstStep == std::vector<bool>{false} && readFile(log).contains(firstStep);
    });
}

TEST_F(WindowSceneDeathTest, OpensANewWindowWithANewStateOnlyAfterTheLastHasClosed) {
    expectInOwnProcess([] {
        QGuiApplication::setQuitOnLastWindowClosed(false);
        WindowScenes scenes;
        const auto showsOneWindow = [] {
            return runMainQueueUntil([] {
                const auto windows = QGuiApplication::topLevelWindows();
                return windows.size() == 1 && windows.front()->isVisible();
            });
        };
        scenes.open([] {});
        bool isGood = showsOneWindow();
        const WindowScene *first = &scenes.current();
        scenes.current().view().startButtonLabel = QStringLiteral("Close");
        scenes.reopen();
        isGood = isGood && &scenes.current() == first && showsOneWindow();
        UtilityFunctions::isOutputDirectoryCreated = true;
        QGuiApplication::topLevelWindows().front()->close();
        isGood = isGood && !UtilityFunctions::isOutputDirectoryCreated;
        scenes.reopen();
        return isGood && showsOneWindow() && UtilityFunctions::alertPresenter &&
               scenes.current().view().startButtonLabel.value() == QStringLiteral("Start diagnostics");
    });
}

TEST_F(WindowSceneDeathTest, AHeldKeyIsOnePress) {
    expectInOwnProcess([] {
        WindowScene scene;
        scene.view().startButtonLabel = QStringLiteral("Stop upload");
        show(scene, [] {});
        const auto press = [](bool isRepeated) {
            QKeyEvent event(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "), isRepeated);
            QCoreApplication::sendEvent(QGuiApplication::topLevelWindows().front(), &event);
            test_support::runMainQueueFor(std::chrono::milliseconds(20));
        };
        press(false);
        const bool isPressed = scene.view().startButtonLabel.value() == QStringLiteral("Share logs");
        press(true);
        // A second press would have asked for the description.
        return isPressed && scene.view().isInitialFocus;
    });
}

} // namespace
