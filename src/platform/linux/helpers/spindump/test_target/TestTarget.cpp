// The program that the tests of the process sampler sample. Its first argument says what it does; it says
// "ready" on standard output when it does that.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <pthread.h>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <time.h>
#include <unistd.h>

namespace sample {

volatile unsigned long sink;
volatile std::sig_atomic_t signalsSeen;
std::mutex heldMutex;
std::atomic<int> threadsAtWork;
char *argumentsBegin;
char *argumentsEnd;

void say(const std::string &words) {
    std::puts(words.c_str());
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

// Returns a while after the sampler has come.
void waitForSampler() {
    say("ready");
    for (std::string line; line.find_first_of("123456789") == line.npos; ::usleep(1000)) {
        std::ifstream status("/proc/self/status");
        while (std::getline(status, line) && !line.starts_with("TracerPid:")) {
        }
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
    Crunch<unsigned long>::hot(1);
    ++threadsAtWork;
    for (;;) {
        Crunch<unsigned long>::hot(300'000);
        Crunch<unsigned long>::cold(100'000);
    }
}

void waitForMutex() {
    const std::lock_guard lock(heldMutex);
}

void start(const char *name, void (*work)()) {
    std::thread([name, work] {
        ::pthread_setname_np(::pthread_self(), name);
        work();
    }).detach();
}

void startBusy(int count) {
    for (int i = 0; i < count; ++i)
        start("busy", busy);
    while (threadsAtWork < count)
        ::usleep(1000);
    readyToSleep();
}

void threads() {
    heldMutex.lock();
    start("sleeper", sleepForever);
    start("blocked", waitForMutex);
    startBusy(1);
}

// Not a tail call: the number is used after it.
unsigned long descend(unsigned long depth) { // NOLINT(misc-no-recursion)
    if (depth == 0)
        readyToSleep();
    const unsigned long below = descend(depth - 1);
    return below + depth;
}

// A process that is made with another signal than SIGCHLD, as some libraries do: a tracer of the threads
// takes it for one of them.
void cloneLoop(int count) {
    for (int made = 0; made < count; ++made) {
        const auto child = static_cast<pid_t>(::syscall(SYS_clone, 0, nullptr, nullptr, nullptr, 0));
        if (child == 0)
            ::_exit(0);
        ::waitpid(child, nullptr, __WALL);
    }
}

void threadLoop() {
    say("ready");
    for (;;)
        std::thread([] { spin(20'000); }).join();
}

void forkLoop() {
    say("ready");
    for (;;) {
        const pid_t child = ::fork();
        if (child == 0)
            ::_exit(0);
        ::waitpid(child, nullptr, 0);
        cloneLoop(1);
    }
}

void cloneAndEnd() {
    waitForSampler();
    cloneLoop(300);
    std::exit(8);
}

void endSoon() {
    waitForSampler();
    const std::clock_t begin = std::clock();
    while (std::clock() - begin < CLOCKS_PER_SEC * 3 / 10)
        spin(10'000);
    std::exit(7);
}

void execSoon() {
    waitForSampler();
    ::execl("/bin/sleep", "sleep", "1000", nullptr);
}

// Counts the signals that it sends itself, and says so at the end.
void signals() {
    std::signal(SIGUSR1, [](int) { signalsSeen = signalsSeen + 1; });
    say("ready");
    for (int i = 0; i < 2000; ++i) {
        ::raise(SIGUSR1);
        ::usleep(500);
    }
    say(std::to_string(signalsSeen) + " seen");
    sleepForever();
}

// Each signal is an event for a tracer.
void signalStorm() {
    std::signal(SIGUSR1, SIG_IGN);
    for (int i = 0; i < 8; ++i)
        start("storm", [] {
            for (;;)
                ::raise(SIGUSR1);
        });
    readyToSleep();
}

void notDumpable() {
    ::prctl(PR_SET_DUMPABLE, 0);
    readyToSleep();
}

void oddName() {
    ::prctl(PR_SET_NAME, "evil\n\033[31mx");
    readyToSleep();
}

// Without an end, and not for the user to read.
void overwriteArguments() {
    for (char *c = argumentsBegin; c < argumentsEnd; ++c)
        *c = *c == '\0' ? ' ' : *c;
    notDumpable();
}

} // namespace sample

int main(int argumentCount, char **arguments) {
    using namespace sample;
    const std::map<std::string, void (*)()> work{
        {"busyThreads", [] { startBusy(8); }},
        {"cloneAndEnd", cloneAndEnd},
        {"deep", [] { descend(3'000); }},
        {"endSoon", endSoon},
        {"execSoon", execSoon},
        {"forkLoop", forkLoop},
        {"notDumpable", notDumpable},
        {"oddName", oddName},
        {"overwriteArguments", overwriteArguments},
        {"signalStorm", signalStorm},
        {"signals", signals},
        {"sleep", readyToSleep},
        {"threadLoop", threadLoop},
        {"threads", threads},
    };
    argumentsBegin = arguments[0];
    argumentsEnd = arguments[argumentCount - 1] + std::strlen(arguments[argumentCount - 1]) + 1;
    const auto chosen = argumentCount > 1 ? work.find(arguments[1]) : work.end();
    if (chosen == work.end())
        return 2;
    chosen->second();
    return 0;
}
