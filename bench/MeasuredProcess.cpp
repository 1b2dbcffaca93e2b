#include "MeasuredProcess.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

std::uint64_t highWaterMark(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:"))
            return std::stoull(line.substr(6)) * 1024;
    }
    return 0;
}

Measurement runMeasured(const std::vector<std::string> &command,
                        const std::vector<std::pair<std::string, std::string>> &variables) {
    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string &word : command)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);

    Measurement result;
    result.started = std::chrono::system_clock::now();
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        const int null = ::open("/dev/null", O_RDWR);
        ::dup2(null, STDOUT_FILENO);
        for (const auto &[name, value] : variables)
            ::setenv(name.c_str(), value.c_str(), 1);
        ::execv(arguments.front(), arguments.data());
        ::_exit(127);
    }
    // The last high-water mark of the program's own memory. The first ones, and what the system reports at
    // the end, begin with the memory of this process, from which the program was forked.
    constexpr useconds_t betweenLooks = 2000;
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (const auto mark = highWaterMark(child); mark > 0)
            result.peakBytes = mark;
        ::usleep(betweenLooks);
    }
    result.wall = std::chrono::steady_clock::now() - begin;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return result;
}
