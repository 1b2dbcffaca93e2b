// Log folders with entries of every kind, that cannot be read in full, or that change while they are copied:
// the run ends, everything that can be read is in the archive, and nothing from outside is.
#include "tests/SilentRun.h"

#include <atomic>
#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

const std::string usualReports =
    "INFO: Total [\"lumacef\"] files found: 3. Copying: 3 of size 58 kb. MaxFileCopyCount: 100\n";
const std::string removedFile = "INFO: Removed file with extension: bin\n";

class Sources : public SilentRun {
protected:
    // What the log says between the choice of the product and the count of removed files.
    std::string collectingLog() const {
        return logBetween("INFO: Directory created: RUN/Lumadoc\n", "INFO: Total files removed");
    }

    // Runs, and expects success with nothing changed outside. `copying` and `pruning` are what the log says
    // of them.
    void runAndExpect(const ProgramOptions &options, const std::string &copying) {
        const auto before = outside();
        EXPECT_EQ(run(options), exited(0));
        EXPECT_EQ(collectingLog(), copying + removedFile);
        EXPECT_EQ(uploadLog(), sentWell);
        items = received();
        expectUnchanged(before);
        EXPECT_EQ(namesIn("").size(), 4U);
        EXPECT_TRUE(items.contains("Lumadoc/DetailedInfo.json"));
    }

    const ArchivedItem &item(const std::string &name) {
        static const ArchivedItem none{0, "missing"};
        const auto found = items.find("Lumadoc/LumaLog/" + name);
        return found == items.end() ? none : found->second;
    }
    void expectUsualFiles() {
        for (const char *name :
             {"Lumadoc-1.log", "services/network-2.txt", "services/session 1/startup-3.log", "state-4.json",
              "services/renderer-5.log"})
            EXPECT_TRUE(item(name).content == readFile(logs / name).toStdString()) << name;
    }
    fs::path copiedLogs() const { return runFolder() / "Lumadoc/LumaLog"; }

    const sample_product::SampleProduct product = install();
    const fs::path logs = product.logs;
    std::map<std::string, ArchivedItem> items;
};

// A user who is not root and so can be kept out.
class OtherUser : public Sources {
protected:
    static constexpr uid_t user = 12'345;

    void SetUp() override {
        if (!canRunAs(user))
            GTEST_SKIP() << "this user cannot run the program as somebody else";
    }

    // Gives everything to that user, with what the user needs to trust the service.
    ProgramOptions asUser() const {
        fs::create_directories(root());
        fs::copy_file(service.certificateFile(), home.path() / "authority.pem");
        (void)!::lchown(home.path().c_str(), user, user);
        for (const auto &entry : fs::recursive_directory_iterator(home.path()))
            EXPECT_EQ(::lchown(entry.path().c_str(), user, user), 0);
        auto options = program();
        options.user = user;
        options.variables.emplace_back("SSL_CERT_FILE", (home.path() / "authority.pem").native());
        return options;
    }
};

// Does something over and over in its thread as long as it lives.
class Busy {
public:
    explicit Busy(std::function<void()> work)
        : m_thread([work = std::move(work)](const std::stop_token &stop) {
            while (!stop.stop_requested())
                work();
        }) {}

private:
    std::jthread m_thread;
};

} // namespace

TEST_F(Sources, LinksArePackedAsLinks) {
    writeFile(home.path() / "outside/secret.log", "very secret");
    const std::map<std::string, std::string> links = {
        {"to a file.log", home.path() / "outside/secret.log"},
        {"to a folder.log", home.path() / "outside"},
        {"upwards.log", "../.."},
        {"to nothing.log", "nowhere"},
        {"to itself.log", "to itself.log"},
        {"endless.log", "/dev/zero"},
        {"services/parent.log", ".."},
    };
    for (const auto &[name, target] : links)
        fs::create_symlink(target, logs / name);
    runAndExpect(program(), usualReports);
    expectUsualFiles();
    for (const auto &[name, target] : links) {
        EXPECT_TRUE(item(name).isLink()) << name;
        EXPECT_EQ(item(name).content, target) << name;
    }
    EXPECT_EQ(items.size(), 15 + links.size());
}

