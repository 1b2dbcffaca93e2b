// The program that the tests of the process sampler sample. Its argument says what it does; it says "ready"
// on standard output when it does that. Its main thread has a name that would change a terminal's colour.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace sample {

volatile unsigned long sink;
std::mutex heldMutex;
std::atomic<bool> isBusy;
char *argumentsBegin;
char *argumentsEnd;

void say(const char *words) {
    std::puts(words);
    std::fflush(stdout);
}

void sleepForever() {
    for (;;)
        ::sleep(1000);
}

void readyToSleep() {
    say("ready");
    sleepForever();
}

// Not a tail call: the number is used after it.
unsigned long descend(unsigned long depth) { // NOLINT(misc-no-recursion)
    if (depth == 0)
        readyToSleep();
    const unsigned long below = descend(depth - 1);
    return below + depth;
}

// Returns a while after the sampler has come.
void waitForSampler() {
    say("ready");
    for (int tracer = 0; tracer == 0; ::usleep(1000)) {
        std::ifstream status("/proc/self/status");
        for (std::string word; word != "TracerPid:" && status >> word;) {
        }
        status >> tracer;
    }
    ::usleep(200'000);
}

void spin(unsigned long turns) {
    for (unsigned long i = 0; i < turns; ++i)
        sink = sink + i;
}

template <typename Number>
struct Crunch {
    // The test looks for the number of this line.
    static void hot(Number turns) { spin(turns); } // HOT
    static void cold(Number turns) { spin(turns); }
};

// Three quarters of the time in hot, one in cold.
void busy() {
    for (;; isBusy = true) {
        Crunch<unsigned long>::hot(300'000);
        Crunch<unsigned long>::cold(100'000);
    }
}

void waitForMutex() {
    const std::lock_guard lock(heldMutex);
}

void start(const char *name, void (*work)()) {
    std::thread([name, work] {
        ::prctl(PR_SET_NAME, name);
        work();
    }).detach();
}

void threads() {
    heldMutex.lock();
    start("sleeper", sleepForever);
    start("blocked", waitForMutex);
    start("busy", busy);
    while (!isBusy)
        ::usleep(1000);
    readyToSleep();
}

pid_t makeProcess(int signal, unsigned seconds) {
    const auto child = static_cast<pid_t>(::syscall(SYS_clone, signal, nullptr, nullptr, nullptr, 0));
    if (child == 0) {
        ::sleep(seconds);
        ::_exit(0);
    }
    return child;
}

// Also with another signal than SIGCHLD, as some libraries do: a tracer of the threads takes such a process
// for one of them.
void makeProcesses() {
    for (const int signal : {SIGCHLD, 0})
        ::waitpid(makeProcess(signal, 0), nullptr, __WALL);
}

void threadLoop() {
    for (say("ready");;)
        std::thread([] { spin(20'000); }).join();
}

void endSoon() {
    waitForSampler();
    for (int made = 0; made < 150; ++made)
        makeProcesses();
    makeProcess(0, 30);
    for (const std::clock_t begin = std::clock(); std::clock() - begin < CLOCKS_PER_SEC * 3 / 10;)
        spin(10'000);
    std::_Exit(7);
}

void execSoon() {
    waitForSampler();
    ::execl("/bin/sleep", "sleep", "1000", nullptr);
}

thread_local volatile unsigned signalsSeen = 0;

// Each signal is an event for a tracer, and is handled before it has been sent.
void raiseForever() {
    for (unsigned sent = 1;; ++sent) {
        ::raise(SIGUSR1);
        if (signalsSeen != sent)
            say("a signal was lost");
    }
}

void signalStorm() {
    std::signal(SIGUSR1, [](int) { signalsSeen = signalsSeen + 1; });
    for (int i = 0; i < 8; ++i)
        start("storm", raiseForever);
    readyToSleep();
}

// Not for its user to read, and its arguments do not end.
void hidden() {
    for (char *c = argumentsBegin; c < argumentsEnd; ++c)
        *c = *c == '\0' ? ' ' : *c;
    ::prctl(PR_SET_DUMPABLE, 0);
    readyToSleep();
}

} // namespace sample

int main(int argumentCount, char **arguments) {
    using namespace sample;
    const std::map<std::string, void (*)()> works{
        {"deep", [] { descend(3'000); }}, {"endSoon", endSoon},
        {"execSoon", execSoon},           {"hidden", hidden},
        {"signalStorm", signalStorm},     {"sleep", readyToSleep},
        {"threadLoop", threadLoop},       {"threads", threads},
    };
    ::prctl(PR_SET_NAME, "evil\n\033[31mx");
    argumentsBegin = arguments[0];
    argumentsEnd = arguments[argumentCount - 1] + std::strlen(arguments[argumentCount - 1]) + 1;
    works.at(arguments[1])();
}
