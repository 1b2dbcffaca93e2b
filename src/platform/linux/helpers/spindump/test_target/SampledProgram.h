// A program for a test to sample, and the sampler run on it.
#pragma once

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <memory>

namespace spindump_test {

class SampledProgram {
public:
    struct Options {
        std::vector<std::string> arguments = {};
        std::filesystem::path program = SPINDUMP_TARGET;
        std::optional<uid_t> user = std::nullopt;
    };
    /// Starts the test target and waits until it does what `work` names.
    explicit SampledProgram(const std::string &work);
    SampledProgram(const std::string &work, const Options &options);

    pid_t id() const { return m_run->processId(); }
    test_support::ProgramRun &run() { return *m_run; }

private:
    std::unique_ptr<test_support::ProgramRun> m_run;
};

struct SamplerOptions {
    int milliseconds = 600;
    int frames = 16'384;
    int threads = 1024;
    int readingSeconds = 60;
    int stallSeconds = 60;
    /// What pkexec would say; empty: not started by it.
    std::string askingUser = {};
    std::optional<uid_t> user = std::nullopt;
};

/// Starts the sampler with a short duration.
test_support::ProgramOptions quickSampler(pid_t target, const std::filesystem::path &report,
                                          const SamplerOptions &options = {});

struct Sampled {
    std::optional<test_support::ProgramEnd> end;
    std::string errors;
    std::string report;
};
/// Runs it to its end.
Sampled sample(pid_t target, const SamplerOptions &options = {});
Sampled sampleInto(const std::filesystem::path &report, pid_t target, const SamplerOptions &options = {});

/// The part of a report about the thread of that name; empty when there is none.
std::string threadPart(const std::string &report, const std::string &name);
/// The samples of the first line that holds `function`; 0 when there is none.
int samplesOf(const std::string &text, const std::string &function);
/// The first line that holds `words`.
std::string lineWith(const std::string &text, const std::string &words);

/// Its command line as the kernel tells it.
std::string shownCommandLine(pid_t process);
/// A field of /proc/PID/status.
std::string statusOf(pid_t process, const std::string &field);

} // namespace spindump_test
