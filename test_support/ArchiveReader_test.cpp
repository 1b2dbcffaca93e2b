// That no damage goes unseen. What an archive holds is compared in the tests of packing.
#include "test_support/ArchiveReader.h"

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

using namespace test_support;

TEST(ArchiveReader, RefusesEveryDamage) {
    const ScratchFolder folder;
    const auto archive = folder.path() / "out.zip";
    writeFile(folder.path() / "a.log", QByteArray(1000, 'a'));
    ProgramRun zip(
        {.program = "/usr/bin/zip", .arguments = {archive, "a.log"}, .workingFolder = folder.path()});
    EXPECT_EQ(zip.waitForEnd(), exited(0));
    const QByteArray whole = readFile(archive);
    // What is packed, the directory, and a checksum in it.
    const qsizetype directory = whole.indexOf("PK\1\2");
    for (const qsizetype at : {directory - 1, directory, directory + 16}) {
        writeFile(archive, QByteArray(whole).replace(at, 1, "\1"));
        EXPECT_THROW(readArchive(archive), std::runtime_error) << at;
    }
    writeFile(archive, whole.chopped(1));
    EXPECT_THROW(readArchive(archive), std::runtime_error);
}
