// The program that the tests of the process sampler sample. Its first argument says what it does; it says
// "ready" on standard output when it does that.
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
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
#include <vector>

namespace sample {

volatile unsigned long sink;
std::mutex heldMutex;
std::atomic<int> threadsAtWork;
char *argumentsBegin;
char *argumentsEnd;

void ready() {
    std::puts("ready");
    std::fflush(stdout);
}

bool isTraced() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("TracerPid:"))
            return line.find_first_of("123456789") != line.npos;
    }
    return false;
}

// Returns a while after the sampler has come.
void waitForSampler() {
    while (!isTraced())
        ::usleep(1000);
    ::usleep(200'000);
}

double processorSeconds() {
    struct timespec used {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
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

void readyWhen(int threads) {
    while (threadsAtWork < threads)
        ::usleep(1000);
    ready();
}

void sleepForever() {
    for (;;)
        ::sleep(1000);
}

void waitForMutex() {
    const std::lock_guard lock(heldMutex);
}

// Not a tail call: the number is used after it.
unsigned long descend(unsigned long depth) { // NOLINT(misc-no-recursion)
    if (depth == 0) {
        ready();
        sleepForever();
    }
    const unsigned long below = descend(depth - 1);
    return below + depth;
}

void bigStack() {
    volatile char array[3 << 20];
    array[0] = 1;
    array[sizeof array - 1] = array[0];
    ready();
    sleepForever();
}

std::thread named(const char *name, void (*work)()) {
    return std::thread([name, work] {
        ::pthread_setname_np(::pthread_self(), name);
        work();
    });
}

void threads() {
    heldMutex.lock();
    std::vector<std::thread> all;
    all.push_back(named("busy", busy));
    all.push_back(named("sleeper", sleepForever));
    all.push_back(named("blocked", waitForMutex));
    readyWhen(1);
    sleepForever();
}

void threadLoop() {
    ready();
    for (;;)
        std::thread([] { spin(20'000); }).join();
}

void forkLoop() {
    ready();
    for (int made = 0;; ++made) {
        const pid_t child = ::fork();
        if (child == 0)
            ::_exit(0);
        int status = 0;
        ::waitpid(child, &status, 0);
        // A process that is made with another signal than SIGCHLD, as some libraries do.
        const auto other = static_cast<pid_t>(::syscall(SYS_clone, 0, nullptr, nullptr, nullptr, 0));
        if (other == 0)
            ::_exit(0);
        ::waitpid(other, &status, __WALL);
    }
}

// Makes one child, that stays, and says its id.
void forkOnce() {
    const auto other = static_cast<pid_t>(::syscall(SYS_clone, 0, nullptr, nullptr, nullptr, 0));
    if (other == 0)
        sleepForever();
    std::printf("child %d\n", static_cast<int>(other));
    std::fflush(stdout);
    sleepForever();
}

// Makes many children that a tracer of its threads takes for such, and ends.
void cloneAndEnd() {
    ready();
    waitForSampler();
    for (int made = 0; made < 300; ++made) {
        const auto child = static_cast<pid_t>(::syscall(SYS_clone, 0, nullptr, nullptr, nullptr, 0));
        if (child == 0)
            ::_exit(0);
        int status = 0;
        ::waitpid(child, &status, __WALL);
    }
    std::exit(8);
}

volatile std::sig_atomic_t signalsSeen;

// Counts the signals that it sends itself, and says so at the end.
void signals() {
    std::signal(SIGUSR1, [](int) { signalsSeen = signalsSeen + 1; });
    ready();
    constexpr int sent = 2000;
    for (int i = 0; i < sent; ++i) {
        ::raise(SIGUSR1);
        ::usleep(500);
    }
    std::printf("%d of %d\n", static_cast<int>(signalsSeen), sent);
    std::fflush(stdout);
    sleepForever();
}

// Each signal is an event for a tracer.
void signalStorm() {
    std::signal(SIGUSR1, SIG_IGN);
    for (int i = 0; i < 8; ++i)
        std::thread([] {
            for (;;)
                ::raise(SIGUSR1);
        }).detach();
    ready();
    sleepForever();
}

void endSoon() {
    ready();
    waitForSampler();
    const double begin = processorSeconds();
    while (processorSeconds() - begin < 0.3)
        spin(10'000);
    std::exit(7);
}

void execSoon() {
    ready();
    waitForSampler();
    ::execl("/bin/sleep", "sleep", "1000", nullptr);
}

void manyThreads() {
    for (int i = 0; i < 60; ++i)
        std::thread(sleepForever).detach();
    ready();
    sleepForever();
}

void oddName() {
    ::prctl(PR_SET_NAME, "evil\n\033[31mx");
    ready();
    sleepForever();
}

// The kernel shows the environment behind arguments that do not end.
void overwriteArguments() {
    for (char *c = argumentsBegin; c < argumentsEnd; ++c)
        *c = *c == '\0' ? ' ' : *c;
    ready();
    sleepForever();
}

void busyThreads() {
    for (int i = 0; i < 8; ++i)
        named("busy", busy).detach();
    readyWhen(8);
    sleepForever();
}

} // namespace sample

int main(int argumentCount, char **arguments) {
    using namespace sample;
    const std::map<std::string, void (*)()> work{
        {"threads", threads},
        {"busyThreads", busyThreads},
        {"deep", [] { descend(10'000); }},
        {"bigStack", bigStack},
        {"overwriteArguments", overwriteArguments},
        {"overwriteArgumentsNotDumpable",
         [] {
             ::prctl(PR_SET_DUMPABLE, 0);
             overwriteArguments();
         }},
        {"threadLoop", threadLoop},
        {"forkLoop", forkLoop},
        {"forkOnce",
         [] {
             ready();
             waitForSampler();
             forkOnce();
         }},
        {"cloneAndEnd", cloneAndEnd},
        {"signals", signals},
        {"signalStorm", signalStorm},
        {"endSoon", endSoon},
        {"execSoon", execSoon},
        {"manyThreads", manyThreads},
        {"oddName", oddName},
        {"sleep",
         [] {
             ready();
             sleepForever();
         }},
        {"notDumpable",
         [] {
             ::prctl(PR_SET_DUMPABLE, 0);
             ready();
             sleepForever();
         }},
    };
    argumentsBegin = arguments[0];
    argumentsEnd = arguments[argumentCount - 1] + std::strlen(arguments[argumentCount - 1]) + 1;
    const auto chosen = argumentCount > 1 ? work.find(arguments[1]) : work.end();
    if (chosen == work.end())
        return 2;
    chosen->second();
    return 0;
}
