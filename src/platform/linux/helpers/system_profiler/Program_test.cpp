// Runs of the program as it ships, on a machine that the test makes.
#include "platform/linux/helpers/system_profiler/TestMachine.h"
#include "test_support/ConditionalTest.h"
#include "test_support/FileTree.h"
#include "test_support/Isolation.h"
#include "test_support/Mounts.h"
#include "test_support/ProgramRun.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using namespace test_support;

const std::vector<std::string> arguments = {"-detailLevel", "full", "SPApplicationsDataType"};

// A home with entries of its own, and system folders that hold nothing else.
class ScratchMachine {
public:
    ScratchMachine() { fs::create_directories(path("bin")); }

    fs::path path(const fs::path &name) const { return m_home.path() / name; }
    std::string text(const fs::path &name) const { return path(name).native(); }
    void write(const fs::path &name, const QByteArray &content) const { writeFile(path(name), content); }
    void writeEntry(const std::string &name, const QByteArray &content) const {
        write(".local/share/applications/" + name, content);
    }

    ProgramOptions options() const {
        return {.program = SYSTEM_PROFILER,
                .arguments = arguments,
                .variables = {{"XDG_DATA_DIRS", text("system")}, {"PATH", text("bin")}}};
    }

    /// Runs the program, which must succeed, and gives what it printed.
    std::string report() const {
        ProgramRun run(options());
        EXPECT_EQ(run.waitForEnd(), exited(0));
        EXPECT_EQ(run.standardError(), "");
        return run.standardOutput();
    }

private:
    ScratchHome m_home;
};

void setTime(const fs::path &path, std::time_t seconds) {
    const struct timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

TEST(SystemProfiler, StandsInTheHelpersOfTheShippedBundle) {
    const fs::path contents = fs::path(SYSTEM_PROFILER).parent_path().parent_path();
    EXPECT_EQ(fs::path(SYSTEM_PROFILER).filename(), "system_profiler");
    EXPECT_EQ(fs::path(SYSTEM_PROFILER).parent_path().filename(), "Helpers");
    EXPECT_EQ(contents.parent_path().filename(), "Brennic_Lumadoc_Diagnostics.app");
    EXPECT_TRUE(fs::exists(contents / "Info.plist"));
}

TEST(SystemProfiler, AnswersOtherCommandLinesWithItsUsage) {
    const std::vector<std::vector<std::string>> others = {
        {},
        {"-detailLevel", "full"},
        {"-detailLevel", "full", "SPHardwareDataType"},
        {"--help"},
        {"-detailLevel", "full", "SPApplicationsDataType", "-xml"}};
    for (const auto &words : others) {
        ProgramRun run({.program = SYSTEM_PROFILER, .arguments = words});
        EXPECT_EQ(run.waitForEnd(), exited(2));
        EXPECT_EQ(run.standardOutput(), "");
        EXPECT_EQ(run.standardError(), "usage: system_profiler -detailLevel full SPApplicationsDataType\n");
    }
}

// Runs the program with its output where a shell sends it.
void expectFailure(const std::string &redirection, const std::string &error) {
    const ScratchMachine machine;
    ProgramOptions options = machine.options();
    options.program = "/bin/sh";
    options.arguments = {"-c", "exec \"$0\" \"$@\" " + redirection, SYSTEM_PROFILER};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    ProgramRun run(options);
    EXPECT_EQ(run.waitForEnd(), exited(1));
    EXPECT_EQ(run.standardError(), "system_profiler: the report cannot be written: " + error + "\n");
}

TEST(SystemProfiler, SaysThatADiskIsFull) {
    expectFailure("> /dev/full", "No space left on device");
}

TEST(SystemProfiler, SaysThatItsOutputIsClosed) {
    expectFailure(">&-", "standard output is closed");
}

TEST(SystemProfiler, SaysThatNobodyReadsItsOutput) {
    const ScratchMachine machine;
    const fs::path pipe = machine.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ProgramOptions options = machine.options();
    options.program = "/bin/sh";
    // The reader goes before the program starts.
    options.arguments = {"-c", "exec 3<>\"$1\" 4>\"$1\" 3>&-; shift; exec \"$0\" \"$@\" >&4", SYSTEM_PROFILER,
                         pipe.native()};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    ProgramRun run(options);
    EXPECT_EQ(run.waitForEnd(), exited(1));
    EXPECT_EQ(run.standardError(), "system_profiler: the report cannot be written: Broken pipe\n");
}

TEST(SystemProfiler, WaitsForASlowReader) {
    const ScratchMachine machine;
    for (int i = 0; i < 500; ++i)
        machine.writeEntry("entry" + std::to_string(i) + ".desktop", entryText(QByteArray(500, 'n'), "x"));
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);
    ProgramOptions options = machine.options();
    options.program = "/bin/sh";
    options.arguments = {"-c", "exec \"$0\" \"$@\" >&" + std::to_string(ends[1]), SYSTEM_PROFILER};
    options.arguments.insert(options.arguments.end(), arguments.begin(), arguments.end());
    ProgramRun run(options);
    ::close(ends[1]);
    // A pipe holds 64 KiB, a fraction of the report.
    EXPECT_EQ(run.waitForEnd(std::chrono::milliseconds(300)), std::nullopt);
    std::string text;
    waitUntil([&] {
        char buffer[4096];
        const ssize_t count = ::read(ends[0], buffer, sizeof buffer);
        if (count > 0)
            text.append(buffer, static_cast<std::size_t>(count));
        return count == 0;
    });
    ::close(ends[0]);
    EXPECT_EQ(run.waitForEnd(), exited(0));
    EXPECT_EQ(text, machine.report());
}

