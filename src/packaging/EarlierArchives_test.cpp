#include "packaging/EarlierArchives.h"

#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using FilesPathDirectory::keepArchivesOfEarlierRuns;
using test_support::readFile;
using test_support::writeFile;

class EarlierArchivesTest : public testing::Test {
protected:
    test_support::ScratchHome home;
    fs::path log = test_support::startLog();
    fs::path scratch = home.path() / "temp";
    fs::path runFolders = home.path() / "Output";
    fs::path recovered = runFolders / "Recovered";
    fs::path own = "lumaMacLog_own_cef.zip";
    fs::path earlier = "lumaMacLog_earlier_cef.zip";
};

TEST_F(EarlierArchivesTest, AnArchiveThatStandsNowhereElseIsKept) {
    writeFile(scratch / earlier, "archive");
    writeFile(scratch / own, "own");
    keepArchivesOfEarlierRuns(scratch, runFolders, own);
    EXPECT_EQ(readFile(recovered / earlier), "archive");
    EXPECT_TRUE(fs::exists(scratch / own));
    EXPECT_EQ(test_support::logLines(log),
              QStringList{QStringLiteral("INFO: Archive of an earlier run kept: ") +
                          QString::fromStdString((recovered / earlier).native())});
}

TEST_F(EarlierArchivesTest, OneThatIsWholeInItsRunFolderIsLeft) {
    writeFile(scratch / earlier, "archive");
    writeFile(runFolders / "20200101000000" / earlier, "archive");
    keepArchivesOfEarlierRuns(scratch, runFolders, own);
    EXPECT_FALSE(fs::exists(recovered));
    EXPECT_FALSE(fs::exists(log));
}

TEST_F(EarlierArchivesTest, AnUnfinishedCopyInTheRunFolderDoesNotCount) {
    writeFile(scratch / earlier, "archive");
    writeFile(runFolders / "20200101000000" / earlier, "arch");
    keepArchivesOfEarlierRuns(scratch, runFolders, own);
    EXPECT_EQ(readFile(recovered / earlier), "archive");
}

TEST_F(EarlierArchivesTest, WhatZipLeftUnfinishedIsNotKept) {
    writeFile(scratch / "ziAbCdEf", "part of an archive");
    keepArchivesOfEarlierRuns(scratch, runFolders, own);
    EXPECT_FALSE(fs::exists(recovered));
}

TEST_F(EarlierArchivesTest, AMissingScratchFolderIsNothing) {
    keepArchivesOfEarlierRuns(scratch, runFolders, own);
    EXPECT_FALSE(fs::exists(runFolders));
}

TEST_F(EarlierArchivesTest, AnArchiveInASharedRunFolderIsKeptThoughItStandsInARunFolder) {
    writeFile(runFolders / "20200101000000" / earlier, "archive");
    keepArchivesOfEarlierRuns(runFolders / "20200101000000", runFolders, own);
    EXPECT_EQ(readFile(recovered / earlier), "archive");
    EXPECT_FALSE(fs::exists(runFolders / "20200101000000" / earlier));
}

} // namespace
