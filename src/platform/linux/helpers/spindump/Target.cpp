#include "Target.h"

#include "Text.h"
#include "platform/Bundle.h"
#include "platform/posix/FileSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace spindump {

namespace {

bool clearCapabilities() {
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
    return ::syscall(SYS_capset, &header, none) == 0;
}

bool becomeUser(const AskingUser &asking) {
    return ::prctl(PR_SET_KEEPCAPS, 0, 0, 0, 0) == 0 && ::setgroups(0, nullptr) == 0 &&
           ::setresgid(asking.group, asking.group, asking.group) == 0 &&
           ::setresuid(asking.user, asking.user, asking.user) == 0 && clearCapabilities();
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
    std::error_code error;
    const auto link = "/proc/self/fd/" + std::to_string(folder) + '/' + name;
    return QByteArray::fromStdString(std::filesystem::read_symlink(link, error));
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

AskingUser askingUser() {
    const char *named = std::getenv("PKEXEC_UID");
    if (::getuid() != 0 || named == nullptr)
        return {::getuid(), ::getgid(), ::geteuid() != ::getuid()};
    const uid_t user = QByteArray(named).toUInt();
    const struct passwd *entry = ::getpwuid(user);
    // What is no number is 0.
    if (entry == nullptr || QByteArray::number(user) != named)
        throw Failure("the user who asks is not known to this system");
    return {entry->pw_uid, entry->pw_gid, true};
}

void dropPrivileges(const AskingUser &asking) {
    // When root asks, there is nothing more to give up.
    const bool becomesAnother = asking.elevated && asking.user != 0;
    if ((becomesAnother && !becomeUser(asking)) || ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        throw Failure(QByteArray("rights cannot be given up: ") + std::strerror(errno));
    if (becomesAnother && (::setresuid(0, 0, 0) == 0 || ::setresgid(0, 0, 0) == 0))
        throw Failure("rights that were given up came back");
}

QByteArray processNamed(pid_t processId) {
    return "process " + QByteArray::number(processId);
}

Target::Target(pid_t id, const AskingUser &user)
    : processId(id)
    , asking(user)
    , folder(openIn(AT_FDCWD, "/proc/" + std::to_string(id), O_RDONLY | O_DIRECTORY))
    , threads(openIn(folder.get(), "task", O_RDONLY | O_DIRECTORY)) {
    if (!folder)
        throw Failure("there is no " + processNamed(id));
    requireAllowed();
}

void Target::identify() {
    memory = openIn(folder.get(), "mem", O_RDONLY);
    mappings = openIn(folder.get(), "maps", O_RDONLY);
    root = openIn(folder.get(), "root", O_PATH | O_DIRECTORY);
    stat = contentIn(folder.get(), "stat");
    status = contentIn(folder.get(), "status");
    executable = linkIn(folder.get(), "exe");
    commandLine = commandLineIn(folder.get());
    io = contentIn(folder.get(), "io");
    openFiles = entriesIn("/proc/" + std::to_string(processId) + "/fd");
    requireAllowed();
}

void Target::requireAllowed() const {
    const QByteArray latest = contentIn(folder.get(), "status");
    if (latest.isEmpty() || statusField(latest, "State").startsWith('Z'))
        throw Failure(processNamed(processId) + " has ended");
    const QByteArray id = QByteArray::number(processId);
    if (processId == ::getpid() || statusField(latest, "Tgid") != id)
        throw Failure(id + " is not the id of another process");
    // A program with the set-user bit has started as its user's and is not.
    if (statusField(latest, "Uid") != fourTimes(QByteArray::number(asking.user)))
        throw Failure(processNamed(processId) + " belongs to another user");
    if (asking.elevated && asking.user != 0 && hasFurtherRights(latest))
        throw Failure(processNamed(processId) + " has rights that its user has not");
}

void Target::requireProduct() const {
    if (!asking.elevated)
        return;
    // The kernel's mark for a file that an update has replaced.
    const QByteArray replaced = " (deleted)";
    const std::filesystem::path program =
        executable.chopped(executable.endsWith(replaced) ? replaced.size() : 0).toStdString();
    const auto bundle = platform::Bundle::around(program);
    if (!bundle || bundle->executable() != program ||
        !std::ranges::count(platform::productBundleIdentifiers, bundle->identifier()))
        throw Failure(processNamed(processId) + " is not the main program of the product");
}

platform::FileDescriptor openIn(int folder, const std::string &name, int flags) {
    return platform::FileDescriptor(::openat(folder, name.c_str(), flags | O_CLOEXEC));
}

QByteArray contentOf(int file, std::size_t limitBytes) {
    std::error_code error;
    ::lseek(file, 0, SEEK_SET);
    return platform::readAtMost(file, limitBytes, error).value_or(QByteArray());
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

double ProcStat::seconds(int field) const {
    return static_cast<double>(number(field)) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

} // namespace spindump
