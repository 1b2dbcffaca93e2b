#include "Report.h"

#include "EscapedText.h"
#include "HostText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fcntl.h>
#include <sys/wait.h>

namespace spindump {

namespace {

std::string decimals(double value, int digits) {
    std::array<char, 64> text{};
    const auto [end, failure] =
        std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, digits);
    return failure == std::errc() ? std::string(text.data(), end) : "?";
}

std::string line(const std::string &label, const std::string &value) {
    std::string text = label + ':';
    text.resize(std::max<std::size_t>(18, text.size() + 1), ' ');
    return text + value + '\n';
}

template <typename Value, typename Show>
std::string shown(const Reading<Value> &reading, Show show) {
    if (reading.value)
        return show(*reading.value);
    return reading.failure.empty() ? "not readable" : reading.failure;
}

std::string memoryText(const std::string &status) {
    const auto bytes = [&](const char *field) {
        const auto text = statusField(status, field);
        double kilobytes = 0;
        if (!text || std::from_chars(text->data(), text->data() + text->size(), kilobytes).ec != std::errc())
            return std::string("unknown");
        return bytesText(kilobytes * 1024);
    };
    return bytes("VmRSS") + " resident (at most " + bytes("VmHWM") + "), " + bytes("VmSize") +
           " of addresses, " + bytes("VmSwap") + " swapped out";
}

std::string transferText(const std::string &io) {
    const auto bytes = [&](const char *field) {
        double value = 0;
        const std::string text = statusField(io, field).value_or("");
        std::from_chars(text.data(), text.data() + text.size(), value);
        return bytesText(value);
    };
    return bytes("read_bytes") + " read, " + bytes("write_bytes") + " written";
}

std::string parentText(const ProcStat &stat) {
    const auto name = contentIn(AT_FDCWD, "/proc/" + std::to_string(stat.parent) + "/comm", 64);
    std::string text = std::to_string(stat.parent);
    if (name.value && !name.value->empty())
        text += " (" + escaped(name.value->substr(0, name.value->find_last_not_of('\n') + 1)) + ")";
    return text;
}

std::string processSection(const ReportInput &input) {
    const TargetFacts &facts = input.before;
    const auto ofStat = [&](auto show) { return shown(facts.stat, show); };
    const auto text = [](const std::string &value) { return escaped(value); };
    std::string result;
    result += line("Process", ofStat([](const ProcStat &stat) { return escaped(stat.name); }) + " [" +
                                  std::to_string(input.processId) + "]");
    result += line("Path", shown(facts.executable, text));
    result += input.stacks.bundle.empty() ? line("Identifier", "not known") : input.stacks.bundle;
    result += line("Parent process", ofStat(parentText));
    result += line("Command line", shown(facts.commandLine, commandLineText));
    result += line("Started", ofStat([&](const ProcStat &stat) { return startText(stat, input.date); }));
    result += line("Memory", shown(facts.status, memoryText));
    result += line("CPU time", ofStat([](const ProcStat &stat) {
                       return decimals(ticks(stat.userTicks).count(), 2) + " s in the program, " +
                              decimals(ticks(stat.systemTicks).count(), 2) + " s in the system";
                   }));
    result += line("Disk", shown(facts.io, transferText));
    result +=
        line("Open files", shown(facts.openFiles, [](std::size_t count) { return std::to_string(count); }));
    result += line("Threads", ofStat([](const ProcStat &stat) { return std::to_string(stat.threads); }));
    return result;
}

double milliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

std::string endText(const ReportInput &input) {
    switch (input.sampling.end) {
    case SamplingEnd::processEnded:
        if (input.endStatus && WIFSIGNALED(*input.endStatus))
            return "the process was ended by signal " + std::to_string(WTERMSIG(*input.endStatus));
        return input.endStatus
                   ? "the process ended with status " + std::to_string(WEXITSTATUS(*input.endStatus))
                   : "the process ended";
    case SamplingEnd::otherProgram:
        return "the process began to run another program";
    case SamplingEnd::readerEnded:
        return input.stacks.failure;
    case SamplingEnd::timeUp:
    case SamplingEnd::asked:
        break;
    }
    return "the time was up";
}

std::string samplingSection(const ReportInput &input) {
    const SamplingResult &sampling = input.sampling;
    const double seconds = sampling.duration.count();
    const auto stops = static_cast<double>(std::max<std::uint64_t>(input.stops.count, 1));
    const double interval = seconds * 1000 / static_cast<double>(std::max<std::uint64_t>(sampling.rounds, 1));
    std::string result = line("Duration", decimals(seconds, 2) + " s; " + endText(input));
    result +=
        line("Samples", std::to_string(sampling.rounds) + ", one every " + decimals(interval, 2) + " ms");
    result +=
        line("Time stopped",
             decimals(milliseconds(input.stops.total), 2) + " ms in " + std::to_string(input.stops.count) +
                 " stops of single threads, " + decimals(milliseconds(input.stops.total) / stops, 3) +
                 " ms each, the longest " + decimals(milliseconds(input.stops.longest), 3) + " ms");
    if (sampling.roundsLeftOut > 0)
        result += line("Note", std::to_string(sampling.roundsLeftOut) +
                                   " samples were left out because reading the stacks took longer");
    if (sampling.snapshotsLeftOut > 0)
        result += line("Note", std::to_string(sampling.snapshotsLeftOut) +
                                   " times a thread was left out because reading the stacks took longer");
    if (const auto threads = sampling.threadsNotRecorded + input.threadsBeyondLimit; threads > 0)
        result += line("Note", std::to_string(threads) + " more threads were not sampled");
    if (!input.stacks.failure.empty())
        result += line("Note", (input.stacks.trees.empty() ? "no call trees: " : "call trees are missing: ") +
                                   input.stacks.failure);
    return result;
}

const char *stateText(const ThreadRecord &thread) {
    if (thread.hasEnded())
        return "ended";
    switch (thread.state()) {
    case 'R':
        return "running";
    case 'S':
    case 'I':
        return "sleeping";
    case 'D':
        return "waiting for a device";
    case 'T':
    case 't':
        return "stopped";
    case 'Z':
    case 'X':
        return "ended";
    default:
        return "unknown";
    }
}

// A stopped thread waits for whoever stopped it.
std::string waitText(const std::string &channel) {
    const bool none = channel.empty() || channel == "0" || channel == "ptrace_stop";
    return none ? "none" : escaped(channel, 128);
}

double shareOf(const ThreadRecord &thread, const SamplingResult &sampling) {
    const auto used = std::chrono::duration<double>(thread.processorTime());
    return sampling.duration.count() > 0 ? 100 * used / sampling.duration : 0;
}

std::string threadSection(const ThreadRecord &thread, const ReportInput &input) {
    std::string result = "Thread " + std::to_string(thread.id()) + "  \"" + escaped(thread.name(), 64) +
                         "\"  " + stateText(thread) + ", " + decimals(shareOf(thread, input.sampling), 1) +
                         " % CPU, " + std::to_string(thread.samples) +
                         " samples, waits in: " + waitText(thread.waitChannel()) + '\n';
    const auto tree = input.stacks.trees.find(thread.id());
    if (thread.samples == 0)
        return result + "          no sample: " + thread.whyNoSample + '\n';
    return result + (tree == input.stacks.trees.end() ? "          no call tree\n" : tree->second);
}

std::string threadsSection(const ReportInput &input) {
    std::vector<const ThreadRecord *> threads;
    for (const auto &[id, thread] : *input.threads)
        threads.push_back(&thread);
    std::stable_sort(threads.begin(), threads.end(), [](const auto *left, const auto *right) {
        return left->processorTime() > right->processorTime();
    });
    std::string result;
    for (const ThreadRecord *thread : threads)
        result += '\n' + threadSection(*thread, input);
    return result;
}

} // namespace

