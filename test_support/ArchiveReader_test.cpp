// An archive that the system's own zip makes, and damaged ones.
#include "test_support/ArchiveReader.h"

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

using namespace test_support;

TEST(ArchiveReader, UnpacksEveryItemAndRefusesEveryDamage) {
    const ScratchFolder folder;
    const auto archive = folder.path() / "out.zip";
    writeFile(folder.path() / "in/a.log", QByteArray(1000, 'a'));
    std::filesystem::create_symlink("/etc/passwd", folder.path() / "in/link");
    ProgramRun zip({.program = "/usr/bin/zip",
                    .arguments = {"-q", "-r", "-y", archive, "in"},
                    .workingFolder = folder.path()});
    EXPECT_EQ(zip.waitForEnd(), exited(0));
    const auto items = readArchive(archive);
    EXPECT_EQ(items.size(), 3U);
    EXPECT_TRUE(items.at("in/").isFolder());
    EXPECT_EQ(items.at("in/a.log").content, std::string(1000, 'a'));
    EXPECT_TRUE(items.at("in/link").isLink());
    EXPECT_EQ(items.at("in/link").content, "/etc/passwd");

    const QByteArray whole = readFile(archive);
    for (qsizetype size = 0; size < whole.size(); size += 7) {
        writeFile(archive, whole.first(size));
        EXPECT_THROW(readArchive(archive), std::runtime_error) << size;
    }
    // The end of what is packed, and a checksum in the directory.
    const qsizetype directory = whole.indexOf("PK\1\2");
    for (const qsizetype at : {directory - 1, directory + 16, directory}) {
        writeFile(archive, QByteArray(whole).replace(at, 1, "\1"));
        EXPECT_THROW(readArchive(archive), std::runtime_error) << at;
    }
}
