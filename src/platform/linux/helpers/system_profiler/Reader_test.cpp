#include "platform/linux/helpers/system_profiler/Reader.h"

#include "test_support/ProgramRun.h"
#include "test_support/TestMachine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using namespace test_support;
using Notes = std::map<std::string, std::string>;

class Reading : public testing::Test {
protected:
    std::string write(const std::string &name, const QByteArray &content = {}) const {
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
        expected.emplace_back(write(name));
    EXPECT_EQ(m_reader.entriesOf(m_folder.path()), expected);
    EXPECT_TRUE(m_reader.entriesOf(m_folder.path() / "none").empty());
    EXPECT_TRUE(m_reader.entriesOf(m_folder.path() / "a").empty());
    EXPECT_EQ(texts(m_reader.notRead()), Notes());
    const fs::path loop = m_folder.path() / "loop";
    fs::create_symlink("loop", loop);
    EXPECT_TRUE(m_reader.entriesOf(loop).empty());
    EXPECT_EQ(texts(m_reader.notRead()), (Notes{{loop, "Too many levels of symbolic links"}}));
}

TEST_F(Reading, EndsAtTheLimitsOfTheWholeReport) {
    const std::string a = write("a", QByteArray(6, 'x'));
    const std::string b = write("b", QByteArray(6, 'x'));
    const std::string c = write("c", QByteArray(9, 'x'));
    Reader reader({.folderEntries = 5, .fileBytes = 8, .totalBytes = 10});
    EXPECT_EQ(reader.entriesOf(m_folder.path()).size(), 3U);
    EXPECT_EQ(reader.entriesOf(m_folder.path()).size(), 2U);
    EXPECT_TRUE(reader.read(a));
    EXPECT_FALSE(reader.read(b) || reader.read(c));
    reader.note(c, QStringLiteral("a later reason"));
    EXPECT_EQ(texts(reader.notRead()), (Notes{{m_folder.path(), "comes after 5 entries of folders"},
                                              {b, "comes after 10 bytes of files"},
                                              {c, "File too large"}}));
}

TEST_F(Reading, TellsTheKindOfAProgramByItsFirstBytes) {
    const std::pair<QByteArray, const char *> kinds[] = {
        {elfHeader(2, 1, 62), "64-bit x86-64"},
        {elfHeader(1, 1, 3), "32-bit x86"},
        {elfHeader(2, 1, 4660), "64-bit machine 4660"},
        {elfHeader().left(4), "32-bit machine 0"},
        {"#!/bin/sh\necho\n", "Script (/bin/sh)"},
        {"#! /usr/bin/env python3 \r\nimport x", "Script (/usr/bin/env python3)"},
        {"#!\n", "Script"},
        {"", ""},
        {"text", ""},
    };
    for (const auto &[content, expected] : kinds)
        EXPECT_EQ(kind(content), expected);
    const std::string pipe = m_folder.path() / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0700), 0);
    EXPECT_EQ(m_reader.kindOf(pipe) + m_reader.kindOf(m_folder.path() / "none"), QString());
    EXPECT_EQ(texts(m_reader.notRead()), (Notes{{pipe, "not a regular file"}}));
}

TEST_F(Reading, TellsWhenALinksTargetWasModified) {
    const struct timespec times[2] = {{1000, 0}, {1'000'000'000, 999'999'999}};
    ASSERT_EQ(::utimensat(AT_FDCWD, write("file").c_str(), times, 0), 0);
    fs::create_symlink("file", m_folder.path() / "link");
    EXPECT_EQ(modificationTime(m_folder.path() / "link").toSecsSinceEpoch(), 1'000'000'000);
    EXPECT_FALSE(modificationTime(m_folder.path() / "none").isValid());
}

// What root may read says nothing of what an ordinary user may.
TEST_F(Reading, NotesWhatAnOrdinaryUserMayNot) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "this test needs root";
    fs::permissions(m_folder.path(), fs::perms::all);
    const std::string file = write("file");
    const std::string secret = write("secret", elfHeader());
    const std::string inner = m_folder.path() / "inner";
    fs::create_directory(inner);
    for (const std::string &closed : {file, secret, inner})
        fs::permissions(closed, fs::perms::none);
    const auto read = [&] {
        Reader reader;
        const bool isNothingRead = ::setuid(65'534) == 0 && !reader.read(file) &&
                                   reader.entriesOf(inner).empty() && reader.kindOf(secret).isEmpty();
        const std::string denied = "Permission denied";
        const Notes notes{{file, denied}, {inner, denied}, {secret, denied}};
        return isNothingRead && texts(reader.notRead()) == notes ? EXIT_SUCCESS : EXIT_FAILURE;
    };
    EXPECT_EQ(statusInChild(read), EXIT_SUCCESS);
}

} // namespace

} // namespace system_profiler
