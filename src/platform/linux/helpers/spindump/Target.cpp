#include "Target.h"

#include "Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace spindump {

namespace {

double seconds(std::uint64_t ticks) {
    return static_cast<double>(ticks) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

// Real, effective, saved and of the file system.
QByteArray fourTimes(const QByteArray &id) {
    return id + '\t' + id + '\t' + id + '\t' + id;
}

bool hasFurtherRights(const QByteArray &status) {
    const QByteArray groups = statusField(status, "Gid");
    const QByteArray capabilities = statusField(status, "CapPrm");
    return groups != fourTimes(groups.left(groups.indexOf('\t'))) || capabilities.isEmpty() ||
           capabilities.count('0') != capabilities.size();
}

QByteArray linkIn(int folder, const char *name) {
    std::array<char, PATH_MAX> path{};
    const ssize_t length = ::readlinkat(folder, name, path.data(), path.size());
    return {path.data(), std::max<ssize_t>(length, 0)};
}

QByteArray entriesIn(const std::filesystem::path &folder) {
    std::error_code error;
    int count = 0;
    for (std::filesystem::directory_iterator entry(folder, error), end; entry != end; entry.increment(error))
        ++count;
    return error ? QByteArray() : QByteArray::number(count);
}

// A process may write over its arguments; the kernel then goes on into its environment, which is nobody's
// business.
QByteArray commandLineIn(int folder) {
    const ProcStat stat(contentIn(folder, "stat"));
    const auto argumentsBytes = static_cast<qsizetype>(stat.number(49) - stat.number(48));
    const QByteArray shown = contentIn(folder, "cmdline");
    return argumentsBytes > 0 ? shown.left(argumentsBytes) : shown;
}

} // namespace

QByteArray processNamed(pid_t processId) {
    return "process " + QByteArray::number(processId);
}

Target::Target(pid_t id, const AskingUser &user)
    : processId(id)
    , asking(user)
    , folder(openIn(AT_FDCWD, "/proc/" + std::to_string(id), O_RDONLY | O_DIRECTORY)) {
    if (!folder)
        throw Failure("there is no " + processNamed(id));
    requireAllowed();
    threads = openIn(folder.get(), "task", O_RDONLY | O_DIRECTORY);
    memory = openIn(folder.get(), "mem", O_RDONLY);
    mappings = openIn(folder.get(), "maps", O_RDONLY);
    root = openIn(folder.get(), "root", O_PATH | O_DIRECTORY);
    facts.stat = contentIn(folder.get(), "stat");
    facts.status = contentIn(folder.get(), "status");
    facts.executable = linkIn(folder.get(), "exe");
    facts.commandLine = commandLineIn(folder.get());
    facts.io = contentIn(folder.get(), "io");
    facts.openFiles = entriesIn("/proc/" + std::to_string(id) + "/fd");
}

void Target::requireAllowed() const {
    const QByteArray status = contentIn(folder.get(), "status");
    if (status.isEmpty() || statusField(status, "State").startsWith('Z'))
        throw Failure(processNamed(processId) + " has ended");
    const QByteArray id = QByteArray::number(processId);
    if (processId == ::getpid() || statusField(status, "Tgid") != id)
        throw Failure(id + " is not the id of another process");
    // A program with the set-user bit has started as its user's and is not.
    if (statusField(status, "Uid") != fourTimes(QByteArray::number(asking.user)))
        throw Failure(processNamed(processId) + " belongs to another user");
    if (asking.elevated && asking.user != 0 && hasFurtherRights(status))
        throw Failure(processNamed(processId) + " has rights that its user has not");
}

platform::FileDescriptor openIn(int folder, const std::string &name, int flags) {
    return platform::FileDescriptor(::openat(folder, name.c_str(), flags | O_CLOEXEC));
}

QByteArray contentOf(int file, qsizetype limitBytes) {
    constexpr qsizetype partBytes = 1 << 14;
    QByteArray content;
    while (content.size() < limitBytes) {
        const qsizetype begin = content.size();
        content.resize(std::min(begin + partBytes, limitBytes));
        const ssize_t count =
            ::pread(file, content.data() + begin, static_cast<std::size_t>(content.size() - begin), begin);
        content.truncate(begin + std::max<ssize_t>(count, 0));
        if (count == 0 || (count < 0 && errno != EINTR))
            break;
    }
    return content;
}

QByteArray contentIn(int folder, const std::string &name) {
    return contentOf(openIn(folder, name, O_RDONLY).get());
}

QByteArray statusField(const QByteArray &text, const QByteArray &name) {
    const QByteArray lines = '\n' + text;
    const qsizetype found = lines.indexOf('\n' + name + ':');
    const qsizetype begin = found + name.size() + 2;
    return found < 0 ? QByteArray() : lines.mid(begin, lines.indexOf('\n', begin) - begin).trimmed();
}

// The name is in parentheses and may hold any character, parentheses and blanks as well.
ProcStat::ProcStat(const QByteArray &text) {
    const qsizetype open = text.indexOf('(');
    const qsizetype close = text.lastIndexOf(')');
    if (open < 0 || close < open)
        return;
    name = text.mid(open + 1, close - open - 1);
    fields = text.mid(close + 1).simplified().split(' ');
    state = fields.constFirst().isEmpty() ? '?' : fields.constFirst().front();
}

double ProcStat::userSeconds() const {
    return seconds(number(14));
}

double ProcStat::systemSeconds() const {
    return seconds(number(15));
}

} // namespace spindump
