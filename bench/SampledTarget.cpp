// How much a busy program of eight threads loses while it is sampled, and what the sampler takes for itself.
//
// The same amount of work is done in turn with and without the shipped sampler at its default rate. Both take
// about ten seconds; what the sampler does after sampling is not counted.
#include "Figures.h"
#include "MeasuredProcess.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int threads = 8;
constexpr auto sampling = std::chrono::seconds(10);

// What the target has done, in memory that it shares with this process.
struct alignas(64) Counter {
    std::atomic<std::uint64_t> turns;
};
struct Work {
    Counter counters[threads];
};

// Calls and memory, as programs have them, not only registers.
__attribute__((noinline)) std::uint64_t mix(std::vector<std::uint64_t> &cells, std::uint64_t value) {
    for (std::uint64_t &cell : cells)
        value = (cell += value * 6364136223846793005u) >> 7;
    return value;
}

[[noreturn]] void doWork(Work &work) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::vector<std::thread> all;
    for (Counter &counter : work.counters)
        all.emplace_back([&counter] {
            std::vector<std::uint64_t> cells(512, 1);
            for (std::uint64_t value = 1;; value = mix(cells, value))
                counter.turns.fetch_add(1, std::memory_order_relaxed);
        });
    for (std::thread &thread : all)
        thread.join();
    std::abort();
}

class Target {
public:
    Target()
        : m_work(static_cast<Work *>(
              ::mmap(nullptr, sizeof(Work), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
        , m_process(::fork()) {
        if (m_process == 0)
            doWork(*m_work);
    }
    ~Target() {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
    Target(const Target &) = delete;
    Target &operator=(const Target &) = delete;

    pid_t process() const { return m_process; }
    std::uint64_t turns() const {
        std::uint64_t sum = 0;
        for (const Counter &counter : m_work->counters)
            sum += counter.turns;
        return sum;
    }
    /// Turns a second for as long as the sampler samples.
    double rate() const {
        const auto begin = Clock::now();
        const std::uint64_t before = turns();
        std::this_thread::sleep_for(sampling - std::chrono::milliseconds(500));
        const std::chrono::duration<double> time = Clock::now() - begin;
        return static_cast<double>(turns() - before) / time.count();
    }

private:
    Work *m_work;
    pid_t m_process;
};

std::string lineWith(const fs::path &file, const std::string &words) {
    std::ifstream text(file);
    for (std::string line; std::getline(text, line);) {
        if (line.starts_with(words))
            return line;
    }
    return words + " is not in the report";
}

pid_t startSampler(pid_t target, const fs::path &report) {
    const pid_t sampler = ::fork();
    if (sampler != 0)
        return sampler;
    const int null = ::open("/dev/null", O_RDWR);
    ::dup2(null, STDERR_FILENO);
    ::execl(SAMPLER, SAMPLER, std::to_string(target).c_str(), "-file", report.c_str(), nullptr);
    ::_exit(127);
}

struct SampledRate {
    double rate = 0;
    std::uint64_t peakBytes = 0;
};

SampledRate rateWhileSampled(const Target &target, const fs::path &report) {
    SampledRate result;
    const pid_t sampler = startSampler(target.process(), report);
    // By then it is at work, and its memory its own.
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    std::thread rate([&] { result.rate = target.rate(); });
    int status = 0;
    while (::waitpid(sampler, &status, WNOHANG) == 0) {
        result.peakBytes = std::max(result.peakBytes, highWaterMark(sampler));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    rate.join();
    if (status != 0) {
        std::cerr << "bench: the sampler failed\n";
        std::exit(1);
    }
    return result;
}

// Ahead of whatever else this machine does, where that is allowed: a thread that sleeps now and then gets a
// larger share of a crowded processor, so among other busy programs a sampled one would seem faster.
void goAhead() {
    constexpr int highest = -20;
    ::setpriority(PRIO_PROCESS, 0, highest);
    std::ofstream("/proc/self/autogroup") << highest;
}

} // namespace

int main() {
    constexpr int rounds = 5;
    goAhead();
    const Target target;
    const fs::path report = fs::temp_directory_path() / ("lumamon-bench-" + std::to_string(::getpid()));
    std::vector<double> slowDowns;
    std::vector<double> peaks;
    for (int round = 0; round < rounds; ++round) {
        const double alone = target.rate();
        const SampledRate sampled = rateWhileSampled(target, report);
        slowDowns.push_back(100 * (1 - sampled.rate / alone));
        peaks.push_back(static_cast<double>(sampled.peakBytes) / mebibyte);
        std::printf("round %d: %.1f %% slower\n  %s\n  %s\n", round + 1, slowDowns.back(),
                    lineWith(report, "Samples:").c_str(), lineWith(report, "Time stopped:").c_str());
        std::fflush(stdout);
    }
    fs::remove(report);
    std::printf("eight busy threads, sampled: %.1f %% slower (median of %d); sampler: %.1f MiB at most\n",
                median(slowDowns), rounds, median(peaks));
}
