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
using Reasons = std::map<std::string, std::string>;

class DesktopEntries : public testing::Test {
protected:
    void write(const fs::path &name, const QByteArray &content) const { writeFile(root() / name, content); }
    void writeEntry(const fs::path &name, const QByteArray &more = {}) const {
        write(name, entryText("A", "/bin/x", more));
    }

    /// The paths of the entries in the folders "first" and "second".
    Paths found() {
        Paths result;
        for (const auto &entry : installedEntries({root() / "first", root() / "second"}, m_reader))
            result.push_back(entry.path.lexically_relative(root()).native());
        return result;
    }
    Reasons reasons() const {
        Reasons result;
        for (const auto &[path, reason] : m_reader.notRead())
            result[fs::path(path).lexically_relative(root()).native()] = reason.toStdString();
        return result;
    }
    const fs::path &root() const { return m_folder.path(); }

private:
    ScratchFolder m_folder;
    Reader m_reader;
};

TEST_F(DesktopEntries, ReplaceLaterOnesWithTheirIdentifierHoweverTheyAreLeftOut) {
    writeEntry("first/kde-a.desktop");
    writeEntry("first/gone.desktop", "TryExec=/nowhere\n");
    writeEntry("first/hidden.desktop", "Hidden=true\n");
    write("first/broken.desktop", "rubbish");
    write("first/readme.txt", "no entry");
    writeEntry("second/b.desktop", "NoDisplay=true\n");
    writeEntry("second/kde/deep/c.desktop");
    for (const char *name : {"kde/a", "gone", "hidden", "broken"})
        writeEntry("second" / fs::path(name).concat(".desktop"));
    EXPECT_EQ(found(), (Paths{"first/kde-a.desktop", "second/b.desktop", "second/kde/deep/c.desktop"}));
    EXPECT_EQ(reasons(), (Reasons{{"first/broken.desktop", "no desktop entry"}}));
}

