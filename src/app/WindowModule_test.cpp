#include "app/WindowModule.h"

#include "discovery/MainQueue.h"
#include "discovery/ProductDiscovery.h"
#include "discovery/RunState.h"
#include "test_support/WindowFixture.h"

#include <QTimer>

namespace {

using WindowModuleDeathTest = WindowTest;

bool showsOneWindow() {
    return test_support::runMainQueueUntil([] {
        const auto windows = QGuiApplication::topLevelWindows();
        return windows.size() == 1 && windows.front()->isVisible();
    });
}

TEST_F(WindowModuleDeathTest, OpensANewWindowWithANewStateOnlyAfterTheLastHasClosed) {
    expectInOwnProcess([] {
        QGuiApplication::setQuitOnLastWindowClosed(false);
        WindowModule module;
        module.reopen();
        bool isGood = showsOneWindow();
        WindowScene *const first = &module.scene();
        first->view().startButtonLabel = QStringLiteral("Close");
        module.reopen();
        isGood = isGood && &module.scene() == first && showsOneWindow();
        UtilityFunctions::isOutputDirectoryCreated = true;
        QGuiApplication::topLevelWindows().front()->close();
        isGood = isGood && !UtilityFunctions::isOutputDirectoryCreated;
        module.reopen();
        return isGood && showsOneWindow() && UtilityFunctions::alertPresenter &&
               module.scene().view().startButtonLabel.value() == QStringLiteral("Start diagnostics");
    });
}

TEST_F(WindowModuleDeathTest, TheCloseButtonOfALaterWindowEndsTheProgram) {
    expectInOwnProcess([] {
        QGuiApplication::setQuitOnLastWindowClosed(false);
        WindowModule module;
        module.reopen();
        const bool isGood = showsOneWindow();
        onMainQueue([&] { Q_EMIT module.scene().view().closeRequested(); });
        QTimer::singleShot(std::chrono::seconds(20), [] { QCoreApplication::exit(1); });
        return isGood && QCoreApplication::exec() == 0;
    });
}

} // namespace
