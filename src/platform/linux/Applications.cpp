#include "platform/Applications.h"

#include "platform/Account.h"
#include "platform/Bundle.h"
#include "platform/linux/ApplicationRoots.h"
#include "platform/linux/DesktopEntry.h"
#include "platform/linux/Systemd.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Lock.h"
#include "platform/posix/Text.h"

#include <QByteArrayList>
#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <map>
#include <sys/stat.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace platform {

namespace {

namespace fs = std::filesystem;

// No honest desktop entry is this large.
constexpr std::size_t entryLimitBytes = std::size_t{1} << 20;

// Those with this extension, or all.
std::vector<fs::path> sortedEntries(const fs::path &folder, const char *extension = nullptr) {
    std::vector<fs::path> result;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        if (extension == nullptr || entry->path().extension() == extension)
            result.push_back(entry->path());
    }
    std::sort(result.begin(), result.end());
    return result;
}

std::optional<Bundle> startedByEntry(const fs::path &entry) {
    std::error_code error;
    const auto content = readFile(entry, entryLimitBytes, error);
    const auto program = content ? desktopEntryProgram(*content) : std::nullopt;
    if (!program)
        return std::nullopt;
    const fs::path real = fs::canonical(*program, error);
    if (error)
        return std::nullopt;
    // A bundle may be a link to a folder of another name.
    auto bundle = Bundle::around(real);
    return bundle ? std::move(bundle) : Bundle::around(*program);
}

// A process's start in clock ticks since boot: field 22 of its status line, the 20th after the name, which is
// in parentheses and may hold anything. None when the process has ended.
std::optional<std::uint64_t> startTime(const fs::path &process) {
    constexpr std::size_t longestBytes = 1024;
    const FileDescriptor file(::open((process / "stat").c_str(), O_RDONLY | O_CLOEXEC));
    std::error_code error;
    const QByteArray status = readAtMost(file.get(), longestBytes, error).value_or(QByteArray());
    bool valid = false;
    const std::uint64_t ticks =
        status.mid(status.lastIndexOf(')') + 2).split(' ').value(19).toULongLong(&valid);
    return valid ? std::optional(ticks) : std::nullopt;
}

// The running executable's path. The kernel marks one that was replaced on disk; it still counts.
fs::path processExecutable(const fs::path &process) {
    constexpr std::string_view replaced = " (deleted)";
    std::error_code error;
    std::string path = fs::read_symlink(process / "exe", error).native();
    if (path.ends_with(replaced) && !fs::exists(path, error))
        path.resize(path.size() - replaced.size());
    return path;
}

// The paths that the process may have been started by: its first argument, when that is a path, in the folder
// that it is in and in the one that the shell was in, which knows the links on its way.
std::vector<fs::path> startingPaths(const fs::path &process) {
    std::error_code error;
    const auto texts = [&](const char *name) {
        constexpr std::size_t longestBytes = std::size_t{128} << 10;
        const FileDescriptor file(::open((process / name).c_str(), O_RDONLY | O_CLOEXEC));
        return readAtMost(file.get(), longestBytes, error).value_or(QByteArray()).split('\0');
    };
    const fs::path first(texts("cmdline").first().toStdString());
    if (!first.has_parent_path())
        return {};
    if (first.is_absolute())
        return {first.lexically_normal()};
    std::vector<fs::path> paths{(fs::read_symlink(process / "cwd", error) / first).lexically_normal()};
    for (const QByteArray &variable : texts("environ")) {
        if (variable.startsWith("PWD=/"))
            paths.push_back((fs::path(variable.sliced(4).toStdString()) / first).lexically_normal());
    }
    return paths;
}

// The bundle whose main program is at this path, which may be a link to it.
std::optional<Bundle> bundleStartedBy(fs::path path) {
    constexpr int mostLinks = 8;
    std::error_code error;
    for (int links = 0; links < mostLinks && !error; ++links) {
        auto bundle = Bundle::around(path);
        if (bundle && bundle->executable() == path)
            return bundle;
        path = (path.parent_path() / fs::read_symlink(path, error)).lexically_normal();
    }
    return std::nullopt;
}

// The bundle whose main program this process runs. Where its executable is tells that, also when the main
// program is a link to it. It no longer does after an update has moved the bundle aside, and where a part of
// the path to it was a link: then the path that it was started by does.
std::optional<Bundle> bundleRunBy(const fs::path &process) {
    const fs::path executable = processExecutable(process);
    auto bundle = Bundle::around(executable);
    const auto main = bundle ? bundle->executable() : std::nullopt;
    std::error_code error;
    if (main && (*main == executable || fs::canonical(*main, error) == executable))
        return bundle;
    if (executable.empty())
        return std::nullopt;
    for (const fs::path &path : startingPaths(process)) {
        if ((bundle = bundleStartedBy(path)))
            return bundle;
    }
    return std::nullopt;
}

// The process in this folder of /proc when it is the main program of a bundle and this user's.
std::optional<RunningApplication> applicationOf(const fs::path &process, std::int64_t identifier) {
    struct stat status {};
    if (::stat(process.c_str(), &status) != 0 || status.st_uid != ::geteuid())
        return std::nullopt;
    const auto bundle = bundleRunBy(process);
    if (!bundle)
        return std::nullopt;
    return RunningApplication{bundle->identifier().value_or(QString()), identifier, bundle->path()};
}

