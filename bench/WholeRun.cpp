// The shipped program's whole silent run, in turn with cp, zip and curl on the same tree and the same
// service; its peak memory; and the time from its start to its first line.
#include "Figures.h"
#include "MeasuredProcess.h"

#include "discovery/RunState.h"
#include "packaging/FilesPathDirectory.h"
#include "platform/posix/FileSystem.h"
#include "sample_product/SampleProduct.h"
#include "support_service/SupportService.h"
#include "test_support/ScratchBundle.h"
#include "test_support/ScratchHome.h"

namespace {

namespace fs = std::filesystem;

// One sample home, one service, and the program beside them.
struct Bench {
    explicit Bench(const sample_product::SampleProductOptions &options)
        : service({.keepBodies = false})
        , product(sample_product::makeSampleProduct(scratch.path() / "home", options))
        , bundle(PROGRAM_BUNDLE, scratch.path()) {
        bundle.setText("LumamonSupportHost", service.host());
        // So that no other copy that runs on this machine is taken for one of these.
        bundle.setText("CFBundleIdentifier", "com.brennic.LumadocDiagnostics.Bench");
    }

    Measurement runProgram() {
        const auto before = service.receipts().size();
        const auto result =
            runMeasured({bundle.executable(), "/silent"},
                        {{"HOME", scratch.path() / "home"}, {"SSL_CERT_FILE", service.certificateFile()}});
        require(result.exitStatus == 0 && service.receipts().size() == before + 1, "the silent run failed");
        return result;
    }

    Measurement runTools() {
        const fs::path copy = scratch.path() / "copy";
        fs::create_directories(copy);
        const std::string script =
            "set -e; cp -a '" + product.logs.native() + "' '" + product.crashReports.native() +
            "' copy/; cd copy; zip -r -q ../copy.zip .; cd ..; curl -s -f --cacert '" +
            service.certificateFile().native() + "' -F file=@copy.zip https://" + service.host() +
            std::string(support_service::SupportService::uploadPath) + "; rm -r copy copy.zip";
        const auto result = runMeasured({"/bin/sh", "-c", "cd '" + scratch.path().native() + "'; " + script});
        require(result.exitStatus == 0, "cp, zip and curl failed");
        return result;
    }

    test_support::ScratchFolder scratch;
    support_service::SupportService service;
    sample_product::SampleProduct product;
    test_support::ScratchBundle bundle;
};

// Leaves only what the program sends, so that both sides pack the same bytes; returns how many those are.
std::uint64_t keepAllowedFiles(const fs::path &folder) {
    FilesPathDirectory::removeFilesFromDirectoryRecursively(folder, UtilityFunctions::allowedExtensions);
    std::uint64_t bytes = 0;
    for (const auto &entry : fs::recursive_directory_iterator(folder))
        bytes += entry.is_regular_file() ? entry.file_size() : 0;
    return bytes;
}

void compareWholeRuns() {
    Bench bench({.logBytes = std::uint64_t{86} << 20});
    const double size = static_cast<double>(keepAllowedFiles(bench.product.logs)) / mebibyte;
    const auto seconds = inTurn(
        7, {[&] { return bench.runProgram().wall.count(); }, [&] { return bench.runTools().wall.count(); }});
    print("logs of a whole silent run", size, "MiB");
    print("the whole run", median(seconds[0]), "s");
    print("cp, zip and curl for the same", median(seconds[1]), "s");
    print("the one to the other, median", medianRatio(seconds), "");
}

void measureMemory(std::uint64_t logBytes) {
    Bench bench({.logBytes = logBytes, .incompressible = true});
    const auto run = bench.runProgram();
    const auto archive = static_cast<double>(bench.service.receipts().back().sizeBytes) / mebibyte;
    print("peak memory beyond an archive of " + std::to_string(archive) + " MiB",
          static_cast<double>(run.peakBytes) / mebibyte - archive, "MiB");
}

// The first line creates the log file. With a file in the place of the workspace the log stays where it is;
// there is nothing to pack then, and the program stays until it is ended.
void measureStart() {
    Bench bench({.logBytes = 1000});
    const fs::path home = bench.scratch.path() / "empty home";
    const fs::path log = home / ".cache/Logs/LumadocDiagnosticsDebugOutput.log";
    test_support::writeFile(home / ".local/share/Library/LumadocDiagnostics", "in the way");
    const auto firstLine = [&] {
        fs::remove(log);
        const auto run = runMeasured(
            {"/bin/sh", "-c",
             "exec timeout -s KILL 0.3 '" + bench.bundle.executable().native() + "' /silent 2>/dev/null"},
            {{"HOME", home}});
        std::error_code error;
        const auto attributes = platform::fileAttributes(log, error);
        require(attributes && attributes->creationDate, "the log's creation date cannot be read");
        return std::chrono::duration<double, std::milli>(*attributes->creationDate - run.started).count();
    };
    print("from process start to the first line", median(inTurn(21, {firstLine})[0]), "ms");
}

} // namespace

int main() {
    compareWholeRuns();
    measureMemory(std::uint64_t{1} << 20);
    // Of the logs' bytes seven in ten are in files of allowed kinds.
    measureMemory(std::uint64_t{142} << 20);
    measureStart();
}
