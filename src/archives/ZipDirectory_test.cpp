#include "archives/ZipDirectory.h"

#include "platform/posix/Program.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>

using archives::filesInArchive;
using test_support::readFile;
using test_support::writeFile;

namespace {

// The names and sizes; "none" for an archive that is not whole.
std::vector<std::string> listed(const std::filesystem::path &archive) {
    std::error_code error;
    const auto files = filesInArchive(archive, error);
    std::vector<std::string> lines;
    for (const auto &[name, bytes] : files.value_or(std::vector<archives::PackedFile>()))
        lines.push_back(name.toStdString() + " " + std::to_string(bytes));
    return files ? lines : std::vector<std::string>{"none"};
}

} // namespace

TEST(ZipDirectoryTest, ListsAWholeArchiveAndNothingOfAnyPartOfOne) {
    const test_support::ScratchFolder folder;
    writeFile(folder.path() / "Lumadoc/ä b.log", QByteArray(100'000, 'x'));
    writeFile(folder.path() / "Lumadoc/empty.txt", "");
    const auto archive = folder.path() / "a.zip";
    ASSERT_EQ(platform::runProgram({.path = "/usr/bin/zip",
                                    .arguments = {"-q", "-r", archive.native(), "Lumadoc"},
                                    .workingFolder = folder.path()}),
              0);
    EXPECT_THAT(listed(archive),
                testing::UnorderedElementsAre("Lumadoc/ 0", "Lumadoc/ä b.log 100000", "Lumadoc/empty.txt 0"));
    const QByteArray whole = readFile(archive);
    for (qsizetype bytes = 0; bytes < whole.size(); ++bytes) {
        writeFile(archive, whole.first(bytes));
        EXPECT_EQ(listed(archive), std::vector<std::string>{"none"}) << bytes;
    }
    // Whatever is damaged: no entry goes beyond the directory.
    const qsizetype directory = whole.indexOf("PK\1\2");
    for (qsizetype place = directory; place < whole.size(); ++place) {
        QByteArray damaged = whole;
        damaged[place] = static_cast<char>(~damaged[place]);
        writeFile(archive, damaged);
        EXPECT_LE(listed(archive).size(), 3U) << place;
    }
    EXPECT_EQ(listed(folder.path() / "missing"), std::vector<std::string>{"none"});
    EXPECT_EQ(listed(folder.path()), std::vector<std::string>{"none"});
}
