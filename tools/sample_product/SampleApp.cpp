// The program in the sample product's bundle: it runs until it is told to end, and does nothing else.
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

int usage(std::ostream &out, int status) {
    out << "Usage: sample_app [--exit-with-parent PROCESS-ID] [--exit-at-end-of-input]\n"
           "Runs until SIGTERM or SIGINT, and does nothing.\n"
           "  --exit-with-parent PROCESS-ID  ends as well when the process that started it ends\n"
           "  --exit-at-end-of-input         ends as well when its standard input does\n";
    return status;
}

void readToTheEnd() {
    char buffer[4096];
    while (read(STDIN_FILENO, buffer, sizeof buffer) > 0) {
    }
}

} // namespace

int main(int count, char **arguments) {
    bool untilEndOfInput = false;
    for (int i = 1; i < count; ++i) {
        if (std::strcmp(arguments[i], "--help") == 0)
            return usage(std::cout, 0);
        if (std::strcmp(arguments[i], "--exit-at-end-of-input") == 0) {
            untilEndOfInput = true;
        } else if (std::strcmp(arguments[i], "--exit-with-parent") == 0 && i + 1 < count) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            // The parent may have gone before that took hold.
            if (getppid() != std::atoi(arguments[++i]))
                return 1;
        } else {
            return usage(std::cerr, 2);
        }
    }

    if (untilEndOfInput) {
        readToTheEnd();
        return 0;
    }
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    int received = 0;
    sigwait(&ends, &received);
    return 0;
}
