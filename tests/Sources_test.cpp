// Log folders with entries of every kind, that cannot be read in full, or that vanish while they are copied:
// the run ends, everything that can be read is in the archive, and nothing from outside is.
#include "tests/SilentRun.h"

#include <functional>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

std::string reports(int count) {
    return "INFO: Total [\"lumacef\"] files found: " + std::to_string(count) +
           ". Copying: " + std::to_string(count) + " of size 58 kb. MaxFileCopyCount: 100\n";
}

const std::string removedFile = "INFO: Removed file with extension: bin\n";

class Sources : public SilentRun {
protected:
    // What the log says between the choice of the product and the count of removed files.
    std::string collectingLog() const {
        return logBetween("INFO: Directory created: RUN/Lumadoc\n", "INFO: Total files removed");
    }

    // Runs, and expects this of the collection, success, and nothing changed outside.
    void runAndExpect(const ProgramOptions &options, const std::string &collecting) {
        const auto before = outside();
        runWell(options);
        EXPECT_EQ(collectingLog(), collecting);
        items = received();
        expectUnchanged(before);
        EXPECT_EQ(namesIn("").size(), 4U);
        EXPECT_TRUE(items.contains("Lumadoc/DetailedInfo.json"));
    }

    const ArchivedItem &item(const std::string &name) {
        static const ArchivedItem none{0, "missing"};
        const auto found = items.find("Lumadoc/" + name);
        return found == items.end() ? none : found->second;
    }
    void expectUsualFiles() {
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
        auto options = programWith("SSL_CERT_FILE", (home.path() / "authority.pem").native());
        options.user = user;
        return options;
    }
};

} // namespace

TEST_F(Sources, EntriesOfEveryKindAndNameArePackedAndLinksAsLinks) {
    std::vector<std::string> names = {"not \xff\xfe utf8 \x80.log",
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
                                      "...log",
                                      "UPPER.LOG",
                                      "tab\t.log"};
    names.push_back(std::string(251, 'n') + ".log");
    const std::vector<std::string> folders = {"-r", "line\nfeed", "\xff", "*", "quote\"", "x.app", "y.log"};
    const std::map<std::string, std::string> links = {
        {"to a file.log", home.path() / "outside/secret.log"},
        {"to a folder.log", home.path() / "outside"},
        {"upwards.log", "../.."},
        {"to itself.log", "to itself.log"},
        {"endless.log", "/dev/zero"},
        {"services/parent.log", ".."},
    };
    writeFile(home.path() / "outside/secret.log", "very secret");
    for (const std::string &name : names)
        writeFile(logs / "names" / name, QByteArray::fromStdString("content of " + name));
    for (const std::string &folder : folders)
        writeFile(logs / folder / "in.txt", QByteArray::fromStdString(folder));
    for (const auto &[name, target] : links)
        fs::create_symlink(target, logs / name);
    fs::create_directories(logs / "empty");
    ASSERT_EQ(::mkfifo((logs / "pipe.log").c_str(), 0600), 0);
    runAndExpect(program(), "WARNING: Not copied from LumaLog: 1 pipes, sockets or devices, the first one "
                            "being pipe.log\n" +
                                reports(3) + removedFile);
    expectUsualFiles();
    for (const std::string &name : names)
        EXPECT_EQ(item("LumaLog/names/" + name).content, "content of " + name);
    for (const std::string &folder : folders)
        EXPECT_EQ(item("LumaLog/" + folder + "/in.txt").content, folder);
    for (const auto &[name, target] : links) {
        EXPECT_TRUE(item("LumaLog/" + name).isLink()) << name;
        EXPECT_EQ(item("LumaLog/" + name).content, target) << name;
    }
    EXPECT_TRUE(item("LumaLog/empty/").isFolder());
    EXPECT_EQ(items.size(), 15 + 1 + names.size() + 2 * folders.size() + links.size() + 1);
}

