#include "platform/Account.h"
#include "platform/Applications.h"
#include "platform/Bundle.h"
#include "platform/linux/DesktopEntry.h"
#include "platform/linux/helpers/system_profiler/PackageManagers.h"
#include "platform/linux/helpers/system_profiler/Report.h"
#include "platform/posix/Text.h"

#include <QStandardPaths>
#include <algorithm>
#include <climits>
#include <unordered_set>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

bool isWithin(const fs::path &path, const std::optional<fs::path> &folder) {
    return folder && folder->has_relative_path() && path.native().starts_with((*folder / "").native());
}

// Programs that run what their arguments name: whoever installed one did not install the application.
bool runsOtherPrograms(const fs::path &program) {
    static constexpr std::string_view names[] = {"sh",   "bash",   "dash",    "perl",     "ruby",
                                                 "java", "node",   "wine",    "xdg-open", "sudo",
                                                 "gjs",  "pkexec", "flatpak", "snap"};
    const std::string name = program.filename().native();
    return name.starts_with("python") ||
           std::find(std::begin(names), std::end(names), name) != std::end(names);
}

// How an entry breaks the format of desktop entries; empty for one that does not.
QString problemOf(const platform::DesktopEntry &entry) {
    if (entry.type.isEmpty())
        return QStringLiteral("a desktop entry without a type");
    if (entry.name.trimmed().isEmpty())
        return QStringLiteral("a desktop entry without a name");
    if (entry.command.isEmpty() && !entry.startedByMessage)
        return QStringLiteral("a desktop entry that starts nothing");
    if (entry.command.value(0).size() >= PATH_MAX)
        return QStringLiteral("a desktop entry whose program has too long a name");
    return {};
}

// What an entry says of itself becomes part of paths.
bool isName(const QByteArray &text) {
    return !text.isEmpty() && !text.startsWith('.') && !text.contains('/');
}

// The program that a Flatpak application's entry names.
fs::path programIn(const fs::path &location, const platform::DesktopEntry &entry) {
    constexpr QByteArrayView option = "--command=";
    for (const QByteArray &argument : entry.command) {
        if (argument.startsWith(option))
            return location / "files/bin" / fs::path(argument.mid(option.size()).toStdString()).filename();
    }
    return {};
}

// A package manager whose applications bear its mark in their entries.
struct Sandbox {
    QString name;
    Packages (*ask)(Reader &);
    // Hold a folder for each application, and that the installed version under this name.
    std::vector<fs::path> folders;
    const char *version;
    // Asked for when the first such application is found.
    std::optional<Packages> packages = {};
};

class Inventory {
public:
    explicit Inventory(Reader &reader)
        : m_reader(reader) {}

    std::vector<Application> take() {
        platform::ApplicationRoots roots = platform::applicationRoots();
        for (const fs::path &folder : m_flatpak.folders)
            roots.desktopEntries.push_back(folder.parent_path() / "exports/share/applications");
        roots.desktopEntries.emplace_back("/var/lib/snapd/desktop/applications");
        for (const fs::path &folder : roots.bundles)
            addBundlesIn(folder, 0);
        for (const fs::path &folder : roots.nestedBundles)
            addBundlesIn(folder, 1);
        for (const fs::path &folder : roots.desktopEntries)
            addEntriesIn(folder);
        addPackages();
        return std::move(m_found);
    }

private:
    void addBundlesIn(const fs::path &folder, int depth) {
        for (const fs::path &path : m_reader.entriesOf(folder)) {
            if (path.extension() == ".app")
                bundleAt(path);
            else if (depth > 0)
                addBundlesIn(path, depth - 1);
        }
    }

