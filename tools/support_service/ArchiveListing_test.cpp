// Listings of archives that the system's own zip makes, and of damaged ones.
#include "ArchiveListing.h"

#include "../ProgramRun.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace support_service::test {

namespace {

class ArchiveListing : public testing::Test {
protected:
    ArchiveListing() {
        fs::create_directories(folder.path / "in/sub folder");
        write(folder.path / "in/a.log", std::string(1000, 'a'));
        write(folder.path / "in/sub folder/b.txt", "b");
        write(folder.path / "in/empty.json", "");
        fs::create_symlink("/etc/passwd", folder.path / "in/link");
    }

    static void write(const fs::path &path, const std::string &content) {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    }

    std::string zip(const std::string &options) {
        tools::ProgramRun program(
            {"/bin/sh", "-c",
             "cd '" + folder.path.string() + "' && /usr/bin/zip -q " + options + " out.zip in"},
            folder.path);
        EXPECT_EQ(program.wait(), 0) << program.errors();
        std::ifstream file(archive(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    fs::path archive() const { return folder.path / "out.zip"; }

    /// What listing this archive says is wrong; empty when nothing is.
    std::string problemOf(const std::string &bytes) {
        write(archive(), bytes);
        std::string problem;
        const auto entries = listArchive(archive(), problem);
        EXPECT_EQ(entries.has_value(), problem.empty());
        return problem;
    }

    tools::ScratchFolder folder;
};

} // namespace

TEST_F(ArchiveListing, NamesEveryEntry) {
    zip("-r -y");
    std::string problem;
    const auto entries = listArchive(archive(), problem);
    ASSERT_TRUE(entries) << problem;

    std::vector<std::string> seen;
    for (const ArchiveEntry &entry : *entries)
        seen.push_back(entry.name + " " + std::to_string(entry.sizeBytes) +
                       (entry.isFolder ? " folder" : "") + (entry.isLink ? " link" : ""));
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(seen,
              (std::vector<std::string>{"in/ 0 folder", "in/a.log 1000", "in/empty.json 0", "in/link 11 link",
                                        "in/sub folder/ 0 folder", "in/sub folder/b.txt 1"}));
}

TEST_F(ArchiveListing, FindsTheEndBehindAComment) {
    const std::string plain = zip("-r -y");
    std::string commented = plain;
    const std::string comment = "PK\5\6 looks like the end, and is none.";
    commented[commented.size() - 2] = static_cast<char>(comment.size());
    EXPECT_EQ(problemOf(commented + comment), "");
}

TEST_F(ArchiveListing, SurvivesEveryDamage) {
    const std::string whole = zip("-r -y");
    EXPECT_EQ(problemOf(whole), "");
    EXPECT_EQ(problemOf(""), "this is no zip archive: it has no end record");
    EXPECT_EQ(problemOf(std::string(70'000, 'x')), "this is no zip archive: it has no end record");
    for (std::size_t size = 0; size < whole.size(); size += 7)
        EXPECT_NE(problemOf(whole.substr(0, size)), "");

    // The end record: 10 number of entries, 12 size of the directory, 16 its place.
    const std::size_t end = whole.size() - 22;
    const auto damaged = [&](std::size_t at, const std::string &bytes) {
        return std::string(whole).replace(at, bytes.size(), bytes);
    };
    EXPECT_EQ(problemOf(damaged(end + 10, "\xff\xff")), "the archive has too many entries");
    EXPECT_EQ(problemOf(damaged(end + 10, "\xff\x7f")), "the directory is damaged");
    EXPECT_EQ(problemOf(damaged(end + 12, "\xff\xff\xff\xff")), "the directory lies outside the archive");
    EXPECT_EQ(problemOf(damaged(end + 16, "\xff\xff\xff\x7f")), "the directory lies outside the archive");
    EXPECT_EQ(problemOf(damaged(whole.find("PK\1\2") + 28, "\xff\xff")), "the directory is damaged");
    // The last entry's comment would reach past the directory.
    EXPECT_EQ(problemOf(damaged(whole.rfind("PK\1\2") + 32, "\1")), "the directory is damaged");
    for (std::size_t at = 0; at < whole.size(); ++at)
        problemOf(damaged(at, "\xff"));
}

TEST_F(ArchiveListing, SaysThatThereIsNoFile) {
    std::string problem;
    EXPECT_FALSE(listArchive(folder.path / "none", problem));
    EXPECT_EQ(problem, "the file cannot be read");
    problem.clear();
    EXPECT_FALSE(listArchive(folder.path, problem));
    EXPECT_NE(problem, "");
}

} // namespace support_service::test