TEST_F(Sources, NamesOfEveryKindArePacked) {
    const std::vector<std::string> names = {"not \xff\xfe utf8 \x80.log",
                                            "quote\" and ' and `date`.log",
                                            "line\nfeed.log",
                                            "-m.log",
                                            "@.log",
                                            "[a-z]*?.log",
                                            "back\\slash.log",
                                            " blanks .log",
                                            "dollar$HOME.log",
                                            "ünïcödé 日本語.log",
                                            "e\xcc\x81 apart.log",
                                            "colon:semicolon;.log",
                                            "\x01\x1b[31mred.log",
                                            "--.log",
                                            ".hidden.log",
                                            std::string(251, 'n') + ".log",
                                            "...log",
                                            "UPPER.LOG",
                                            "tab\t.log"};
    const std::vector<std::string> folders = {"-r", "line\nfeed", "\xff", "*", "quote\"", "x.app", "y.log"};
    for (const std::string &name : names)
        writeFile(logs / "names" / name, QByteArray::fromStdString("content of " + name));
    for (const std::string &folder : folders)
        writeFile(logs / folder / "in.txt", QByteArray::fromStdString(folder));
    fs::create_directories(logs / "empty");
    const int pipe = ::mkfifo((logs / "pipe.log").c_str(), 0600);
    ASSERT_EQ(pipe, 0);
    runAndExpect(
        program(),
        "WARNING: Not copied from LumaLog: 1 pipes, sockets or devices, the first one being pipe.log\n" +
            usualReports);
    expectUsualFiles();
    for (const std::string &name : names)
        EXPECT_EQ(item("names/" + name).content, "content of " + name);
    for (const std::string &folder : folders)
        EXPECT_EQ(item(folder + "/in.txt").content, folder);
    EXPECT_TRUE(item("empty/").isFolder());
    EXPECT_EQ(items.size(), 15 + 1 + names.size() + 2 * folders.size() + 1);
}

TEST_F(Sources, DeeperThanAPathCanBe) {
    const std::string name(200, 'd');
    int folder = ::open(logs.c_str(), O_RDONLY | O_DIRECTORY);
    for (int depth = 0; depth < 30; ++depth) {
        const int file = ::openat(folder, "here.log", O_WRONLY | O_CREAT, 0600);
        EXPECT_EQ(::write(file, "here", 4), 4);
        ::close(file);
        EXPECT_EQ(::mkdirat(folder, name.c_str(), 0700), 0);
        const int inner = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY);
        ::close(folder);
        folder = inner;
    }
    ::close(folder);
    EXPECT_EQ(run(), exited(0));
    EXPECT_EQ(collectingLog(),
              "ERROR: Error copying LumaLog: File name too long\n" + usualReports + removedFile);
    EXPECT_EQ(uploadLog(), sentWell);
    items = received();
    expectUsualFiles();
    std::string path;
    for (int depth = 0; depth < 17; ++depth) {
        EXPECT_EQ(item(path + "here.log").content, "here") << depth;
        path += name + '/';
    }
    EXPECT_EQ(namesIn("").size(), 4U);
}

