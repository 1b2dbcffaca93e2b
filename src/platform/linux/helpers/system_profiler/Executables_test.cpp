#include "platform/linux/helpers/system_profiler/Executables.h"

#include "platform/linux/helpers/system_profiler/TestMachine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

std::string kind(const QByteArray &beginning) {
    QString problem;
    const QString result = kindOf(beginning, problem);
    return problem.isEmpty() ? result.toStdString() : "problem: " + problem.toStdString();
}

// An ELF header of this class (1: 32 bits, 2: 64 bits), byte order (1: little, 2: big) and machine.
QByteArray header(char wordClass, char order, int machine) {
    QByteArray result = elfHeader();
    result[4] = wordClass;
    result[5] = order;
    result[order == 1 ? 18 : 19] = static_cast<char>(machine & 0xff);
    result[order == 1 ? 19 : 18] = static_cast<char>(machine >> 8);
    return wordClass == 1 ? result.left(52) : result;
}

TEST(Executables, AreOfTheArchitectureThatTheirHeaderNames) {
    EXPECT_EQ(kind(header(2, 1, 62)), "64-bit x86-64");
    EXPECT_EQ(kind(header(1, 1, 62)), "32-bit x86-64");
    EXPECT_EQ(kind(header(1, 1, 3)), "32-bit x86");
    EXPECT_EQ(kind(header(2, 1, 183)), "64-bit ARM");
    EXPECT_EQ(kind(header(1, 1, 40)), "32-bit ARM");
    EXPECT_EQ(kind(header(2, 1, 243)), "64-bit RISC-V");
    EXPECT_EQ(kind(header(2, 1, 258)), "64-bit LoongArch");
    EXPECT_EQ(kind(header(2, 2, 22)), "64-bit S/390");
    EXPECT_EQ(kind(header(2, 1, 4660)), "64-bit machine 4660");
}

TEST(Executables, AreScriptsOfTheirInterpreter) {
    EXPECT_EQ(kind("#!/bin/sh\necho\n"), "Script (/bin/sh)");
    EXPECT_EQ(kind("#! /usr/bin/env python3 \r\nimport x"), "Script (/usr/bin/env python3)");
    EXPECT_EQ(kind("#!/bin/sh"), "Script (/bin/sh)");
    EXPECT_EQ(kind("#!\n"), "Script");
}

TEST(Executables, OfNoKnownKindTellNothing) {
    EXPECT_EQ(kind(""), "");
    EXPECT_EQ(kind("text"), "");
    EXPECT_EQ(kind(QByteArray("\0\0\0\0", 4)), "");
}

TEST(Executables, WithABrokenHeaderAreAProblem) {
    for (int length = 4; length < 64; ++length)
        EXPECT_EQ(kind(elfHeader().left(length)), "problem: the ELF header breaks off") << length;
    EXPECT_EQ(kind(header(1, 1, 3).left(51)), "problem: the ELF header breaks off");
    EXPECT_EQ(kind(header(3, 1, 62)), "problem: the ELF header is damaged");
    EXPECT_EQ(kind(header(2, 3, 62)), "problem: the ELF header is damaged");
    EXPECT_EQ(kind(header(2, 0, 62)), "problem: the ELF header is damaged");
}

TEST(Executables, AreDescribedBehindLinks) {
    const test_support::ScratchFolder folder;
    writeProgram(folder.path() / "program");
    const struct timespec times[2] = {{1000, 0}, {1'000'000'000, 999'999'999}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (folder.path() / "program").c_str(), times, 0), 0);
    fs::create_symlink("program", folder.path() / "link");
    const Executable executable = describeExecutable(folder.path() / "link");
    EXPECT_EQ(executable.kind, QStringLiteral("64-bit x86-64"));
    EXPECT_EQ(executable.modified, std::chrono::sys_seconds(std::chrono::seconds(1'000'000'000)));
    EXPECT_EQ(executable.problem, QString());
    EXPECT_FALSE(executable.error);
}

TEST(Executables, ThatAreNoFilesAreAnError) {
    const test_support::ScratchFolder folder;
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), 0700), 0);
    EXPECT_EQ(describeExecutable(folder.path() / "pipe").error, std::errc::invalid_argument);
    EXPECT_TRUE(describeExecutable(folder.path() / "pipe").modified);
    EXPECT_EQ(describeExecutable(folder.path()).error, std::errc::is_a_directory);
    EXPECT_EQ(describeExecutable(folder.path() / "none").error, std::errc::no_such_file_or_directory);
    EXPECT_FALSE(describeExecutable(folder.path() / "none").modified);
}

} // namespace

} // namespace system_profiler
