// Log folders that cannot be read in full, or that change while they are copied.
#include "tests/SilentRun.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;

class Sources : public SilentRun {
protected:
    // The one line of the log that tells of the copying of the log folder; empty when there is none.
    std::string copyingLog() const {
        const std::string text = log();
        const std::string begin = "INFO: Directory created: RUN/Lumadoc\n";
        const std::size_t from = text.find(begin) + begin.size();
        return text.substr(from, text.find("INFO: Total [\"lumacef\"]") - from);
    }

    fs::path copiedLogs() const { return runFolder() / "Lumadoc/LumaLog"; }
};

// A user who is not root and so can be kept out.
class OtherUser : public Sources {
protected:
    static constexpr uid_t user = 12'345;

    void SetUp() override {
        if (!canRunAs(user))
            GTEST_SKIP() << "this user cannot run the program as somebody else";
        product = install();
    }

    // Makes everything that user's own, with what the user needs to trust the service.
    ProgramOptions asUser() {
        fs::create_directories(root());
        fs::copy_file(service.certificateFile(), home.path() / "authority.pem");
        (void)!::lchown(home.path().c_str(), user, user);
        for (const auto &entry : fs::recursive_directory_iterator(home.path()))
            EXPECT_EQ(::lchown(entry.path().c_str(), user, user), 0);
        auto options = program();
        options.user = user;
        options.variables[0].second = (home.path() / "authority.pem").native();
        return options;
    }

    sample_product::SampleProduct product;
};

// Does something over and over in a thread of its own until it goes.
class Busy {
public:
    explicit Busy(std::function<void()> work)
        : m_thread([this, work = std::move(work)] {
            while (!m_stopped)
                work();
        }) {}
    ~Busy() {
        m_stopped = true;
        m_thread.join();
    }
    Busy(const Busy &) = delete;
    Busy &operator=(const Busy &) = delete;

private:
    std::atomic<bool> m_stopped = false;
    std::thread m_thread;
};

} // namespace

TEST_F(OtherUser, SeesAGoodRun) {
    const auto options = asUser();
    const auto before = outside();
    EXPECT_EQ(run(options), exited(0));
    EXPECT_THAT(log(), testing::StartsWith(collectedSmallProduct.substr(
                           0, collectedSmallProduct.find("INFO: Deleted: Lumadoc\n"))));
    EXPECT_EQ(received().size(), 15U);
    expectUnchanged(before);
}

TEST_F(OtherUser, IsToldOnceOfWhatCannotBeReadAndGetsTheRest) {
    writeFile(product.logs / "closed.log", "closed");
    writeFile(product.logs / "closed too.log", "closed");
    writeFile(product.logs / "closed folder/in.log", "in");
    writeFile(product.logs / "no entry/in.log", "in");
    writeFile(product.logs / "services/open.log", "open");
    const auto options = asUser();
    fs::permissions(product.logs / "closed.log", fs::perms::none);
    fs::permissions(product.logs / "closed too.log", fs::perms::none);
    fs::permissions(product.logs / "closed folder", fs::perms::none);
    fs::permissions(product.logs / "no entry", fs::perms::owner_read);
    const auto before = outside();
    EXPECT_EQ(run(options), exited(0));
    EXPECT_EQ(copyingLog(), "ERROR: Error copying LumaLog: Permission denied\n");
    EXPECT_EQ(uploadLog(), sentWell);
    const auto items = received();
    EXPECT_EQ(items.at("Lumadoc/LumaLog/services/open.log").content, "open");
    EXPECT_FALSE(items.contains("Lumadoc/LumaLog/closed.log"));
    EXPECT_FALSE(items.contains("Lumadoc/LumaLog/no entry/in.log"));
    EXPECT_EQ(items.size(), 15U + 1 + 2)
        << "the five readable files, the new one, and the two closed folders, empty";
    expectUnchanged(before);
}

TEST_F(OtherUser, GoesWithoutAFolderThatIsClosed) {
    const auto options = asUser();
    fs::permissions(product.logs, fs::perms::none);
    fs::permissions(product.crashReports, fs::perms::none);
    EXPECT_EQ(run(options), exited(0));
    EXPECT_THAT(log(), testing::HasSubstr("INFO: Directory created: RUN/Lumadoc\n"
                                          "ERROR: Error copying LumaLog: Permission denied\n"
                                          "ERROR: Error while copying files: Permission denied\n"
                                          "INFO: Total files removed based on allowed extensions: 0\n"));
    EXPECT_EQ(uploadLog(), sentWell);
}

TEST_F(OtherUser, CannotBeKeptFromACrashReportByAnother) {
    writeFile(product.crashReports / "lumacef closed.ips", "closed");
    const auto options = asUser();
    fs::permissions(product.crashReports / "lumacef closed.ips", fs::perms::none);
    EXPECT_EQ(run(options), exited(0));
    EXPECT_THAT(log(), testing::HasSubstr("files found: 4. Copying: 4 of size 58 kb. MaxFileCopyCount: 100\n"
                                          "ERROR: Error copying lumacef closed.ips: Permission denied\n"
                                          "INFO: Removed file with extension: bin\n"));
    EXPECT_EQ(received().size(), 15U);
}

