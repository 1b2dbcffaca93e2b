#include "platform/linux/DesktopEntry.h"

#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

using platform::desktopEntryProgram;
using platform::parseDesktopEntry;

TEST(DesktopEntry, GivesTheProgramOfTheExecLine) {
    const std::pair<QByteArray, std::optional<fs::path>> cases[] = {
        {"/opt/L.app/Contents/Linux/L %U", "/opt/L.app/Contents/Linux/L"},
        // The escapes of a value are undone before those of quotes; outside quotes as a shell does it.
        {R"("/opt/The\\\\P \\"c\\$d" x)", R"(/opt/The\P "c$d)"},
        {R"(/opt/The\\ Product/L %f)", "/opt/The Product/L"},
        {"/opt/100%%/L %f", "/opt/100%/L"},
        {"/opt/\xff/L", "/opt/\xff/L"},
        {"env A=1 B=2 /opt/L", "/opt/L"},
        {"/usr/bin/env -i A=1 /opt/L C=3", "/opt/L"},
        {"env -u NAME --unset=OTHER /opt/L", "/opt/L"},
        {"env A=1", {}},
        {"env -u", {}},
        {"", {}}};
    for (const auto &[exec, program] : cases)
        EXPECT_EQ(desktopEntryProgram("[Desktop Entry]\nType=Application\nExec=" + exec + "\n"), program)
            << exec.constData();
}

TEST(DesktopEntry, GivesNoProgramWhenHiddenOrWithoutItsGroup) {
    const std::pair<QByteArray, std::optional<fs::path>> cases[] = {
        {"[Desktop Entry]\r\nExec = /opt/L \r\n", "/opt/L"},
        {"[Desktop Action New]\nExec=/opt/Other\n[Desktop Entry]\nExec=/opt/L\n"
         "[Desktop Action Old]\nExec=/opt/Third\nHidden=true\n",
         "/opt/L"},
        {"[Desktop Entry]\nHidden=false\nExec=/opt/L\n", "/opt/L"},
        {"[Desktop Entry]\nExec=/opt/L\nHidden=true\n", {}},
        {"", {}},
        {"[Desktop Entry]", {}},
        {"Exec=/opt/L\n[Desktop Action A]\nExec=/opt/L\n", {}},
        {QByteArray(1 << 20, '='), {}}};
    for (const auto &[bytes, program] : cases)
        EXPECT_EQ(desktopEntryProgram(bytes), program) << bytes.left(100).constData();
}

TEST(DesktopEntry, FindsAProgramWithoutAFolderThroughPath) {
    const test_support::ScopedEnvironment path("PATH", "/nowhere:/bin");
    EXPECT_EQ(desktopEntryProgram("[Desktop Entry]\nExec=sh %F"), "/bin/sh");
    EXPECT_EQ(desktopEntryProgram("[Desktop Entry]\nExec=lumadoc-stop"), std::nullopt);
}

TEST(DesktopEntry, TakesOfTwoValuesTheFirstThatIsNotEmpty) {
    const auto entry =
        parseDesktopEntry("# comment\n[Desktop Entry]\nName=\nName=A\\sname\nName=C\nName[de]=B\n"
                          "Exec=env A=1 /opt/L --open=100%% %U\nExec=/opt/M\n");
    EXPECT_EQ(entry.value("Name"), "A name");
    EXPECT_EQ(platform::commandOf(entry), QByteArrayList({"/opt/L", "--open=100%", "%U"}));
}

} // namespace
