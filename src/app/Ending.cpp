#include "app/Ending.h"

#include "collection/PListOperations.h"
#include "collection/ProcessExecution.h"
#include "packaging/UploadAPI.h"
#include "platform/SystemLog.h"
#include "platform/posix/Program.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 1800ms;

} // namespace

// The disk may have stopped answering, and then any step of the end waits for ever.
void limitTheEnd(int status) {
    static std::atomic<bool> isLimited = false;
    if (isLimited.exchange(true))
        return;
    std::thread([=] {
        std::this_thread::sleep_for(patience);
        std::_Exit(status);
    }).detach();
}

void endRun(int status) {
    limitTheEnd(status);
    UploadAPI::uploadTask.reset();
    platform::stopPrograms();
    const bool captureHasEnded = ProcessExecution::stop();
    PListOperations::RevertLumaLogPList(true);
    platform::SystemLog::flush(1s);
    if (!captureHasEnded)
        std::_Exit(status);
}
