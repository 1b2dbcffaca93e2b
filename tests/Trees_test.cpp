// Log folders that hold more than plain files with plain names: whatever is in them, the run ends, everything
// that can be read is in the archive, and nothing from outside is.
#include "tests/SilentRun.h"

#include <array>
#include <atomic>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace test_support;
using test_support::ArchivedItem;

namespace {

class Trees : public SilentRun {
protected:
    Trees()
        : product(install())
        , logs(product.logs) {}

    // Runs, and expects success with nothing changed outside. `errors` is what the log says between the
    // choice of the product and the count of removed files.
    void runAndExpect(const std::string &errors) {
        const auto before = outside();
        EXPECT_EQ(run(), exited(0));
        EXPECT_EQ(collectingLog(), errors);
        EXPECT_EQ(uploadLog(), sentWell);
        items = received();
        expectUnchanged(before);
        EXPECT_EQ(namesIn("").size(), 4U);
    }

    // What the log says of the collecting, without what it says in a run where nothing is odd.
    std::string collectingLog() const {
        const std::string text = log();
        const std::string begin = "INFO: Directory created: RUN/Lumadoc\n";
        const std::size_t from = text.find(begin) + begin.size();
        std::string lines = text.substr(from, text.find("INFO: Total files removed") - from);
        for (const std::string usual :
             {"INFO: Total [\"lumacef\"] files found: 3. Copying: 3 of size 58 kb. MaxFileCopyCount: 100\n",
              "INFO: Removed file with extension: bin\n"}) {
            if (const std::size_t at = lines.find(usual); at != std::string::npos)
                lines.erase(at, usual.size());
        }
        return lines;
    }

    const ArchivedItem &item(const std::string &name) {
        static const ArchivedItem none{0, "missing"};
        const auto found = items.find("Lumadoc/LumaLog/" + name);
        return found == items.end() ? none : found->second;
    }

    void expectLink(const std::string &name, const std::string &target) {
        EXPECT_TRUE(item(name).isLink()) << name;
        EXPECT_EQ(item(name).content, target) << name;
    }

    void expectUsualFiles() {
        for (const char *name :
             {"Lumadoc-1.log", "services/network-2.txt", "services/session 1/startup-3.log", "state-4.json",
              "services/renderer-5.log"})
            EXPECT_TRUE(item(name).content == readFile(logs / name).toStdString()) << name;
    }

    const sample_product::SampleProduct product;
    const fs::path logs;
    std::map<std::string, ArchivedItem> items;
};

void makeSocket(const fs::path &path) {
    // A socket's address is short, so it is made from its own folder.
    const fs::path before = fs::current_path();
    fs::current_path(path.parent_path());
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.filename().c_str(), sizeof address.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(::bind(socket, reinterpret_cast<const struct sockaddr *>(&address), sizeof address), 0);
    ::close(socket);
    fs::current_path(before);
}

} // namespace

TEST_F(Trees, PipesSocketsAndDevicesAreLeftOut) {
    const fs::path odd = logs / "odd";
    fs::create_directory(odd);
    ASSERT_EQ(::mkfifo((odd / "pipe.log").c_str(), 0600), 0);
    runAndExpect(
        "WARNING: Not copied from LumaLog: 1 pipes, sockets or devices, the first one being pipe.log\n");
    makeSocket(odd / "socket.log");
    const bool device = ::mknod((odd / "device.log").c_str(), S_IFCHR | 0600, makedev(1, 5)) == 0;
    const auto before = outside();
    EXPECT_EQ(run(), exited(0));
    EXPECT_THAT(collectingLog(), testing::MatchesRegex(std::string("WARNING: Not copied from LumaLog: ") +
                                                       (device ? "3" : "2") +
                                                       " pipes, sockets or devices, the first one being "
                                                       "(pipe|socket|device)\\.log\n"));
    EXPECT_EQ(uploadLog(), sentWell);
    expectUnchanged(before);
    items = received();
    expectUsualFiles();
    EXPECT_EQ(items.size(), 16U);
    EXPECT_TRUE(item("odd/").isFolder());
}

TEST_F(Trees, LinksArePackedAsLinks) {
    const fs::path outside = home.path() / "outside";
    writeFile(outside / "secret.log", "very secret");
    const std::map<std::string, std::string> links = {
        {"to a file.log", outside / "secret.log"},
        {"to a folder.log", outside},
        {"upwards.log", "../.."},
        {"to nothing.log", "nowhere"},
        {"to itself.log", "to itself.log"},
        {"loop one.log", "loop two.log"},
        {"loop two.log", "loop one.log"},
        {"endless.log", "/dev/zero"},
        {"within.log", "Lumadoc-1.log"},
        {"services/parent.log", ".."},
    };
    for (const auto &[name, target] : links)
        fs::create_symlink(target, logs / name);
    fs::create_symlink(outside, logs / "folder link");
    runAndExpect("INFO: Removed file with extension: \n");
    expectUsualFiles();
    for (const auto &[name, target] : links)
        expectLink(name, target);
    EXPECT_EQ(items.size(), 15 + links.size());
    for (const auto &[name, packed] : items)
        EXPECT_EQ(packed.content.find("very secret"), std::string::npos) << name;
    EXPECT_EQ(readFile(outside / "secret.log"), "very secret");
}

