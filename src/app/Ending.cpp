#include "app/Ending.h"

#include "collection/PListOperations.h"
#include "collection/ProcessExecution.h"
#include "packaging/UploadAPI.h"
#include "platform/Program.h"
#include "platform/SystemLog.h"

#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 1800ms;

// The disk may have stopped answering, and then any of the steps waits for ever.
void endProcessAfter(std::chrono::milliseconds limit, int status) {
    std::thread([=] {
        std::this_thread::sleep_for(limit);
        std::_Exit(status);
    }).detach();
}

} // namespace

void endRun(int status) {
    endProcessAfter(patience, status);
    UploadAPI::uploadTask.reset();
    platform::stopPrograms();
    const bool captureHasEnded = ProcessExecution::stop();
    PListOperations::RevertLumaLogPList(true);
    platform::SystemLog::flush(1s);
    if (!captureHasEnded)
        std::_Exit(status);
}
