#include "platform/linux/helpers/system_profiler/Inventory.h"

#include "platform/linux/helpers/system_profiler/TestMachine.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using Reasons = std::map<std::string, std::string>;

class Inventory : public testing::Test {
protected:
    void write(const fs::path &name, const QByteArray &content) const {
        test_support::writeFile(root() / name, content);
    }
    void writeEntry(const fs::path &name, const std::string &program, const QByteArray &more = {}) const {
        write(name, entryText("A", QByteArray::fromStdString(program), more));
    }
    void writePackage(const std::string &file) const {
        write("dpkg/status", "Package: viewer\nMaintainer: M\nVersion: 1.0-1\n");
        write("dpkg/info/viewer.list", QByteArray::fromStdString(file + "\n"));
    }
    void writeBundle(const fs::path &bundle) const {
        write(bundle / "Contents/Info.plist", infoText("Lumadoc", "26.1"));
        writeProgram(root() / bundle / "Contents/Linux/Program");
    }

    std::vector<Application> all() { return installedApplications(m_machine.places, m_notRead); }
    Application only() {
        auto applications = all();
        EXPECT_EQ(applications.size(), 1U);
        return applications.empty() ? Application() : applications.front();
    }
    Reasons reasons() const { return reasonsBelow(root(), m_notRead); }
    std::string at(const fs::path &name) const { return (root() / name).native(); }
    const fs::path &root() const { return m_machine.root(); }

    TestMachine m_machine;
    NotRead m_notRead;
};

