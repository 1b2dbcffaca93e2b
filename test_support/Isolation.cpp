#include "test_support/Isolation.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {

namespace {

bool ownNamespaces = false;

void writeText(const char *file, const std::string &text) {
    std::ofstream(file) << text;
}

// As another user than root the namespaces come with a user namespace, in which that user is root.
bool enterNamespaces() {
    const uid_t user = ::geteuid();
    const gid_t group = ::getegid();
    constexpr int wanted = CLONE_NEWPID | CLONE_NEWNS;
    if (user == 0)
        return ::unshare(wanted) == 0;
    if (::unshare(CLONE_NEWUSER | wanted) != 0)
        return false;
    writeText("/proc/self/setgroups", "deny");
    writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
    return true;
}

void waitForOtherTests() {
    const auto file = std::filesystem::temp_directory_path() / "lumamon-tests.lock";
    const int lock = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    ::flock(lock, LOCK_EX);
}

[[noreturn]] void passOnStatus(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        std::fprintf(stderr, "The test was ended by signal %d.\n", WTERMSIG(status));
        std::_Exit(128 + WTERMSIG(status));
    }
    std::_Exit(WEXITSTATUS(status));
}

} // namespace

void isolate() {
    if (!enterNamespaces())
        return waitForOtherTests();
    const pid_t child = ::fork();
    if (child != 0)
        passOnStatus(child);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const bool mounted = ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         ::mount("proc", "/proc", "proc", 0, nullptr) == 0;
    if (!mounted) {
        std::perror("The test's own /proc cannot be mounted");
        std::_Exit(EXIT_FAILURE);
    }
    ownNamespaces = true;
}

bool hasOwnNamespaces() {
    return ownNamespaces;
}

} // namespace test_support
