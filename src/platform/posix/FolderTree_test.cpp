#include "platform/posix/FolderTree.h"

#include "test_support/Isolation.h"
#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

using platform::FileDescriptor;
using platform::FileKind;
using platform::FolderWalk;
using std::errc;
using test_support::readFile;
using test_support::writeFile;

class FolderTree : public testing::Test {
protected:
    FileDescriptor open(const fs::path &path) { return platform::openFolder(path, error); }
    bool remove(const std::string &name) { return platform::removeTree(top, name, error); }

    test_support::ScratchFolder folder;
    std::error_code error;
    FileDescriptor top = open(folder.path());
    fs::path outside = folder.path() / "outside";
    fs::path tree = folder.path() / "tree";
};

TEST_F(FolderTree, OpensAndMakesFoldersByTheirNamesAndNothingElse) {
    writeFile(folder.path() / "file", "x");
    fs::create_directory(outside);
    fs::create_symlink("outside", folder.path() / "link");
    const std::pair<const char *, errc> refused[] = {
        {"file", errc::not_a_directory}, {"link", errc::not_a_directory},
        {"..", errc::invalid_argument},  {".", errc::invalid_argument},
        {"", errc::invalid_argument},    {"outside/..", errc::invalid_argument}};
    for (const auto &[name, reason] : refused) {
        EXPECT_FALSE(platform::openFolder(top, name, error));
        EXPECT_EQ(error, reason) << name;
        EXPECT_FALSE(platform::makeFolder(top, name, error));
        EXPECT_EQ(error, reason) << name;
        if (reason != errc::invalid_argument)
            continue;
        EXPECT_EQ(platform::kindOf(top, name, error), std::nullopt);
        EXPECT_EQ(error, reason) << name;
    }
    for (int time = 0; time < 2; ++time) {
        EXPECT_TRUE(platform::makeFolder(top, "new", error));
        EXPECT_FALSE(error);
    }
    EXPECT_EQ(fs::status(folder.path() / "new").permissions(), fs::perms(0700));
    EXPECT_EQ(platform::kindOf(top, "link", error), FileKind::link);
    EXPECT_EQ(platform::kindOf(top, "missing", error), std::nullopt);
    EXPECT_EQ(platform::entriesOf(top, error).size(), 4U);
}

TEST_F(FolderTree, IsRemovedWithLinksButNotWhatTheyLeadTo) {
    writeFile(outside / "precious", "precious");
    for (const char *name : {"a/b/c/file", "a/b/other", "z"})
        writeFile(tree / name, "x");
    for (const fs::path &link : {tree / "link", tree / "a/b/link", folder.path() / "link"})
        fs::create_symlink(outside, link);
    ASSERT_EQ(::mkfifo((tree / "pipe").c_str(), 0600), 0);
    for (const char *name : {"tree", "link"})
        EXPECT_TRUE(remove(name)) << error.message();
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
    EXPECT_FALSE(remove("tree"));
    EXPECT_FALSE(error);
    for (const char *name : {"..", ".", "", "outside/precious"}) {
        EXPECT_FALSE(remove(name));
        EXPECT_EQ(error, errc::invalid_argument) << name;
        EXPECT_FALSE(platform::removeEntry(top, name, error));
        EXPECT_EQ(error, errc::invalid_argument) << name;
    }
    EXPECT_EQ(readFile(outside / "precious"), "precious");
}

// A folder that is swapped for a link after it was listed.
TEST_F(FolderTree, IsNotLeftThroughALinkThatTakesThePlaceOfAFolder) {
    writeFile(outside / "secret", "secret");
    fs::create_directories(tree / "sub");
    FolderWalk walk(open(tree));
    ASSERT_EQ(walk.next(error)->kind, FileKind::folder);
    fs::rename(tree / "sub", folder.path() / "moved");
    fs::create_symlink(outside, tree / "sub");
    EXPECT_FALSE(walk.enter(error));
    EXPECT_EQ(error, errc::not_a_directory);
    EXPECT_FALSE(walk.next(error));
    EXPECT_EQ(walk.depth(), 0U);
}

