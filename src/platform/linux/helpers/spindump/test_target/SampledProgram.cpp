#include "SampledProgram.h"

#include "platform/linux/helpers/spindump/Target.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace spindump_test {

using test_support::ProgramOptions;
using test_support::ProgramRun;

SampledProgram::SampledProgram(const std::string &work)
    : SampledProgram(work, Options()) {}

SampledProgram::SampledProgram(const std::string &work, const Options &options) {
    std::vector<std::string> arguments{work};
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
    m_run = std::make_unique<ProgramRun>(
        ProgramOptions{.program = options.program, .arguments = arguments, .user = options.user});
    EXPECT_TRUE(test_support::waitUntil([this] { return m_run->standardOutput().starts_with("ready"); }));
}

ProgramOptions quickSampler(pid_t target, const std::filesystem::path &report,
                            const SamplerOptions &options) {
    ProgramOptions program{
        .program = SPINDUMP_QUICK,
        .arguments = {std::to_string(options.milliseconds), std::to_string(options.frames),
                      std::to_string(options.threads), std::to_string(options.readingSeconds),
                      std::to_string(options.stallSeconds), std::to_string(target), "-file", report},
        .user = options.user};
    if (!options.askingUser.empty())
        program.variables.emplace_back("PKEXEC_UID", options.askingUser);
    return program;
}

Sampled sampleInto(const std::filesystem::path &report, pid_t target, const SamplerOptions &options) {
    ProgramRun sampler(quickSampler(target, report, options));
    Sampled result;
    result.end = sampler.waitForEnd(std::chrono::seconds(60));
    result.errors = sampler.standardError();
    result.report = test_support::readFile(report).toStdString();
    return result;
}

Sampled sample(pid_t target, const SamplerOptions &options) {
    const test_support::ScratchFolder folder;
    return sampleInto(folder.path() / "report.txt", target, options);
}

std::string threadPart(const std::string &report, const std::string &name) {
    const std::size_t quoted = report.find("  \"" + name + "\"  ");
    if (quoted == std::string::npos)
        return {};
    const std::size_t begin = report.rfind('\n', quoted) + 1;
    return report.substr(begin, report.find("\n\n", begin) - begin) + '\n';
}

std::string lineWith(const std::string &text, const std::string &words) {
    const std::size_t found = text.find(words);
    if (found == std::string::npos)
        return {};
    const std::size_t begin = text.rfind('\n', found) + 1;
    return text.substr(begin, text.find('\n', found) - begin);
}

int samplesOf(const std::string &text, const std::string &function) {
    return std::atoi(lineWith(text, function).c_str());
}

std::string shownCommandLine(pid_t process) {
    return spindump::contentIn(AT_FDCWD, "/proc/" + std::to_string(process) + "/cmdline").toStdString();
}

std::string statusOf(pid_t process, const std::string &field) {
    const auto status = spindump::contentIn(AT_FDCWD, "/proc/" + std::to_string(process) + "/status");
    return status.isEmpty() ? "gone" : spindump::statusField(status, field.c_str()).toStdString();
}

} // namespace spindump_test
