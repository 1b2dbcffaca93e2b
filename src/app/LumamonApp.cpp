#include "app/LumamonApp.h"

#include "app/CommandLineArguments.h"
#include "app/Ending.h"
#include "app/WindowLoader.h"
#include "discovery/MainQueue.h"
#include "platform/posix/Process.h"
#include "ui/WindowFrontEnd.h"

#include <QCoreApplication>
#include <cstdlib>

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
        platform::onTerminationRequest([] {
            limitTheEnd();
            QCoreApplication::quit();
        });
    }
    AppDelegate delegate(window);
    platform::onMainQueue([&delegate] { delegate.applicationDidFinishLaunching(); });
    const int status = QCoreApplication::exec();
    if (window)
        window->close();
    endRun(status);
    // A copied Log ID outlives the program where a clipboard manager takes it, and only an application that
    // is destroyed offers it to one.
    if (window && window->ownsPasteboard()) {
        platform::closeMainQueue();
        application.reset();
    }
    // A step of the window may still run on a thread of its own, and nothing else that it uses is destroyed.
    if (window)
        std::_Exit(status);
    return status;
}