TEST_F(Sources, CrashReportsOfEveryKindArePackedAsTheyAre) {
    writeFile(product.crashReports / "lumacef folder.ips/inner.log", "inner");
    writeFile(product.crashReports / "LUMACEF \xff.IPS", "upper");
    fs::create_symlink("/dev/zero", product.crashReports / "lumacef link.ips");
    runWell();
    items = received();
    EXPECT_EQ(item("DiagnosticReports/LUMACEF \xff.IPS").content, "upper");
    EXPECT_EQ(item("DiagnosticReports/lumacef folder.ips/inner.log").content, "inner");
    EXPECT_TRUE(item("DiagnosticReports/lumacef link.ips").isLink());
}

// Something else in the place of the log folder itself. What has no extension of a log is not sent.
TEST_F(Sources, ALogFolderThatIsNoneCostsNothingElse) {
    const std::string removed = "INFO: Removed file with extension: \n";
    const struct {
        const char *kind;
        std::function<void()> make;
        std::string log;
    } cases[] = {
        {"a file", [this] { writeFile(logs, "a log"); }, reports(3) + removed},
        {"a link", [this] { fs::create_symlink(home.path(), logs); }, reports(3) + removed},
        {"a pipe", [this] { EXPECT_EQ(::mkfifo(logs.c_str(), 0600), 0); },
         "ERROR: Error copying LumaLog: Operation not supported\n" + reports(3)},
    };
    for (const auto &[kind, make, expected] : cases) {
        SCOPED_TRACE(kind);
        fs::remove_all(logs);
        make();
        runAndExpect(program(), expected);
        EXPECT_EQ(items.size(), 7U) << "three reports, their folder, the record, the log, all in one folder";
    }
}

TEST_F(OtherUser, GetsWhatCanBeRead) {
    const fs::path report = product.crashReports / "lumacef closed.ips";
    for (const fs::path &file : {logs / "closed.log", logs / "closed folder/in.log", report})
        writeFile(file, "closed");
    const auto options = asUser();
    for (const fs::path &closed : {logs / "closed.log", logs / "closed folder", report})
        fs::permissions(closed, fs::perms::none);
    const std::string denied = "ERROR: Error copying LumaLog: Permission denied\n";
    runAndExpect(options, denied + reports(4) +
                              "ERROR: Error copying lumacef closed.ips: Permission denied\n" + removedFile);
    expectUsualFiles();
    EXPECT_EQ(items.size(), 15U + 1) << "with the closed folder, empty";

    fs::permissions(product.crashReports, fs::perms::none);
    runAndExpect(options, denied + "ERROR: Error while copying files: Permission denied\n" + removedFile);
    expectUsualFiles();
}

TEST_F(OtherUser, IsNotAffectedBySomebodyElsesRunningProduct) {
    ProgramRun foreign({.program = product.executable});
    ASSERT_TRUE(waitUntil([] { return !processesOf("Lumadoc").empty(); }));
    runWell(asUser());
    EXPECT_THAT(log(), testing::HasSubstr("WARNING: Lumadoc running instance not found for BundleIdentifier: "
                                          "com.brennic.LumadocPE\n"));
}

TEST_F(Sources, FilesThatVanishCostNothingElse) {
    constexpr int files = 1500;
    const auto name = [&](int number) { return logs / "vanishing" / (std::to_string(number) + ".log"); };
    for (int i = 0; i < files; ++i)
        writeFile(name(i), "here");
    ProgramRun running(program());
    ASSERT_TRUE(waitUntil(
        [&] { return !runFolder().empty() && fs::exists(runFolder() / "Lumadoc/LumaLog/vanishing"); }));
    for (int i = 0; i < files; ++i)
        fs::remove(name(i));
    EXPECT_EQ(running.waitForEnd(), exited(0));
    const std::string usual = reports(3) + removedFile;
    EXPECT_THAT(collectingLog(),
                testing::AnyOf(usual, "ERROR: Error copying LumaLog: No such file or directory\n" + usual));
    EXPECT_EQ(uploadLog(), sentWell);
    items = received();
    expectUsualFiles();
    EXPECT_LT(items.size(), 15U + files);
    for (const auto &[path, packed] : items) {
        if (path.starts_with("Lumadoc/LumaLog/vanishing/") && !packed.isFolder()) {
            EXPECT_EQ(packed.content, "here") << path;
        }
    }
}
