#include "platform/linux/helpers/system_profiler/Places.h"

#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using Folders = std::vector<fs::path>;
using test_support::ScopedEnvironment;

TEST(Places, AreThoseOfTheStandardsWithoutVariables) {
    const test_support::ScratchHome home;
    const Places places = placesOfThisMachine();
    EXPECT_EQ(
        places.desktopEntries,
        (Folders{home.path() / ".local/share/applications", "/usr/local/share/applications",
                 "/usr/share/applications", home.path() / ".local/share/flatpak/exports/share/applications",
                 "/var/lib/flatpak/exports/share/applications", "/var/lib/snapd/desktop/applications"}));
    EXPECT_EQ(places.appStream,
              (Folders{home.path() / ".local/share/metainfo", home.path() / ".local/share/appdata",
                       "/usr/local/share/metainfo", "/usr/local/share/appdata", "/usr/share/metainfo",
                       "/usr/share/appdata"}));
    EXPECT_EQ(places.bundles, (Folders{home.path() / "Applications", "/Applications"}));
    EXPECT_EQ(places.nestedBundles, (Folders{"/opt"}));
    EXPECT_EQ(places.flatpaks, (Folders{home.path() / ".local/share/flatpak", "/var/lib/flatpak"}));
    EXPECT_EQ(places.snaps, (Folders{"/snap", "/var/lib/snapd/snap"}));
    EXPECT_EQ(places.packages, fs::path("/var/lib/dpkg"));
    EXPECT_EQ(places.home, home.path());
}

TEST(Places, FollowTheVariablesAndHoldEachFolderOnce) {
    const test_support::ScratchHome home;
    const ScopedEnvironment data("XDG_DATA_HOME", "/data/user");
    const ScopedEnvironment folders("XDG_DATA_DIRS",
                                    "/data/a:/var/lib/flatpak/exports/share/:relative:/data/a/");
    const Places places = placesOfThisMachine();
    EXPECT_EQ(places.desktopEntries, (Folders{"/data/user/applications", "/data/a/applications",
                                              "/var/lib/flatpak/exports/share/applications",
                                              "/data/user/flatpak/exports/share/applications",
                                              home.path() / ".local/share/flatpak/exports/share/applications",
                                              "/var/lib/snapd/desktop/applications"}));
    EXPECT_EQ(places.appStream.front(), fs::path("/data/user/metainfo"));
    EXPECT_EQ(places.appStream.back(), fs::path("/usr/share/appdata"));
}

} // namespace

} // namespace system_profiler
