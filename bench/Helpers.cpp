// The two helper programs of the advanced logs.
#include "Figures.h"
#include "test_support/TestMachine.h"

#include <array>
#include <atomic>
#include <span>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace test_support;

namespace {

// ---- The installed-applications report of a large machine: 5,000 desktop entries, each with a program, and
// a database of 3,000 packages; the time of the whole program and its peak memory.

const int entryCount = amount(5'000);
const int packageCount = amount(3'000);

// As long as the entries of large applications, most of it translations. Programs without their content: the
// report reads the first bytes only.
void makeEntries(const std::filesystem::path &folder) {
    for (int i = 0; i < entryCount; ++i) {
        const auto program = folder / "bin" / ("program" + std::to_string(i));
        writeProgram(program);
        const QByteArray comments =
            QByteArray("Comment[xx]=What the application is for, in one more language\n").repeated(60);
        writeFile(folder / "share/applications" / ("entry" + std::to_string(i) + ".desktop"),
                  entryText("Application " + QByteArray::number(i),
                            QByteArray::fromStdString(program) + " %U", comments));
    }
}

// Each owns an entry besides other files.
void makePackages(const PackageDatabase &database, const std::string &folder) {
    for (int i = 0; i < packageCount; ++i) {
        const std::string name = "package" + std::to_string(i);
        std::string files;
        for (int file = 0; file < 150; ++file)
            files += "/usr/share/doc/" + name + "/a/folder/of/some/depth/file" + std::to_string(file) + '\n';
        database.add(name, "1." + std::to_string(i) + "-1", "Maintainers <m@x.example>",
                     files + folder + "/share/applications/entry" + std::to_string(i) + ".desktop");
    }
}

void measureInstalledApplications() {
    const ScratchFolder scratch;
    const std::string folder = scratch.path();
    const PackageDatabase database(scratch.path() / "dpkg");
    makeEntries(scratch.path());
    makePackages(database, folder);
    const ProgramOptions program{.program = "/bin/sh",
                                 .arguments = {"-c",
                                               "exec '" SYSTEM_PROFILER
                                               "' -detailLevel full SPApplicationsDataType > \"$OUTPUT\""},
                                 .variables = {{"HOME", folder + "/home"},
                                               {"XDG_DATA_DIRS", folder + "/share"},
                                               {"OUTPUT", folder + "/report"}}};
    double peak = 0;
    const auto report = [&] { return secondsOf([&] { peak = std::max(peak, runProgram(program)); }); };
    const double seconds = median(inTurn(11, {report})[0]);
    const QByteArray text = readFile(scratch.path() / "report");
    require(text.count("Not read:") == 0, "the report lacks files");
    require(text.count("      Location: ") >= entryCount, "the report lacks entries");
    require(text.count("Obtained from: Package package") >= packageCount, "the report lacks packages");
    print("installed applications, 5000 entries and 3000 packages", seconds, "s", 2);
    print("its peak memory", peak, "MiB");
}

// ---- How much a busy program of eight threads loses while it is sampled, and what the sampler takes for
// itself. The same amount of work is done in turn with and without the shipped sampler at its default rate.
// Both take about ten seconds; what the sampler does after sampling is not counted.

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
    for (Counter &counter : std::span(counters).first(std::size_t(amount(8))))
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
    // In a session of its own, since the terminal's would keep the priority; so it has to end with its
    // parent.
    ::setsid();
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setpriority(PRIO_PROCESS, 0, highest);
    std::ofstream("/proc/self/autogroup") << highest;
}

void measureSampling() {
    goAhead();
    void *const shared =
        ::mmap(nullptr, sizeof(Counters), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto &counters = *static_cast<Counters *>(shared);
    const pid_t target = startInChild([&] { return doWork(counters); });
    const ScratchFolder folder;
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

} // namespace

int main() {
    measureInstalledApplications();
    measureSampling();
}
