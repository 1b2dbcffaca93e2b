// Single operations, each in turn with what the standard library takes for the same work.
#include "Figures.h"

#include "collection/FileSelection.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "packaging/FilesPathDirectory.h"
#include "test_support/ScratchHome.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <functional>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int entryCount = 100'000;
constexpr int rounds = 3;

void makeFiles(const fs::path &folder, const char *prefix, const char *suffix) {
    fs::create_directories(folder);
    for (int i = 0; i < entryCount; ++i) {
        const fs::path file = folder / (prefix + std::to_string(i) + suffix);
        ::close(::open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    }
}

double secondsOf(const std::function<void()> &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Measures `operation`, and reports how many times as long it takes as `bare`.
void compare(benchmark::State &state, const std::function<void()> &operation,
             const std::function<void()> &bare) {
    std::vector<double> ratios;
    for ([[maybe_unused]] auto _ : state) {
        const double own = secondsOf(operation);
        state.SetIterationTime(own);
        ratios.push_back(own / secondsOf(bare));
    }
    state.counters["times_the_bare_operation"] = median(ratios);
}

void selection(benchmark::State &state, const fs::path &scratch) {
    const fs::path reports = scratch / "reports";
    makeFiles(reports, "Lumacef_", ".ips");
    const auto bareWalk = [&] {
        for (const auto &entry : fs::directory_iterator(reports)) {
            benchmark::DoNotOptimize(entry.file_size());
            benchmark::DoNotOptimize(entry.last_write_time());
        }
    };
    // No size is allowed, so everything is looked at and nothing is copied.
    const auto select = [&] {
        UtilityFunctions::copyFilesContainingName(reports, scratch / "selected", 100, -1,
                                                  {QStringLiteral("lumacef")});
    };
    compare(state, select, bareWalk);
}

void pruning(benchmark::State &state, const fs::path &scratch) {
    // All made before the first of them is removed: ext4 is slow to make files where it has just removed
    // some.
    int next = 2 * rounds;
    const auto folder = [&] { return scratch / ("removed" + std::to_string(--next)); };
    while (next > 0)
        makeFiles(folder(), "file", ".bin");
    next = 2 * rounds;
    const auto prune = [&] {
        FilesPathDirectory::removeFilesFromDirectoryRecursively(folder(),
                                                                UtilityFunctions::allowedExtensions);
    };
    compare(state, prune, [&] { fs::remove_all(folder()); });
}

void logLines(benchmark::State &state) {
    const QString message =
        QStringLiteral("Directory created: /home/jdoe/.local/share/Library/LumadocDiagnostics/Output");
    for ([[maybe_unused]] auto _ : state)
        Logger::logInfo(message);
    state.SetItemsProcessed(state.iterations());
}

} // namespace

int main(int argumentCount, char **arguments) {
    const test_support::ScratchFolder scratch;
    ::setenv("HOME", scratch.path().c_str(), 1);
    ::unsetenv("XDG_CACHE_HOME");
    Logger::setupLogFile();
    using Operation = void (*)(benchmark::State &, const fs::path &);
    const auto add = [&](const char *name, Operation operation) {
        benchmark::RegisterBenchmark(name, operation, scratch.path())
            ->Iterations(rounds)
            ->Unit(benchmark::kMillisecond)
            ->UseManualTime();
    };
    add("selection of 100000", selection);
    add("pruning of 100000", pruning);
    benchmark::RegisterBenchmark("labelled log lines", logLines)->Iterations(200'000)->UseRealTime();
    benchmark::Initialize(&argumentCount, arguments);
    benchmark::RunSpecifiedBenchmarks();
}
