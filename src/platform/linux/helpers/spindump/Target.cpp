#include "Target.h"

#include "Text.h"

#include <array>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace spindump {

namespace {

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
    std::error_code error;
    const std::filesystem::directory_iterator openFiles("/proc/" + std::to_string(id) + "/fd", error);
    if (!error)
        facts.openFiles = QByteArray::number(qlonglong{std::distance(begin(openFiles), end(openFiles))});
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

} // namespace spindump
