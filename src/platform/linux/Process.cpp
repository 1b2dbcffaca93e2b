#include "platform/Process.h"

#include "platform/FileDescriptor.h"
#include "platform/Text.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform {

namespace {

std::vector<char *> pointers(std::vector<std::string> &texts) {
    std::vector<char *> result;
    result.reserve(texts.size() + 1);
    for (std::string &text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

std::vector<std::string> childEnvironment(const Program &program) {
    std::vector<std::string> result;
    for (const auto &[name, value] : program.variables)
        result.push_back(name + "=" + value);
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const std::string_view text(*entry);
        const auto isSet = [&](const auto &variable) { return text.starts_with(variable.first + "="); };
        if (std::none_of(program.variables.begin(), program.variables.end(), isSet))
            result.emplace_back(text);
    }
    return result;
}

// Between fork and exec only calls that are safe after a fork of a process with threads.
[[noreturn]] void becomeProgram(const Program &program, char *const *arguments, char *const *environment,
                                pid_t parent, int failure) {
    std::signal(SIGPIPE, SIG_DFL);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int null = ::open("/dev/null", O_RDWR);
    const bool silent = ::dup2(null, STDIN_FILENO) >= 0 && ::dup2(null, STDOUT_FILENO) >= 0 &&
                        ::dup2(null, STDERR_FILENO) >= 0;
    if (null > STDERR_FILENO)
        ::close(null);
    const bool placed = program.workingFolder.empty() || ::chdir(program.workingFolder.c_str()) == 0;
    if (::getppid() == parent && silent && placed)
        ::execve(program.path.c_str(), arguments, environment);
    const char notStarted = 1;
    (void)!::write(failure, &notStarted, 1);
    ::_exit(EXIT_FAILURE);
}

} // namespace

void prepareProcess() {
    ::umask(S_IRWXG | S_IRWXO);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);
    // A product may start this program with its standard streams closed. The next file opened would take
    // their place, and what is meant for the terminal would end up in that file.
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) < 0)
            ::open("/dev/null", O_RDWR);
    }
}

std::filesystem::path executablePath(const QStringList &arguments) {
    const auto first = pathFromText(arguments.value(0));
    if (first.is_absolute())
        return first;
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error);
}

std::optional<int> runProgram(const Program &program) {
    std::vector<std::string> argumentTexts = program.arguments;
    argumentTexts.insert(argumentTexts.begin(), program.path.native());
    std::vector<std::string> variableTexts = childEnvironment(program);
    const auto arguments = pointers(argumentTexts);
    const auto environment = pointers(variableTexts);

    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return std::nullopt;
    const FileDescriptor failure(ends[0]);
    FileDescriptor report(ends[1]);

    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0)
        return std::nullopt;
    if (child == 0)
        becomeProgram(program, arguments.data(), environment.data(), parent, report.get());
    report = FileDescriptor();

    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return std::nullopt;
    }
    char notStarted = 0;
    if (::read(failure.get(), &notStarted, 1) == 1 || !WIFEXITED(status))
        return std::nullopt;
    return WEXITSTATUS(status);
}

} // namespace platform