TEST_F(OtherUser, DoesNotTakeARunningProductOfSomebodyElseForItsOwn) {
    ProgramRun foreign({.program = product.executable});
    ASSERT_TRUE(waitUntil([] { return !processesOf("Lumadoc").empty(); }));
    EXPECT_EQ(run(asUser()), exited(0));
    EXPECT_THAT(
        log(),
        testing::HasSubstr(
            "WARNING: Lumadoc running instance not found for BundleIdentifier: com.brennic.LumadocPE\n"));
}

TEST_F(OtherUser, CannotMakeAWorkspaceInAClosedLibrary) {
    const auto options = asUser();
    fs::remove(root());
    fs::permissions(home.library(), fs::perms::owner_read | fs::perms::owner_exec);
    ProgramRun running(options);
    expectItStays(running, firstLogFile());
    EXPECT_THAT(log(firstLogFile()), testing::HasSubstr("ERROR: Failed to create the initial directories.\n"
                                                        "ERROR: Application terminated\n"));
}

// The file gains 64 MiB many times within the time that copying that much takes: read to its end, it would
// never end.
TEST_F(Sources, AFileThatGrowsWithoutEndIsCopiedAsLargeAsItWas) {
    REQUIRE_OWN_NAMESPACES();
    fs::create_directories(root());
    const Mount disk = Mount::memory(home.path() / ".local", 512 * mebibyte);
    const auto product = install();
    const fs::path growing = product.logs / "growing.log";
    writeFile(growing, "first words");
    fs::resize_file(growing, 64 * mebibyte);
    std::uint64_t size = 64 * mebibyte;
    ProgramRun running(program());
    {
        const Busy grow([&] {
            std::error_code error;
            if (size > 64 * mebibyte || fs::exists(copiedLogs() / "growing.log", error))
                fs::resize_file(growing, size += 64 * mebibyte, error);
        });
        EXPECT_EQ(running.waitForEnd(), exited(0));
    }
    EXPECT_GT(size, 1024 * mebibyte);
    EXPECT_EQ(copyingLog(), "");
    EXPECT_EQ(uploadLog(), sentWell);
    const std::string content = received().at("Lumadoc/LumaLog/growing.log").content;
    EXPECT_EQ(content.size(), 64 * mebibyte);
    EXPECT_EQ(content.substr(0, 11), "first words");
}

TEST_F(Sources, FilesThatVanishCostNothingElse) {
    const auto product = install();
    constexpr int files = 1500;
    const auto name = [&](int number) {
        return product.logs / "vanishing" / (std::to_string(number) + ".log");
    };
    for (int i = 0; i < files; ++i)
        writeFile(name(i), "here");
    ProgramRun running(program());
    ASSERT_TRUE(waitUntil([&] { return !runFolder().empty() && fs::exists(copiedLogs() / "vanishing"); }));
    for (int i = 0; i < files; ++i)
        fs::remove(name(i));
    EXPECT_EQ(running.waitForEnd(), exited(0));
    EXPECT_THAT(copyingLog(),
                testing::AnyOf("", "ERROR: Error copying LumaLog: No such file or directory\n"));
    EXPECT_EQ(uploadLog(), sentWell);
    const auto items = received();
    EXPECT_LT(items.size(), 15U + files);
    EXPECT_TRUE(items.contains("Lumadoc/DetailedInfo.json"));
    for (const auto &[path, item] : items) {
        if (path.starts_with("Lumadoc/LumaLog/vanishing/") && !item.isFolder()) {
            EXPECT_EQ(item.content, "here") << path;
        }
    }
}

// A folder is swapped for a link while it is copied: what the link leads to must not be taken for the
// folder's.
TEST_F(Sources, AFolderSwappedForALinkLeadsNowhere) {
    const auto product = install();
    const fs::path folder = product.logs / "a folder";
    const fs::path aside = product.logs / "aside";
    const fs::path outsideFolder = home.path() / "outside";
    for (int i = 0; i < 50; ++i) {
        writeFile(folder / ("own " + std::to_string(i) + ".log"), "own");
        writeFile(outsideFolder / ("secret " + std::to_string(i) + ".log"), "secret");
    }
    ProgramRun running(program());
    {
        const Busy swap([&] {
            ::rename(folder.c_str(), aside.c_str());
            (void)!::symlink(outsideFolder.c_str(), folder.c_str());
            ::unlink(folder.c_str());
            ::rename(aside.c_str(), folder.c_str());
        });
        EXPECT_EQ(running.waitForEnd(), exited(0));
    }
    EXPECT_EQ(uploadLog(), sentWell);
    for (const auto &[path, item] : received())
        EXPECT_NE(item.content, "secret") << path;
}
