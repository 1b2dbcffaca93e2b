#include "MeasuredProcess.h"

#include "test_support/ProgramRun.h"

#include <fstream>

std::uint64_t highWaterMark(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:"))
            return std::stoull(line.substr(6)) * 1024;
    }
    return 0;
}

Measurement runMeasured(const std::vector<std::string> &command,
                        const std::vector<std::pair<std::string, std::string>> &variables,
                        std::chrono::milliseconds interval) {
    Measurement result;
    result.started = std::chrono::system_clock::now();
    const auto begin = std::chrono::steady_clock::now();
    test_support::ProgramRun run({.program = command.front(),
                                  .arguments = {command.begin() + 1, command.end()},
                                  .variables = {variables.begin(), variables.end()}});
    // The last high-water mark of the program's own memory. The first ones, and what the system reports at
    // the end, begin with the memory of this process, from which the program was forked.
    while (run.isRunning()) {
        if (const auto mark = highWaterMark(run.processId()); mark > 0)
            result.peakBytes = mark;
        std::this_thread::sleep_for(interval);
    }
    result.wall = std::chrono::steady_clock::now() - begin;
    const auto end = *run.waitForEnd();
    result.exitStatus = end.signal == 0 ? end.status : 128 + end.signal;
    return result;
}
