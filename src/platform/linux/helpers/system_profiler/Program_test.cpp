// Runs of the program as it ships, on a machine that the test makes.
#include "test_support/FileTree.h"
#include "test_support/Isolation.h"
#include "test_support/ProgramRun.h"
#include "test_support/StandIns.h"
#include "test_support/TestMachine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

using namespace test_support;

TEST(SystemProfiler, AnswersOtherCommandLinesWithItsUsage) {
    for (const std::vector<std::string> &words : std::initializer_list<std::vector<std::string>>{
             {}, {"-detailLevel", "full"}, {"-detailLevel", "full", "SPApplicationsDataType", ""}}) {
        ProgramRun run({.program = SYSTEM_PROFILER, .arguments = words});
        EXPECT_EQ(run.waitForEnd(), exited(2));
        EXPECT_EQ(run.standardOutput(), "");
        EXPECT_EQ(run.standardError(), "usage: system_profiler -detailLevel full SPApplicationsDataType\n");
    }
}

TEST(SystemProfiler, SaysWhyItsReportCannotBeWritten) {
    const ScratchHome home;
    const std::string pipe = home.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    // The pipe's reader goes before the program starts.
    for (const auto &[redirection, reason] : std::vector<std::pair<std::string, std::string>>{
             {"exec >/dev/full", "No space left on device"},
             {"exec >&-", "standard output is closed"},
             {"exec 3<>'" + pipe + "' >'" + pipe + "' 3>&-", "Broken pipe"}}) {
        ProgramRun run(
            {.program = "/bin/sh",
             .arguments = {"-c", redirection + "; exec \"$0\" -detailLevel full SPApplicationsDataType",
                           SYSTEM_PROFILER}});
        EXPECT_EQ(run.waitForEnd(), exited(1));
        EXPECT_EQ(run.standardError(), "system_profiler: the report cannot be written: " + reason + "\n");
    }
}

constexpr auto wholeReport = R"(Applications:

    Lumadoc:

      Version: 26.1
      Obtained from: Package lumadoc
      Last Modified: 2023-11-14T22:13:20Z
      Kind: 64-bit x86-64
      Maintainer: Brennic <p@brennic.example>
      Location: /opt/Brennic/Lumadoc.app
      Desktop Entry: SYSTEM/applications/lumadoc.desktop

    mail:

      Version: 3.1
      Obtained from: Flatpak org.x.Mail
      Last Modified: 2023-11-14T22:13:20Z
      Kind: Script (/usr/bin/python3)
      Location: /var/lib/flatpak/app/org.x.Mail/current/active
      Desktop Entry: /var/lib/flatpak/exports/share/applications/org.x.Mail.desktop

    Notes:

      Version: not known
      Obtained from: User
      Last Modified: 2023-11-14T22:13:20Z
      Kind: Script (/bin/sh)
      Location: HOME/notes
      Desktop Entry: HOME/.local/share/applications/b\n    Forged:.desktop
      Shown in Menus: No

    Paint:

      Version: 4.0
      Obtained from: Snap paint
      Last Modified: 2023-11-14T22:13:20Z
      Kind: not known
      Maintainer: canonical
      Location: /var/lib/snapd/snap/paint/current
      Desktop Entry: /var/lib/snapd/desktop/applications/paint_main.desktop

Not read:

    SYSTEM/applications/broken.desktop: no desktop entry with a type, a name and a program

)";

void setTime(const fs::path &path) {
    const struct timespec times[2] = {{1'700'000'000, 0}, {1'700'000'000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

void makeProgram(const fs::path &path, const QByteArray &content = elfHeader()) {
    writeProgram(path, content);
    setTime(path);
}

TEST(SystemProfiler, ReportsAMachineToTheLetterAndChangesNothing) {
    const ScratchHome home;
    const ScratchFolder system;
    const Mount opt = Mount::memory("/opt", std::uint64_t{8} << 20);
    const Mount state = Mount::memory("/var/lib", std::uint64_t{8} << 20);
    const StandInProgram flatpak("flatpak", "printf 'org.x.Mail\\t3.1\\tsystem\\n'");
    const StandInProgram snap(
        "snap", "printf 'Name Version Rev Tracking Publisher Notes\\npaint 4.0 1 - canonical** -\\n'");
    const PackageDatabase packages(system.path() / "dpkg");
    const fs::path entries = system.path() / "applications";
    writeFile(entries / "broken.desktop", "rubbish");
    makeProgram("/opt/Brennic/Lumadoc.app/Contents/Linux/Program");
    writeFile("/opt/Brennic/Lumadoc.app/Contents/Info.plist",
              infoText({{"CFBundleName", "Lumadoc"},
                        {"CFBundleShortVersionString", "26.1"},
                        {"CFBundleExecutable", "Program"}}));
    packages.add("lumadoc", "26", "Brennic <p@brennic.example>",
                 "/opt/Brennic/Lumadoc.app/Contents/Info.plist");
    writeFile(entries / "lumadoc.desktop",
              entryText("Launcher", "/opt/Brennic/Lumadoc.app/Contents/Linux/Program %U"));
    makeProgram("/var/lib/flatpak/app/org.x.Mail/current/active/files/bin/mail", "#!/usr/bin/python3\n");
    writeFile("/var/lib/flatpak/exports/share/applications/org.x.Mail.desktop",
              entryText("mail", "/usr/bin/flatpak run --command=mail org.x.Mail", "X-Flatpak=org.x.Mail\n"));
    makeProgram(home.path() / "notes", "#!/bin/sh\n");
    writeFile(home.path() / ".local/share/applications/b\n    Forged:.desktop",
              entryText("Notes", "notes", "NoDisplay=true\n"));
    fs::create_directories("/var/lib/snapd/snap/paint/current");
    setTime("/var/lib/snapd/snap/paint/current");
    writeFile("/var/lib/snapd/desktop/applications/paint_main.desktop",
              entryText("Paint", "/snap/bin/paint.main", "X-SnapInstanceName=paint\n"));
    QByteArray expected = wholeReport;
    expected.replace("HOME", home.path().c_str()).replace("SYSTEM", system.path().c_str());

    const auto before = treeOf(home.path());
    ProgramRun run(
        {.program = SYSTEM_PROFILER,
         .arguments = {"-detailLevel", "full", "SPApplicationsDataType"},
         .variables = {{"XDG_DATA_DIRS", system.path()}, {"PATH", home.path().native() + ":/usr/bin"}}});
    EXPECT_EQ(run.waitForEnd(), exited(0));
    EXPECT_EQ(run.standardError(), "");
    EXPECT_EQ(run.standardOutput(), expected.toStdString());
    EXPECT_EQ(treeOf(home.path()), before);
}

} // namespace
