// Log folders with entries of every kind, that cannot be read in full, or that vanish while they are copied:
// the run ends, everything that can be read is in the archive, and nothing from outside is.
#include "tests/SilentRun.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

const std::string usual = "INFO: Total [\"lumacef\"] files found: 3. Copying: 3 of size 58 kb. "
                          "MaxFileCopyCount: 100\nINFO: Removed file with extension: bin\n";

class Sources : public SilentRun {
protected:
    // What the log says between the choice of the product and the count of removed files.
    std::string collectingLog() const {
        return logBetween("INFO: Directory created: RUN/Lumadoc\n", "INFO: Total files removed");
    }

    const ArchivedItem &item(const std::string &name) {
        static const ArchivedItem none{0, "missing"};
        const auto found = items.find("Lumadoc/" + name);
        return found == items.end() ? none : found->second;
    }
    // The run has succeeded, and the product's other logs are in the archive.
    void expectSentWithUsualFiles() {
        EXPECT_EQ(uploadLog(), sentWell);
        items = received();
        for (const char *name :
             {"Lumadoc-1.log", "services/network-2.txt", "services/session 1/startup-3.log", "state-4.json",
              "services/renderer-5.log"})
            EXPECT_TRUE(item(std::string("LumaLog/") + name).content == readFile(logs / name).toStdString())
                << name;
    }

    const sample_product::SampleProduct product = install();
    const fs::path logs = product.logs;
    std::map<std::string, ArchivedItem> items;
};

} // namespace

TEST_F(Sources, EntriesOfEveryKindAndNameArePackedAndLinksAsLinks) {
    const std::vector<std::string> names = {
        "not \xff utf8.log", "quote\" and ' and `date`.log", "line\nfeed.log",     "-m.log",
        "[a-z]*?.log",       "back\\slash $HOME.log",        "ünïcödé 日本語.log", "\x1b[31mred.log"};
    const std::vector<std::string> folders = {"-r", "line\nfeed", "\xff",
                                              "*",  "y.log",      std::string(255, 'n')};
    const std::map<std::string, std::string> links = {{"to a file.log", home.path() / "outside/secret.log"},
                                                      {"to a folder.log", home.path() / "outside"},
                                                      {"to itself.log", "to itself.log"},
                                                      {"services/parent.log", ".."}};
    writeFile(home.path() / "outside/secret.log", "very secret");
    for (const std::string &name : names)
        writeFile(logs / "names" / name, QByteArray::fromStdString("content of " + name));
    for (const std::string &folder : folders)
        writeFile(logs / folder / "in.txt", QByteArray::fromStdString(folder));
    for (const auto &[name, target] : links)
        fs::create_symlink(target, logs / name);
    fs::create_directories(logs / "empty");
    ASSERT_EQ(::mkfifo((logs / "pipe.log").c_str(), 0600), 0);
    writeFile(product.crashReports / "lumacef folder.ips/inner.log", "inner");
    fs::create_symlink("/dev/zero", product.crashReports / "lumacef link.ips");
    const auto before = outside();
    run();
    expectUnchanged(before);
    EXPECT_THAT(collectingLog(),
                testing::StartsWith("WARNING: Not copied from LumaLog: 1 pipes, sockets or devices, the "
                                    "first one being pipe.log\nINFO: Total [\"lumacef\"] files found: 5."));
    expectSentWithUsualFiles();
    for (const std::string &name : names)
        EXPECT_EQ(item("LumaLog/names/" + name).content, "content of " + name);
    for (const std::string &folder : folders)
        EXPECT_EQ(item("LumaLog/" + folder + "/in.txt").content, folder);
    for (const auto &[name, target] : links) {
        EXPECT_TRUE(item("LumaLog/" + name).isLink()) << name;
        EXPECT_EQ(item("LumaLog/" + name).content, target) << name;
    }
    EXPECT_TRUE(item("DiagnosticReports/lumacef link.ips").isLink());
    EXPECT_TRUE(item("LumaLog/empty/").isFolder());
    EXPECT_EQ(item("DiagnosticReports/lumacef folder.ips/inner.log").content, "inner");
    EXPECT_EQ(items.size(), 15 + 1 + names.size() + 2 * folders.size() + links.size() + 1 + 3);
}

