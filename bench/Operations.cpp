// Single operations, each beside what the standard library takes for the same work.
#include "RatioReporter.h"

#include "collection/FileSelection.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "packaging/FilesPathDirectory.h"

#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int entryCount = 100'000;
constexpr int repetitions = 3;

// A folder of the benchmark's own, on the disk that holds temporary files.
const fs::path &scratch() {
    static const fs::path folder = [] {
        std::string name = (fs::temp_directory_path() / "lumamon-bench-XXXXXX").native();
        if (::mkdtemp(name.data()) == nullptr)
            std::abort();
        return fs::path(name);
    }();
    return folder;
}

void makeFiles(const fs::path &folder, const char *prefix, const char *suffix) {
    fs::create_directories(folder);
    for (int i = 0; i < entryCount; ++i) {
        const fs::path file = folder / (prefix + std::to_string(i) + suffix);
        ::close(::open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    }
}

const fs::path &reports() {
    static const fs::path folder = [] {
        makeFiles(scratch() / "reports", "Lumacef_", ".ips");
        return scratch() / "reports";
    }();
    return folder;
}

void selection(benchmark::State &state) {
    reports();
    // No size is allowed, so everything is looked at and nothing is copied.
    for ([[maybe_unused]] auto _ : state)
        UtilityFunctions::copyFilesContainingName(reports(), scratch() / "selected", 100, -1,
                                                  {QStringLiteral("lumacef")});
}

void bareWalk(benchmark::State &state) {
    reports();
    for ([[maybe_unused]] auto _ : state) {
        for (const auto &entry : fs::directory_iterator(reports())) {
            benchmark::DoNotOptimize(entry.file_size());
            benchmark::DoNotOptimize(entry.last_write_time());
        }
    }
}

// The folders to remove are all made before the first of them goes: ext4 is slow to make files where it has
// just removed some.
fs::path folderToRemove() {
    static int next = [] {
        for (int i = 0; i < 2 * repetitions; ++i)
            makeFiles(scratch() / ("removed" + std::to_string(i)), "file", ".bin");
        return 0;
    }();
    return scratch() / ("removed" + std::to_string(next++));
}

void removing(benchmark::State &state, void (*remove)(const fs::path &)) {
    const fs::path folder = folderToRemove();
    for ([[maybe_unused]] auto _ : state)
        remove(folder);
}

void pruning(benchmark::State &state) {
    removing(state, [](const fs::path &folder) {
        FilesPathDirectory::removeFilesFromDirectoryRecursively(folder, UtilityFunctions::allowedExtensions);
    });
}

void bareRemoval(benchmark::State &state) {
    removing(state, [](const fs::path &folder) { fs::remove_all(folder); });
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
    ::setenv("HOME", scratch().c_str(), 1);
    ::unsetenv("XDG_CACHE_HOME");
    Logger::setupLogFile();
    using benchmark::RegisterBenchmark;
    const auto slow = [](benchmark::internal::Benchmark *one) {
        one->Iterations(1)->Repetitions(repetitions)->Unit(benchmark::kMillisecond)->UseRealTime();
    };
    slow(RegisterBenchmark("selection of 100000", selection));
    slow(RegisterBenchmark("selection of 100000/bare", bareWalk));
    slow(RegisterBenchmark("pruning of 100000", pruning));
    slow(RegisterBenchmark("pruning of 100000/bare", bareRemoval));
    RegisterBenchmark("labelled log lines", logLines)
        ->Iterations(200'000)
        ->Repetitions(repetitions)
        ->UseRealTime();

    std::string inTurn = "--benchmark_enable_random_interleaving=true";
    std::vector<char *> options(arguments, arguments + argumentCount);
    options.insert(options.begin() + 1, inTurn.data());
    argumentCount = static_cast<int>(options.size());
    benchmark::Initialize(&argumentCount, options.data());
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    fs::remove_all(scratch());
    return 0;
}