TEST_F(Sources, CrashReportsOfEveryKind) {
    const fs::path reports = product.crashReports;
    writeFile(home.path() / "secret.ips", "very secret");
    ASSERT_EQ(::mkfifo((reports / "lumacef pipe.ips").c_str(), 0600), 0);
    fs::create_symlink(home.path() / "secret.ips", reports / "lumacef link.ips");
    writeFile(reports / "lumacef folder.ips/inner.log", "inner");
    writeFile(reports / "LUMACEF \xff.IPS", "upper");
    EXPECT_EQ(run(), exited(0));
    EXPECT_THAT(
        collectingLog(),
        testing::MatchesRegex("INFO: Total \\[\"lumacef\"\\] files found: 7. Copying: 7 of size [0-9]+ "
                              "kb. MaxFileCopyCount: 100\n"
                              "ERROR: Error copying lumacef pipe.ips: Operation not supported\n" +
                              removedFile));
    items = received();
    EXPECT_EQ(items.at("Lumadoc/DiagnosticReports/LUMACEF \xff.IPS").content, "upper");
    EXPECT_EQ(items.at("Lumadoc/DiagnosticReports/lumacef folder.ips/inner.log").content, "inner");
    EXPECT_TRUE(items.at("Lumadoc/DiagnosticReports/lumacef link.ips").isLink());
    EXPECT_EQ(items.size(), 19U);
}

TEST_F(OtherUser, GetsWhatCanBeRead) {
    writeFile(logs / "closed.log", "closed");
    writeFile(logs / "closed folder/in.log", "in");
    writeFile(logs / "no entry/in.log", "in");
    writeFile(logs / "services/open.log", "open");
    writeFile(product.crashReports / "lumacef closed.ips", "closed");
    const auto options = asUser();
    for (const fs::path &closed :
         {logs / "closed.log", logs / "closed folder", product.crashReports / "lumacef closed.ips"})
        fs::permissions(closed, fs::perms::none);
    fs::permissions(logs / "no entry", fs::perms::owner_read);
    runAndExpect(options,
                 "ERROR: Error copying LumaLog: Permission denied\n"
                 "INFO: Total [\"lumacef\"] files found: 4. Copying: 4 of size 58 kb. MaxFileCopyCount: 100\n"
                 "ERROR: Error copying lumacef closed.ips: Permission denied\n");
    expectUsualFiles();
    EXPECT_EQ(item("services/open.log").content, "open");
    EXPECT_EQ(items.size(), 15U + 1 + 2) << "with the open file, and the two closed folders, empty";
}

TEST_F(OtherUser, HasNoPartInSomebodyElsesRunningProduct) {
    ProgramRun foreign({.program = product.executable});
    ASSERT_TRUE(waitUntil([] { return !processesOf("Lumadoc").empty(); }));
    EXPECT_EQ(run(asUser()), exited(0));
    EXPECT_THAT(log(), testing::HasSubstr("WARNING: Lumadoc running instance not found for BundleIdentifier: "
                                          "com.brennic.LumadocPE\n"));
}

TEST_F(Sources, FilesThatVanishCostNothingElse) {
    constexpr int files = 1500;
    const auto name = [&](int number) { return logs / "vanishing" / (std::to_string(number) + ".log"); };
    for (int i = 0; i < files; ++i)
        writeFile(name(i), "here");
    ProgramRun running(program());
    ASSERT_TRUE(waitUntil([&] { return !runFolder().empty() && fs::exists(copiedLogs() / "vanishing"); }));
    for (int i = 0; i < files; ++i)
        fs::remove(name(i));
    EXPECT_EQ(running.waitForEnd(), exited(0));
    const std::string usual = usualReports + removedFile;
    EXPECT_THAT(collectingLog(),
                testing::AnyOf(usual, "ERROR: Error copying LumaLog: No such file or directory\n" + usual));
    EXPECT_EQ(uploadLog(), sentWell);
    items = received();
    expectUsualFiles();
    EXPECT_LT(items.size(), 15U + files);
    for (const auto &[path, packed] : items)
        EXPECT_TRUE(!path.starts_with("Lumadoc/LumaLog/vanishing/") || packed.isFolder() ||
                    packed.content == "here")
            << path;
}

// A folder is swapped for a link while it is copied: what the link leads to must not be taken for the
// folder's.
TEST_F(Sources, AFolderSwappedForALinkLeadsNowhere) {
    const fs::path folder = logs / "a folder";
    const fs::path aside = logs / "aside";
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
    for (const auto &[path, packed] : received())
        EXPECT_NE(packed.content, "secret") << path;
}