TEST_F(DesktopEntries, OfOtherTypesAreNoApplications) {
    write("first/a.desktop", "[Desktop Entry]\nType=Link\nName=A\nURL=http://x.example\n");
    write("first/b.desktop", "[Desktop Entry]\nType=Directory\nName=B\n");
    write("first/message.desktop", "[Desktop Entry]\nType=Application\nName=A\nDBusActivatable=true\n");
    EXPECT_EQ(found(), (Paths{"first/message.desktop"}));
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(DesktopEntries, CountOnlyWhenTheProgramToTryCanBeStarted) {
    writeProgram(root() / "bin/there");
    write("bin/data", "");
    fs::permissions(root() / "bin/data", fs::perms::owner_read);
    fs::create_directories(root() / "bin/folder");
    const ScopedEnvironment path("PATH", (root() / "bin").native());
    const QByteArray folder = QByteArray::fromStdString((root() / "bin/").native());
    for (const QByteArray &tried : {folder + "there", folder + "data", folder + "folder", folder + "gone",
                                    QByteArray("there"), QByteArray("gone")})
        writeEntry("first" / fs::path(tried.toPercentEncoding().toStdString() + ".desktop"),
                   "TryExec=" + tried + "\n");
    const std::string absolute = (folder + "there").toPercentEncoding().toStdString();
    EXPECT_EQ(found(), (Paths{"first/" + absolute + ".desktop", "first/there.desktop"}));
    EXPECT_EQ(reasons(), Reasons());
}

TEST_F(DesktopEntries, ThatAreBrokenAreNotedWithTheReason) {
    const std::vector<std::tuple<std::string, QByteArray, std::string>> broken = {
        {"binary",
         QByteArray("\x7f"
                    "ELF\0\1\2\3",
                    8),
         "not UTF-8 text"},
        {"empty", "", "no desktop entry"},
        {"encoding", entryText("Caf\xe9", "/bin/x"), "not UTF-8 text"},
        {"large", entryText("A", "/bin/x", QByteArray(1 << 20, '#')), "File too large"},
        {"long", entryText("A", QByteArray("/a").repeated(50'000)),
         "a desktop entry whose program has too long a name"},
        {"no-name", "[Desktop Entry]\nType=Application\nName= \nExec=/bin/x\n",
         "a desktop entry without a name"},
        {"no-program", "[Desktop Entry]\nType=Application\nName=A\n", "a desktop entry that starts nothing"},
        {"no-type", "[Desktop Entry]\nName=A\nExec=/bin/x\n", "a desktop entry without a type"},
        {"zero", entryText("A", QByteArray("/bin/x\0y", 8)), "not UTF-8 text"}};
    Reasons expected = {{"first/dangling.desktop", "No such file or directory"},
                        {"first/loop.desktop", "Too many levels of symbolic links"},
                        {"first/pipe.desktop", "not a regular file"}};
    for (const auto &[name, content, reason] : broken) {
        write("first/" + name + ".desktop", content);
        expected["first/" + name + ".desktop"] = reason;
    }
    fs::create_symlink("nowhere", root() / "first/dangling.desktop");
    fs::create_symlink("loop.desktop", root() / "first/loop.desktop");
    ASSERT_EQ(::mkfifo((root() / "first/pipe.desktop").c_str(), 0600), 0);
    writeEntry("first/good.desktop");
    EXPECT_EQ(found(), (Paths{"first/good.desktop"}));
    EXPECT_EQ(reasons(), expected);
}

TEST_F(DesktopEntries, AreReadThroughLinksToFoldersButOnce) {
    writeEntry("elsewhere/a.desktop");
    fs::create_directories(root() / "first");
    fs::create_directory_symlink("../elsewhere", root() / "first/linked");
    fs::create_directory_symlink("../elsewhere", root() / "first/linked-too");
    fs::create_directory_symlink("../first", root() / "elsewhere/back");
    writeEntry("second/b.desktop");
    fs::create_directory_symlink(".", root() / "second/self");
    EXPECT_EQ(found(), (Paths{"first/linked/a.desktop", "second/b.desktop"}));
    EXPECT_EQ(reasons(), Reasons());
}

// Whatever is inserted where, an entry is read or noted, and is one block of the report.
TEST_F(DesktopEntries, WithAnythingInsertedAnywhereAreOneBlock) {
    const QByteArray seed =
        "# c\n[Desktop Entry]\r\nName[de]=B\nName=A\\sB\\\\\nType=Application\n"
        "Exec=env -u A B=1 \"/opt/\\\\\"B\\\\\"/x\" 100%% %U\n[Desktop Action N]\nExec=n\n";
    const std::vector<QByteArray> pieces = {"[Desktop Entry]\n",
                                            "Exec=",
                                            "Name=",
                                            "Hidden=true\n",
                                            "\\n",
                                            "\\s",
                                            "\\",
                                            "\"",
                                            "%%",
                                            "env ",
                                            "=",
                                            "[",
                                            "]",
                                            "\n",
                                            "\r",
                                            "\xe2\x80\xa8",
                                            "\xff",
                                            QByteArray("\0", 1),
                                            "\xc2\x85"};
    int applications = 0;
    for (const QByteArray &piece : pieces) {
        for (qsizetype place = 0; place <= seed.size(); ++place) {
            write("first/a.desktop", QByteArray(seed).insert(place, piece));
            Reader reader;
            for (const auto &installed : installedEntries({root() / "first"}, reader)) {
                Application application;
                application.name = QString::fromUtf8(installed.entry.name);
                application.location = QString::fromUtf8(installed.entry.command.value(0));
                ASSERT_EQ(reportOf({application}, reader).count('\n'), 10) << piece.toStdString() << place;
                ++applications;
            }
        }
    }
    EXPECT_GT(applications, pieces.size() * seed.size() / 2);
}

} // namespace

} // namespace system_profiler
