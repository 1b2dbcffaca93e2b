#include "Report.h"

#include "Text.h"
#include "platform/Bundle.h"

#include <QLocale>
#include <QSysInfo>
#include <algorithm>
#include <array>
#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace spindump {

namespace {

QByteArray number(std::uint64_t value) {
    return QByteArray::number(static_cast<qulonglong>(value));
}

QByteArray decimals(double value, int digits) {
    return QByteArray::number(value, 'f', digits);
}

QByteArray milliseconds(std::chrono::nanoseconds time, int digits) {
    return decimals(std::chrono::duration<double, std::milli>(time).count(), digits) + " ms";
}

QByteArray sizeText(qint64 bytes) {
    return QLocale::c().formattedDataSize(bytes, 1).toUtf8();
}

QByteArray line(const QByteArray &label, const QByteArray &value) {
    return (label + ':').leftJustified(17) + ' ' + value + '\n';
}

QByteArray lineUnlessEmpty(const QByteArray &label, const QByteArray &source, const QByteArray &value) {
    return line(label, source.isEmpty() ? "not readable" : value);
}

QByteArray dateText(std::time_t date) {
    struct tm local {};
    ::localtime_r(&date, &local);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %z", &local);
    return text.data();
}

QByteArray startText(const ProcStat &stat, std::time_t date) {
    struct timespec sinceBoot {};
    ::clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    const auto started = static_cast<std::time_t>(stat.number(22)) / ::sysconf(_SC_CLK_TCK);
    const std::time_t age = sinceBoot.tv_sec - started;
    return dateText(date - age) + ", " + QByteArray::number(qlonglong{age}) + " s before";
}

QByteArray memoryText(const QByteArray &status) {
    const auto size = [&](const char *field) {
        const QByteArray text = statusField(status, field);
        return text.isEmpty() ? "unknown" : sizeText(text.mid(0, text.indexOf(' ')).toLongLong() * 1024);
    };
    return size("VmRSS") + " resident (at most " + size("VmHWM") + "), " + size("VmSize") +
           " of addresses, " + size("VmSwap") + " swapped out";
}

QByteArray parentText(const ProcStat &stat) {
    const QByteArray id = number(stat.number(4));
    const QByteArray name = contentIn(AT_FDCWD, "/proc/" + id.toStdString() + "/comm");
    return name.isEmpty() ? id : id + " (" + escaped(name.chopped(1)) + ")";
}

QByteArray bundleLines(const QByteArray &executable) {
    const auto bundle = platform::Bundle::around(executable.toStdString());
    if (!bundle)
        return line("Identifier", "none, the program stands in no bundle");
    const auto shown = [](const std::optional<QString> &text) {
        return text ? escaped(text->toUtf8(), 256) : "not stated";
    };
    return line("Identifier", shown(bundle->identifier())) + line("Version", shown(bundle->shortVersion()));
}

QByteArray processSection(const Target &target, std::time_t date) {
    const TargetFacts &facts = target.facts;
    const ProcStat stat(facts.stat);
    const auto transferred = [&](const char *field) {
        return sizeText(statusField(facts.io, field).toLongLong());
    };
    return line("Process", escaped(stat.name) + " [" + QByteArray::number(target.processId) + "]") +
           lineUnlessEmpty("Path", facts.executable, escaped(facts.executable)) +
           bundleLines(facts.executable) + line("Parent process", parentText(stat)) +
           line("Command line", commandLineText(facts.commandLine)) + line("Started", startText(stat, date)) +
           lineUnlessEmpty("Memory", facts.status, memoryText(facts.status)) +
           line("CPU time", decimals(stat.userSeconds(), 2) + " s in the program, " +
                                decimals(stat.systemSeconds(), 2) + " s in the system") +
           lineUnlessEmpty("Disk", facts.io,
                           transferred("read_bytes") + " read, " + transferred("write_bytes") + " written") +
           lineUnlessEmpty("Open files", facts.openFiles, facts.openFiles) +
           line("Threads", number(stat.number(20)));
}

QByteArray samplingSection(const SamplingResult &sampling) {
    const StopTimes &stops = sampling.stops;
    const auto rounds = std::max<std::uint64_t>(sampling.rounds, 1);
    return line("Duration", decimals(sampling.duration.count(), 2) + " s; " + sampling.end) +
           line("Samples", number(sampling.rounds) + ", one every " +
                               decimals(sampling.duration.count() * 1000 / static_cast<double>(rounds), 2) +
                               " ms") +
           line("Time stopped", milliseconds(stops.total, 2) + " in " + number(stops.count) +
                                    " stops of single threads, " +
                                    milliseconds(stops.total / std::max<std::uint64_t>(stops.count, 1), 3) +
                                    " each, the longest " + milliseconds(stops.longest, 3)) +
           (sampling.threadsNotRecorded == 0
                ? QByteArray()
                : line("Note", number(sampling.threadsNotRecorded) + " more threads were not sampled"));
}

QByteArray hostSection() {
    struct utsname kernel {};
    ::uname(&kernel);
    return line("Host system", escaped(QSysInfo::prettyProductName().toUtf8(), 256)) +
           line("Kernel", QByteArray(kernel.sysname) + ' ' + kernel.release + ' ' + kernel.machine) +
           line("Processors", QByteArray::number(qlonglong{::sysconf(_SC_NPROCESSORS_ONLN)}));
}

const char *stateText(const ThreadRecord &thread) {
    switch (thread.hasEnded() ? 'X' : thread.state) {
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
QByteArray waitText(const QByteArray &channel) {
    const bool isNone = channel.isEmpty() || channel == "0" || channel == "ptrace_stop";
    return isNone ? "none" : escaped(channel, 128);
}

QByteArray threadSection(pid_t id, const ThreadRecord &thread, double seconds) {
    const QByteArray head =
        "\nThread " + QByteArray::number(id) + "  \"" + escaped(thread.name, 64) + "\"  " +
        stateText(thread) + ", " + decimals(100 * thread.processorSeconds() / seconds, 1) + " % CPU, " +
        number(thread.samples) + " samples, waits in: " + waitText(thread.waitChannel) + '\n';
    return head + thread.text;
}

QByteArray threadsSection(const SamplingResult &sampling) {
    std::vector<std::pair<pid_t, const ThreadRecord *>> threads;
    for (const auto &[id, thread] : sampling.threads)
        threads.emplace_back(id, &thread);
    std::stable_sort(threads.begin(), threads.end(), [](const auto &left, const auto &right) {
        return left.second->processorSeconds() > right.second->processorSeconds();
    });
    QByteArray result;
    for (const auto &[id, thread] : threads)
        result += threadSection(id, *thread, std::max(sampling.duration.count(), 1e-9));
    return result;
}

} // namespace

QByteArray commandLineText(const QByteArray &zeroSeparated) {
    if (zeroSeparated.isEmpty())
        return "none";
    QByteArrayList words;
    const bool isEnded = zeroSeparated.endsWith('\0');
    for (const QByteArray &word : zeroSeparated.chopped(isEnded ? 1 : 0).split('\0')) {
        const bool isPlain =
            !word.isEmpty() && !word.contains(' ') && !word.contains('"') && !word.contains('\'');
        words.append(isPlain ? escaped(word) : '"' + escaped(word) + '"');
    }
    return words.join(' ');
}

QByteArray reportText(const Target &target, const SamplingResult &sampling, std::time_t date) {
    return "Process sample by Lumadoc Diagnostics\n\n" + line("Date", dateText(date)) +
           samplingSection(sampling) + hostSection() + '\n' + processSection(target, date) +
           "\nCall trees: for each thread its calls with the number of samples, heaviest first.\n" +
           threadsSection(sampling) + "\nLibraries: address range, build identifier, path.\n\n" +
           (sampling.libraries.isEmpty() ? "not known\n" : sampling.libraries);
}

} // namespace spindump
