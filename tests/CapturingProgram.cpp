// A run of the window without a window: it switches the product's logging on, captures everything, and ends
// as the program ends. Status 7 when the capture was completed.
#include "app/LumamonApp.h"
#include "collection/PListOperations.h"
#include "collection/ProcessExecution.h"
#include "discovery/ProductDiscovery.h"
#include "logging/Logging.h"
#include "platform/posix/Process.h"

#include <QCoreApplication>

int main(int argumentCount, char **arguments) {
    platform::prepareProcess();
    QCoreApplication application(argumentCount, arguments);
    Logger::setupLogFile();
    UtilityFunctions::CreateOutputDirectories();
    Logger::changeLogFileLocation();
    UtilityFunctions::SetLumadocRunningOrInstalledInstances(false);
    UtilityFunctions::SetLumadocOrPellix();
    PListOperations::EnableLumaLogging(true);
    platform::onTerminationRequest([] { QCoreApplication::quit(); });
    constexpr int completed = 7;
    ProcessExecution::runTasksConcurrently(true, true, true, [] { QCoreApplication::exit(completed); });
    const int status = QCoreApplication::exec();
    LumamonApp::endRun(status);
    return status;
}
