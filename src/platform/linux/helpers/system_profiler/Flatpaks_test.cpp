#include "platform/linux/helpers/system_profiler/Flatpaks.h"

#include "platform/linux/helpers/system_profiler/TestMachine.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

constexpr auto metainfo = "<component><id>org.x.Y</id><developer_name>X</developer_name>"
                          "<releases><release version=\"3.1\"/></releases></component>";

class Flatpaks : public testing::Test {
protected:
    std::optional<Flatpak> flatpakAt(const fs::path &path, const QByteArray &mark = {}) {
        InstalledEntry entry;
        entry.path = path;
        entry.entry.flatpak = mark;
        entry.entry.command = {"/usr/bin/flatpak", "run", "--command=/app/bin/y", "--file-forwarding",
                               "org.x.Y"};
        AppStreamBudget budget;
        return flatpakOf(entry, m_machine.places.flatpaks, m_notRead, budget);
    }
    fs::path userInstallation() const { return m_machine.home() / ".local/share/flatpak"; }
    void install(const fs::path &installation) const {
        fs::create_directories(installation / "app/org.x.Y/current/active");
    }

    TestMachine m_machine;
    NotRead m_notRead;
};

TEST_F(Flatpaks, AreToldByWhereTheirEntryStands) {
    const auto flatpak = flatpakAt(m_machine.flatpak() / "exports/share/applications/org.x.Y.desktop");
    ASSERT_TRUE(flatpak);
    EXPECT_EQ(flatpak->identifier, QStringLiteral("org.x.Y"));
    EXPECT_EQ(flatpak->location, fs::path());
    EXPECT_FALSE(flatpakAt(m_machine.systemEntries() / "org.x.Y.desktop"));
}

TEST_F(Flatpaks, AreToldByTheMarkInTheirEntry) {
    const auto flatpak = flatpakAt(m_machine.userEntries() / "copy.desktop", "org.x.Y");
    ASSERT_TRUE(flatpak);
    EXPECT_EQ(flatpak->identifier, QStringLiteral("org.x.Y"));
    for (const char *mark : {"../../etc", "..", "/etc", "a b", ".hidden"})
        EXPECT_FALSE(flatpakAt(m_machine.userEntries() / "copy.desktop", mark)) << mark;
}

TEST_F(Flatpaks, AreDescribedFromTheirInstallation) {
    install(m_machine.flatpak());
    const fs::path active = m_machine.flatpak() / "app/org.x.Y/current/active";
    test_support::writeFile(active / "files/share/appdata/org.x.Y.appdata.xml", metainfo);
    const auto flatpak = flatpakAt(m_machine.flatpak() / "exports/share/applications/org.x.Y.desktop");
    EXPECT_EQ(flatpak->location, active);
    EXPECT_EQ(flatpak->program, active / "files/bin/y");
    ASSERT_TRUE(flatpak->component);
    EXPECT_EQ(flatpak->component->version, QStringLiteral("3.1"));
    EXPECT_EQ(flatpak->component->developer, QStringLiteral("X"));
}

TEST_F(Flatpaks, ThatTwoInstallationsHoldAreThatOfTheEntry) {
    install(m_machine.flatpak());
    install(userInstallation());
    EXPECT_EQ(flatpakAt(m_machine.flatpak() / "exports/share/applications/org.x.Y.desktop")->location,
              m_machine.flatpak() / "app/org.x.Y/current/active");
    EXPECT_EQ(flatpakAt(m_machine.userEntries() / "copy.desktop", "org.x.Y")->location,
              userInstallation() / "app/org.x.Y/current/active");
}

TEST_F(Flatpaks, WithoutAnActiveVersionHaveTheirFolder) {
    fs::create_directories(m_machine.flatpak() / "app/org.x.Y");
    EXPECT_EQ(flatpakAt(m_machine.userEntries() / "copy.desktop", "org.x.Y")->location,
              m_machine.flatpak() / "app/org.x.Y");
}

TEST_F(Flatpaks, WithABrokenComponentAreNoted) {
    install(m_machine.flatpak());
    const fs::path file =
        m_machine.flatpak() / "app/org.x.Y/current/active/files/share/metainfo/org.x.Y.metainfo.xml";
    test_support::writeFile(file, "<component>");
    EXPECT_FALSE(flatpakAt(m_machine.userEntries() / "copy.desktop", "org.x.Y")->component);
    EXPECT_EQ(m_notRead.reasons().at(file), QStringLiteral("not well-formed XML in line 1"));
}

} // namespace

} // namespace system_profiler
