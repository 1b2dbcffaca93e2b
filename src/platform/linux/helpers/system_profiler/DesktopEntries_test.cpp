#include "platform/linux/helpers/system_profiler/DesktopEntries.h"

#include "platform/linux/helpers/system_profiler/Report.h"
#include "test_support/TestMachine.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

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
    write("first/empty.desktop", "");
    write("first/encoding.desktop", entryText("Caf\xe9", "/bin/x"));
    write("first/large.desktop", entryText("A", "/bin/x", QByteArray(1 << 20, '#')));
    write("first/long.desktop", entryText("A", QByteArray("/a").repeated(50'000)));
    write("first/no-name.desktop", begin + "Type=Application\nName= \nExec=/bin/x\n");
    write("first/no-program.desktop", begin + "Type=Application\nName=A\n");
    write("first/no-type.desktop", begin + "Name=A\nExec=/bin/x\n");
    write("first/zero.desktop", entryText("A", QByteArray("/bin/x\0y", 8)));
    fs::create_symlink("nowhere", path("first/dangling.desktop"));
    fs::create_symlink("/dev/zero", path("first/endless.desktop"));
    fs::create_symlink("loop.desktop", path("first/loop.desktop"));
    ASSERT_EQ(::mkfifo(path("first/pipe.desktop").c_str(), 0600), 0);
    writeEntry("first/good");
    EXPECT_EQ(found(), (Paths{"first/good.desktop", "dangling.desktop: No such file or directory",
                              "empty.desktop: no desktop entry", "encoding.desktop: not UTF-8 text",
                              "endless.desktop: not a regular file", "large.desktop: File too large",
                              "long.desktop: a desktop entry whose program has too long a name",
                              "loop.desktop: Too many levels of symbolic links",
                              "no-name.desktop: a desktop entry without a name",
                              "no-program.desktop: a desktop entry that starts nothing",
                              "no-type.desktop: a desktop entry without a type",
                              "pipe.desktop: not a regular file", "zero.desktop: not UTF-8 text"}));
}

TEST_F(DesktopEntries, AreReadThroughLinksToFoldersButOnce) {
    writeEntry("elsewhere/a");
    writeEntry("second/b");
    fs::create_directories(path("first"));
    for (const char *link : {"first/linked", "first/linked-too", "elsewhere/back", "second/self"})
        fs::create_directory_symlink(path("elsewhere"), path(link));
    EXPECT_EQ(found(), (Paths{"first/linked/a.desktop", "second/b.desktop"}));
}

TEST_F(DesktopEntries, AreOneBlockOfTheReportWhateverIsInsertedWhere) {
    const QByteArray seed =
        "# c\n[Desktop Entry]\r\nName[de]=B\nName=A\\sB\\\\\nType=Application\n"
        "Exec=env -u A B=1 \"/opt/\\\\\"B\\\\\"/x\" 100%% %U\n[Desktop Action N]\nExec=n\n";
    const QByteArray pieces =
        QByteArrayLiteral("[Desktop Entry]\n|Exec=|Name=|Hidden=true\n|\\n|\\s|\\|\"|%%|env |=|[|\n|\r|"
                          "\xe2\x80\xa8|\xff|\0|\xc2\x85");
    int applications = 0;
    for (const QByteArray &piece : pieces.split('|')) {
        for (qsizetype place = 0; place <= seed.size(); ++place) {
            write("first/a.desktop", QByteArray(seed).insert(place, piece));
            Reader reader;
            for (const auto &[file, entry] : installedEntries({path("first")}, reader)) {
                Application application;
                application.name = QString::fromUtf8(entry.name);
                application.location = QString::fromUtf8(entry.command.value(0));
                ASSERT_EQ(reportOf({application}, reader).count('\n'), 10) << piece.toStdString() << place;
                ++applications;
            }
        }
    }
    EXPECT_GT(applications, 1000);
}

} // namespace

} // namespace system_profiler
