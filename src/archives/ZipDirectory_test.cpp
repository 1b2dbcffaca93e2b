#include "archives/ZipDirectory.h"

#include "platform/posix/Program.h"
#include "test_support/ScratchHome.h"

#include <QDataStream>
#include <QFile>
#include <gmock/gmock.h>

using archives::filesInArchive;
using test_support::readFile;
using test_support::writeFile;

namespace {

constexpr quint64 fiveGiB = quint64{5} << 30;
constexpr quint32 tooLarge = 0xffffffff;

// The names and sizes; "none" for an archive that is not whole.
std::vector<std::string> listed(const std::filesystem::path &archive) {
    std::error_code error;
    const auto files = filesInArchive(archive, error);
    std::vector<std::string> lines;
    for (const auto &[name, bytes] : files.value_or(std::vector<archives::PackedFile>()))
        lines.push_back(name.toStdString() + " " + std::to_string(bytes));
    return files ? lines : std::vector<std::string>{"none"};
}

// The end of an archive with one file of 5 GiB, whose directory begins at 5 GiB, as zip writes it.
QByteArray endOfLargeArchive() {
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setByteOrder(QDataStream::LittleEndian);
    const auto write = [&](const QByteArray &text) { out.writeRawData(text.constData(), int(text.size())); };
    const QByteArray name = "Lumadoc/large.log";
    write("PK\1\2" + QByteArray(16, '\0'));
    out << tooLarge << tooLarge << quint16(name.size()) << quint16(5 + 28) << quint16(0);
    write(QByteArray(8, '\0'));
    out << tooLarge;
    // An extra field of another kind comes first.
    write(name + "UT" + QByteArray("\1\0x", 3));
    out << quint16(1) << quint16(24) << fiveGiB << fiveGiB << quint64(0);
    const auto directoryBytes = quint64(bytes.size());
    write("PK\6\6");
    out << quint64(44) << quint16(45) << quint16(45) << quint64(0) << quint64(1) << quint64(1)
        << directoryBytes << fiveGiB;
    write("PK\6\7");
    out << quint32(0) << fiveGiB + directoryBytes << quint32(1);
    write("PK\5\6");
    out << quint32(0) << quint16(1) << quint16(1) << quint32(directoryBytes) << tooLarge << quint16(0);
    return bytes;
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

TEST(ZipDirectoryTest, ListsArchivesAndFilesOfMoreThanFourGiB) {
    const test_support::ScratchFolder folder;
    const auto archive = folder.path() / "a.zip";
    const QByteArray end = endOfLargeArchive();
    const auto writeAfterHole = [&](const QByteArray &bytes) {
        QFile file(archive);
        return file.open(QIODevice::WriteOnly) && file.seek(qint64(fiveGiB)) &&
               file.write(bytes) == bytes.size();
    };
    ASSERT_TRUE(writeAfterHole(end));
    EXPECT_EQ(listed(archive), std::vector<std::string>{"Lumadoc/large.log 5368709120"});
    for (qsizetype place = 0; place < end.size(); ++place) {
        QByteArray damaged = end;
        damaged[place] = static_cast<char>(~damaged[place]);
        ASSERT_TRUE(writeAfterHole(damaged));
        EXPECT_LE(listed(archive).size(), 1U) << place;
        ASSERT_TRUE(writeAfterHole(end.first(place)));
        EXPECT_EQ(listed(archive), std::vector<std::string>{"none"}) << place;
    }
}