// Not root, so that files can be closed to the user.
TEST_F(Sources, AnOrdinaryUserSendsWhatCanBeRead) {
    constexpr uid_t user = 12'345;
    if (!canRunAs(user))
        GTEST_SKIP() << "this user cannot run the program as somebody else";
    const fs::path report = product.crashReports / "lumacef closed.ips";
    for (const fs::path &file : {logs / "closed.log", logs / "closed folder/in.log", report})
        writeFile(file, "closed");
    fs::create_directories(root());
    fs::copy_file(service.certificateFile(), home.path() / "authority.pem");
    EXPECT_EQ(::lchown(home.path().c_str(), user, user), 0);
    for (const auto &entry : fs::recursive_directory_iterator(home.path()))
        EXPECT_EQ(::lchown(entry.path().c_str(), user, user), 0);
    for (const fs::path &closed : {logs / "closed.log", logs / "closed folder", report})
        fs::permissions(closed, fs::perms::none);
    auto options = programWith("SSL_CERT_FILE", (home.path() / "authority.pem").native());
    options.user = user;
    const auto before = outside();
    run(options);
    expectUnchanged(before);
    EXPECT_EQ(collectingLog(), "ERROR: Error copying LumaLog: Permission denied\n"
                               "INFO: Total [\"lumacef\"] files found: 4. Copying: 4 of size 58 kb. "
                               "MaxFileCopyCount: 100\n"
                               "ERROR: Error copying lumacef closed.ips: Permission denied\n"
                               "INFO: Removed file with extension: bin\n");
    expectSentWithUsualFiles();
    EXPECT_EQ(items.size(), 15U + 1) << "with the closed folder, empty";
}

TEST_F(Sources, FilesThatVanishCostNothingElse) {
    constexpr int files = 1500;
    const auto name = [&](int number) { return logs / "vanishing" / (std::to_string(number) + ".log"); };
    const auto someHaveVanished = [&] { return !items.empty() && items.size() < 15U + files; };
    // On a busy machine the copy can be over before this process comes to remove anything.
    for (int attempt = 0; attempt < 5 && !someHaveVanished(); ++attempt) {
        for (int i = 0; i < files; ++i)
            writeFile(name(i), "here");
        ProgramRun running(program());
        ASSERT_TRUE(waitUntil(
            [&] { return !runFolder().empty() && fs::exists(runFolder() / "Lumadoc/LumaLog/vanishing"); }));
        for (int i = 0; i < files; ++i)
            fs::remove(name(i));
        EXPECT_EQ(running.waitForEnd(), exited(0));
        EXPECT_THAT(
            collectingLog(),
            testing::AnyOf(usual, "ERROR: Error copying LumaLog: No such file or directory\n" + usual));
        expectSentWithUsualFiles();
    }
    EXPECT_TRUE(someHaveVanished());
}

TEST_F(Sources, ThatAreLinksOfTheUsersAreFollowedAtTheTop) {
    for (const fs::path &folder : {logs, product.crashReports}) {
        const fs::path elsewhere = home.path() / "elsewhere" / folder.filename();
        fs::create_directories(elsewhere.parent_path());
        fs::rename(folder, elsewhere);
        fs::create_symlink(elsewhere, folder);
    }
    fs::create_symlink("..", logs / "above.log");
    run();
    expectSentWithUsualFiles();
    EXPECT_TRUE(item("LumaLog/above.log").isLink());
    EXPECT_EQ(items.size(), 15U + 1);
}

// zip takes what its own limits let it take.
TEST_F(Sources, NestedDeeperThanFilesMayBeOpenAreCopied) {
    fs::path folder = logs;
    for (int level = 0; level < 1500; ++level)
        fs::create_directory(folder /= "d");
    writeFile(folder / "deep.log", "deep");
    auto options = program();
    options.beforeStart = [] {
        const struct rlimit few = {1024, 1024};
        ::setrlimit(RLIMIT_NOFILE, &few);
    };
    run(options);
    EXPECT_EQ(collectingLog(), usual);
    expectSentWithUsualFiles();
}
