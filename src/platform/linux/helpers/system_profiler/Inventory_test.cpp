#include "platform/linux/helpers/system_profiler/Report.h"

#include "test_support/Isolation.h"
#include "test_support/StandIns.h"
#include "test_support/TestMachine.h"

#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using namespace test_support;

using Lines = std::vector<std::string>;

// A machine with a home, a system folder, and nothing in the folders that no variable moves.
class Inventory : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(hasOwnNamespaces()) << "this test mounts file systems of its own";
        for (const char *folder : {"/opt", "/var/lib"})
            m_mounts.emplace_back(new Mount(Mount::memory(folder, std::uint64_t{8} << 20)));
    }

    std::string home(const std::string &name) const { return m_home.path() / name; }
    std::string system(const std::string &name) const { return m_system.path() / name; }
    // The user's entry of this name, which counts before the system's.
    std::string user(const std::string &name) const { return home(".local/share/applications/" + name); }

    /// Writes the system's first entry, or the one at `path`.
    void writeEntry(const std::string &program, const QByteArray &more = {},
                    const std::string &path = {}) const {
        writeFile(path.empty() ? system("applications/a.desktop") : path,
                  entryText("A", QByteArray::fromStdString(program), more));
    }
    std::string writeBundle(const std::string &bundle) const {
        writeFile(bundle + "/Contents/Info.plist",
                  infoText({{"CFBundleVersion", "26.1"}, {"CFBundleExecutable", "P"}}));
        writeProgram(bundle + "/Contents/Linux/P");
        return bundle;
    }

    std::vector<Application> all() {
        m_reader = Reader();
        return applicationsOfThisMachine(m_reader);
    }
    Application only() {
        auto applications = all();
        EXPECT_EQ(applications.size(), 1U);
        return applications.empty() ? Application() : applications.front();
    }
    std::string source() { return only().source.toStdString(); }
    std::string location() { return only().location.toStdString(); }

    /// The applications' entries below their folders, and "name: reason" for what was not read.
    Lines entries() {
        Lines result;
        for (const Application &application : all()) {
            const std::string entry = application.entries.at(0);
            result.push_back(entry.substr(entry.find("/applications/") + 14));
        }
        for (const auto &[file, reason] : m_reader.notRead())
            result.push_back(fs::path(file).filename().native() + ": " + reason.toStdString());
        return result;
    }

    ScratchHome m_home;
    ScratchFolder m_system;
    ScopedEnvironment m_dataFolders{"XDG_DATA_DIRS", m_system.path().native()};
    PackageDatabase m_packages{m_system.path() / "dpkg"};
    Reader m_reader;

private:
    std::vector<std::unique_ptr<Mount>> m_mounts;
};

TEST_F(Inventory, AnEntryReplacesLaterOnesWithItsIdentifierHoweverItIsLeftOut) {
    writeEntry("/bin/x", {}, user("kde-a.desktop"));
    writeEntry("/bin/x", "TryExec=/nowhere\n", user("gone.desktop"));
    writeEntry("/bin/x", "Hidden=true\n", user("hidden.desktop"));
    writeFile(user("broken.desktop"), "rubbish");
    writeFile(user("readme.txt"), "no entry");
    for (const char *name : {"b", "kde/deep/c", "kde/a", "gone", "hidden", "broken"})
        writeEntry("/bin/x", {}, system("applications/") + name + ".desktop");
    EXPECT_EQ(entries(), (Lines{"kde-a.desktop", "b.desktop", "kde/deep/c.desktop",
                                "broken.desktop: no desktop entry with a type, a name and a program"}));
}

TEST_F(Inventory, ReadsEntriesThroughLinksToFoldersButOnce) {
    writeEntry("/bin/x", {}, home("elsewhere/a.desktop"));
    writeEntry("/bin/x", {}, system("applications/b.desktop"));
    fs::create_directories(user(""));
    for (const std::string &link :
         {user("linked"), user("linked-too"), home("elsewhere/back"), system("applications/self")})
        fs::create_directory_symlink(home("elsewhere"), link);
    EXPECT_EQ(entries(), (Lines{"linked/a.desktop", "b.desktop"}));
}

