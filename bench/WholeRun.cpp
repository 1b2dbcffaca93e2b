// The shipped program's whole silent run, in turn with cp, zip and curl on the same tree and the same
// service; its peak memory; and the time from its start to its first line.
#include "Figures.h"

#include "discovery/RunState.h"
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
        : product(sample_product::makeSampleProduct(scratch.path() / "home", options))
        , bundle(PROGRAM_BUNDLE, scratch.path()) {
        bundle.setText("LumamonSupportHost", service.host());
        // So that no other copy that runs on this machine is taken for one of these.
        bundle.setText("CFBundleIdentifier", "com.brennic.LumadocDiagnostics.Bench");
    }

    // Gives its peak memory in MiB.
    double runSilently() {
        const auto before = service.receipts().size();
        const double peak =
            runProgram({.program = bundle.executable(),
                        .arguments = {"/silent"},
                        .variables = {{"HOME", (scratch.path() / "home").native()},
                                      {"SSL_CERT_FILE", service.certificateFile().native()}}});
        require(service.receipts().size() == before + 1, "the silent run sent nothing");
        return peak;
    }

    void runTools() {
        const std::string script =
            "set -e; mkdir copy; cp -a '" + product.logs.native() + "' '" + product.crashReports.native() +
            "' copy/; cd copy; zip -r -q ../copy.zip .; cd ..; curl -q -s -f --http1.1 --cacert '" +
            service.certificateFile().native() + "' -F file=@copy.zip https://" + service.host() +
            std::string(support_service::SupportService::uploadPath) + "; rm -r copy copy.zip";
        runProgram({.program = "/bin/sh", .arguments = {"-c", script}, .workingFolder = scratch.path()});
    }

    test_support::ScratchFolder scratch;
    support_service::SupportService service;
    sample_product::SampleProduct product;
    test_support::ScratchBundle bundle;
};

std::uint64_t megabytes(int count) {
    return static_cast<std::uint64_t>(amount(count)) << 20;
}

// Leaves only what the program sends, so that both sides pack the same bytes; gives how many MiB those are.
double keepAllowedFiles(const fs::path &folder) {
    double bytes = 0;
    const fs::recursive_directory_iterator entries(folder);
    for (const fs::directory_entry &entry : std::vector(begin(entries), end(entries))) {
        const QString extension = QString::fromStdString(entry.path().extension());
        if (entry.is_regular_file() && UtilityFunctions::allowedExtensions.contains(extension))
            bytes += static_cast<double>(entry.file_size());
        else if (entry.is_regular_file())
            fs::remove(entry);
    }
    return bytes / mebibyte;
}

void compareWholeRuns() {
    Bench bench({.logBytes = megabytes(86)});
    print("logs of a whole silent run", keepAllowedFiles(bench.product.logs), "MiB");
    const auto seconds = inTurn(7, {[&] { return secondsOf([&] { bench.runSilently(); }); },
                                    [&] { return secondsOf([&] { bench.runTools(); }); }});
    print("the whole run", median(seconds[0]), "s");
    print("cp, zip and curl for the same", median(seconds[1]), "s");
    print("the one to the other, median", medianRatio(seconds), "");
}

void measureMemory(std::uint64_t logBytes) {
    Bench bench({.logBytes = logBytes, .incompressible = true});
    const double peak = bench.runSilently();
    const auto archive = static_cast<double>(bench.service.receipts().back().sizeBytes) / mebibyte;
    print("peak memory beyond an archive of " + std::to_string(archive) + " MiB", peak - archive, "MiB");
}

// The first line creates the log file. With a file in the place of the workspace the log stays where it is;
// there is nothing to pack then, and the program stays until it is ended.
void measureStart() {
    const Bench bench({.logBytes = 1000});
    const fs::path home = bench.scratch.path() / "empty home";
    const fs::path log = home / ".cache/Logs/LumadocDiagnosticsDebugOutput.log";
    test_support::writeFile(home / ".local/share/Library/LumadocDiagnostics", "in the way");
    const auto firstLine = [&] {
        fs::remove(log);
        const auto started = std::chrono::system_clock::now();
        test_support::ProgramRun run({.program = bench.bundle.executable(),
                                      .arguments = {"/silent"},
                                      .variables = {{"HOME", home.native()}}});
        run.waitForEnd(std::chrono::milliseconds(300));
        std::error_code error;
        const auto attributes = platform::fileAttributes(log, error);
        require(attributes && attributes->creationDate, "the log's creation date cannot be read");
        return std::chrono::duration<double, std::milli>(*attributes->creationDate - started).count();
    };
    print("from process start to the first line", median(inTurn(21, {firstLine})[0]), "ms");
}

} // namespace

int main() {
    test_support::forgetTheMachinesSettings();
    compareWholeRuns();
    measureMemory(megabytes(1));
    // Of the logs' bytes seven in ten are in files of allowed kinds.
    measureMemory(megabytes(142));
    measureStart();
}
