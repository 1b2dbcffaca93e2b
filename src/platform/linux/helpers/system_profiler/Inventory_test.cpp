#include "platform/linux/helpers/system_profiler/Inventory.h"

#include "test_support/Isolation.h"
#include "test_support/StandInProgram.h"
#include "test_support/TestMachine.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using namespace test_support;

// A machine with a home, a system folder, and nothing in the folders that no variable moves.
class Inventory : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(hasOwnNamespaces()) << "this test mounts file systems of its own";
        for (const char *folder : {"/opt", "/var/lib"})
            m_mounts.emplace_back(new Mount(Mount::memory(folder, std::uint64_t{8} << 20)));
    }

    fs::path home(const fs::path &name) const { return m_home.path() / name; }
    fs::path system(const fs::path &name) const { return m_system.path() / name; }
    void writeEntry(const fs::path &path, const std::string &program, const QByteArray &more = {}) const {
        writeFile(path, entryText("A", QByteArray::fromStdString(program), more));
    }
    fs::path userEntry() const { return home(".local/share/applications/a.desktop"); }
    fs::path systemEntry(const std::string &name = "a.desktop") const {
        return system("applications/" + name);
    }
    void writeBundle(const fs::path &bundle) const {
        writeFile(bundle / "Contents/Info.plist", infoText({{"CFBundleName", "Lumadoc"},
                                                            {"CFBundleVersion", "26.1"},
                                                            {"CFBundleExecutable", "Program"}}));
        writeProgram(bundle / "Contents/Linux/Program");
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
    std::string sourceOf(const fs::path &entry, const fs::path &program) {
        writeEntry(entry, program);
        const std::string source = only().source.toStdString();
        fs::remove(entry);
        return source;
    }

    ScratchHome m_home;
    ScratchFolder m_system;
    ScopedEnvironment m_dataFolders{"XDG_DATA_DIRS", m_system.path().native()};
    PackageDatabase m_packages{m_system.path() / "dpkg"};
    Reader m_reader;

private:
    std::vector<std::unique_ptr<Mount>> m_mounts;
};

TEST_F(Inventory, TellsWhereAnApplicationComesFrom) {
    for (const fs::path &program : {system("tool"), system("packaged"), system("python3.11"), home("tool")})
        writeProgram(program);
    fs::create_symlink("packaged", system("link"));
    m_packages.add("viewer", "1.0-1", "M",
                   system("packaged").native() + "\n" + system("python3.11").native() + "\n" +
                       systemEntry("v.desktop").native());
    EXPECT_EQ(sourceOf(systemEntry(), system("tool")), "System");
    EXPECT_EQ(sourceOf(systemEntry(), home("tool")), "User");
    EXPECT_EQ(sourceOf(userEntry(), system("tool")), "User");
    EXPECT_EQ(sourceOf(userEntry(), system("packaged")), "Package viewer");
    EXPECT_EQ(sourceOf(userEntry(), system("link")), "Package viewer");
    EXPECT_EQ(sourceOf(userEntry(), system("python3.11")), "User");
    EXPECT_EQ(sourceOf(systemEntry("v.desktop"), system("tool")), "Package viewer");
    const ScopedEnvironment start("HOME", home("tool").native().substr(0, home("tool").native().size() - 2));
    EXPECT_EQ(sourceOf(systemEntry(), home("tool")), "System");
}

TEST_F(Inventory, TellsAProgramThatIsGone) {
    const ScopedEnvironment path("PATH", system("bin").native());
    writeEntry(systemEntry(), system("bin/gone"));
    EXPECT_EQ(only().location.toStdString(), system("bin/gone").native() + " (not found)");
    writeEntry(systemEntry(), "gone");
    EXPECT_EQ(only().location, QStringLiteral("gone (not found)"));
    EXPECT_FALSE(only().modified);
    EXPECT_TRUE(m_reader.notRead().empty());
}

TEST_F(Inventory, HoldsTheBundlesOfTheirFoldersAndThoseThatEntriesStart) {
    const std::vector<fs::path> expected = {home("Applications/A.app"), "/opt/B.app", "/opt/Brennic/C.app",
                                            system("elsewhere/D.app")};
    for (const fs::path &bundle : expected)
        writeBundle(bundle);
    for (const fs::path &bundle : {home("Applications/folder/No.app"), fs::path("/opt/Brennic/deep/No.app"),
                                   fs::path("/opt/B.app/Inner.app")})
        writeBundle(bundle);
    fs::create_directory_symlink("/opt/B.app", "/opt/Link.app");
    fs::create_directory_symlink("/opt/Brennic/C.app", system("renamed"));
    fs::create_symlink(system("elsewhere/D.app/Contents/Linux/Program"), system("start"));
    writeEntry(systemEntry("d.desktop"), system("start"));
    writeEntry(systemEntry("c.desktop"), system("renamed/Contents/Linux/Program"));
    std::vector<fs::path> found;
    for (const Application &application : all())
        found.emplace_back(application.location.toStdString());
    std::sort(found.begin(), found.end());
    std::vector<fs::path> sorted = expected;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(found, sorted);
    EXPECT_TRUE(m_reader.notRead().empty());
}

