#include "platform/linux/helpers/system_profiler/Inventory.h"

#include "platform/linux/helpers/system_profiler/AppStream.h"
#include "platform/linux/helpers/system_profiler/Bundles.h"
#include "platform/linux/helpers/system_profiler/DesktopEntries.h"
#include "platform/linux/helpers/system_profiler/Executables.h"
#include "platform/linux/helpers/system_profiler/Flatpaks.h"
#include "platform/linux/helpers/system_profiler/Folders.h"
#include "platform/linux/helpers/system_profiler/PackageDatabase.h"
#include "platform/linux/helpers/system_profiler/Snaps.h"
#include "platform/posix/Text.h"

#include <algorithm>
#include <array>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

// An application, and what remains to be looked up for it.
struct Candidate {
    Application application;
    /// Files that tell its package, the most telling first; none for one that no package can have brought.
    std::vector<fs::path> files;
    /// Identifiers of the entries that start it.
    std::vector<std::string> identifiers;
};

bool isWithin(const fs::path &path, const std::optional<fs::path> &folder) {
    if (!folder || !folder->has_relative_path())
        return false;
    const auto [inFolder, inPath] = std::mismatch(folder->begin(), folder->end(), path.begin(), path.end());
    // The last part is empty for a folder that is written with a slash at its end.
    return inFolder == folder->end() || inFolder->empty();
}

// Programs that run what their arguments name: whoever brought them did not bring the application.
bool runsOtherPrograms(const fs::path &program) {
    static constexpr std::array names = {"sh",   "bash",     "dash", "perl", "ruby",   "java",    "node",
                                         "wine", "xdg-open", "sudo", "gjs",  "pkexec", "flatpak", "snap"};
    const std::string name = program.filename().native();
    return name.starts_with("python") || std::find(names.begin(), names.end(), name) != names.end();
}

class Inventory {
public:
    Inventory(const Places &places, NotRead &notRead)
        : m_places(places)
        , m_notRead(notRead)
        , m_bundles(notRead) {}

    std::vector<Application> take() {
        m_bundles.addInstalled(m_places);
        for (const InstalledEntry &entry : installedEntries(m_places.desktopEntries, m_notRead))
            addEntry(entry);
        for (const auto &[key, bundle] : m_bundles.all())
            addBundle(bundle, m_bundleEntries[key]);
        addPackages();
        addComponents();
        std::vector<Application> result;
        result.reserve(m_candidates.size());
        for (Candidate &candidate : m_candidates)
            result.push_back(std::move(candidate.application));
        return result;
    }

private:
    void addEntry(const InstalledEntry &entry) {
        if (const auto flatpak = flatpakOf(entry, m_places.flatpaks, m_notRead, m_budget))
            return addFlatpak(entry, *flatpak);
        if (const auto snap = snapOf(entry, m_places, m_notRead))
            return addSnap(entry, *snap);
        const auto program = platform::findProgram(entry.entry.command.value(0));
        const std::string bundle = program ? m_bundles.addAround(*program) : std::string();
        if (bundle.empty())
            addProgram(entry, program);
        else
            m_bundleEntries[bundle].push_back(entry);
    }

    static Candidate candidateFor(const InstalledEntry &entry) {
        Candidate candidate;
        candidate.application.name = QString::fromUtf8(entry.entry.name);
        candidate.application.entries = {entry.path};
        candidate.application.inMenus = !entry.entry.noDisplay;
        candidate.identifiers = {entry.identifier};
        return candidate;
    }

    void addFlatpak(const InstalledEntry &entry, const Flatpak &flatpak) {
        Candidate candidate = candidateFor(entry);
        Application &application = candidate.application;
        application.source = QStringLiteral("Flatpak %1").arg(flatpak.identifier);
        if (flatpak.component) {
            application.version = flatpak.component->version;
            application.maintainer = flatpak.component->developer;
        }
        describe(application, flatpak.location, flatpak.program);
        m_candidates.push_back(std::move(candidate));
    }

    void addSnap(const InstalledEntry &entry, const Snap &snap) {
        Candidate candidate = candidateFor(entry);
        Application &application = candidate.application;
        application.source = QStringLiteral("Snap %1").arg(snap.name);
        application.version = snap.version;
        application.maintainer = snap.publisher;
        describe(application, snap.location, snap.program);
        m_candidates.push_back(std::move(candidate));
    }