// Whether a process holds a lock as `lockForLife` takes it, on any file.
bool holdsLock(std::int64_t process) {
    constexpr std::size_t longestBytes = std::size_t{1} << 20;
    const FileDescriptor file(::open("/proc/locks", O_RDONLY | O_CLOEXEC));
    std::error_code error;
    const QByteArrayList lines =
        readAtMost(file.get(), longestBytes, error).value_or(QByteArray()).split('\n');
    return std::ranges::any_of(lines, [process](const QByteArray &line) {
        const QByteArrayList words = line.simplified().split(' ');
        return words.value(1) == "FLOCK" && words.value(4).toLongLong() == process;
    });
}

} // namespace

std::vector<RunningApplication> runningApplications() {
    // By start and number.
    std::map<std::pair<std::uint64_t, std::int64_t>, RunningApplication> found;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename().native();
        std::int64_t identifier = 0;
        if (std::from_chars(name.data(), name.data() + name.size(), identifier).ec != std::errc())
            continue;
        const auto application = applicationOf(entry->path(), identifier);
        const auto started = application ? startTime(entry->path()) : std::nullopt;
        if (started)
            found.emplace(std::pair(*started, identifier), *application);
    }
    std::vector<RunningApplication> result;
    result.reserve(found.size());
    for (const auto &[started, application] : found)
        result.push_back(application);
    return result;
}

ApplicationRoots applicationRoots() {
    ApplicationRoots roots;
    // Like the Library, they are in the user's data folder.
    for (const fs::path &library : userLibraryFolders())
        roots.desktopEntries.push_back(library.parent_path() / "applications");
    const QByteArray dataFolders = qgetenv("XDG_DATA_DIRS");
    for (const QByteArray &folder :
         (dataFolders.isEmpty() ? QByteArray("/usr/local/share:/usr/share") : dataFolders).split(':')) {
        if (folder.startsWith('/'))
            roots.desktopEntries.push_back(fs::path(folder.toStdString()) / "applications");
    }
    if (const auto home = homeFolder())
        roots.bundles.push_back(*home / "Applications");
    roots.bundles.emplace_back("/Applications");
    roots.nestedBundles.emplace_back("/opt");
    return roots;
}

std::vector<fs::path> installedApplications(const QString &bundleIdentifier) {
    return installedApplicationsIn(applicationRoots(), bundleIdentifier);
}

std::vector<fs::path> installedApplicationsIn(const ApplicationRoots &roots,
                                              const QString &bundleIdentifier) {
    std::vector<fs::path> found;
    const auto offer = [&](const std::optional<Bundle> &bundle) {
        if (!bundle || bundle->identifier() != bundleIdentifier)
            return;
        std::error_code error;
        const fs::path path = fs::canonical(bundle->path(), error);
        if (!error && std::find(found.begin(), found.end(), path) == found.end())
            found.push_back(path);
    };
    const auto offerBundlesIn = [&](const fs::path &folder) {
        for (const fs::path &path : sortedEntries(folder, ".app"))
            offer(Bundle::at(path));
    };
    for (const fs::path &folder : roots.desktopEntries) {
        for (const fs::path &path : sortedEntries(folder, ".desktop"))
            offer(startedByEntry(path));
    }
    for (const fs::path &folder : roots.bundles)
        offerBundlesIn(folder);
    for (const fs::path &folder : roots.nestedBundles) {
        offerBundlesIn(folder);
        for (const fs::path &inner : sortedEntries(folder)) {
            if (inner.extension() != ".app")
                offerBundlesIn(inner);
        }
    }
    return found;
}

// A copy that is listed and holds no lock is about to end: it has not got this one.
bool claimSingleInstance(const QString &identifier, const fs::path &folder) {
    const Lock lock = lockForLife(folder, identifier);
    const auto goesOnBeside = [&](const RunningApplication &other) {
        return other.bundleIdentifier == identifier && other.processIdentifier != ::getpid() &&
               (lock == Lock::impossible || holdsLock(other.processIdentifier));
    };
    return lock != Lock::taken && std::ranges::none_of(runningApplications(), goesOnBeside);
}

// Windows show themselves, and a program without one is not seen.
void setPresence(Presence) {}

// https://specifications.freedesktop.org/desktop-entry-spec/latest/dbus.html
void activateOtherCopy(const QString &identifier) {
    const QByteArray name = identifier.toUtf8();
    const QByteArray object = '/' + QByteArray(name).replace('.', '/').replace('-', '_');
    const auto open = LUMAMON_SYSTEMD(sd_bus_open_user);
    const auto append = LUMAMON_SYSTEMD(sd_bus_message_append);
    sd_bus *bus = nullptr;
    sd_bus_message *call = nullptr;
    if (!open || open(&bus) < 0)
        return;
    if (LUMAMON_SYSTEMD(sd_bus_message_new_method_call)(bus, &call, name.constData(), object.constData(),
                                                        "org.freedesktop.Application", "Activate") >= 0) {
        LUMAMON_SYSTEMD(sd_bus_message_set_auto_start)(call, 0);
        LUMAMON_SYSTEMD(sd_bus_message_set_expect_reply)(call, 0);
        LUMAMON_SYSTEMD(sd_bus_message_open_container)(call, SD_BUS_TYPE_ARRAY, "{sv}");
        for (const auto &[variable, key] : {std::pair("XDG_ACTIVATION_TOKEN", "activation-token"),
                                            {"DESKTOP_STARTUP_ID", "desktop-startup-id"}}) {
            const QByteArray token = qgetenv(variable);
            if (!token.isEmpty())
                append(call, "{sv}", key, "s", token.constData());
        }
        LUMAMON_SYSTEMD(sd_bus_message_close_container)(call);
        LUMAMON_SYSTEMD(sd_bus_send)(bus, call, nullptr);
    }
    LUMAMON_SYSTEMD(sd_bus_message_unref)(call);
    LUMAMON_SYSTEMD(sd_bus_flush_close_unref)(bus);
}

} // namespace platform
