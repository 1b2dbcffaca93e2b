#include "Spindump.h"
#include "Text.h"
#include "platform/Bundle.h"

#include <QLocale>
#include <QString>
#include <QSysInfo>
#include <algorithm>
#include <array>
#include <cinttypes>
#include <fcntl.h>
#include <functional>
#include <sys/utsname.h>
#include <unistd.h>

namespace spindump {

namespace {

QByteArray sizeText(qint64 bytes) {
    return QLocale::c().formattedDataSize(bytes, 1).toUtf8();
}

QByteArray line(const QByteArray &label, const QByteArray &value) {
    return (label + ':').leftJustified(17) + ' ' + value + '\n';
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
    const std::time_t age = sinceBoot.tv_sec - static_cast<std::time_t>(stat.seconds(22));
    return dateText(date - age) + ", " + QByteArray::number(age) + " s before";
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
    const QByteArray id = QByteArray::number(stat.number(4));
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
    const ProcStat stat(target.stat);
    const auto unlessEmpty = [](const QByteArray &source, const QByteArray &value) {
        return source.isEmpty() ? "not readable" : value;
    };
    const auto transferred = [&](const char *field) {
        return sizeText(statusField(target.io, field).toLongLong());
    };
    return line("Process", escaped(stat.name) + " [" + QByteArray::number(target.processId) + "]") +
           line("Path", unlessEmpty(target.executable, escaped(target.executable))) +
           bundleLines(target.executable) + line("Parent process", parentText(stat)) +
           line("Command line", commandLineText(target.commandLine)) +
           line("Started", startText(stat, date)) +
           line("Memory", unlessEmpty(target.status, memoryText(target.status))) +
           line("CPU time", QString::asprintf("%.2f s in the program, %.2f s in the system", stat.seconds(14),
                                              stat.seconds(15))
                                .toUtf8()) +
           line("Disk", unlessEmpty(target.io, transferred("read_bytes") + " read, " +
                                                   transferred("write_bytes") + " written")) +
           line("Open files", unlessEmpty(target.openFiles, target.openFiles)) +
           line("Threads", QByteArray::number(stat.number(20)));
}

QByteArray samplingSection(const SamplingResult &sampling) {
    const StopTimes &stops = sampling.stops;
    const double seconds = sampling.duration.count();
    const double interval = seconds * 1000 / static_cast<double>(std::max<std::uint64_t>(sampling.rounds, 1));
    const double total = stops.total.count();
    const double each = total / static_cast<double>(std::max<std::uint64_t>(stops.count, 1));
    return line("Duration", QByteArray::number(seconds, 'f', 2) + " s; " + sampling.end) +
           line("Samples", QByteArray::number(sampling.rounds) +
                               QString::asprintf(", one every %.2f ms", interval).toUtf8()) +
           line("Time stopped",
                QString::asprintf("%.2f ms in %" PRIu64
                                  " stops of single threads, %.3f ms each, the longest %.3f ms",
                                  total, stops.count, each, stops.longest.count())
                    .toUtf8());
}

QByteArray hostSection() {
    struct utsname kernel {};
    ::uname(&kernel);
    return line("Host system", escaped(QSysInfo::prettyProductName().toUtf8(), 256)) +
           line("Kernel", QByteArray(kernel.sysname) + ' ' + kernel.release + ' ' + kernel.machine) +
           line("Processors", QByteArray::number(::sysconf(_SC_NPROCESSORS_ONLN)));
}

QByteArray stateText(const ThreadRecord &thread) {
    static const std::map<char, const char *> texts{
        {'R', "running"}, {'S', "sleeping"}, {'I', "sleeping"}, {'D', "waiting for a device"},
        {'T', "stopped"}, {'t', "stopped"},  {'Z', "ended"},    {'X', "ended"}};
    const auto found = texts.find(thread.hasEnded() ? 'X' : thread.state);
    return found == texts.end() ? "unknown" : found->second;
}

// A stopped thread waits for whoever stopped it.
QByteArray waitText(const QByteArray &channel) {
    const bool isNone = channel.isEmpty() || channel == "0" || channel == "ptrace_stop";
    return isNone ? "none" : escaped(channel, 128);
}

QByteArray threadsSection(const SamplingResult &sampling) {
    std::multimap<double, QByteArray, std::greater<>> sections;
    for (const auto &[id, thread] : sampling.threads) {
        const double share = 100 * thread.processorSeconds() / std::max(sampling.duration.count(), 1e-9);
        sections.emplace(thread.processorSeconds(),
                         "\nThread " + QByteArray::number(id) + "  \"" + escaped(thread.name, 64) + "\"  " +
                             stateText(thread) + ", " + QByteArray::number(share, 'f', 1) + " % CPU, " +
                             QByteArray::number(thread.samples) +
                             " samples, waits in: " + waitText(thread.waitChannel) + '\n' + thread.text);
    }
    QByteArray result;
    for (const auto &[seconds, section] : sections)
        result += section;
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
