#include "app/LumamonApp.h"

#include "app/CommandLineArguments.h"
#include "app/WindowLoader.h"
#include "packaging/UploadAPI.h"
#include "platform/MainQueue.h"
#include "platform/Process.h"
#include "platform/SystemLog.h"
#include "ui/WindowFrontEnd.h"

#include <QCoreApplication>

namespace {

QStringList texts(int argumentCount, char **arguments) {
    QStringList result;
    for (int i = 0; i < argumentCount; ++i)
        result.append(QString::fromLocal8Bit(arguments[i]));
    return result;
}

} // namespace

int LumamonApp::run(int argumentCount, char **arguments) {
    platform::prepareProcess();
    WindowFrontEnd *window = nullptr;
    std::unique_ptr<QCoreApplication> application;
    if (CommandLineArguments::asksForSilence(texts(argumentCount, arguments))) {
        application = std::make_unique<QCoreApplication>(argumentCount, arguments);
    } else {
        window = loadWindow();
        if (!window)
            return EXIT_FAILURE;
        application = window->makeApplication(argumentCount, arguments);
    }
    AppDelegate delegate(window);
    platform::onMainQueue([&delegate] { delegate.applicationDidFinishLaunching(); });
    const int status = QCoreApplication::exec();
    // An upload that is under way stops here.
    UploadAPI::uploadTask.reset();
    if (window)
        window->close();
    platform::SystemLog::flush(std::chrono::seconds(1));
    return status;
}
