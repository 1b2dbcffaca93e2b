#include "test_support/ChildProcess.h"

#include "test_support/ScratchHome.h"

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace test_support {

ChildProcess::ChildProcess(const std::filesystem::path &program, const std::vector<std::string> &arguments,
                           const std::function<void()> &prepare) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return;
    m_process = ::fork();
    if (m_process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        std::vector<std::string> texts = arguments;
        std::vector<char *> pointers;
        for (std::string &text : texts)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        prepare();
        ::execv(program.c_str(), pointers.data());
        (void)!::write(ends[1], "!", 1);
        ::_exit(EXIT_FAILURE);
    }
    ::close(ends[1]);
    char failed = 0;
    if (::read(ends[0], &failed, 1) == 1) {
        ::waitpid(m_process, nullptr, 0);
        m_process = -1;
    }
    ::close(ends[0]);
}

ChildProcess::ChildProcess(ChildProcess &&other) noexcept
    : m_process(std::exchange(other.m_process, -1)) {}

ChildProcess::~ChildProcess() {
    if (m_process <= 0)
        return;
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, nullptr, 0);
}

int statusInChild(const std::function<int()> &work) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::_exit(work());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

char processState(pid_t process) {
    const QByteArray status = readFile("/proc/" + std::to_string(process) + "/stat");
    const qsizetype name = status.lastIndexOf(')');
    return name < 0 || name + 2 >= status.size() ? ' ' : status[name + 2];
}

} // namespace test_support
