// A program for a test to sample, and the sampler run on it.
#pragma once

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

namespace spindump_test {

/// The test target, from when it does what `work` names.
class SampledProgram : public test_support::ProgramRun {
public:
    struct Options {
        std::vector<std::string> arguments = {};
        std::filesystem::path program = SPINDUMP_TARGET;
        std::optional<uid_t> user = std::nullopt;
    };
    explicit SampledProgram(const std::string &work);
    SampledProgram(const std::string &work, const Options &options);

    pid_t id() const { return processId(); }
};

struct SamplerOptions {
    int milliseconds = 600;
    int frames = 16'384;
    int readingSeconds = 60;
    int stallSeconds = 60;
    /// What pkexec would say; empty: not started by it.
    std::string askingUser = {};
    std::optional<uid_t> user = std::nullopt;
};

struct Sampled {
    std::optional<test_support::ProgramEnd> end;
    std::string errors;
    std::string report;
};

/// The sampler's command line.
test_support::ProgramOptions quickSampler(pid_t target, const std::filesystem::path &report,
                                          const SamplerOptions &options = {});
/// Runs the sampler to its end.
Sampled sampleInto(const std::filesystem::path &report, pid_t target, const SamplerOptions &options = {});
/// The report of a run, which is expected to succeed and to let the target go.
std::string reportOf(const SampledProgram &target, const SamplerOptions &options = {});

/// A sampler that has taken its target, and samples for a minute unless a test ends it.
struct LongSampling {
    explicit LongSampling(const SampledProgram &target, int stallSeconds = 60);

    test_support::ScratchFolder folder;
    test_support::ProgramRun sampler;
};

/// The part of a report about the thread of that name; empty when there is none.
std::string threadPart(const std::string &report, const std::string &name);
/// The samples of the first line that holds `function`; 0 when there is none.
int samplesOf(const std::string &text, const std::string &function);
/// The first line that holds `words`.
std::string lineWith(const std::string &text, const std::string &words);

/// A field of /proc/PID/status.
std::string statusOf(pid_t process, const std::string &field);
bool isTraced(pid_t process);

/// The sampler's message about a process.
std::string refusal(pid_t process, const std::string &words);

} // namespace spindump_test
