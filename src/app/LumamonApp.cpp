#include "app/LumamonApp.h"

#include "app/AppDelegate.h"
#include "app/CommandLineArguments.h"
#include "app/WindowFrontEnd.h"
#include "collection/PListOperations.h"
#include "collection/ProcessExecution.h"
#include "discovery/MainQueue.h"
#include "logging/Logging.h"
#include "packaging/UploadAPI.h"
#include "platform/Account.h"
#include "platform/Bundle.h"
#include "platform/SystemLog.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/Process.h"
#include "platform/posix/Program.h"

#include <QCoreApplication>
#include <QPluginLoader>
#include <algorithm>
#include <atomic>
#include <iterator>

namespace {

using namespace std::chrono_literals;

// The bundle's module that holds the window. Its front end stays for the life of the process.
WindowFrontEnd *loadWindow() {
    // The window's toolkit waits for ever for a thread that was not started, and crashes for want of a file
    // or of memory. It uses half of these threads, and nearly all of the rest.
    constexpr int threads = 8;
    constexpr int descriptors = 16;
    constexpr std::size_t addressBytes = std::size_t{512} << 20;
    if (!platform::hasRoomFor(threads, descriptors, addressBytes))
        platform::fatal("the window cannot be opened: too few threads or files or too little memory is left");
    const auto &bundle = platform::Bundle::main();
    const auto module = bundle ? bundle->module("Window") : std::filesystem::path();
    std::error_code error;
    if (!std::filesystem::exists(module, error))
        platform::fatal("the window is not installed; install the package lumadoc-diagnostics");
    QPluginLoader loader(platform::displayText(module));
    auto *window = qobject_cast<WindowFrontEnd *>(loader.instance());
    if (!window)
        platform::fatal(("the window cannot be loaded: " + loader.errorString().toUtf8()).constData());
    return window;
}

} // namespace

int LumamonApp::run(int argumentCount, char **arguments) {
    platform::prepareProcess();
    // What root leaves in the home of another user, that user can neither change nor remove.
    if (platform::isRootInAnotherHome())
        platform::fatal(
            "This is the home folder of another user. Start the program as that user, not as root.");
    // Before the toolkit takes out what it reads as its own.
    QStringList given;
    std::transform(arguments, arguments + argumentCount, std::back_inserter(given),
                   [](const char *argument) { return QString::fromLocal8Bit(argument); });
    if (!AppDelegate::isOnlyCopy(given)) {
        platform::SystemLog::flush(1s);
        return EXIT_SUCCESS;
    }
    const bool isSilent = std::ranges::any_of(given, CommandLineArguments::asksForSilence);
    // The event loop crashes without a few files.
    if (isSilent && !platform::hasRoomFor(0, 4, 1))
        platform::fatal("too few files are left");
    WindowFrontEnd *const window = isSilent ? nullptr : loadWindow();
    std::unique_ptr<QCoreApplication> application;
    if (window) {
        application = window->makeApplication(argumentCount, arguments);
        Logger::spareThisThread();
        platform::onTerminationRequest([] {
            limitTheEnd(EXIT_SUCCESS);
            QCoreApplication::quit();
        });
    } else {
        application = std::make_unique<QCoreApplication>(argumentCount, arguments);
    }
    AppDelegate delegate(given, window);
    onMainQueue([&delegate] { delegate.applicationDidFinishLaunching(); });
    const int status = QCoreApplication::exec();
    if (window)
        window->close();
    endRun(status);
    if (!window)
        return status;
    // A copied Log ID outlives the program where a clipboard manager takes it, and only an application that
    // is destroyed offers it to one.
    if (window->ownsPasteboard()) {
        closeMainQueue();
        application.reset();
    }
    // A step of the window may still run on another thread, and nothing else that it uses is destroyed.
    platform::endProcess(status);
}

void LumamonApp::limitTheEnd(int status) {
    static std::atomic<bool> isLimited = false;
    if (isLimited.exchange(true))
        return;
    // The disk may have stopped answering, and then any step of the end waits for ever.
    constexpr auto limit = 1800ms;
    std::thread ending = platform::startThread("End", [=] {
        std::this_thread::sleep_for(limit);
        platform::endProcess(status);
    });
    if (ending.joinable())
        ending.detach();
    else
        platform::endProcessOnAlarm(limit, status);
}

void LumamonApp::endRun(int status) {
    limitTheEnd(status);
    UploadAPI::uploadTask.reset();
    platform::stopPrograms();
    const bool captureHasEnded = ProcessExecution::stop();
    PListOperations::RevertLumaLogPList(true);
    Logger::writeAll();
    platform::SystemLog::flush(1s);
    if (!captureHasEnded)
        platform::endProcess(status);
}
