#include "app/LumamonApp.h"

#include "app/Ending.h"
#include "platform/MainQueue.h"
#include "platform/Process.h"

#include <QCoreApplication>

int LumamonApp::run(int argumentCount, char **arguments) {
    platform::prepareProcess();
    QCoreApplication application(argumentCount, arguments);
    AppDelegate delegate;
    platform::onMainQueue([&delegate] { delegate.applicationDidFinishLaunching(); });
    const int status = QCoreApplication::exec();
    endRun(status);
    return status;
}