TEST(SystemProfiler, ChangesNothing) {
    const ScratchMachine machine;
    machine.writeEntry("a.desktop", entryText("A", "/bin/sh"));
    const auto before = treeOf(machine.path(""));
    machine.report();
    EXPECT_EQ(differences(before, treeOf(machine.path(""))), std::vector<std::string>());
}

TEST(SystemProfiler, LetsNoEntryForgeALine) {
    const ScratchMachine machine;
    machine.writeEntry("a.desktop",
                       entryText("A:\\n\\n      Version: 9\\r\\s\\u", "/none\\nx\\n    Forged:"));
    machine.writeEntry("b\n    Forged:.desktop", entryText("B", "/none"));
    const std::string report = machine.report();
    EXPECT_FALSE(contains(report, "\n    Forged:"));
    EXPECT_FALSE(contains(report, "\n      Version: 9"));
    EXPECT_TRUE(contains(report, "    A:\\u{A}\\u{A}      Version: 9\\u{D} \\u:\n"));
    EXPECT_TRUE(contains(report, "b\\u{A}    Forged:.desktop\n"));
}

TEST(SystemProfiler, OutlivesEveryBrokenEntry) {
    const ScratchMachine machine;
    const fs::path entries = machine.path(".local/share/applications");
    machine.writeEntry("binary.desktop", QByteArray("\x7f"
                                                    "ELF\0\xff\xfe",
                                                    7));
    machine.writeEntry("encoding.desktop", entryText("Caf\xe9", "/bin/x"));
    machine.writeEntry("huge.desktop", "");
    fs::resize_file(entries / "huge.desktop", std::uintmax_t{1} << 40);
    fs::create_symlink("loop.desktop", entries / "loop.desktop");
    fs::create_directory_symlink(".", entries / "self");
    ASSERT_EQ(::mkfifo((entries / "pipe.desktop").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", entries / "endless.desktop");
    writeProgram(machine.path("bin/short"), elfHeader().left(30));
    machine.writeEntry("short.desktop", entryText("Short", "short"));
    ASSERT_EQ(::mkfifo(machine.path("bin/pipe").c_str(), 0700), 0);
    machine.writeEntry("starts-pipe.desktop",
                       entryText("Pipe", QByteArray::fromStdString(machine.text("bin/pipe"))));
    machine.write("Applications/Bad.app/Contents/Info.plist", "<plist><dict><key>");
    machine.write("system/metainfo/bad.xml", "<component><id>");
    machine.writeEntry("good.desktop", entryText("Good", "/none"));
    const std::string report = machine.report();
    const std::string folder = "    " + machine.text(".local/share/applications/");
    for (const std::string &line :
         {folder + "binary.desktop: not UTF-8 text", folder + "encoding.desktop: not UTF-8 text",
          folder + "endless.desktop: not a regular file", folder + "huge.desktop: File too large",
          folder + "loop.desktop: Too many levels of symbolic links",
          folder + "pipe.desktop: not a regular file", folder + "self: a link to a folder that it stands in",
          "    " + machine.text("bin/short") + ": the ELF header breaks off",
          "    " + machine.text("bin/pipe") + ": not a regular file",
          "    " + machine.text("Applications/Bad.app/Contents/Info.plist") + ": no property list with keys",
          "    " + machine.text("system/metainfo/bad.xml") + ": not well-formed XML in line 1"})
        EXPECT_TRUE(contains(report, "\n" + line + "\n")) << line << "\n" << report;
    for (const char *name : {"Good", "Short", "Pipe"})
        EXPECT_TRUE(contains(report, "\n    " + std::string(name) + ":\n")) << report;
}

// What root may read says nothing of what an ordinary user may.
void readsAsAnOrdinaryUser() {
    constexpr uid_t ordinary = 65534;
    const ScratchMachine machine;
    fs::copy_file(SYSTEM_PROFILER, machine.path("bin/system_profiler"));
    machine.writeEntry("closed.desktop", entryText("Closed", "/none"));
    machine.writeEntry("folder/inner.desktop", entryText("Inner", "/none"));
    machine.writeEntry("open.desktop", entryText("Open", "secret"));
    writeProgram(machine.path("bin/secret"));
    for (const auto &entry : fs::recursive_directory_iterator(machine.path(".")))
        fs::permissions(entry, fs::perms::all);
    fs::permissions(machine.path("."), fs::perms::all);
    const fs::path entries = machine.path(".local/share/applications");
    fs::permissions(entries / "closed.desktop", fs::perms::none);
    fs::permissions(entries / "folder", fs::perms::none);
    fs::permissions(machine.path("bin/secret"), fs::perms::owner_all | fs::perms::others_exec);
    ProgramOptions options = machine.options();
    options.program = machine.path("bin/system_profiler");
    options.user = ordinary;
    ProgramRun run(options);
    EXPECT_EQ(run.waitForEnd(), exited(0));
    const std::string report = run.standardOutput();
    EXPECT_TRUE(contains(report, "\n    Open:\n")) << report;
    for (const fs::path &path : {entries / "closed.desktop", entries / "folder", machine.path("bin/secret")})
        EXPECT_TRUE(contains(report, "\n    " + path.native() + ": Permission denied\n")) << report;
}

const bool ordinaryUserTested =
    registerTestIf(::geteuid() == 0, "SystemProfiler", "ReadsAsAnOrdinaryUser", readsAsAnOrdinaryUser);

TEST(SystemProfiler, SaysTheSameInEveryLanguageAndZoneAndOrderOfWriting) {
    const auto reportOf = [](const ScratchMachine &machine, bool reversed) {
        for (int i = 0; i < 200; ++i) {
            const std::string name = std::to_string(reversed ? 199 - i : i);
            const fs::path program = machine.path("bin/p" + name);
            writeProgram(program);
            setTime(program, 1'700'000'000);
            machine.writeEntry(name + ".desktop", entryText("N" + QByteArray::fromStdString(name),
                                                            "p" + QByteArray::fromStdString(name)));
        }
        std::string report = machine.report();
        const std::string home = machine.text("");
        for (std::size_t place = 0; (place = report.find(home, place)) != std::string::npos;)
            report.erase(place, home.size());
        return report;
    };
    const std::string first = [&] {
        const ScratchMachine machine;
        return reportOf(machine, false);
    }();
    const ScopedEnvironment zone("TZ", "Asia/Tokyo");
    const ScopedEnvironment language("LC_ALL", "C.UTF-8");
    const ScratchMachine machine;
    EXPECT_EQ(reportOf(machine, true), first);
    EXPECT_EQ(machine.report(), machine.report());
}

constexpr auto wholeReport = R"(Applications:

    Lumadoc:

      Version: 26.1
      Obtained from: Package lumadoc
      Last Modified: 2023-11-14T22:13:20Z
      Kind: 64-bit x86-64
      Maintainer: Brennic <p@brennic.example>
      Location: /opt/Brennic/Lumadoc.app
      Desktop Entry: HOME/system/applications/lumadoc.desktop

    mail:

      Version: 3.1
      Obtained from: Flatpak org.x.Mail
      Last Modified: 2023-11-14T22:13:20Z
      Kind: Script (/usr/bin/python3)
      Maintainer: The X Team
      Location: /var/lib/flatpak/app/org.x.Mail/current/active
      Desktop Entry: /var/lib/flatpak/exports/share/applications/org.x.Mail.desktop

    Notes:

      Version: not known
      Obtained from: User
      Last Modified: 2023-11-14T22:13:20Z
      Kind: Script (/bin/sh)
      Location: HOME/bin/notes
      Desktop Entry: HOME/.local/share/applications/notes.desktop
      Shown in Menus: No

    Paint:

      Version: 4.0
      Obtained from: Snap paint
      Last Modified: 2023-11-14T22:13:20Z
      Kind: 64-bit x86-64
      Location: /var/lib/snapd/snap/paint/current
      Desktop Entry: /var/lib/snapd/desktop/applications/paint_main.desktop

    Pellix:

      Version: 1.5
      Obtained from: Application bundle
      Last Modified: 2023-11-14T22:13:20Z
      Kind: 64-bit x86-64
      Location: HOME/Applications/Pellix.app

    Viewer:

      Version: 2:1.0-3
      Obtained from: Package viewer
      Last Modified: 2023-11-14T22:13:20Z
      Kind: 64-bit x86-64
      Maintainer: V <v@x.example>
      Location: HOME/bin/viewer
      Desktop Entry: HOME/system/applications/viewer.desktop

Not read:

    HOME/system/applications/broken.desktop: no desktop entry

)";

void makeProgram(const fs::path &path, const QByteArray &content = elfHeader()) {
    writeProgram(path, content);
    setTime(path, 1'700'000'000);
}

void writeApplications(const ScratchMachine &machine) {
    machine.write("system/applications/broken.desktop", "rubbish");
    makeProgram("/opt/Brennic/Lumadoc.app/Contents/Linux/Program");
    writeFile("/opt/Brennic/Lumadoc.app/Contents/Info.plist", infoText("Lumadoc", "26.1"));
    machine.write("system/applications/lumadoc.desktop",
                  entryText("Lumadoc Launcher", "/opt/Brennic/Lumadoc.app/Contents/Linux/Program %U"));
    makeProgram(machine.path("bin/notes"), "#!/bin/sh\n");
    machine.writeEntry("notes.desktop", entryText("Notes", "notes %F", "NoDisplay=true\n"));
    makeProgram(machine.path("Applications/Pellix.app/Contents/Linux/Program"));
    machine.write("Applications/Pellix.app/Contents/Info.plist", infoText("Pellix", "1.5"));
    makeProgram(machine.path("bin/viewer"));
    machine.write("system/applications/viewer.desktop", entryText("Viewer", "viewer"));
    machine.writeEntry("hidden.desktop", entryText("No", "viewer", "Hidden=true\n"));
    machine.write("system/applications/hidden.desktop", entryText("No", "viewer"));
}

void writeSandboxedApplications() {
    const fs::path mail = "/var/lib/flatpak/app/org.x.Mail/current/active";
    makeProgram(mail / "files/bin/mail", "#!/usr/bin/python3\n");
    writeFile(mail / "files/share/metainfo/org.x.Mail.metainfo.xml",
              "<component><id>org.x.Mail</id><developer_name>The X Team</developer_name>"
              "<releases><release version=\"3.1\"/></releases></component>");
    writeFile("/var/lib/flatpak/exports/share/applications/org.x.Mail.desktop",
              entryText("mail", "/usr/bin/flatpak run --command=mail org.x.Mail"));
    makeProgram("/var/lib/snapd/snap/paint/current/bin/paint");
    writeFile("/var/lib/snapd/snap/paint/current/meta/snap.yaml",
              "name: paint\nversion: '4.0'\napps:\n  main:\n    command: bin/paint\n");
    writeFile("/var/lib/snapd/desktop/applications/paint_main.desktop",
              entryText("Paint", "/snap/bin/paint.main"));
}

void writePackages(const ScratchMachine &machine) {
    writeFile("/var/lib/dpkg/status",
              "Package: lumadoc\nMaintainer: Brennic <p@brennic.example>\nVersion: 26\n\n"
              "Package: viewer\nMaintainer: V <v@x.example>\nVersion: 2:1.0-3\n");
    writeFile("/var/lib/dpkg/info/lumadoc.list", "/opt/Brennic/Lumadoc.app/Contents/Info.plist\n");
    writeFile("/var/lib/dpkg/info/viewer.list",
              QByteArray::fromStdString(machine.text("system/applications/viewer.desktop") + "\n"));
}

// The folders that the program looks into wherever its variables lead are empty.
class WholeMachine : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(hasOwnNamespaces()) << "this test mounts file systems of its own";
        for (const char *folder : {"/opt", "/var/lib", "/usr/share"})
            m_mounts.emplace_back(new Mount(Mount::memory(folder, std::uint64_t{8} << 20)));
    }

    // Before the mounts: it is found by a path that they do not cover.
    ScratchMachine m_machine;

private:
    std::vector<std::unique_ptr<Mount>> m_mounts;
};

TEST_F(WholeMachine, IsReportedToTheLetter) {
    writeApplications(m_machine);
    writeSandboxedApplications();
    writePackages(m_machine);
    const std::string home = m_machine.path("").parent_path().native();
    std::string expected = wholeReport;
    for (std::size_t place = 0; (place = expected.find("HOME", place)) != std::string::npos;)
        expected.replace(place, 4, home);
    EXPECT_EQ(m_machine.report(), expected);
    EXPECT_EQ(m_machine.report(), expected);
}

TEST_F(WholeMachine, WithoutApplicationsIsReportedAsAHeader) {
    EXPECT_EQ(m_machine.report(), "Applications:\n\n");
}

} // namespace

} // namespace system_profiler