TEST_F(Inventory, OffersOnlyWhatCanBeStarted) {
    writeFile(user("link.desktop"), "[Desktop Entry]\nType=Link\nName=A\nURL=http://x.example\n");
    writeFile(user("message.desktop"), "[Desktop Entry]\nType=Application\nName=A\nDBusActivatable=true\n");
    writeProgram(home("bin/there"));
    writeFile(home("bin/data"), "");
    fs::create_directories(home("bin/folder"));
    const ScopedEnvironment search("PATH", home("bin"));
    for (const std::string name : {"there", "data", "folder", "gone"}) {
        for (const auto &[form, program] : {std::pair("path-", name), {"whole-", home("bin/" + name)}})
            writeEntry("/bin/x", QByteArray("TryExec=") + program.c_str() + "\n",
                       user(form + name + ".desktop"));
    }
    EXPECT_EQ(entries(), (Lines{"message.desktop", "path-there.desktop", "whole-there.desktop"}));
}

TEST_F(Inventory, NotesBrokenEntries) {
    const QByteArray begin = "[Desktop Entry]\n";
    writeFile(user("no-name.desktop"), begin + "Type=Application\nName= \nExec=/bin/x\n");
    writeFile(user("no-program.desktop"), begin + "Type=Application\nName=A\n");
    writeFile(user("no-type.desktop"), begin + "Name=A\nExec=/bin/x\n");
    fs::create_symlink("/dev/zero", user("zzz.desktop"));
    const std::string reason = ": no desktop entry with a type, a name and a program";
    EXPECT_EQ(entries(), (Lines{"no-name.desktop" + reason, "no-program.desktop" + reason,
                                "no-type.desktop" + reason, "zzz.desktop: not a regular file"}));
}

