#include "Target.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace spindump {

namespace {

std::string named(pid_t processId) {
    return "process " + std::to_string(processId);
}

// Real, effective, saved and of the file system.
std::string fourTimes(const std::string &id) {
    return id + '\t' + id + '\t' + id + '\t' + id;
}

// A program with the set-user bit has started as its user's and is not.
bool belongsTo(const std::string &status, uid_t user) {
    return statusField(status, "Uid") == fourTimes(std::to_string(user));
}

bool hasOneGroup(const std::string &status) {
    const std::string groups = statusField(status, "Gid").value_or("");
    return groups == fourTimes(groups.substr(0, groups.find('\t')));
}

bool hasCapabilities(const std::string &status) {
    const auto permitted = statusField(status, "CapPrm");
    return !permitted || permitted->find_first_not_of('0') != std::string::npos;
}

Reading<std::size_t> entriesIn(int processFolder, const std::string &name) {
    constexpr std::size_t mostEntries = 1'000'000;
    auto folder = openIn(processFolder, name, O_RDONLY | O_DIRECTORY);
    DIR *listing = folder ? ::fdopendir(::dup(folder.get())) : nullptr;
    if (listing == nullptr)
        return {std::nullopt, std::string("not readable (") + std::strerror(errno) + ")"};
    std::size_t count = 0;
    while (const struct dirent *entry = ::readdir(listing)) {
        if (entry->d_name[0] != '.' && ++count == mostEntries)
            break;
    }
    ::closedir(listing);
    return {count, {}};
}

std::size_t argumentsBytes(int processFolder) {
    const auto text = contentIn(processFolder, "stat");
    const auto stat = text.value ? parseStat(*text.value) : std::nullopt;
    return stat && stat->argumentsEnd > stat->argumentsBegin ? stat->argumentsEnd - stat->argumentsBegin : 0;
}

} // namespace

std::optional<Target> Target::open(pid_t processId, const AskingUser &asking, std::string &error) {
    const std::string path = "/proc/" + std::to_string(processId);
    platform::FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder) {
        error = "there is no " + named(processId);
        return std::nullopt;
    }
    Target target(processId, std::move(folder), asking);
    if (!target.isAllowed(error))
        return std::nullopt;
    return target;
}

bool Target::isAllowed(std::string &error) const {
    const auto status = contentIn(folder(), "status");
    if (!status.value || statusField(*status.value, "State").value_or("Z").starts_with('Z')) {
        error = named(m_processId) + " has ended";
        return false;
    }
    if (m_processId == ::getpid() || statusField(*status.value, "Tgid") != std::to_string(m_processId)) {
        error = std::to_string(m_processId) + " is not the id of another process";
        return false;
    }
    if (!belongsTo(*status.value, m_asking.user)) {
        error = named(m_processId) + " belongs to another user";
        return false;
    }
    if (m_asking.elevated && m_asking.user != 0 &&
        (hasCapabilities(*status.value) || !hasOneGroup(*status.value))) {
        error = named(m_processId) + " has rights that its user has not";
        return false;
    }
    return true;
}

void Target::openPrivileged() {
    m_threads = openIn(folder(), "task", O_RDONLY | O_DIRECTORY);
    m_memory = openIn(folder(), "mem", O_RDONLY);
    m_mappings = openIn(folder(), "maps", O_RDONLY);
    m_root = openIn(folder(), "root", O_PATH | O_DIRECTORY);
    m_commandLine = openIn(folder(), "cmdline", O_RDONLY);
    m_argumentsBytes = argumentsBytes(folder());
    m_executable = linkIn(folder(), "exe");
    m_io = contentIn(folder(), "io");
    m_openFiles = entriesIn(folder(), "fd");
}

TargetFacts Target::facts() const {
    TargetFacts facts;
    const auto statText = contentIn(folder(), "stat");
    facts.stat = {statText.value ? parseStat(*statText.value) : std::nullopt, statText.failure};
    facts.status = contentIn(folder(), "status");
    facts.executable = m_executable;
    facts.commandLine = contentOf(m_commandLine.get());
    // A process may write over its arguments; the kernel then goes on into its environment, which is nobody's
    // business.
    if (facts.commandLine.value && facts.commandLine.value->size() > m_argumentsBytes && m_argumentsBytes > 0)
        facts.commandLine.value->resize(m_argumentsBytes);
    facts.io = m_io;
    facts.openFiles = m_openFiles;
    return facts;
}

} // namespace spindump
