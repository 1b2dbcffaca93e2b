#include "platform/linux/DesktopEntry.h"

#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

using platform::desktopEntryProgram;
using platform::parseDesktopEntry;
using test_support::ScopedEnvironment;

std::optional<fs::path> startedBy(const QByteArray &exec) {
    return desktopEntryProgram("[Desktop Entry]\nType=Application\nExec=" + exec + "\n");
}

TEST(DesktopEntry, GivesTheProgramOfTheExecLine) {
    EXPECT_EQ(startedBy("/opt/L.app/Contents/Linux/L %U"), fs::path("/opt/L.app/Contents/Linux/L"));
}

TEST(DesktopEntry, ReadsLinesThatEndLikeThoseOfOtherSystems) {
    EXPECT_EQ(desktopEntryProgram("[Desktop Entry]\r\nExec = /opt/L \r\n"), fs::path("/opt/L"));
}

TEST(DesktopEntry, LooksAtNoOtherGroup) {
    EXPECT_EQ(desktopEntryProgram("[Desktop Action New]\nExec=/opt/Other\n[Desktop Entry]\nExec=/opt/L\n"
                                  "[Desktop Action Old]\nExec=/opt/Third\nHidden=true\n"),
              fs::path("/opt/L"));
}

TEST(DesktopEntry, KeepsBlanksWithinQuotes) {
    EXPECT_EQ(startedBy("\"/opt/The Product.app/Contents/Linux/L\" --new"),
              fs::path("/opt/The Product.app/Contents/Linux/L"));
}

TEST(DesktopEntry, UndoesTheEscapesOfAValueAndThenThoseOfQuotes) {
    EXPECT_EQ(startedBy(R"("/opt/a\\\\b\\"c\\$d" x)"), fs::path(R"(/opt/a\b"c$d)"));
}

TEST(DesktopEntry, TakesABackslashOutsideQuotesAsAShellDoes) {
    EXPECT_EQ(startedBy(R"(/opt/The\\ Product/L %f)"), fs::path("/opt/The Product/L"));
}

TEST(DesktopEntry, ReadsADoubledPercentSignAsOne) {
    EXPECT_EQ(startedBy("/opt/100%%/L %f"), fs::path("/opt/100%/L"));
}

TEST(DesktopEntry, KeepsBytesThatAreNotUtf8) {
    EXPECT_EQ(startedBy("/opt/\xff/L"), fs::path("/opt/\xff/L"));
}

TEST(DesktopEntry, LooksBehindEnvAndWhatBelongsToIt) {
    EXPECT_EQ(startedBy("env A=1 B=2 /opt/L"), fs::path("/opt/L"));
    EXPECT_EQ(startedBy("/usr/bin/env -i A=1 /opt/L C=3"), fs::path("/opt/L"));
    EXPECT_EQ(startedBy("env -u NAME --unset=OTHER /opt/L"), fs::path("/opt/L"));
}

TEST(DesktopEntry, FindsNothingBehindEnvAlone) {
    EXPECT_EQ(startedBy("env"), std::nullopt);
    EXPECT_EQ(startedBy("env A=1"), std::nullopt);
    EXPECT_EQ(startedBy("env -u"), std::nullopt);
}

TEST(DesktopEntry, FindsAProgramWithoutAFolderThroughPath) {
    const test_support::ScratchFolder folder;
    test_support::writeFile(folder.path() / "second/lumadoc-start", "");
    fs::permissions(folder.path() / "second/lumadoc-start", fs::perms::owner_all);
    const ScopedEnvironment path("PATH", (folder.path() / "first").native() + ":" +
                                             (folder.path() / "second").native());
    EXPECT_EQ(startedBy("lumadoc-start %F"), folder.path() / "second/lumadoc-start");
}

TEST(DesktopEntry, GivesNothingForAProgramThatPathDoesNotLeadTo) {
    const ScopedEnvironment path("PATH", "/nowhere");
    EXPECT_EQ(startedBy("lumadoc-start"), std::nullopt);
}

TEST(DesktopEntry, GivesNothingWhenHiddenWhereverItSaysSo) {
    EXPECT_EQ(desktopEntryProgram("[Desktop Entry]\nExec=/opt/L\nHidden=true\n"), std::nullopt);
    EXPECT_EQ(desktopEntryProgram("[Desktop Entry]\nHidden=true\nExec=/opt/L\n"), std::nullopt);
    EXPECT_EQ(desktopEntryProgram("[Desktop Entry]\nHidden=false\nExec=/opt/L\n"), fs::path("/opt/L"));
}

TEST(DesktopEntry, GivesNothingForBytesThatAreNoEntry) {
    EXPECT_EQ(desktopEntryProgram({}), std::nullopt);
    EXPECT_EQ(desktopEntryProgram("[Desktop Entry]"), std::nullopt);
    EXPECT_EQ(desktopEntryProgram("[Desktop Entry]\nExec=\n"), std::nullopt);
    EXPECT_EQ(desktopEntryProgram("[Desktop Entry]\nExec=\"\"\n"), std::nullopt);
    EXPECT_EQ(desktopEntryProgram("Exec=/opt/L\n"), std::nullopt);
    EXPECT_EQ(desktopEntryProgram(QByteArray(1 << 20, '\n')), std::nullopt);
    EXPECT_EQ(desktopEntryProgram(QByteArray(1 << 20, '=')), std::nullopt);
}

TEST(DesktopEntry, GivesWhatTheKeysSay) {
    const auto entry =
        parseDesktopEntry("# comment\n[Desktop Entry]\nType=Application\nName=A\\sname\nName[de]=B\n"
                          "TryExec=/bin/try\nExec=env A=1 /opt/L --open=100%% %U\n"
                          "NoDisplay=true\nDBusActivatable=true\nX-Flatpak=org.x.Y\n"
                          "X-SnapInstanceName=s\n");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->type, "Application");
    EXPECT_EQ(entry->name, "A name");
    EXPECT_EQ(entry->tryExec, "/bin/try");
    EXPECT_EQ(entry->command, QByteArrayList({"/opt/L", "--open=100%", "%U"}));
    EXPECT_TRUE(entry->noDisplay && entry->startedByMessage && !entry->hidden);
    EXPECT_EQ(entry->flatpak, "org.x.Y");
    EXPECT_EQ(entry->snap, "s");
}

TEST(DesktopEntry, TakesTheFirstOfTwoValues) {
    EXPECT_EQ(parseDesktopEntry("[Desktop Entry]\nName=\nName=A\nName=B\n")->name, "A");
}

TEST(DesktopEntry, IsNoneWithoutItsGroup) {
    EXPECT_FALSE(parseDesktopEntry(""));
    EXPECT_FALSE(parseDesktopEntry("Name=A\n"));
    EXPECT_FALSE(parseDesktopEntry("[Desktop Action A]\nName=A\n"));
    EXPECT_TRUE(parseDesktopEntry("[Desktop Entry]"));
}

} // namespace
