#include "ui/WindowScene.h"

#include "test_support/WindowFixture.h"

#include <QKeyEvent>
#include <cstdlib>

namespace {

using test_support::readFile;
using test_support::runMainQueueUntil;

class WindowSceneDeathTest : public WindowTest {
protected:
    static void show(WindowScene &scene, std::function<void()> closing) {
        scene.open(std::move(closing));
        runMainQueueUntil([] { return !QGuiApplication::topLevelWindows().isEmpty(); });
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
