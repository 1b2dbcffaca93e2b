#include "app/LumamonApp.h"

#include "packaging/UploadAPI.h"
#include "platform/MainQueue.h"
#include "platform/Process.h"
#include "platform/SystemLog.h"

#include <QCoreApplication>

int LumamonApp::run(int argumentCount, char **arguments) {
    platform::prepareProcess();
    QCoreApplication application(argumentCount, arguments);
    AppDelegate delegate;
    platform::onMainQueue([&delegate] { delegate.applicationDidFinishLaunching(); });
    const int status = QCoreApplication::exec();
    // An upload that is under way stops here.
    UploadAPI::uploadTask.reset();
    platform::SystemLog::flush(std::chrono::seconds(1));
    return status;
}
