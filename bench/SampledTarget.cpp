// How much a busy program of eight threads loses while it is sampled, and what the sampler takes for itself.
//
// The same amount of work is done in turn with and without the shipped sampler at its default rate. Both take
// about ten seconds; what the sampler does after sampling is not counted.
#include "Figures.h"
#include "MeasuredProcess.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <atomic>
#include <fstream>
#include <sys/mman.h>
#include <sys/resource.h>
#include <thread>

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
        , m_process(test_support::startInChild([this]() -> int { doWork(*m_work); })) {}
    ~Target() {
        ::kill(m_process, SIGKILL);
        test_support::statusOf(m_process);
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
    const test_support::ScratchFolder folder;
    const fs::path report = folder.path() / "report";
    std::vector<double> peaks;
    const auto rateWhileSampled = [&] {
        double rate = 0;
        std::thread counting([&] {
            // By then the sampler is at work.
            std::this_thread::sleep_for(std::chrono::milliseconds(250));
            rate = target.rate();
        });
        const Measurement run = runMeasured({SAMPLER, std::to_string(target.process()), "-file", report}, {},
                                            std::chrono::milliseconds(20));
        counting.join();
        require(run.exitStatus == 0, "the sampler failed");
        peaks.push_back(static_cast<double>(run.peakBytes) / mebibyte);
        std::printf("%s\n%s\n", lineWith(report, "Samples:").c_str(),
                    lineWith(report, "Time stopped:").c_str());
        return rate;
    };
    const auto rates = inTurn(rounds, {rateWhileSampled, [&] { return target.rate(); }});
    print("eight busy threads, slower while sampled", 100 * (1 - medianRatio(rates)), "%");
    print("the sampler's peak memory", median(peaks), "MiB");
}
