#include "MeasuredProcess.h"

#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

Measurement runMeasured(const std::vector<std::string> &command,
                        const std::vector<std::pair<std::string, std::string>> &variables) {
    std::vector<char *> arguments;
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
    int status = 0;
    struct rusage usage {};
    ::wait4(child, &status, 0, &usage);
    result.wall = std::chrono::steady_clock::now() - begin;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    result.peakBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
    return result;
}