TEST_F(Trees, NamesOfEveryKindArePacked) {
    const QByteArray longest = QByteArray(251, 'n') + ".log";
    const std::vector<const char *> names = {
        "not \xff\xfe utf8 \x80.log",
        "quote\" and ' and `date`.log",
        "line\nfeed.log",
        "-m.log",
        "-x",
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
        "DS_Store.log",
        ".hidden.log",
        longest.constData(),
        "...log",
        "UPPER.LOG",
        "tab\t.log",
    };
    std::size_t packed = 15;
    for (const std::string name : names)
        writeFile(logs / "names" / name, QByteArray::fromStdString("content of " + name));
    runAndExpect("INFO: Removed file with extension: \n");
    expectUsualFiles();
    for (const std::string name : names) {
        if (name == "-x")
            continue;
        EXPECT_EQ(item("names/" + name).content, "content of " + name);
        ++packed;
    }
    EXPECT_EQ(items.size(), packed + 1);
}

TEST_F(Trees, FoldersOfEveryNameArePacked) {
    for (const char *name : {"-r", "line\nfeed", "\xff", "*", "quote\"", "x.app", "y.log", "empty"})
        fs::create_directories(logs / name);
    for (const char *name : {"-r", "line\nfeed", "\xff", "*", "quote\"", "x.app", "y.log"})
        writeFile(logs / name / "in.txt", name);
    runAndExpect("");
    for (const char *name : {"-r", "line\nfeed", "\xff", "*", "quote\"", "x.app", "y.log"})
        EXPECT_EQ(item(std::string(name) + "/in.txt").content, name);
    EXPECT_TRUE(item("empty/").isFolder());
}

TEST_F(Trees, DeeperThanAPathCanBe) {
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
    EXPECT_EQ(collectingLog(), "ERROR: Error copying LumaLog: File name too long\n");
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

TEST_F(Trees, ManyFilesAndFolders) {
    for (int folder = 0; folder < 20; ++folder) {
        for (int file = 0; file < 20; ++file)
            writeFile(logs / "many" / std::to_string(folder) / (std::to_string(file) + ".log"), "x");
    }
    runAndExpect("");
    EXPECT_EQ(items.size(), 15U + 1 + 20 + 400);
}

TEST_F(Trees, ALogFolderThatIsAFile) {
    fs::remove_all(logs);
    writeFile(logs, "no folder");
    runAndExpect("INFO: Removed file with extension: \n");
    EXPECT_FALSE(items.contains("Lumadoc/LumaLog"));
}

TEST_F(Trees, ALogFolderThatIsALink) {
    fs::rename(logs, home.path() / "elsewhere");
    fs::create_directory_symlink(home.path() / "elsewhere", logs);
    runAndExpect("INFO: Removed file with extension: \n");
    EXPECT_FALSE(items.contains("Lumadoc/LumaLog"));
}

TEST_F(Trees, ALogFolderThatIsAPipe) {
    fs::remove_all(logs);
    ASSERT_EQ(::mkfifo(logs.c_str(), 0600), 0);
    runAndExpect("ERROR: Error copying LumaLog: Operation not supported\n");
}

TEST_F(Trees, CrashReportsOfEveryKind) {
    const fs::path reports = product.crashReports;
    writeFile(home.path() / "secret.ips", "very secret");
    ASSERT_EQ(::mkfifo((reports / "lumacef pipe.ips").c_str(), 0600), 0);
    fs::create_symlink(home.path() / "secret.ips", reports / "lumacef link.ips");
    writeFile(reports / "lumacef folder.ips/inner.log", "inner");
    writeFile(reports / "LUMACEF \xff.IPS", "upper");
    const auto before = outside();
    EXPECT_EQ(run(), exited(0));
    EXPECT_THAT(
        collectingLog(),
        testing::MatchesRegex("INFO: Total \\[\"lumacef\"\\] files found: 7. Copying: 7 of size [0-9]+ kb. "
                              "MaxFileCopyCount: 100\n"
                              "ERROR: Error copying lumacef pipe.ips: Operation not supported\n"));
    expectUnchanged(before);
    items = received();
    EXPECT_EQ(items.at("Lumadoc/DiagnosticReports/LUMACEF \xff.IPS").content, "upper");
    EXPECT_EQ(items.at("Lumadoc/DiagnosticReports/lumacef folder.ips/inner.log").content, "inner");
    EXPECT_TRUE(items.at("Lumadoc/DiagnosticReports/lumacef link.ips").isLink());
    EXPECT_EQ(items.size(), 19U);
}