    void addProgram(const InstalledEntry &entry, const std::optional<fs::path> &program) {
        Candidate candidate = candidateFor(entry);
        Application &application = candidate.application;
        const bool isUsers =
            isWithin(entry.path, m_places.home) || (program && isWithin(*program, m_places.home));
        application.source = isUsers ? QStringLiteral("User") : QStringLiteral("System");
        candidate.files = {entry.path};
        std::error_code error;
        if (program && fs::exists(*program, error)) {
            describe(application, *program, *program);
            if (!runsOtherPrograms(*program))
                candidate.files.push_back(*program);
        } else if (!entry.entry.command.isEmpty()) {
            application.location =
                QStringLiteral("%1 (not found)").arg(QString::fromUtf8(entry.entry.command.first()));
        }
        m_candidates.push_back(std::move(candidate));
    }

    void addBundle(const platform::Bundle &bundle, const std::vector<InstalledEntry> &entries) {
        Candidate candidate;
        Application &application = candidate.application;
        application.name = nameOf(bundle);
        application.version = versionOf(bundle);
        application.source = QStringLiteral("Application bundle");
        describe(application, bundle.path(), bundle.executable().value_or(fs::path()));
        candidate.files = {bundle.path() / "Contents/Info.plist"};
        application.inMenus = entries.empty();
        for (const InstalledEntry &entry : entries) {
            application.inMenus = application.inMenus || !entry.entry.noDisplay;
            application.entries.push_back(entry.path);
            candidate.files.push_back(entry.path);
            candidate.identifiers.push_back(entry.identifier);
        }
        m_candidates.push_back(std::move(candidate));
    }

    // Kind and date are the executable's; without one the date is that of the place itself.
    void describe(Application &application, const fs::path &location, const fs::path &executable) {
        application.location = platform::displayText(location);
        if (!executable.empty()) {
            const Executable found = describeExecutable(executable);
            application.kind = found.kind;
            application.modified = found.modified;
            if (found.error && !isAbsence(found.error))
                m_notRead.add(executable, found.error);
            else if (!found.problem.isEmpty())
                m_notRead.add(executable, found.problem);
        }
        if (!application.modified && !location.empty())
            application.modified = modificationTime(location);
    }

    // The names under which a package may list a file: as it is called, where its links lead, and for both
    // the one that it had before the folders of / became links into /usr.
    static std::vector<std::string> listedNames(const fs::path &file) {
        std::vector<std::string> names = {file.native(), resolved(file).native()};
        for (const std::size_t i : {0U, 1U}) {
            for (const char *folder : {"/usr/bin/", "/usr/sbin/", "/usr/lib/"}) {
                if (names[i].starts_with(folder))
                    names.push_back(names[i].substr(4));
            }
        }
        return names;
    }

    void addPackages() {
        std::vector<std::vector<std::string>> namesOfCandidates;
        std::unordered_set<std::string> wanted;
        for (const Candidate &candidate : m_candidates) {
            auto &names = namesOfCandidates.emplace_back();
            for (const fs::path &file : candidate.files) {
                for (std::string &name : listedNames(file))
                    names.push_back(std::move(name));
            }
            wanted.insert(names.begin(), names.end());
        }
        const auto packages = packagesOf(wanted, m_places.packages, m_notRead);
        for (std::size_t i = 0; i < m_candidates.size(); ++i) {
            for (const std::string &name : namesOfCandidates[i]) {
                const auto package = packages.find(name);
                if (package == packages.end())
                    continue;
                addPackage(m_candidates[i].application, package->second);
                break;
            }
        }
    }

    static void addPackage(Application &application, const Package &package) {
        application.source = QStringLiteral("Package %1").arg(package.name);
        application.maintainer = package.maintainer;
        if (application.version.isEmpty())
            application.version = package.version;
    }

    void addComponents() {
        const auto components = componentsIn(m_places.appStream, m_notRead, m_budget);
        for (auto &[application, files, identifiers] : m_candidates) {
            for (const std::string &identifier : identifiers) {
                const auto component = components.find(identifier);
                if (component == components.end())
                    continue;
                if (application.version.isEmpty())
                    application.version = component->second.version;
                if (application.maintainer.isEmpty())
                    application.maintainer = component->second.developer;
            }
        }
    }

    const Places &m_places;
    NotRead &m_notRead;
    AppStreamBudget m_budget;
    Bundles m_bundles;
    std::map<std::string, std::vector<InstalledEntry>> m_bundleEntries;
    std::vector<Candidate> m_candidates;
};

} // namespace

std::vector<Application> installedApplications(const Places &places, NotRead &notRead) {
    return Inventory(places, notRead).take();
}

} // namespace system_profiler
