// Single operations, each in turn with what the standard library takes for the same work.
#include "Figures.h"

#include "collection/FileSelection.h"
#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "packaging/FilesPathDirectory.h"
#include "test_support/ScratchHome.h"

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const int entryCount = amount(100'000);
constexpr int turns = 3;

void makeFiles(const fs::path &folder, const char *prefix, const char *suffix) {
    fs::create_directories(folder);
    for (int i = 0; i < entryCount; ++i) {
        const fs::path file = folder / (prefix + std::to_string(i) + suffix);
        ::close(::open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    }
}

void compare(const std::string &what, const std::function<void()> &operation,
             const std::function<void()> &bare) {
    const auto seconds =
        inTurn(turns, {[&] { return secondsOf(operation); }, [&] { return secondsOf(bare); }});
    print(what, median(seconds[0]), "s");
    print("  to the bare operation, median", medianRatio(seconds), "times");
}

void measureSelection(const fs::path &scratch) {
    const fs::path reports = scratch / "reports";
    makeFiles(reports, "Lumacef_", ".ips");
    // Volatile, so that the compiler keeps what is only asked for.
    volatile std::uintmax_t size = 0;
    volatile std::int64_t time = 0;
    const auto bareWalk = [&] {
        for (const auto &entry : fs::directory_iterator(reports)) {
            size = entry.file_size();
            time = entry.last_write_time().time_since_epoch().count();
        }
    };
    // No size is allowed, so everything is looked at and nothing is copied.
    const auto select = [&] {
        UtilityFunctions::copyFilesContainingName(reports, scratch / "selected", 100, -1,
                                                  {QStringLiteral("lumacef")});
    };
    compare("selection of 100000", select, bareWalk);
}

void measurePruning(const fs::path &scratch) {
    // All made before the first of them is removed: ext4 is slow to make files where it has just removed
    // some. The first turn does not count.
    const int folders = 2 * (turns + 1);
    int next = folders;
    const auto folder = [&] { return scratch / ("removed" + std::to_string(--next)); };
    while (next > 0)
        makeFiles(folder(), "file", ".bin");
    next = folders;
    const auto prune = [&] {
        FilesPathDirectory::removeFilesFromDirectoryRecursively(folder(),
                                                                UtilityFunctions::allowedExtensions);
    };
    compare("pruning of 100000", prune, [&] { fs::remove_all(folder()); });
}

void measureLogLines() {
    const int lines = amount(200'000);
    const QString message =
        QStringLiteral("Directory created: /home/jdoe/.local/share/Library/LumadocDiagnostics/Output");
    const auto logLines = [&] {
        for (int i = 0; i < lines; ++i)
            Logger::logInfo(message);
    };
    print("a labelled log line",
          median(inTurn(turns, {[&] { return secondsOf(logLines); }})[0]) / lines * 1e6, "microseconds");
}

} // namespace

int main() {
    const test_support::ScratchFolder scratch;
    ::setenv("HOME", scratch.path().c_str(), 1);
    ::unsetenv("XDG_CACHE_HOME");
    Logger::setupLogFile();
    measureSelection(scratch.path());
    measurePruning(scratch.path());
    measureLogLines();
}
