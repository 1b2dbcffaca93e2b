#include "Spindump.h"

#include "Arguments.h"
#include "EscapedText.h"
#include "OutputFile.h"
#include "Report.h"
#include "platform/posix/Process.h"

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <sys/resource.h>

namespace spindump {

namespace {

constexpr int wrongCommandLine = 2;

int failure(const std::string &error, int status = EXIT_FAILURE) {
    std::cerr << "spindump: " << error << '\n';
    return status;
}

void say(const std::string &text) {
    std::cerr << text + '\n' << std::flush;
}

// Each thread takes some descriptors.
void raiseFileLimit() {
    struct rlimit files {};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0)
        return;
    files.rlim_cur = files.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &files);
}

// Everything between the taking of the process and the report's text.
class Run {
public:
    Run(Target &target, const Limits &limits)
        : m_target(target)
        , m_limits(limits)
        , m_tracer(target.processId(), target.threads(), limits.threads) {}

    /// With the rights that this process was started with, and without reading what the target shapes.
    bool attach(std::string &error) {
        // Looked at again: until it is held, the process can become another program's.
        return m_tracer.attach(error) && m_target.isAllowed(error);
    }

    std::optional<std::string> sample(std::string &error) {
        ReportInput input{.date = std::chrono::system_clock::now(),
                          .processId = m_target.processId(),
                          .before = m_target.facts()};
        if (!m_reader.start(m_target, m_limits, error))
            return std::nullopt;
        Sampler sampler(m_target, m_tracer, m_reader, m_wakeUps, m_limits, m_guard, say);
        say("sampling process " + std::to_string(input.processId));
        input.sampling = sampler.run();
        if (input.sampling.end != SamplingEnd::asked)
            say("reading the stacks");
        if (input.sampling.end == SamplingEnd::asked || !sampler.waitForReader()) {
            error = "ended by a signal";
            return std::nullopt;
        }
        // A thread that the system has kept from stopping is held until this process ends.
        m_guard.renew();
        if (m_tracer.isIdle())
            m_guard.end();
        input.stops = m_tracer.stopTimes();
        input.threadsBeyondLimit = m_tracer.threadsBeyondLimit();
        input.endStatus = m_tracer.endStatus();
        input.threads = &sampler.threads();
        input.stacks = m_reader.result();
        return reportText(input);
    }

private:
    Target &m_target;
    const Limits m_limits;
    WakeUps m_wakeUps;
    StallGuard m_guard{m_limits.stall};
    Tracer m_tracer;
    StackReader m_reader;
};

int sampleInto(const Arguments &arguments, const AskingUser &asking, const Limits &limits) {
    std::string error;
    auto target = Target::open(arguments.processId, asking, error);
    if (!target)
        return failure(error);
    target->openPrivileged();
    Run run(*target, limits);
    if (!run.attach(error) || !dropPrivileges(asking, error))
        return failure(error);
    const auto owner = asking.elevated ? FolderOwner::theUser : FolderOwner::anybody;
    const auto output = OutputFile::prepare(arguments.outputPath, asking.user, owner, error);
    if (!output)
        return failure(error);
    const auto report = run.sample(error);
    if (!report || !output->write(*report, error))
        return failure(error);
    say("the report is in " + escaped(arguments.outputPath));
    return EXIT_SUCCESS;
}

} // namespace

int run(const std::vector<std::string> &words, const Limits &limits) {
    platform::prepareProcess();
    std::string error;
    const auto asking = askingUser(error);
    // Nothing that others may have put there is for this program or its libraries.
    ::clearenv();
    const auto arguments = parseArguments(words, error);
    if (!arguments)
        return failure(error, wrongCommandLine);
    if (!asking)
        return failure(error);
    if (asking->elevated && !arguments->outputPath.starts_with('/'))
        return failure("the path of the report must be absolute", wrongCommandLine);
    raiseFileLimit();
    return sampleInto(*arguments, *asking, limits);
}

} // namespace spindump