TEST_F(Inventory, OfAnEmptyMachineIsEmpty) {
    EXPECT_TRUE(all().empty());
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(Inventory, TakesPackageVersionAndMaintainerFromTheDatabase) {
    writeProgram(root() / "bin/viewer");
    writeEntry("usr/share/applications/viewer.desktop", at("bin/viewer"));
    writePackage(at("usr/share/applications/viewer.desktop"));
    const Application application = only();
    EXPECT_EQ(application.name, QStringLiteral("A"));
    EXPECT_EQ(application.source, QStringLiteral("Package viewer"));
    EXPECT_EQ(application.version, QStringLiteral("1.0-1"));
    EXPECT_EQ(application.maintainer, QStringLiteral("M"));
    EXPECT_EQ(application.kind, QStringLiteral("64-bit x86-64"));
    EXPECT_EQ(application.location.toStdString(), at("bin/viewer"));
    EXPECT_TRUE(application.modified);
    EXPECT_TRUE(application.inMenus);
}

TEST_F(Inventory, FindsThePackageOfAUsersEntryByItsProgram) {
    writeProgram(root() / "lib/viewer");
    fs::create_symlink("lib/viewer", root() / "viewer");
    writeEntry("home/.local/share/applications/mine.desktop", at("viewer"));
    writePackage(at("lib/viewer"));
    EXPECT_EQ(only().source, QStringLiteral("Package viewer"));
}

TEST_F(Inventory, TakesAnInterpretersPackageForNobodys) {
    writeProgram(root() / "bin/python3.11");
    writeEntry("home/.local/share/applications/mine.desktop", at("bin/python3.11") + " /home/me/x.py");
    writePackage(at("bin/python3.11"));
    const Application application = only();
    EXPECT_EQ(application.source, QStringLiteral("User"));
    EXPECT_EQ(application.version, QString());
}

TEST_F(Inventory, TellsTheUsersApplicationsFromTheSystems) {
    writeProgram(root() / "bin/tool");
    writeProgram(root() / "home/bin/tool");
    writeEntry("usr/share/applications/a.desktop", at("bin/tool"));
    EXPECT_EQ(only().source, QStringLiteral("System"));
    writeEntry("usr/share/applications/a.desktop", at("home/bin/tool"));
    EXPECT_EQ(only().source, QStringLiteral("User"));
    fs::remove(root() / "usr/share/applications/a.desktop");
    writeEntry("home/.local/share/applications/a.desktop", at("bin/tool"));
    EXPECT_EQ(only().source, QStringLiteral("User"));
    m_machine.places.home = root() / "ho";
    EXPECT_EQ(only().source, QStringLiteral("System"));
}

TEST_F(Inventory, AsksAppStreamWhenNobodyElseKnows) {
    writeProgram(root() / "bin/tool");
    writeEntry("usr/share/applications/a.desktop", at("bin/tool"));
    write("usr/share/metainfo/a.xml", "<component><id>a</id><developer_name>D</developer_name>"
                                      "<releases><release version=\"7\"/></releases></component>");
    EXPECT_EQ(only().version, QStringLiteral("7"));
    EXPECT_EQ(only().maintainer, QStringLiteral("D"));
    writePackage(at("bin/tool"));
    EXPECT_EQ(only().version, QStringLiteral("1.0-1"));
    EXPECT_EQ(only().maintainer, QStringLiteral("M"));
}

TEST_F(Inventory, TellsAProgramThatIsGone) {
    const test_support::ScopedEnvironment path("PATH", at("bin"));
    writeEntry("usr/share/applications/a.desktop", at("bin/gone"));
    EXPECT_EQ(only().location.toStdString(), at("bin/gone") + " (not found)");
    writeEntry("usr/share/applications/a.desktop", "gone");
    EXPECT_EQ(only().location, QStringLiteral("gone (not found)"));
    EXPECT_FALSE(only().modified);
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(Inventory, HoldsABundleOnceWithAllEntriesThatStartIt) {
    writeBundle("opt/Brennic/Lumadoc.app");
    const std::string program = at("opt/Brennic/Lumadoc.app/Contents/Linux/Program");
    writeEntry("usr/share/applications/a.desktop", program, "NoDisplay=true\n");
    writeEntry("usr/share/applications/b.desktop", program + " --new", "NoDisplay=true\n");
    const Application application = only();
    EXPECT_EQ(application.name, QStringLiteral("Lumadoc"));
    EXPECT_EQ(application.version, QStringLiteral("26.1"));
    EXPECT_EQ(application.source, QStringLiteral("Application bundle"));
    EXPECT_EQ(application.kind, QStringLiteral("64-bit x86-64"));
    EXPECT_EQ(application.location.toStdString(), at("opt/Brennic/Lumadoc.app"));
    EXPECT_EQ(application.entries, (std::vector<fs::path>{root() / "usr/share/applications/a.desktop",
                                                          root() / "usr/share/applications/b.desktop"}));
    EXPECT_FALSE(application.inMenus);
}

TEST_F(Inventory, ShowsABundleInMenusWhenOneEntryDoesOrNoneStartsIt) {
    writeBundle("opt/Lumadoc.app");
    EXPECT_TRUE(only().inMenus);
    const std::string program = at("opt/Lumadoc.app/Contents/Linux/Program");
    writeEntry("usr/share/applications/a.desktop", program, "NoDisplay=true\n");
    writeEntry("usr/share/applications/b.desktop", program);
    EXPECT_TRUE(only().inMenus);
}

TEST_F(Inventory, HoldsBundlesThatOnlyAnEntryLeadsTo) {
    writeBundle("elsewhere/Lumadoc.app");
    writeEntry("usr/share/applications/a.desktop", at("elsewhere/Lumadoc.app/Contents/Linux/Program"));
    EXPECT_EQ(only().location.toStdString(), at("elsewhere/Lumadoc.app"));
}

TEST_F(Inventory, GivesABundleItsPackageButItsOwnVersion) {
    writeBundle("opt/Lumadoc.app");
    writePackage(at("opt/Lumadoc.app/Contents/Info.plist"));
    EXPECT_EQ(only().source, QStringLiteral("Package viewer"));
    EXPECT_EQ(only().version, QStringLiteral("26.1"));
    EXPECT_EQ(only().maintainer, QStringLiteral("M"));
}

TEST_F(Inventory, HoldsSandboxedApplicationsWithTheirOwnVersions) {
    const fs::path active = "var/lib/flatpak/app/org.x.Y/current/active";
    writeProgram(root() / active / "files/bin/y", "#!/usr/bin/python3\n");
    write(active / "files/share/metainfo/org.x.Y.metainfo.xml",
          "<component><id>org.x.Y</id><releases><release version=\"3\"/></releases></component>");
    writeEntry("var/lib/flatpak/exports/share/applications/org.x.Y.desktop",
               "flatpak run --command=y org.x.Y");
    writePackage(at("var/lib/flatpak/exports/share/applications/org.x.Y.desktop"));
    const Application flatpak = only();
    EXPECT_EQ(flatpak.source, QStringLiteral("Flatpak org.x.Y"));
    EXPECT_EQ(flatpak.version, QStringLiteral("3"));
    EXPECT_EQ(flatpak.kind, QStringLiteral("Script (/usr/bin/python3)"));
    EXPECT_EQ(flatpak.location.toStdString(), at(active));

    fs::remove_all(root() / "var");
    write("snap/viewer/current/meta/snap.yaml", "version: 4\napps:\n  main:\n    command: bin/v\n");
    writeProgram(root() / "snap/viewer/current/bin/v");
    writeEntry("snapd/applications/viewer_main.desktop", "/snap/bin/viewer.main");
    const Application snap = only();
    EXPECT_EQ(snap.source, QStringLiteral("Snap viewer"));
    EXPECT_EQ(snap.version, QStringLiteral("4"));
    EXPECT_EQ(snap.kind, QStringLiteral("64-bit x86-64"));
    EXPECT_EQ(snap.location.toStdString(), at("snap/viewer/current"));
}

TEST_F(Inventory, NotesABrokenExecutableAndKeepsTheApplication) {
    writeProgram(root() / "bin/short", elfHeader().left(20));
    writeEntry("usr/share/applications/a.desktop", at("bin/short"));
    EXPECT_EQ(only().kind, QString());
    EXPECT_EQ(reasons(), (Reasons{{"bin/short", "the ELF header breaks off"}}));
}

} // namespace

} // namespace system_profiler
