#include "platform/Account.h"
#include "platform/Bundle.h"
#include "platform/linux/ApplicationRoots.h"
#include "platform/linux/DesktopEntry.h"
#include "platform/linux/helpers/system_profiler/PackageManagers.h"
#include "platform/linux/helpers/system_profiler/Report.h"
#include "platform/posix/Text.h"

#include <QRegularExpression>
#include <QStandardPaths>
#include <algorithm>
#include <unordered_set>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

bool isWithin(const fs::path &path, const std::optional<fs::path> &folder) {
    return folder && folder->has_relative_path() && path.native().starts_with((*folder / "").native());
}

// Programs that run what their arguments name: whoever installed one did not install the application.
bool runsOtherPrograms(const fs::path &program) {
    static const QRegularExpression names(QStringLiteral(
        "^((|ba|da)sh|python.*|perl|ruby|java|node|gjs|wine|xdg-open|sudo|pkexec|flatpak|snap)$"));
    return names.match(platform::displayText(program.filename())).hasMatch();
}

// What an entry says of itself becomes part of paths.
bool isName(const QByteArray &text) {
    return !text.isEmpty() && !text.startsWith('.') && !text.contains('/');
}

// The program that a Flatpak application's entry names.
fs::path programIn(const fs::path &location, const QByteArrayList &command) {
    constexpr QByteArrayView option = "--command=";
    for (const QByteArray &argument : command) {
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
                addBundleAt(path);
            else if (depth > 0)
                addBundlesIn(path, depth - 1);
        }
    }

    void addBundleAt(const fs::path &path) {
        const fs::path info = path / "Contents/Info.plist";
        std::error_code error;
        if (const auto bundle = platform::Bundle::at(path))
            applicationOf(*bundle);
        else if (fs::exists(info, error) || error)
            m_reader.note(info, QStringLiteral("no property list with keys"));
    }

    /// The application that a bundle is; it is added when it is new.
    Application &applicationOf(const platform::Bundle &bundle) {
        const auto [known, isNew] = m_bundles.try_emplace(resolved(bundle.path()), m_found.size());
        if (!isNew)
            return m_found[known->second];
        Application &application = m_found.emplace_back();
        application.name =
            bundle.text("CFBundleDisplayName")
                .value_or(bundle.text("CFBundleName").value_or(platform::displayText(bundle.path().stem())));
        application.version =
            bundle.shortVersion().value_or(bundle.text("CFBundleVersion").value_or(QString()));
        application.source = QStringLiteral("Application bundle");
        describe(application, bundle.path(), bundle.executable().value_or(fs::path()));
        addFile(application, bundle.path() / "Contents/Info.plist");
        return application;
    }

    // As the Desktop Entry Specification of freedesktop.org orders them: an entry's identifier is its path
    // below its folder with '-' for each '/'; it replaces all later ones with its identifier, also when it is
    // left out. Each folder is read once, whatever links lead to it.
    void addEntriesIn(const fs::path &folder, const std::string &prefix = {}) {
        if (!m_entryFolders.insert(resolved(folder)).second)
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
        const platform::DesktopEntry entry = platform::parseDesktopEntry(*bytes);
        const QByteArray type = entry.value("Type");
        const QString tried = QString::fromUtf8(entry.value("TryExec"));
        if (entry.value("Hidden") == "true" || (!type.isEmpty() && type != "Application") ||
            (!tried.isEmpty() && QStandardPaths::findExecutable(tried).isEmpty()))
            return;
        const QString name = QString::fromUtf8(entry.value("Name"));
        const QByteArrayList command = platform::commandOf(entry);
        const bool isStarted = !command.isEmpty() || entry.value("DBusActivatable") == "true";
        if (type.isEmpty() || name.trimmed().isEmpty() || !isStarted)
            return m_reader.note(path, QStringLiteral("no desktop entry with a type, a name and a program"));
        Application application;
        application.name = name;
        application.entries = {path};
        application.inMenus = entry.value("NoDisplay") != "true";
        if (isName(entry.value("X-Flatpak")))
            addSandboxed(std::move(application), command, entry.value("X-Flatpak"), m_flatpak);
        else if (isName(entry.value("X-SnapInstanceName")))
            addSandboxed(std::move(application), command, entry.value("X-SnapInstanceName"), m_snap);
        else
            addProgram(std::move(application), path, command.value(0));
    }

    void addSandboxed(Application application, const QByteArrayList &command, const QByteArray &identifier,
                      Sandbox &sandbox) {
        if (!sandbox.packages)
            sandbox.packages = sandbox.ask(m_reader);
        const Package &package = (*sandbox.packages)[identifier.toStdString()];
        application.source = QStringLiteral("%1 %2").arg(sandbox.name, QString::fromUtf8(identifier));
        application.version = package.version;
        application.maintainer = package.maintainer;
        for (const fs::path &folder : sandbox.folders) {
            const fs::path location = folder / identifier.toStdString() / sandbox.version;
            if (application.location.isEmpty() && modificationTime(location).isValid())
                describe(application, location, programIn(location, command));
        }
        m_found.push_back(std::move(application));
    }

    // Or gives the entry to the bundle that its program is in.
    void addProgram(Application application, const fs::path &entry, const QByteArray &name) {
        const fs::path program = platform::findProgram(name).value_or(fs::path());
        addFile(application, entry);
        if (modificationTime(program).isValid()) {
            // A bundle may be a link to a folder of another name.
            auto bundle = platform::Bundle::around(resolved(program));
            if (!bundle)
                bundle = platform::Bundle::around(program);
            if (bundle) {
                Application &whole = applicationOf(*bundle);
                whole.inMenus = application.inMenus || (whole.inMenus && !whole.entries.empty());
                whole.entries.push_back(entry);
                addFile(whole, entry);
                return;
            }
            describe(application, program, program);
            if (!runsOtherPrograms(program))
                addFile(application, program);
        } else if (!name.isEmpty()) {
            application.location = QStringLiteral("%1 (not found)").arg(QString::fromUtf8(name));
        }
        const bool isUsers = isWithin(entry, m_home) || isWithin(program, m_home);
        application.source = isUsers ? QStringLiteral("User") : QStringLiteral("System");
        m_found.push_back(std::move(application));
    }

    // Kind and date are the program's; without one the date is that of the location itself.
    void describe(Application &application, const fs::path &location, const fs::path &program) {
        application.location = platform::displayText(location);
        application.kind = m_reader.kindOf(program);
        const QDateTime modified = modificationTime(program);
        application.modified = modified.isValid() ? modified : modificationTime(location);
    }

    // A package may list a file by its own path or by the one that links lead to.
    static void addFile(Application &application, const fs::path &file) {
        application.files.push_back(file);
        application.files.push_back(resolved(file));
    }

    // The path with all links followed; the path itself when that fails.
    static fs::path resolved(const fs::path &path) {
        std::error_code error;
        const fs::path result = fs::canonical(path, error);
        return error ? path : result;
    }

    void addPackages() {
        std::set<std::string> files;
        for (const Application &application : m_found)
            files.insert(application.files.begin(), application.files.end());
        Packages packages = packagesOf(files, m_reader, answerLimit);
        for (Application &application : m_found) {
            const auto owned = std::find_if(application.files.begin(), application.files.end(),
                                            [&](const auto &file) { return packages.contains(file); });
            if (owned == application.files.end())
                continue;
            const Package &package = packages[*owned];
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
    std::map<fs::path, std::size_t> m_bundles;
    std::set<fs::path> m_entryFolders;
    // The identifiers of the desktop entries.
    std::unordered_set<std::string> m_entries;
    std::vector<Application> m_found;
};

} // namespace

std::vector<Application> applicationsOfThisMachine(Reader &reader) {
    return Inventory(reader).take();
}

} // namespace system_profiler
