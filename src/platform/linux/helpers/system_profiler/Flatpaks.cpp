#include "platform/linux/helpers/system_profiler/Flatpaks.h"

#include "platform/posix/FileSystem.h"

#include <algorithm>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

// What the entry says of itself becomes part of paths.
bool isIdentifier(std::string_view text) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
               c == '-' || c == '_';
    };
    return !text.empty() && text.front() != '.' && std::all_of(text.begin(), text.end(), allowed);
}

fs::path exportsOf(const fs::path &installation) {
    return installation / "exports/share/applications";
}

std::string identifierOf(const InstalledEntry &entry, const std::vector<fs::path> &installations) {
    if (std::string name = entry.entry.flatpak.toStdString(); isIdentifier(name))
        return name;
    const auto exports = [&](const fs::path &installation) {
        return entry.path.parent_path() == exportsOf(installation);
    };
    const std::string stem = entry.path.stem().native();
    return std::any_of(installations.begin(), installations.end(), exports) && isIdentifier(stem) ? stem : "";
}

bool isThere(const fs::path &path) {
    std::error_code error;
    return fs::exists(path, error);
}

// An entry that an installation exports starts that installation's copy; any other entry the first there is.
fs::path locationOf(const std::string &identifier, const InstalledEntry &entry,
                    std::vector<fs::path> installations) {
    std::stable_partition(installations.begin(), installations.end(), [&](const fs::path &installation) {
        return entry.path.parent_path() == exportsOf(installation);
    });
    for (const fs::path &installation : installations) {
        fs::path folder = installation / "app" / identifier;
        if (fs::path active = folder / "current/active"; isThere(active))
            return active;
        if (isThere(folder))
            return folder;
    }
    return {};
}

fs::path programOf(const platform::DesktopEntry &entry, const fs::path &location) {
    constexpr std::string_view option = "--command=";
    for (const QByteArray &argument : entry.command) {
        const std::string text = argument.toStdString();
        const fs::path name = text.starts_with(option) ? fs::path(text.substr(option.size())).filename() : "";
        if (!name.empty())
            return location / "files/bin" / name;
    }
    return {};
}

std::optional<Component> componentOf(const std::string &identifier, const fs::path &location,
                                     NotRead &notRead, AppStreamBudget &budget) {
    for (const char *folder : {"files/share/metainfo", "files/share/appdata", "export/share/metainfo"}) {
        for (const char *suffix : {".metainfo.xml", ".appdata.xml"}) {
            const fs::path file = location / folder / (identifier + suffix);
            if (!isThere(file))
                continue;
            if (auto component = readComponent(file, notRead, budget))
                return component;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<Flatpak> flatpakOf(const InstalledEntry &entry, const std::vector<fs::path> &installations,
                                 NotRead &notRead, AppStreamBudget &budget) {
    const std::string identifier = identifierOf(entry, installations);
    if (identifier.empty())
        return std::nullopt;
    Flatpak result;
    result.identifier = QString::fromStdString(identifier);
    result.location = locationOf(identifier, entry, installations);
    if (result.location.empty())
        return result;
    result.program = programOf(entry.entry, result.location);
    result.component = componentOf(identifier, result.location, notRead, budget);
    return result;
}

} // namespace system_profiler