TEST_F(FolderTree, IsWalkedBackTheWayItWasEnteredOrNotAtAll) {
    const std::string way = "1/2/3/4/5/6/7/8/9/10/11/12";
    writeFile(tree / way / "file", "x");
    writeFile(tree / "1/2/other/file", "x");
    for (const bool isMoved : {false, true}) {
        FolderWalk walk(open(tree));
        const auto enter = [&](const std::string &name) {
            while (const auto entry = walk.next(error)) {
                if (entry->name == name)
                    return walk.enter(error);
            }
            return false;
        };
        for (const fs::path &name : fs::path(way))
            ASSERT_TRUE(enter(name));
        EXPECT_EQ(walk.path(), way);
        EXPECT_EQ(walk.next(error)->name, "file");
        if (isMoved)
            fs::rename(tree / "1/2/3", outside);
        std::size_t steps = 0;
        while (walk.depth() > 0 && walk.leave(error))
            ++steps;
        EXPECT_EQ(steps, isMoved ? 9U : 12U);
        EXPECT_EQ(error, isMoved ? std::make_error_code(errc::no_such_file_or_directory) : std::error_code());
        if (!isMoved) {
            EXPECT_EQ(walk.current().name, "1");
            EXPECT_FALSE(walk.next(error));
        }
    }
}

TEST_F(FolderTree, IsNotCopiedIntoItself) {
    writeFile(tree / "deep/er/file", "x");
    const auto inside = open(tree / "deep/er");
    const auto copy = platform::copyTree(tree, inside, "copy");
    EXPECT_EQ(copy.error, errc::invalid_argument);
    EXPECT_EQ(readFile(tree / "deep/er/copy/deep/er/file"), "x");
    EXPECT_TRUE(fs::is_empty(tree / "deep/er/copy/deep/er/copy"));
}

TEST_F(FolderTree, LosesOnlyWhatDoesNotFitOnADisk) {
    ASSERT_TRUE(test_support::hasOwnNamespaces());
    for (int i = 0; i < 20; ++i)
        writeFile(tree / ("folder" + std::to_string(i)) / "small", "small");
    writeFile(tree / "folder3/big", QByteArray(2 << 20, 'x'));
    fs::create_directory(outside);
    const auto disk = test_support::Mount::memory(outside, 1 << 20);
    const auto copy = platform::copyTree(tree, open(outside), "copy");
    EXPECT_EQ(copy.error, errc::no_space_on_device);
    EXPECT_FALSE(fs::exists(outside / "copy/folder3/big"));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(readFile(outside / "copy" / ("folder" + std::to_string(i)) / "small"), "small");
}

// With few descriptors, a small stack and little memory.
TEST_F(FolderTree, MayBeAnyNumberOfLevelsDeep) {
    ASSERT_TRUE(test_support::hasOwnNamespaces());
    constexpr int levels = 100'000;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    // It holds on to what was given back.
    constexpr long roomBytes = 600 << 20;
#else
    constexpr long roomBytes = 24 << 20;
#endif
    // A disk would take minutes to make so many folders.
    const auto disk = test_support::Mount::memory(folder.path(), 1 << 20);
    top = open(folder.path());
    const auto makeDeep = [&] {
        FileDescriptor level = platform::makeFolder(top, "tree", error);
        for (int i = 0; i < levels; ++i)
            level = platform::makeFolder(level, "d", error);
        return platform::makeFolder(level, "end", error) && !error;
    };
    const auto depth = [&](const char *name) {
        FileDescriptor level = platform::openFolder(top, name, error);
        int count = -1;
        for (; level; ++count)
            level = platform::openFolder(level, "d", error);
        return count;
    };
    const auto limit = [](int resource, rlim_t most) {
        const struct rlimit few = {most, most};
        return ::setrlimit(resource, &few) == 0;
    };
    ASSERT_TRUE(makeDeep());
    EXPECT_EQ(test_support::statusInChild([&] {
                  struct rusage before {};
                  struct rusage after {};
                  ::getrusage(RUSAGE_SELF, &before);
                  limit(RLIMIT_NOFILE, 64);
                  const auto copy = platform::copyTree(tree, top, "copy");
                  if (copy.error || depth("copy") != levels)
                      return 1;
                  if (!remove("copy") || !remove("tree"))
                      return 2;
                  ::getrusage(RUSAGE_SELF, &after);
                  return (after.ru_maxrss - before.ru_maxrss) * 1024 < roomBytes ? 0 : 3;
              }),
              test_support::exited(0));
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

} // namespace