TEST_F(Inventory, ListsEntriesWithBytesThatAreNoText) {
    writeFile(user("a.desktop"), entryText("Caf\xe9", QByteArray("/bin/x\0y", 8)));
    writeFile(user("b.desktop"), entryText("A", QByteArray("/a.app").repeated(50'000)));
    EXPECT_EQ(entries(), (Lines{"a.desktop", "b.desktop"}));
}

TEST_F(Inventory, TellsWhereAnApplicationComesFrom) {
    for (const std::string &program :
         {system("tool"), system("packaged"), system("python3.11"), home("tool")})
        writeProgram(program);
    fs::create_symlink("packaged", system("link"));
    m_packages.add("viewer", "1", "M", system("packaged") + "\n" + system("python3.11"));
    writeEntry(system("tool"));
    EXPECT_EQ(source(), "System");
    m_packages.add("entry", "1", "M", system("applications/a.desktop"));
    EXPECT_EQ(source(), "Package entry");
    fs::remove_all(system("applications"));
    const std::string entry = user("a.desktop");
    for (const auto &[program, expected] : std::map<std::string, std::string>{
             {system("tool"), "User"}, {system("link"), "Package viewer"}, {system("python3.11"), "User"}}) {
        writeEntry(program, {}, entry);
        EXPECT_EQ(source(), expected) << program;
    }
    fs::remove(entry);
    writeEntry(home("tool"), {}, system("applications/b.desktop"));
    EXPECT_EQ(source(), "User");
    const ScopedEnvironment beginning("HOME",
                                      m_home.path().native().substr(0, m_home.path().native().size() - 1));
    EXPECT_EQ(source(), "System");
}

TEST_F(Inventory, TellsAProgramThatIsGone) {
    const ScopedEnvironment path("PATH", system("bin"));
    for (const std::string &program : {system("bin/gone"), std::string("gone")}) {
        writeEntry(program);
        EXPECT_EQ(location(), program + " (not found)");
        EXPECT_FALSE(only().modified.isValid() || !m_reader.notRead().empty());
    }
}

TEST_F(Inventory, HoldsEachBundleOnceInItsFoldersOrWhereEntriesLead) {
    std::multiset<std::string> expected;
    for (const std::string &bundle :
         {home("Applications/A.app"), std::string("/opt/B.app"), std::string("/opt/Brennic/C.app"),
          system("D.app"), system("E.app/Inner.app")})
        expected.insert(writeBundle(bundle));
    for (const std::string &bundle :
         {home("Applications/folder/No.app"), std::string("/opt/Brennic/deep/No.app"),
          std::string("/opt/B.app/No.app"), system("E.app")})
        writeBundle(bundle);
    fs::create_directory_symlink("/opt/B.app", "/opt/Link.app");
    fs::create_directory_symlink(system("D.app"), system("renamed"));
    writeEntry(system("renamed/Contents/Linux/P"));
    writeEntry(system("E.app/Inner.app/Contents/Linux/P"), {}, system("applications/b.desktop"));
    std::multiset<std::string> found;
    for (const Application &application : all())
        found.insert(application.location.toStdString());
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(m_reader.notRead().empty());
}

TEST_F(Inventory, FindsABundleWhoseFolderLinksLeadElsewhere) {
    writeBundle(system("folder"));
    fs::create_directory_symlink(system("folder"), system("Link.app"));
    writeEntry(system("Link.app/Contents/Linux/P"));
    EXPECT_EQ(location(), system("Link.app"));
    const std::string bundle = writeBundle(system("A.app"));
    writeProgram(bundle + "/1.app/2.app/p");
    writeEntry(bundle + "/1.app/2.app/p");
    EXPECT_EQ(location(), bundle);
    writeEntry(bundle + "/gone");
    EXPECT_EQ(location(), bundle + "/gone (not found)");
}

TEST_F(Inventory, GivesABundleItsEntries) {
    const std::string program = writeBundle("/opt/Lumadoc.app") + "/Contents/Linux/P";
    EXPECT_TRUE(only().inMenus);
    writeEntry(program, "NoDisplay=true\n");
    writeEntry(program, "NoDisplay=true\n", system("applications/b.desktop"));
    EXPECT_FALSE(only().inMenus);
    writeEntry(program + " --new", {}, system("applications/b.desktop"));
    EXPECT_TRUE(only().inMenus);
    EXPECT_EQ(only().entries,
              (std::vector<fs::path>{system("applications/a.desktop"), system("applications/b.desktop")}));
}

TEST_F(Inventory, NamesABundleByTheFirstKeyThatItHas) {
    std::map<QByteArray, QByteArray> keys;
    for (const auto &[key, expected] : std::vector<std::pair<QByteArray, QString>>{
             {"Other", QStringLiteral("Folder name ")},
             {"CFBundleVersion", QStringLiteral("Folder name CFBundleVersion")},
             {"CFBundleShortVersionString", QStringLiteral("Folder name CFBundleShortVersionString")},
             {"CFBundleName", QStringLiteral("CFBundleName CFBundleShortVersionString")},
             {"CFBundleDisplayName", QStringLiteral("CFBundleDisplayName CFBundleShortVersionString")}}) {
        keys[key] = key;
        writeFile("/opt/Folder name.app/Contents/Info.plist", infoText(keys));
        EXPECT_EQ(only().name + u' ' + only().version, expected);
    }
}

TEST_F(Inventory, NotesBundlesThatCannotBeRead) {
    writeFile("/opt/Array.app/Contents/Info.plist", "<plist version=\"1.0\"><array/></plist>");
    fs::create_directories("/opt/Loop.app/Contents");
    fs::create_symlink("Info.plist", "/opt/Loop.app/Contents/Info.plist");
    fs::create_directories("/opt/None.app/Contents");
    EXPECT_EQ(entries(), (Lines(2, "Info.plist: no property list with keys")));
}

TEST_F(Inventory, TakesTheUsersFlatpakBeforeTheSystems) {
    const std::string user = home(".local/share/flatpak/app/org.x.Y/current/active");
    const std::string shared = "/var/lib/flatpak/app/org.x.Y/current/active";
    fs::create_directories(user);
    fs::create_directories(shared);
    writeEntry("/bin/x", "X-Flatpak=org.x.Y\n");
    EXPECT_EQ(location(), user);
    fs::remove_all(user);
    EXPECT_EQ(location(), shared);
    fs::remove_all(shared);
    EXPECT_EQ(source() + location(), "Flatpak org.x.Y");
    for (const char *mark : {"../../etc", "/etc", ".hidden"}) {
        writeEntry("/bin/x", QByteArray("X-Flatpak=") + mark + "\nX-SnapInstanceName=" + mark + "\n");
        EXPECT_EQ(source(), "System") << mark;
    }
}

} // namespace

} // namespace system_profiler
