// What the black-box tests of silent mode share: a home folder, a copy of the shipped bundle that sends to a
// support service of the test, and a look at what a run leaves.
#pragma once

#include "sample_product/SampleProduct.h"
#include "support_service/SupportService.h"
#include "test_support/ArchiveReader.h"
#include "test_support/FileTree.h"
#include "test_support/Isolation.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchBundle.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class SilentRun : public testing::Test {
protected:
    SilentRun();

    /// A product small enough for a quick run: 58 KiB of logs, three crash reports.
    sample_product::SampleProduct install(const sample_product::SampleProductOptions &options = {
                                              .logBytes = 60'000, .logFiles = 6}) const {
        return sample_product::makeSampleProduct(home.path(), options);
    }

    /// The copied program, trusting the service.
    test_support::ProgramOptions program(const std::vector<std::string> &arguments = {"/silent"}) const;
    test_support::ProgramOptions programWith(const char *variable, const std::string &value) const {
        auto options = program();
        options.variables.emplace_back(variable, value);
        return options;
    }
    /// The desktop's settings then name this port for the script of an automatic proxy configuration.
    void useDesktopProxies(test_support::ProgramOptions &options, int scriptPort) const;
    /// Runs it to its end, which must come with status 0 and nothing printed.
    void run() const { run(program()); }
    void run(const test_support::ProgramOptions &options) const;
    /// The same, and the service takes the archive.
    void runWell() const { runWell(program()); }
    void runWell(const test_support::ProgramOptions &options) const;
    /// It ends by itself with this status and these outputs.
    void expectEnd(const test_support::ProgramOptions &options, int status, const std::string &output,
                   const std::string &errors) const;

    /// It finds that it has no archive, and goes on without printing or sending anything.
    void expectItStays(test_support::ProgramRun &running, const std::filesystem::path &file) const;

    std::filesystem::path root() const { return home.library() / "LumadocDiagnostics"; }
    std::filesystem::path logFile() const { return root() / "System" / logName; }
    std::filesystem::path firstLogFile() const { return home.caches() / "Logs" / logName; }

    /// The lines of the last run in the log, without time stamps, with words in the place of what differs
    /// from run to run: ROOT (the program's folder), RUN (its run folder), LOGID, PROGRAM, and "~" (the
    /// home).
    std::string log() const { return log(logFile()); }
    std::string log(const std::filesystem::path &file) const;
    /// What of it is between these texts; all of it, with a remark, when one is missing.
    std::string logBetween(const std::string &begin, const std::string &end) const;
    /// The part of it about the upload: what follows the archive's size, without the progress lines.
    std::string uploadLog() const;

    /// Everything in the home folder outside the program's folder, which is made: that changes what is around
    /// it.
    test_support::FileTree outside() const;
    void expectUnchanged(const test_support::FileTree &outsideBefore) const {
        EXPECT_THAT(outside(), testing::ContainerEq(outsideBefore));
    }

    // Of the last run in the log; empty when the log does not hold it.
    std::string logId() const;
    std::filesystem::path runFolder() const;
    std::filesystem::path archive() const;
    /// The names below a folder of the program's, sorted.
    std::vector<std::string> namesIn(const std::string &folder) const;
    /// The last run's archive is in its run folder, and nowhere else; it can be read to its end.
    void expectArchiveComplete() const;
    /// The same, and it is what the service received.
    void expectArchiveKept() const;
    /// The archive as the service received it, in the last upload.
    std::map<std::string, test_support::ArchivedItem> received() const;
    /// The texts of the run's record in it.
    std::map<std::string, std::string> receivedRecord() const;

    static constexpr char logName[] = "LumadocDiagnosticsDebugOutput.log";
    test_support::ScratchHome home;
    support_service::SupportService service;
    test_support::ScratchBundle bundle;

private:
    // The lines of the last run in the log, without time stamps.
    static std::string lastRun(const std::filesystem::path &file);
};

/// What the log says of an upload that succeeded, after the progress.
extern const std::string sentWell;
/// What it says of an upload that failed: the errors alone, and for a fault of the transport what comes after
/// any status line.
std::string uploadErrors(int code, const std::string &domain, const std::string &sentence);
std::string transportFailure(int code, const std::string &sentence);
