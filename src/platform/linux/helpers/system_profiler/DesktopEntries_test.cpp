#include "platform/linux/helpers/system_profiler/DesktopEntries.h"

#include "test_support/TestMachine.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using namespace test_support;
using Paths = std::vector<std::string>;

class DesktopEntries : public testing::Test {
protected:
    void write(const std::string &name, const QByteArray &content) const { writeFile(path(name), content); }
    void writeEntry(const std::string &name, const QByteArray &more = {}) const {
        write(name + ".desktop", entryText("A", "/bin/x", more));
    }

    /// The paths of the entries in the folders "first" and "second", and below them what was not read.
    Paths found() {
        Reader reader;
        Paths result;
        for (const auto &[file, entry] : installedEntries({path("first"), path("second")}, reader))
            result.push_back(file.lexically_relative(m_folder.path()).native());
        for (const auto &[file, reason] : reader.notRead())
            result.push_back(fs::path(file).filename().native() + ": " + reason.toStdString());
        return result;
    }
    fs::path path(const std::string &name) const { return m_folder.path() / name; }

private:
    ScratchFolder m_folder;
};

TEST_F(DesktopEntries, ReplaceLaterOnesWithTheirIdentifierHoweverTheyAreLeftOut) {
    writeEntry("first/kde-a");
    writeEntry("first/gone", "TryExec=/nowhere\n");
    writeEntry("first/hidden", "Hidden=true\n");
    write("first/broken.desktop", "rubbish");
    write("first/readme.txt", "no entry");
    writeEntry("second/b", "NoDisplay=true\n");
    writeEntry("second/kde/deep/c");
    for (const char *name : {"kde/a", "gone", "hidden", "broken"})
        writeEntry(std::string("second/") + name);
    EXPECT_EQ(found(), (Paths{"first/kde-a.desktop", "second/b.desktop", "second/kde/deep/c.desktop",
                              "broken.desktop: no desktop entry"}));
}

TEST_F(DesktopEntries, AreApplicationsOnlyWhenTheyCanBeStarted) {
    write("first/link.desktop", "[Desktop Entry]\nType=Link\nName=A\nURL=http://x.example\n");
    write("first/message.desktop", "[Desktop Entry]\nType=Application\nName=A\nDBusActivatable=true\n");
    writeProgram(path("bin/there"));
    write("bin/data", "");
    fs::create_directories(path("bin/folder"));
    const ScopedEnvironment search("PATH", path("bin").native());
    for (const char *name : {"there", "data", "folder", "gone"}) {
        writeEntry(std::string("first/path-") + name, "TryExec=" + QByteArray(name) + "\n");
        writeEntry(std::string("first/whole-") + name,
                   "TryExec=" + QByteArray::fromStdString(path("bin") / name) + "\n");
    }
    EXPECT_EQ(found(),
              (Paths{"first/message.desktop", "first/path-there.desktop", "first/whole-there.desktop"}));
}

TEST_F(DesktopEntries, ThatAreBrokenAreNotedWithTheReason) {
    const QByteArray begin = "[Desktop Entry]\n";
    const std::tuple<std::string, QByteArray, std::string> cases[] = {
        {"empty", "", "no desktop entry"},
        {"encoding", entryText("Caf\xe9", "/bin/x"), "not UTF-8 text"},
        {"large", QByteArray((1 << 20) + 1, '#'), "File too large"},
        {"long", entryText("A", QByteArray("/a").repeated(50'000)),
         "a desktop entry whose program has too long a name"},
        {"no-name", begin + "Type=Application\nName= \nExec=/bin/x\n", "a desktop entry without a name"},
        {"no-program", begin + "Type=Application\nName=A\n", "a desktop entry that starts nothing"},
        {"no-type", begin + "Name=A\nExec=/bin/x\n", "a desktop entry without a type"},
        {"zero", entryText("A", QByteArray("/bin/x\0y", 8)), "not UTF-8 text"},
    };
    writeEntry("first/good");
    Paths expected{"first/good.desktop"};
    for (const auto &[name, content, reason] : cases) {
        write("first/" + name + ".desktop", content);
        expected.push_back(name + ".desktop: " + reason);
    }
    fs::create_symlink("/dev/zero", path("first/zzz.desktop"));
    expected.emplace_back("zzz.desktop: not a regular file");
    EXPECT_EQ(found(), expected);
}

TEST_F(DesktopEntries, AreReadThroughLinksToFoldersButOnce) {
    writeEntry("elsewhere/a");
    writeEntry("second/b");
    fs::create_directories(path("first"));
    for (const char *link : {"first/linked", "first/linked-too", "elsewhere/back", "second/self"})
        fs::create_directory_symlink(path("elsewhere"), path(link));
    EXPECT_EQ(found(), (Paths{"first/linked/a.desktop", "second/b.desktop"}));
}

} // namespace

} // namespace system_profiler
