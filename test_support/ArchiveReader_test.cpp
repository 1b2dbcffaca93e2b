// Archives that the system's own zip makes, and damaged ones.
#include "test_support/ArchiveReader.h"

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>

using namespace test_support;

namespace {

class ArchiveReader : public testing::Test {
protected:
    ArchiveReader() {
        writeFile(folder.path() / "in/a.log", QByteArray(1000, 'a'));
        writeFile(folder.path() / "in/sub folder/b.txt", "b");
        std::filesystem::create_symlink("/etc/passwd", folder.path() / "in/link");
        ProgramRun zip({.program = "/usr/bin/zip",
                        .arguments = {"-q", "-r", "-y", archive, "in"},
                        .workingFolder = folder.path()});
        EXPECT_EQ(zip.waitForEnd(), exited(0));
        whole = readFile(archive);
    }

    // What is wrong with these bytes as an archive; empty when nothing is.
    std::string problemOf(const QByteArray &bytes) const {
        writeFile(archive, bytes);
        try {
            readArchive(archive);
        } catch (const std::runtime_error &problem) {
            return problem.what();
        }
        return {};
    }
    QByteArray damaged(qsizetype at, const QByteArray &bytes) const {
        return QByteArray(whole).replace(at, bytes.size(), bytes);
    }

    const ScratchFolder folder;
    const std::string archive = folder.path() / "out.zip";
    QByteArray whole;
};

} // namespace

TEST_F(ArchiveReader, UnpacksEveryItem) {
    std::vector<std::string> seen;
    for (const auto &[name, item] : listArchive(archive))
        seen.push_back(name + " " + item.content.substr(0, 12) + (item.isFolder() ? "folder" : "") +
                       (item.isLink() ? " link" : ""));
    EXPECT_THAT(seen,
                testing::UnorderedElementsAre("in/ folder", "in/a.log aaaaaaaaaaaa", "in/sub folder/ folder",
                                              "in/sub folder/b.txt b", "in/link /etc/passwd link"));
    EXPECT_EQ(readArchive(archive).at("in/a.log").content, std::string(1000, 'a'));
}

TEST_F(ArchiveReader, FindsTheEndBeforeAComment) {
    const QByteArray comment("PK\5\6 looks like the end, and is not.");
    whole[whole.size() - 2] = static_cast<char>(comment.size());
    EXPECT_EQ(problemOf(whole + comment), "");
}

TEST_F(ArchiveReader, SurvivesEveryDamage) {
    EXPECT_EQ(problemOf(whole), "");
    EXPECT_EQ(problemOf(""), "this is no zip archive: it has no end record");
    EXPECT_EQ(problemOf(QByteArray(70'000, 'x')), "this is no zip archive: it has no end record");
    for (qsizetype size = 0; size < whole.size(); size += 7)
        EXPECT_NE(problemOf(whole.first(size)), "") << size;

    // The end record: 10 number of entries, 16 place of the directory.
    const qsizetype end = whole.size() - 22;
    EXPECT_NE(problemOf(damaged(end + 10, "\xff\x7f")), "");
    EXPECT_EQ(problemOf(damaged(end + 16, "\xff\xff\xff\x7f")), "the archive ends too early");
    const qsizetype entry = whole.indexOf("PK\1\2");
    EXPECT_EQ(problemOf(damaged(entry, "PP")), "the archive's directory is damaged");
    EXPECT_EQ(problemOf(damaged(entry + 28, "\xff\xff")), "the archive ends too early");
    EXPECT_EQ(problemOf(damaged(entry + 16, "\1")), "an item of the archive has the wrong checksum");
    // Sizes are left alone: they would take gigabytes of memory.
    for (qsizetype at = 0; at < entry; ++at)
        problemOf(damaged(at, "\xff"));
}
