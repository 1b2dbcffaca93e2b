// A program for a test to sample, and the sampler run on it.
#pragma once

#include "platform/linux/helpers/spindump/Target.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <fcntl.h>
#include <gmock/gmock.h>

namespace spindump_test {

namespace fs = std::filesystem;
using test_support::exited;
using test_support::ProgramRun;
using test_support::ScratchFolder;
using test_support::waitUntil;
using testing::HasSubstr;

/// The name of the target's main thread, as a report has it.
constexpr auto mainThread = "evil\\n\\u{1B}[31mx";

struct TargetOptions {
    std::vector<std::string> moreArguments = {};
    fs::path program = SPINDUMP_TARGET;
    std::optional<uid_t> user = std::nullopt;
};

/// The test target, from when it does what `work` names.
struct SampledProgram : ProgramRun {
    explicit SampledProgram(const std::string &work, const TargetOptions &options = {})
        : ProgramRun(program(work, options)) {
        EXPECT_TRUE(waitUntil([this] { return standardOutput().starts_with("ready"); }));
    }
    pid_t id() const { return processId(); }

private:
    static test_support::ProgramOptions program(const std::string &work, const TargetOptions &options) {
        std::vector<std::string> arguments = options.moreArguments;
        arguments.insert(arguments.begin(), work);
        return {.program = options.program, .arguments = arguments, .user = options.user};
    }
};

struct SamplerOptions {
    int milliseconds = 600;
    /// Far more than the sampler gives, so that a busy machine does not cut a stack.
    int stopMilliseconds = 60'000;
    int frames = 16'384;
    int readingSeconds = 60;
    int stallSeconds = 60;
    /// What pkexec would say; none: not started by it.
    std::optional<std::string> askingUser = std::nullopt;
    std::optional<uid_t> user = std::nullopt;
    void (*beforeStart)() = nullptr;
};

/// A run of the sampler.
struct Sampler : ProgramRun {
    Sampler(pid_t target, const fs::path &report, const SamplerOptions &options = {})
        : ProgramRun(
              {.program = SPINDUMP_QUICK,
               .arguments = {std::to_string(options.milliseconds), std::to_string(options.stopMilliseconds),
                             std::to_string(options.frames), std::to_string(options.readingSeconds),
                             std::to_string(options.stallSeconds), std::to_string(target), "-file", report},
               .variables = {{"PKEXEC_UID", options.askingUser}},
               .user = options.user,
               .beforeStart = options.beforeStart}) {}

    /// Waits for the end that is expected; gives what the sampler said as errors.
    std::string endsWith(int status) {
        EXPECT_EQ(waitForEnd(std::chrono::seconds(60)), exited(status)) << standardError();
        return standardError();
    }
};

/// A sampler that has taken its target, and samples for a minute unless a test ends it.
struct LongSampling {
    explicit LongSampling(pid_t target, int stallSeconds = 60)
        : sampler(target, report, {.milliseconds = 60'000, .stallSeconds = stallSeconds}) {
        EXPECT_TRUE(waitUntil([this] { return sampler.standardError().starts_with("sampling"); }));
    }
    ScratchFolder folder;
    fs::path report = folder.path() / "report.txt";
    Sampler sampler;
};

/// A field of /proc/PID/status.
inline std::string statusOf(pid_t process, const char *field) {
    const auto status = spindump::contentIn(AT_FDCWD, "/proc/" + std::to_string(process) + "/status");
    return status.isEmpty() ? "gone" : spindump::statusField(status, field).toStdString();
}

inline bool isTraced(pid_t process) {
    const std::string tracer = statusOf(process, "TracerPid");
    return tracer != "0" && tracer != "gone";
}

/// The report of a run, which is expected to succeed and to let the target go.
inline std::string reportOf(const SampledProgram &target, const SamplerOptions &options = {}) {
    const ScratchFolder folder;
    const fs::path report = folder.path() / "report.txt";
    Sampler(target.id(), report, options).endsWith(EXIT_SUCCESS);
    EXPECT_FALSE(isTraced(target.id()));
    return test_support::readFile(report).toStdString();
}

/// The part of a report about the thread of that name; empty when there is none.
inline std::string threadPart(const std::string &report, const std::string &name) {
    const std::size_t quoted = report.find("  \"" + name + "\"  ");
    if (quoted == std::string::npos)
        return {};
    const std::size_t begin = report.rfind('\n', quoted) + 1;
    return report.substr(begin, report.find("\n\n", begin) - begin) + '\n';
}

/// The first line that holds `words`.
inline std::string lineWith(const std::string &text, const std::string &words) {
    const std::size_t found = text.find(words);
    if (found == std::string::npos)
        return {};
    const std::size_t begin = text.rfind('\n', found) + 1;
    return text.substr(begin, text.find('\n', found) - begin);
}

/// The samples of the first line that holds `function`; 0 when there is none.
inline int samplesOf(const std::string &text, const std::string &function) {
    return std::atoi(lineWith(text, function).c_str());
}

/// The sampler's message about a process.
inline std::string refusal(pid_t process, const std::string &words) {
    return "spindump: process " + std::to_string(process) + ' ' + words + '\n';
}

} // namespace spindump_test
