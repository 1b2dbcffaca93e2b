// How much a busy program of eight threads loses while it is sampled, and what the sampler takes for itself.
//
// The same amount of work is done in turn with and without the shipped sampler at its default rate. Both take
// about ten seconds; what the sampler does after sampling is not counted.
#include "Figures.h"
#include "test_support/ScratchHome.h"

#include <array>
#include <atomic>
#include <sys/mman.h>
#include <sys/resource.h>

namespace {

constexpr auto sampling = std::chrono::seconds(10);

// What each thread has done.
struct alignas(64) Counter {
    std::atomic<std::uint64_t> turns;
};
using Counters = std::array<Counter, 8>;

// Calls and memory, as programs have them, not only registers.
__attribute__((noinline)) std::uint64_t mix(std::vector<std::uint64_t> &cells, std::uint64_t value) {
    for (std::uint64_t &cell : cells)
        value = (cell += value * 6364136223846793005u) >> 7;
    return value;
}

int doWork(Counters &counters) {
    std::vector<std::jthread> all;
    for (Counter &counter : counters)
        all.emplace_back([&counter] {
            std::vector<std::uint64_t> cells(512, 1);
            for (std::uint64_t value = 1;; value = mix(cells, value))
                counter.turns.fetch_add(1, std::memory_order_relaxed);
        });
    return 0;
}

// The work of all threads a second for as long as the sampler samples.
double rate(const Counters &counters) {
    const auto turns = [&] {
        std::uint64_t sum = 0;
        for (const Counter &counter : counters)
            sum += counter.turns;
        return static_cast<double>(sum);
    };
    const double before = turns();
    const double seconds =
        secondsOf([] { std::this_thread::sleep_for(sampling - std::chrono::milliseconds(500)); });
    return (turns() - before) / seconds;
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
    goAhead();
    void *const shared =
        ::mmap(nullptr, sizeof(Counters), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto &counters = *static_cast<Counters *>(shared);
    const pid_t target = test_support::startInChild([&] { return doWork(counters); });
    const test_support::ScratchFolder folder;
    std::vector<double> peaks;
    const auto rateWhileSampled = [&] {
        double result = 0;
        {
            const std::jthread counting([&] {
                // By then the sampler is at work.
                std::this_thread::sleep_for(std::chrono::milliseconds(250));
                result = rate(counters);
            });
            peaks.push_back(
                runProgram({.program = SAMPLER,
                            .arguments = {std::to_string(target), "-file", folder.path() / "report"}},
                           std::chrono::milliseconds(20)));
        }
        return result;
    };
    const auto rates = inTurn(5, {rateWhileSampled, [&] { return rate(counters); }});
    print("eight busy threads, slower while sampled", 100 * (1 - medianRatio(rates)), "%");
    print("the sampler's peak memory", median(peaks), "MiB");
}
