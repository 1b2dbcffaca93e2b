#include "platform/linux/helpers/system_profiler/Reader.h"

#include "test_support/TestMachine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using namespace test_support;

class Reading : public testing::Test {
protected:
    fs::path write(const fs::path &name, const QByteArray &content = {}) const {
        writeFile(m_folder.path() / name, content);
        return m_folder.path() / name;
    }
    std::string kind(const QByteArray &content) {
        return m_reader.kindOf(write("program", content)).toStdString();
    }

    ScratchFolder m_folder;
    Reader m_reader;
};

TEST_F(Reading, ListsAFolderInTheOrderOfTheNamesBytes) {
    std::vector<fs::path> expected;
    for (const char *name : {"B", "a", "a-", "b", "\xff"})
        expected.push_back(write(name));
    EXPECT_EQ(m_reader.entriesOf(m_folder.path()), expected);
    EXPECT_TRUE(m_reader.entriesOf(m_folder.path() / "none").empty());
    EXPECT_TRUE(m_reader.entriesOf(m_folder.path() / "a").empty());
    EXPECT_TRUE(m_reader.notRead().empty());
    fs::create_symlink("loop", m_folder.path() / "loop");
    EXPECT_TRUE(m_reader.entriesOf(m_folder.path() / "loop").empty());
    EXPECT_EQ(m_reader.notRead().at(m_folder.path() / "loop"),
              QStringLiteral("Too many levels of symbolic links"));
}

TEST_F(Reading, EndsAtTheLimitsOfTheWholeReport) {
    const fs::path folder = write("1/a", QByteArray(6, 'x')).parent_path();
    write("1/b", QByteArray(6, 'x'));
    write("1/c", QByteArray(9, 'x'));
    Reader reader({.folderEntries = 5, .fileBytes = 8, .totalBytes = 10});
    EXPECT_EQ(reader.entriesOf(folder).size(), 3U);
    EXPECT_EQ(reader.entriesOf(folder).size(), 2U);
    EXPECT_TRUE(reader.read(folder / "a"));
    EXPECT_FALSE(reader.read(folder / "b"));
    EXPECT_FALSE(reader.read(folder / "c"));
    EXPECT_EQ(reader.notRead(),
              (std::map<std::string, QString>{{folder, QStringLiteral("comes after 5 entries of folders")},
                                              {folder / "b", QStringLiteral("comes after 10 bytes of files")},
                                              {folder / "c", QStringLiteral("File too large")}}));
}

TEST_F(Reading, KeepsTheFirstReasonForAPath) {
    m_reader.note("/a", QStringLiteral("first"));
    m_reader.note("/a", QStringLiteral("second"));
    EXPECT_EQ(m_reader.notRead(), (std::map<std::string, QString>{{"/a", QStringLiteral("first")}}));
}

TEST_F(Reading, TellsTheKindOfAProgramByItsFirstBytes) {
    const std::vector<std::pair<QByteArray, std::string>> kinds = {
        {elfHeader(2, 1, 62), "64-bit x86-64"},
        {elfHeader(1, 1, 62), "32-bit x86-64"},
        {elfHeader(1, 1, 3), "32-bit x86"},
        {elfHeader(2, 1, 183), "64-bit ARM"},
        {elfHeader(1, 1, 40), "32-bit ARM"},
        {elfHeader(2, 1, 243), "64-bit RISC-V"},
        {elfHeader(2, 1, 258), "64-bit LoongArch"},
        {elfHeader(2, 2, 22), "64-bit S/390"},
        {elfHeader(2, 1, 4660), "64-bit machine 4660"},
        {"#!/bin/sh\necho\n", "Script (/bin/sh)"},
        {"#! /usr/bin/env python3 \r\nimport x", "Script (/usr/bin/env python3)"},
        {"#!/bin/sh", "Script (/bin/sh)"},
        {"#!\n", "Script"},
        {"", ""},
        {"text", ""}};
    for (const auto &[content, expected] : kinds)
        EXPECT_EQ(kind(content), expected);
    EXPECT_EQ(m_reader.kindOf(m_folder.path() / "none"), QString());
    EXPECT_TRUE(m_reader.notRead().empty());
}

TEST_F(Reading, NotesABrokenProgram) {
    std::vector<QByteArray> broken = {elfHeader(3), elfHeader(2, 3), elfHeader(2, 0)};
    for (int length = 4; length < 64; ++length)
        broken.push_back(elfHeader().left(length));
    for (const QByteArray &content : broken) {
        m_reader = Reader();
        EXPECT_EQ(kind(content), "");
        EXPECT_EQ(m_reader.notRead().at(m_folder.path() / "program"), QStringLiteral("a damaged ELF header"));
    }
    const fs::path pipe = m_folder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0700), 0);
    EXPECT_EQ(m_reader.kindOf(pipe), QString());
    EXPECT_EQ(m_reader.notRead().at(pipe), QStringLiteral("not a regular file"));
}

TEST_F(Reading, TellsWhenALinksTargetWasModified) {
    const struct timespec times[2] = {{1000, 0}, {1'000'000'000, 999'999'999}};
    ASSERT_EQ(::utimensat(AT_FDCWD, write("file").c_str(), times, 0), 0);
    fs::create_symlink("file", m_folder.path() / "link");
    EXPECT_EQ(modificationTime(m_folder.path() / "link"),
              std::chrono::sys_seconds(std::chrono::seconds(1'000'000'000)));
    EXPECT_FALSE(modificationTime(m_folder.path() / "none"));
}

} // namespace

} // namespace system_profiler
