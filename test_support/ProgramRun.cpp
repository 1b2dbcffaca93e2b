#include "test_support/ProgramRun.h"

#include "test_support/ScratchHome.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <grp.h>
#include <map>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace test_support {

namespace {

// The pointers hold as long as the texts are not moved.
std::vector<char *> pointersTo(std::vector<std::string> &texts) {
    std::vector<char *> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string &text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

std::vector<std::string> environmentOf(const ProgramOptions &options) {
    std::map<std::string, std::string> variables;
    for (char **entry = environ; *entry != nullptr; ++entry) {
        const std::string text(*entry);
        variables[text.substr(0, text.find('='))] = text;
    }
    for (const auto &[name, value] : options.variables) {
        variables.erase(name);
        if (value)
            variables[name] = name + "=" + *value;
    }
    std::vector<std::string> result;
    for (const auto &[name, text] : variables)
        result.push_back(text);
    return result;
}

bool becomeUser(uid_t user) {
    return ::setgroups(0, nullptr) == 0 && ::setresgid(user, user, user) == 0 &&
           ::setresuid(user, user, user) == 0;
}

// Between fork and exec: system calls only, since other threads may have held any lock.
[[noreturn]] void becomeProgram(const ProgramOptions &options, char *const *arguments,
                                char *const *environment, int output, int errors) {
    ::umask(0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int input = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    bool ready = ::dup2(input, STDIN_FILENO) >= 0 && ::dup2(output, STDOUT_FILENO) >= 0 &&
                 ::dup2(errors, STDERR_FILENO) >= 0 && ::chdir(options.workingFolder.c_str()) == 0;
    if (options.beforeStart != nullptr)
        options.beforeStart();
    if (options.user)
        ready = ready && becomeUser(*options.user);
    if (ready)
        ::execve(options.program.c_str(), arguments, environment);
    ::_exit(127);
}

int endOf(int status) {
    return WIFSIGNALED(status) ? killedBy(WTERMSIG(status)) : exited(WEXITSTATUS(status));
}

// Whether a process has ended and only waits for its parent to ask how.
bool hasEnded(const std::filesystem::path &process) {
    const QByteArray text = readFile(process / "stat");
    const QByteArray state = text.mid(text.lastIndexOf(") ") + 2, 1);
    return text.isEmpty() || state == "Z" || state == "X";
}

} // namespace

ProgramRun::ProgramRun(const ProgramOptions &options)
    : m_output(::memfd_create("output", MFD_CLOEXEC))
    , m_errors(::memfd_create("errors", MFD_CLOEXEC)) {
    std::vector<std::string> argumentTexts = options.arguments;
    argumentTexts.insert(argumentTexts.begin(),
                         options.name.empty() ? options.program.native() : options.name);
    std::vector<std::string> environmentTexts = environmentOf(options);
    const auto arguments = pointersTo(argumentTexts);
    const auto environment = pointersTo(environmentTexts);
    m_processId = ::fork();
    if (m_processId == 0)
        becomeProgram(options, arguments.data(), environment.data(), m_output, m_errors);
    if (m_processId < 0)
        std::abort();
}

ProgramRun::~ProgramRun() {
    if (isRunning()) {
        send(SIGKILL);
        send(SIGCONT);
        reap(0);
    }
    ::close(m_output);
    ::close(m_errors);
}

void ProgramRun::reap(int options) {
    int status = 0;
    struct rusage usage {};
    if (m_end || ::wait4(m_processId, &status, options, &usage) != m_processId)
        return;
    m_end = endOf(status);
    m_peakMemoryBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
}

bool ProgramRun::isRunning() {
    reap(WNOHANG);
    return !m_end;
}

void ProgramRun::send(int signal) const {
    if (!m_end)
        ::kill(m_processId, signal);
}

std::optional<int> ProgramRun::waitForEnd(std::chrono::milliseconds limit) {
    waitUntil([this] { return !isRunning(); }, limit);
    return m_end;
}

std::string ProgramRun::waitForFirstLine() {
    waitUntil([this] { return standardOutput().find('\n') != std::string::npos || !isRunning(); },
              std::chrono::minutes(2));
    const std::string output = standardOutput();
    if (output.find('\n') == std::string::npos)
        throw std::runtime_error("A server does not start: " + standardError());
    return output.substr(0, output.find('\n'));
}

std::string ProgramRun::standardOutput() const {
    return readFile("/proc/self/fd/" + std::to_string(m_output)).toStdString();
}

std::string ProgramRun::standardError() const {
    return readFile("/proc/self/fd/" + std::to_string(m_errors)).toStdString();
}

pid_t startInChild(const std::function<int()> &work) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::_exit(work());
    }
    return child;
}

int statusOf(pid_t child) {
    int status = 0;
    ::waitpid(child, &status, 0);
    return endOf(status);
}

int statusInChild(const std::function<int()> &work) {
    return statusOf(startInChild(work));
}

bool canRunAs(uid_t user) {
    return statusInChild([user] { return becomeUser(user) ? 0 : 1; }) == 0;
}

std::vector<pid_t> processesOf(const std::string &programName) {
    std::vector<pid_t> found;
    std::error_code error;
    for (std::filesystem::directory_iterator entry("/proc", error), end; !error && entry != end;
         entry.increment(error)) {
        const int processId = std::atoi(entry->path().filename().c_str());
        if (processId == 0 || hasEnded(entry->path()))
            continue;
        std::error_code gone;
        if (std::filesystem::read_symlink(entry->path() / "exe", gone).filename() == programName)
            found.push_back(processId);
    }
    return found;
}

} // namespace test_support
