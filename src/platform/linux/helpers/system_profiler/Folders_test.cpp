#include "platform/linux/helpers/system_profiler/Folders.h"

#include "platform/linux/helpers/system_profiler/TestMachine.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

TEST(Folders, ListInTheOrderOfTheNamesBytes) {
    const test_support::ScratchFolder folder;
    for (const char *name : {"b", "a", "B", "\xff", "a-"})
        test_support::writeFile(folder.path() / name, "");
    NotRead notRead;
    const std::vector<fs::path> expected = {folder.path() / "B", folder.path() / "a", folder.path() / "a-",
                                            folder.path() / "b", folder.path() / "\xff"};
    EXPECT_EQ(entriesOf(folder.path(), notRead), expected);
    EXPECT_TRUE(notRead.reasons().empty());
}

TEST(Folders, SayNothingOfOneThatIsNotThere) {
    const test_support::ScratchFolder folder;
    test_support::writeFile(folder.path() / "file", "");
    NotRead notRead;
    EXPECT_TRUE(entriesOf(folder.path() / "none", notRead).empty());
    EXPECT_TRUE(entriesOf(folder.path() / "file", notRead).empty());
    EXPECT_TRUE(notRead.reasons().empty());
}

TEST(Folders, TellThatOneIsTooFull) {
    const test_support::ScratchFolder folder;
    for (const char *name : {"a", "b", "c"})
        test_support::writeFile(folder.path() / name, "");
    NotRead notRead;
    EXPECT_EQ(entriesOf(folder.path(), notRead, 2).size(), 2U);
    EXPECT_EQ(notRead.reasons().at(folder.path()), QStringLiteral("holds more than 2 entries"));
    EXPECT_EQ(entriesOf(folder.path(), notRead, 3).size(), 3U);
}

TEST(Folders, TellThatOneLeadsInACircle) {
    const test_support::ScratchFolder folder;
    fs::create_symlink("loop", folder.path() / "loop");
    NotRead notRead;
    EXPECT_TRUE(entriesOf(folder.path() / "loop", notRead).empty());
    EXPECT_EQ(notRead.reasons().at(folder.path() / "loop"),
              QStringLiteral("Too many levels of symbolic links"));
}

} // namespace

} // namespace system_profiler