    /// The place in `m_found` of the bundle at `path`, which is added when it is new; none without a bundle.
    std::optional<std::size_t> bundleAt(const fs::path &path) {
        const auto [known, isNew] = m_bundles.try_emplace(resolved(path).native());
        const fs::path info = path / "Contents/Info.plist";
        std::error_code error;
        if (!isNew || (!fs::exists(info, error) && !error))
            return known->second;
        // The bundle reads the file again, without the reader's limits.
        const auto bundle = m_reader.read(info) ? platform::Bundle::at(path) : std::nullopt;
        if (!bundle) {
            // Keeps the reader's reason, if it has one.
            m_reader.note(info, QStringLiteral("no property list with keys"));
            return std::nullopt;
        }
        known->second = m_found.size();
        Application &application = m_found.emplace_back();
        application.name =
            bundle->text("CFBundleDisplayName")
                .value_or(bundle->text("CFBundleName").value_or(platform::displayText(path.stem())));
        application.version =
            bundle->shortVersion().value_or(bundle->text("CFBundleVersion").value_or(QString()));
        application.source = QStringLiteral("Application bundle");
        describe(application, path, bundle->executable().value_or(fs::path()));
        addFile(application, info);
        return known->second;
    }

    /// The nearest bundle around `program`, first above the place that links lead to, then above its own: a
    /// bundle may be a link to a folder of another name.
    std::optional<std::size_t> bundleAround(const fs::path &program) {
        std::optional<std::size_t> bundle;
        for (std::string path : {resolved(program).native(), program.native()}) {
            std::size_t end = 0;
            // Applications within applications end sooner; a path made to keep the search busy does not.
            for (int left = 4; !bundle && left > 0 && (end = path.rfind(".app/")) != path.npos; --left) {
                path.resize(path.find('/', end));
                if (fs::path(path).extension() == ".app")
                    bundle = bundleAt(path);
            }
        }
        return bundle;
    }

    // As the Desktop Entry Specification of freedesktop.org orders them: an entry's identifier is its path
    // below its folder with '-' for each '/'; it replaces all later ones with its identifier, also when it is
    // left out. Each folder is read once, whatever links lead to it.
    void addEntriesIn(const fs::path &folder, const std::string &prefix = {}) {
        if (!m_entryFolders.insert(resolved(folder).native()).second)
            return;
        for (const fs::path &path : m_reader.entriesOf(folder)) {
            const std::string name = path.filename().native();
            std::error_code error;
            if (fs::is_directory(path, error))
                addEntriesIn(path, prefix + name + "-");
            else if (name.ends_with(".desktop") && m_entries.insert(prefix + name).second)
                addEntryAt(path);
        }
    }

    // Unless it is hidden, broken, or names a program to be tried (TryExec) that is not there.
    void addEntryAt(const fs::path &path) {
        const auto bytes = m_reader.read(path);
        if (!bytes)
            return;
        // A zero is UTF-8 too, but would end a path early.
        if (bytes->contains('\0') || !QByteArrayView(*bytes).isValidUtf8())
            return m_reader.note(path, QStringLiteral("not UTF-8 text"));
        const auto entry = platform::parseDesktopEntry(*bytes);
        if (!entry)
            return m_reader.note(path, QStringLiteral("no desktop entry"));
        const QString tried = QString::fromUtf8(entry->tryExec);
        if (entry->hidden || (!tried.isEmpty() && QStandardPaths::findExecutable(tried).isEmpty()) ||
            (!entry->type.isEmpty() && entry->type != "Application"))
            return;
        if (const QString problem = problemOf(*entry); !problem.isEmpty())
            return m_reader.note(path, problem);
        addEntry(path, *entry);
    }

    Application &add(const fs::path &path, const platform::DesktopEntry &entry, const QString &source) {
        Application &application = m_found.emplace_back();
        application.name = QString::fromUtf8(entry.name);
        application.source = source;
        application.entries = {path};
        application.inMenus = !entry.noDisplay;
        return application;
    }

    void addEntry(const fs::path &path, const platform::DesktopEntry &entry) {
        if (isName(entry.flatpak))
            return addSandboxed(path, entry, entry.flatpak, m_flatpak);
        if (isName(entry.snap))
            return addSandboxed(path, entry, entry.snap, m_snap);
        const auto program = platform::findProgram(entry.command.value(0));
        const auto bundle = program ? bundleAround(*program) : std::nullopt;
        if (!bundle)
            return addProgram(path, entry, program);
        Application &application = m_found[*bundle];
        application.inMenus = !entry.noDisplay || (application.inMenus && !application.entries.empty());
        application.entries.push_back(path);
        addFile(application, path);
    }

