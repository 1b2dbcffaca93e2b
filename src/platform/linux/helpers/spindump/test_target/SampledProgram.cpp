#include "SampledProgram.h"

#include "platform/linux/helpers/spindump/Target.h"

#include <fcntl.h>
#include <gtest/gtest.h>

namespace spindump_test {

using test_support::ProgramOptions;
using test_support::ProgramRun;
using test_support::waitUntil;

namespace {

ProgramOptions targetProgram(const std::string &work, const SampledProgram::Options &options) {
    std::vector<std::string> arguments{work};
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
    return {.program = options.program, .arguments = arguments, .user = options.user};
}

} // namespace

SampledProgram::SampledProgram(const std::string &work, const Options &options)
    : ProgramRun(targetProgram(work, options)) {
    EXPECT_TRUE(waitUntil([this] { return standardOutput().starts_with("ready"); }));
}

SampledProgram::SampledProgram(const std::string &work)
    : SampledProgram(work, Options()) {}

std::string refusal(pid_t process, const std::string &words) {
    return "spindump: process " + std::to_string(process) + ' ' + words + '\n';
}

ProgramOptions quickSampler(pid_t target, const std::filesystem::path &report,
                            const SamplerOptions &options) {
    ProgramOptions program{.program = SPINDUMP_QUICK,
                           .arguments = {std::to_string(options.milliseconds), std::to_string(options.frames),
                                         std::to_string(options.readingSeconds),
                                         std::to_string(options.stallSeconds), std::to_string(target),
                                         "-file", report},
                           .user = options.user};
    if (!options.askingUser.empty())
        program.variables.emplace_back("PKEXEC_UID", options.askingUser);
    return program;
}

Sampled sampleInto(const std::filesystem::path &report, pid_t target, const SamplerOptions &options) {
    ProgramRun sampler(quickSampler(target, report, options));
    const auto end = sampler.waitForEnd(std::chrono::seconds(60));
    return {end, sampler.standardError(), test_support::readFile(report).toStdString()};
}

std::string reportOf(const SampledProgram &target, const SamplerOptions &options) {
    const test_support::ScratchFolder folder;
    const Sampled sampled = sampleInto(folder.path() / "report.txt", target.id(), options);
    EXPECT_EQ(sampled.end, test_support::exited(0)) << sampled.errors;
    EXPECT_FALSE(isTraced(target.id()));
    return sampled.report;
}

LongSampling::LongSampling(const SampledProgram &target, int stallSeconds)
    : sampler(quickSampler(target.id(), folder.path() / "report.txt",
                           {.milliseconds = 60'000, .stallSeconds = stallSeconds})) {
    EXPECT_TRUE(waitUntil([this] { return sampler.standardError().starts_with("sampling"); }));
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

std::string statusOf(pid_t process, const std::string &field) {
    const auto status = spindump::contentIn(AT_FDCWD, "/proc/" + std::to_string(process) + "/status");
    return status.isEmpty() ? "gone" : spindump::statusField(status, field.c_str()).toStdString();
}

bool isTraced(pid_t process) {
    const std::string tracer = statusOf(process, "TracerPid");
    return tracer != "0" && tracer != "gone";
}

} // namespace spindump_test
