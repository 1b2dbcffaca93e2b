#include "platform/linux/helpers/system_profiler/Places.h"

#include "platform/Account.h"
#include "platform/Applications.h"

#include <algorithm>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

void addOnce(std::vector<fs::path> &folders, const fs::path &folder) {
    fs::path normal = folder.lexically_normal();
    if (std::find(folders.begin(), folders.end(), normal) == folders.end())
        folders.push_back(std::move(normal));
}

// The user's installation follows XDG_DATA_HOME, but one made before that was set stays in its place.
std::vector<fs::path> flatpakInstallations(const std::optional<fs::path> &home) {
    std::vector<fs::path> result;
    if (const auto dataHome = platform::environmentPath("XDG_DATA_HOME"))
        addOnce(result, *dataHome / "flatpak");
    if (home)
        addOnce(result, *home / ".local/share/flatpak");
    addOnce(result, "/var/lib/flatpak");
    return result;
}

} // namespace

Places placesOfThisMachine() {
    Places places;
    const auto roots = platform::applicationRoots();
    places.home = platform::homeFolder();
    places.bundles = roots.bundles;
    places.nestedBundles = roots.nestedBundles;
    places.flatpaks = flatpakInstallations(places.home);
    places.snaps = {"/snap", "/var/lib/snapd/snap"};
    places.snapEntries = "/var/lib/snapd/desktop/applications";
    places.snapAssertions = "/var/lib/snapd/assertions/asserts-v0";
    places.packages = "/var/lib/dpkg";
    for (const fs::path &folder : roots.desktopEntries) {
        addOnce(places.desktopEntries, folder);
        for (const char *kind : {"metainfo", "appdata"})
            addOnce(places.appStream, folder.parent_path() / kind);
    }
    for (const fs::path &installation : places.flatpaks)
        addOnce(places.desktopEntries, installation / "exports/share/applications");
    addOnce(places.desktopEntries, places.snapEntries);
    addOnce(places.appStream, "/usr/share/metainfo");
    addOnce(places.appStream, "/usr/share/appdata");
    return places;
}

} // namespace system_profiler