    void addSandboxed(const fs::path &path, const platform::DesktopEntry &entry, const QByteArray &identifier,
                      Sandbox &sandbox) {
        if (!sandbox.packages)
            sandbox.packages = sandbox.ask(m_reader);
        const Package &package = (*sandbox.packages)[identifier.toStdString()];
        Application &application =
            add(path, entry, QStringLiteral("%1 %2").arg(sandbox.name, QString::fromUtf8(identifier)));
        application.version = package.version;
        application.maintainer = package.maintainer;
        for (const fs::path &folder : sandbox.folders) {
            const fs::path location = folder / identifier.toStdString() / sandbox.version;
            if (application.location.isEmpty() && modificationTime(location))
                describe(application, location, programIn(location, entry));
        }
    }

    void addProgram(const fs::path &path, const platform::DesktopEntry &entry,
                    const std::optional<fs::path> &program) {
        const bool isUsers = isWithin(path, m_home) || (program && isWithin(*program, m_home));
        Application &application =
            add(path, entry, isUsers ? QStringLiteral("User") : QStringLiteral("System"));
        addFile(application, path);
        if (program && modificationTime(*program)) {
            describe(application, *program, *program);
            if (!runsOtherPrograms(*program))
                addFile(application, *program);
        } else if (!entry.command.isEmpty()) {
            application.location =
                QStringLiteral("%1 (not found)").arg(QString::fromUtf8(entry.command.first()));
        }
    }

    // Kind and date are the program's; without one the date is that of the location itself.
    void describe(Application &application, const fs::path &location, const fs::path &program) {
        application.location = platform::displayText(location);
        application.kind = m_reader.kindOf(program);
        const auto modified = modificationTime(program);
        application.modified = modified ? modified : modificationTime(location);
    }

    // A package may list a file by its own path or by the one that links lead to.
    void addFile(Application &application, const fs::path &file) {
        application.files.push_back(file.native());
        application.files.push_back(resolved(file).native());
    }

    // The path with all links followed; the path itself when that fails. It takes a system call for each part
    // of a path, and most files share a few folders.
    fs::path resolved(const fs::path &path) {
        std::error_code error;
        if (fs::is_regular_file(fs::symlink_status(path, error))) {
            const auto [known, isNew] = m_folders.try_emplace(path.parent_path().native());
            if (isNew)
                known->second = resolved(path.parent_path());
            return known->second / path.filename();
        }
        const fs::path result = fs::canonical(path, error);
        return error ? path : result;
    }

    void addPackages() {
        std::set<std::string> files;
        for (const Application &application : m_found)
            files.insert(application.files.begin(), application.files.end());
        const auto packages = packagesOf(files, m_reader, answerLimit);
        for (Application &application : m_found) {
            const auto owned = std::find_if(application.files.begin(), application.files.end(),
                                            [&](const auto &file) { return packages.contains(file); });
            if (owned == application.files.end())
                continue;
            const Package &package = packages.at(*owned);
            application.source = QStringLiteral("Package %1").arg(package.name);
            application.maintainer = package.maintainer;
            if (application.version.isEmpty())
                application.version = package.version;
        }
    }

    Reader &m_reader;
    std::optional<fs::path> m_home = platform::homeFolder();
    // The user's installation counts before the system's.
    Sandbox m_flatpak{
        QStringLiteral("Flatpak"),
        flatpaks,
        {platform::environmentPath("XDG_DATA_HOME").value_or(m_home.value_or("/") / ".local/share") /
             "flatpak/app",
         "/var/lib/flatpak/app"},
        "current/active"};
    Sandbox m_snap{QStringLiteral("Snap"), snaps, {"/snap", "/var/lib/snapd/snap"}, "current"};
    // By the path with all links followed, so that each bundle and each folder of entries counts once.
    std::map<std::string, std::optional<std::size_t>> m_bundles;
    std::unordered_set<std::string> m_entryFolders;
    // The identifiers of the desktop entries.
    std::unordered_set<std::string> m_entries;
    // Where the folders of files are with all links followed.
    std::map<std::string, fs::path> m_folders;
    std::vector<Application> m_found;
};

} // namespace

std::vector<Application> applicationsOfThisMachine(Reader &reader) {
    return Inventory(reader).take();
}

} // namespace system_profiler