TEST_F(Inventory, HoldsABundleOnceWithAllEntriesThatStartIt) {
    writeBundle("/opt/Lumadoc.app");
    EXPECT_TRUE(only().inMenus);
    const std::string program = "/opt/Lumadoc.app/Contents/Linux/Program";
    writeEntry(systemEntry("a.desktop"), program, "NoDisplay=true\n");
    writeEntry(systemEntry("b.desktop"), program + " --new", "NoDisplay=true\n");
    EXPECT_FALSE(only().inMenus);
    writeEntry(systemEntry("b.desktop"), program + " --new");
    m_packages.add("lumadoc", "9", "M", "/opt/Lumadoc.app/Contents/Info.plist");
    const Application application = only();
    EXPECT_TRUE(application.inMenus);
    EXPECT_EQ(application.entries,
              (std::vector<fs::path>{systemEntry("a.desktop"), systemEntry("b.desktop")}));
    EXPECT_EQ(application.source, QStringLiteral("Package lumadoc"));
    EXPECT_EQ(application.version, QStringLiteral("26.1"));
    EXPECT_EQ(application.maintainer, QStringLiteral("M"));
}

TEST_F(Inventory, TakesTheNearestOfTheInnermostFourBundles) {
    const fs::path bundle = system("A.app");
    for (const auto &[program, found] : std::vector<std::pair<fs::path, fs::path>>{
             {bundle / "Inner.app/p", bundle / "Inner.app"},
             {bundle / "1.app/2.app/3.app/p", bundle},
             {bundle / "1.app/2.app/3.app/4.app/p", bundle / "1.app/2.app/3.app/4.app/p"}}) {
        writeBundle(bundle);
        writeBundle(bundle / "Inner.app");
        writeProgram(program);
        writeEntry(systemEntry(), program);
        EXPECT_EQ(only().location.toStdString(), found.native());
    }
}

TEST_F(Inventory, NamesABundleByTheFirstKeyThatItHas) {
    using Keys = std::vector<std::pair<QByteArray, QByteArray>>;
    const std::vector<std::tuple<Keys, std::string, std::string>> bundles = {
        {{{"CFBundleName", "N"}, {"CFBundleDisplayName", "D"}}, "D", ""},
        {{{"CFBundleName", "N"}, {"CFBundleVersion", "100"}}, "N", "100"},
        {{{"CFBundleVersion", "100"}, {"CFBundleShortVersionString", "1.0"}}, "Folder name", "1.0"}};
    for (const auto &[keys, name, version] : bundles) {
        writeFile("/opt/Folder name.app/Contents/Info.plist", infoText(keys));
        EXPECT_EQ(only().name.toStdString(), name);
        EXPECT_EQ(only().version.toStdString(), version);
    }
}

TEST_F(Inventory, NotesBundlesThatCannotBeRead) {
    const std::vector<std::tuple<std::string, QByteArray, std::string>> broken = {
        {"Rubbish", QByteArray("\0\1\2", 3), "no property list with keys"},
        {"Array", "<plist version=\"1.0\"><array/></plist>", "no property list with keys"},
        {"Truncated", infoText({}).left(60), "no property list with keys"},
        {"Large", QByteArray((1 << 20) + 1, ' '), "File too large"}};
    std::map<std::string, QString> expected = {
        {"/opt/Folder.app/Contents/Info.plist", QStringLiteral("Is a directory")},
        {"/opt/Loop.app/Contents/Info.plist", QStringLiteral("Too many levels of symbolic links")},
        {"/opt/Pipe.app/Contents/Info.plist", QStringLiteral("not a regular file")}};
    for (const auto &[name, content, reason] : broken) {
        const std::string path = "/opt/" + name + ".app/Contents/Info.plist";
        writeFile(path, content);
        expected[path] = QString::fromStdString(reason);
    }
    fs::create_directories("/opt/Folder.app/Contents/Info.plist");
    fs::create_directories("/opt/Pipe.app/Contents");
    ASSERT_EQ(::mkfifo("/opt/Pipe.app/Contents/Info.plist", 0600), 0);
    fs::create_symlink("Loop.app", "/opt/Loop.app");
    fs::create_directories("/opt/None.app");
    EXPECT_TRUE(all().empty());
    EXPECT_EQ(m_reader.notRead(), expected);
}

TEST_F(Inventory, TakesTheUsersFlatpakBeforeTheSystems) {
    const std::string user = home(".local/share/flatpak").native();
    for (const std::string &folder : {user, std::string("/var/lib/flatpak")})
        writeProgram(fs::path(folder) / "app/org.x.Y/current/active/files/bin/y", "#!/usr/bin/python3\n");
    writeEntry("/var/lib/flatpak/exports/share/applications/a.desktop",
               "/usr/bin/flatpak run --command=/app/bin/y org.x.Y", "X-Flatpak=org.x.Y\n");
    EXPECT_EQ(only().location.toStdString(), user + "/app/org.x.Y/current/active");
    fs::remove_all(user);
    EXPECT_EQ(only().location, QStringLiteral("/var/lib/flatpak/app/org.x.Y/current/active"));
    fs::remove_all("/var/lib/flatpak/app");
    EXPECT_EQ(only().location, QString());
    EXPECT_EQ(only().source, QStringLiteral("Flatpak org.x.Y"));
    for (const char *mark : {"../../etc", "..", "/etc", ".hidden"}) {
        writeEntry("/var/lib/flatpak/exports/share/applications/a.desktop", "/bin/x",
                   QByteArray("X-Flatpak=") + mark + "\nX-SnapInstanceName=" + mark + "\n");
        EXPECT_EQ(only().source, QStringLiteral("System")) << mark;
    }
}

} // namespace

} // namespace system_profiler
