#include "platform/linux/helpers/system_profiler/DesktopEntries.h"

#include "platform/linux/helpers/system_profiler/TestMachine.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using Names = std::vector<std::string>;
using Reasons = std::map<std::string, std::string>;
using test_support::writeFile;

class DesktopEntries : public testing::Test {
protected:
    void write(const fs::path &name, const QByteArray &content) const { writeFile(root() / name, content); }
    void writeEntry(const fs::path &name, const QByteArray &more = {}) const {
        write(name, entryText(QByteArray::fromStdString(name.native()), "/bin/x", more));
    }

    /// "identifier = path" of each entry in the folders "first" and "second".
    Names found(const EntryLimits &limits = {}) {
        Names result;
        for (const auto &entry : installedEntries({root() / "first", root() / "second"}, m_notRead, limits))
            result.push_back(entry.identifier + " = " + entry.path.lexically_relative(root()).native());
        return result;
    }

    Reasons reasons() const { return reasonsBelow(root(), m_notRead); }
    const fs::path &root() const { return m_folder.path(); }

private:
    test_support::ScratchFolder m_folder;
    NotRead m_notRead;
};

TEST_F(DesktopEntries, AreNamedByTheirPathBelowTheFolder) {
    writeEntry("first/a.desktop");
    writeEntry("first/kde/b.desktop");
    writeEntry("first/kde/deep/c.desktop");
    write("first/readme.txt", "no entry");
    EXPECT_EQ(found(), (Names{"a.desktop = first/a.desktop", "kde-b.desktop = first/kde/b.desktop",
                              "kde-deep-c.desktop = first/kde/deep/c.desktop"}));
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(DesktopEntries, ShadowLaterOnesOfTheSameName) {
    writeEntry("first/kde-a.desktop");
    writeEntry("second/kde/a.desktop");
    writeEntry("second/b.desktop");
    EXPECT_EQ(found(), (Names{"kde-a.desktop = first/kde-a.desktop", "b.desktop = second/b.desktop"}));
}

TEST_F(DesktopEntries, ThatAreHiddenShadowLaterOnesToo) {
    writeEntry("first/a.desktop", "Hidden=true\n");
    writeEntry("second/a.desktop");
    EXPECT_EQ(found(), Names());
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(DesktopEntries, ThatCannotBeReadShadowLaterOnesToo) {
    write("first/a.desktop", "rubbish");
    writeEntry("second/a.desktop");
    EXPECT_EQ(found(), Names());
    EXPECT_EQ(reasons(), (Reasons{{"first/a.desktop", "no desktop entry"}}));
}

TEST_F(DesktopEntries, OfOtherTypesAreNoApplications) {
    write("first/a.desktop", "[Desktop Entry]\nType=Link\nName=A\nURL=http://x.example\n");
    write("first/b.desktop", "[Desktop Entry]\nType=Directory\nName=B\n");
    EXPECT_EQ(found(), Names());
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(DesktopEntries, ThatMenusDoNotShowAreApplications) {
    writeEntry("first/a.desktop", "NoDisplay=true\n");
    EXPECT_EQ(found(), (Names{"a.desktop = first/a.desktop"}));
}

TEST_F(DesktopEntries, CountOnlyWhenTheProgramToTryCanBeStarted) {
    const QByteArray folder = QByteArray::fromStdString(root().native());
    writeProgram(root() / "bin/there");
    write("bin/data", "");
    fs::permissions(root() / "bin/data", fs::perms::owner_read);
    fs::create_directories(root() / "bin/folder");
    const test_support::ScopedEnvironment path("PATH", (root() / "bin").native());
    writeEntry("first/absolute.desktop", "TryExec=" + folder + "/bin/there\n");
    writeEntry("first/data.desktop", "TryExec=" + folder + "/bin/data\n");
    writeEntry("first/folder.desktop", "TryExec=" + folder + "/bin/folder\n");
    writeEntry("first/gone.desktop", "TryExec=" + folder + "/bin/gone\n");
    writeEntry("first/gone-from-path.desktop", "TryExec=gone\n");
    writeEntry("first/in-path.desktop", "TryExec=there\n");
    writeEntry("second/gone.desktop");
    EXPECT_EQ(found(), (Names{"absolute.desktop = first/absolute.desktop",
                              "in-path.desktop = first/in-path.desktop"}));
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(DesktopEntries, MayStartByAMessageInsteadOfAProgram) {
    write("first/a.desktop", "[Desktop Entry]\nType=Application\nName=A\nDBusActivatable=true\n");
    EXPECT_EQ(found(), (Names{"a.desktop = first/a.desktop"}));
}

TEST_F(DesktopEntries, ThatAreBrokenAreNotedWithTheReason) {
    write("first/empty.desktop", "");
    write("first/binary.desktop", QByteArray("\x7f"
                                             "ELF\0\1\2\3",
                                             8));
    write("first/encoding.desktop", entryText("Caf\xe9", "/bin/x"));
    write("first/long.desktop", entryText("A", QByteArray("/a").repeated(50'000)));
    write("first/zero.desktop", entryText("A", QByteArray("/bin/x\0y", 8)));
    write("first/no-name.desktop", "[Desktop Entry]\nType=Application\nName= \nExec=/bin/x\n");
    write("first/no-type.desktop", "[Desktop Entry]\nName=A\nExec=/bin/x\n");
    write("first/no-program.desktop", "[Desktop Entry]\nType=Application\nName=A\n");
    write("first/large.desktop", entryText("A", "/bin/x", QByteArray(256 << 10, '#')));
    fs::create_symlink("nowhere", root() / "first/dangling.desktop");
    fs::create_symlink("loop.desktop", root() / "first/loop.desktop");
    ASSERT_EQ(::mkfifo((root() / "first/pipe.desktop").c_str(), 0600), 0);
    writeEntry("first/good.desktop");
    EXPECT_EQ(found(), (Names{"good.desktop = first/good.desktop"}));
    EXPECT_EQ(reasons(), (Reasons{{"first/binary.desktop", "not UTF-8 text"},
                                  {"first/dangling.desktop", "No such file or directory"},
                                  {"first/empty.desktop", "no desktop entry"},
                                  {"first/encoding.desktop", "not UTF-8 text"},
                                  {"first/large.desktop", "File too large"},
                                  {"first/long.desktop", "a desktop entry whose program has too long a name"},
                                  {"first/loop.desktop", "Too many levels of symbolic links"},
                                  {"first/no-name.desktop", "a desktop entry without a name"},
                                  {"first/no-program.desktop", "a desktop entry that starts nothing"},
                                  {"first/no-type.desktop", "a desktop entry without a type"},
                                  {"first/pipe.desktop", "not a regular file"},
                                  {"first/zero.desktop", "not UTF-8 text"}}));
}

TEST_F(DesktopEntries, AreReadThroughLinksToFoldersButNotInCircles) {
    writeEntry("elsewhere/a.desktop");
    fs::create_directories(root() / "first");
    fs::create_directory_symlink("../elsewhere", root() / "first/linked");
    fs::create_directory_symlink("../first", root() / "elsewhere/back");
    writeEntry("second/b.desktop");
    fs::create_directory_symlink(".", root() / "second/self");
    EXPECT_EQ(found(), (Names{"linked-a.desktop = first/linked/a.desktop", "b.desktop = second/b.desktop"}));
    EXPECT_EQ(reasons(), (Reasons{{"first/linked/back", "a link to a folder that it stands in"},
                                  {"second/self", "a link to a folder that it stands in"}}));
}

TEST_F(DesktopEntries, InFoldersBelowTooManyAreNotRead) {
    writeEntry("first/1/2/a.desktop");
    writeEntry("first/1/2/3/b.desktop");
    EXPECT_EQ(found({.folderDepth = 2}), (Names{"1-2-a.desktop = first/1/2/a.desktop"}));
    EXPECT_EQ(reasons(), (Reasons{{"first/1/2/3", "below more than 2 folders"}}));
}

TEST_F(DesktopEntries, BeyondTheirNumberAreNoted) {
    for (const char *name : {"a", "b", "c"})
        writeEntry("first/" + std::string(name) + ".desktop");
    EXPECT_EQ(found({.entries = 2}), (Names{"a.desktop = first/a.desktop", "b.desktop = first/b.desktop"}));
    EXPECT_EQ(reasons(), (Reasons{{"first/c.desktop", "comes after 2 other entries"}}));
}

TEST_F(DesktopEntries, BeyondTheNumberOfFoldersAreNoted) {
    writeEntry("first/a.desktop");
    writeEntry("second/b.desktop");
    EXPECT_EQ(found({.folders = 1}), (Names{"a.desktop = first/a.desktop"}));
    EXPECT_EQ(reasons(), (Reasons{{"second", "comes after 1 other folders"}}));
}

TEST_F(DesktopEntries, BeyondTheirBytesAreNoted) {
    write("first/a.desktop", entryText("A", "/bin/x", QByteArray(1000, '#')));
    write("first/b.desktop", entryText("B", "/bin/x", QByteArray(1000, '#')));
    EXPECT_EQ(found({.totalBytes = 1500}), (Names{"a.desktop = first/a.desktop"}));
    EXPECT_EQ(reasons(), (Reasons{{"first/b.desktop", "comes after 1500 bytes of entries"}}));
}

TEST_F(DesktopEntries, MultipliedByLinksEndAtTheLimits) {
    // Each folder leads to the next one in twelve ways: without limits there are 12^7 paths to the last one.
    for (int level = 0; level < 8; ++level) {
        const fs::path folder = root() / ("level" + std::to_string(level));
        fs::create_directories(folder);
        for (char name = 'a'; name < 'm' && level < 7; ++name)
            fs::create_directory_symlink("../level" + std::to_string(level + 1),
                                         folder / std::string(1, name));
    }
    writeEntry("level7/x.desktop");
    fs::create_directory_symlink("level0", root() / "first");
    EXPECT_LE(found().size(), EntryLimits().folders);
    EXPECT_FALSE(reasons().empty());
}

} // namespace

} // namespace system_profiler