std::string commandLineText(const std::string &zeroSeparated) {
    std::string text;
    for (std::size_t begin = 0; begin < zeroSeparated.size();) {
        const std::size_t end = std::min(zeroSeparated.find('\0', begin), zeroSeparated.size());
        const std::string word = zeroSeparated.substr(begin, end - begin);
        const bool plain = !word.empty() && word.find_first_of(" \"'") == std::string::npos;
        text += (text.empty() ? "" : " ") + (plain ? escaped(word) : '"' + escaped(word) + '"');
        begin = end + 1;
    }
    return text.empty() ? "none" : text;
}

std::string bytesText(double bytes) {
    constexpr std::array units{"bytes", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    for (; bytes >= 1024 && unit + 1 < units.size(); ++unit)
        bytes /= 1024;
    return decimals(bytes, unit == 0 ? 0 : 1) + ' ' + units[unit];
}

std::string reportText(const ReportInput &input) {
    std::string text = "Process sample by Lumadoc Diagnostics\n\n";
    text += line("Date", dateText(input.date));
    text += samplingSection(input);
    text += hostText();
    text += '\n' + processSection(input);
    text += "\nCall trees: for each thread its calls with the number of samples, heaviest first.\n";
    text += threadsSection(input);
    text += "\nLibraries: address range, build identifier, path.\n\n";
    return text + (input.stacks.libraries.empty() ? "not known\n" : input.stacks.libraries);
}

} // namespace spindump
