// Work that a test does in a copy of its own process.
#pragma once

#include <csignal>
#include <functional>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {

/// Runs `work` in a child process, which ends with what it gives. The child dies with this process.
inline pid_t startInChild(const std::function<int()> &work) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::_exit(work());
    }
    return child;
}

/// The exit status of a child process, waited for; 128 and the signal when it was killed.
inline int statusOf(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

inline int statusInChild(const std::function<int()> &work) {
    return statusOf(startInChild(work));
}

} // namespace test_support
