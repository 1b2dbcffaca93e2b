// The program is killed at a moment of its run and started again: the next run succeeds, nothing of the
// killed one goes on, and what that one had collected or packed is still there.
#include "tests/SilentRun.h"

#include <algorithm>
#include <csignal>
#include <ctime>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

class Kill : public SilentRun {
protected:
    // The archives below a folder of the program's.
    std::map<fs::path, QByteArray> archives(const std::string &folder) const {
        std::map<fs::path, QByteArray> found;
        for (const fs::path name : namesIn(folder)) {
            if (name.filename().native().starts_with("lumaMacLog_") && name.extension() == ".zip")
                found[root() / folder / name] = readFile(root() / folder / name);
        }
        return found;
    }

    void killWhen(const std::function<bool()> &moment, const ProgramOptions &options) const {
        ProgramRun running(options);
        bool reached = false;
        while (!reached && running.isRunning())
            reached = moment();
        // The last moments may be seen only when the program has ended by itself.
        reached = reached || moment();
        running.send(SIGKILL);
        ASSERT_TRUE(reached) << "the program ended before: " << log();
        running.waitForEnd();
        EXPECT_TRUE(waitUntil([] { return processesOf("zip").empty(); }));
    }

    // In a run folder, or among those that were recovered.
    void expectKept(const std::map<fs::path, QByteArray> &earlier) const {
        const auto kept = archives("Output");
        for (const auto &lost : earlier) {
            const auto isIt = [&](const auto &archive) {
                return archive.first.filename() == lost.first.filename() && archive.second == lost.second;
            };
            EXPECT_TRUE(std::ranges::any_of(kept, isIt)) << lost.first << " is lost";
        }
    }

    // Looks at what a killed run has left, starts the next run, and looks again.
    void expectTheNextRunSucceedsAndNothingIsLost() {
        const fs::path folder = runFolder();
        auto left = fs::exists(folder) ? treeOf(folder) : FileTree();
        const auto leftArchives = archives("temp");
        // A copy that was cut short is not worth keeping.
        for (const auto &[archive, content] : leftArchives) {
            if (readFile(folder / archive.filename()).size() < content.size())
                left.erase(archive.filename().native());
        }
        const std::size_t receivedBefore = service.receipts().size();

        // Another time zone gives the next run another run folder, however soon it comes.
        runWell(programWith("TZ", "LATER-5"));
        EXPECT_EQ(received().size(), itemCount);
        EXPECT_EQ(service.receipts().size(), receivedBefore + 1);
        EXPECT_EQ(namesIn("temp"), std::vector<std::string>());
        if (!left.empty()) {
            EXPECT_THAT(treeOf(folder), testing::ContainerEq(left));
        }
        expectKept(leftArchives);
    }

    // Whether the run's data is somewhere: as files, or as an archive that can be read.
    bool hasData() const {
        const auto all = archives("");
        return fs::exists(runFolder() / "Lumadoc/LumaLog/services/renderer-5.log") ||
               std::ranges::any_of(all, [](const auto &archive) {
                   try {
                       return readArchive(archive.first).size() == itemCount;
                   } catch (const std::runtime_error &) {
                       return false;
                   }
               });
    }

    static constexpr std::size_t itemCount = 15;
};

// A line of the log, and whether by then the run has collected everything and nobody has received it.
using Moment = std::pair<const char *, bool>;
class KilledAt : public Kill, public testing::WithParamInterface<Moment> {};

bool holds(const fs::path &file, const std::string &text) {
    return readFile(file).contains(QByteArray::fromStdString(text));
}

} // namespace

TEST_P(KilledAt, LosesNothing) {
    install();
    const bool hasCollected = GetParam().second;
    // No answer, so that a kill that comes late still comes before the archive is deleted.
    service.setBehaviour({.neverAnswer = hasCollected});
    const std::string line = std::string(": ") + GetParam().first;
    killWhen([&] { return holds(firstLogFile(), line) || holds(logFile(), line); }, program());
    EXPECT_TRUE(hasData() || !hasCollected);
    service.setBehaviour({});
    expectTheNextRunSucceedsAndNothingIsLost();
}

// One line for each state of the folders.
INSTANTIATE_TEST_SUITE_P(
    EachState, KilledAt,
    testing::Values(Moment{"----------------------------Application Started", false},
                    Moment{"LumadocDiagnostics Directory: ", false},
                    Moment{"Directory created: System", false}, Moment{"Directory created: temp", false},
                    Moment{"Running without UI", false}, Moment{"FlavourFromAppVersion:", false},
                    Moment{"Total [\"lumacef\"]", true}, Moment{"Removed file with extension", true},
                    Moment{"Log file will be copied", true}, Moment{"File created and content written", true},
                    Moment{"Directory compressed successfully.", true}, Moment{"Deleted: Lumadoc", true},
                    Moment{"File copied successfully.", true}, Moment{"Deleted: lumaMacLog_", true},
                    Moment{"Compressed file size: ", true}, Moment{"Status Code: ", false},
                    Moment{"Directory deleted successfully.", false}));

TEST_F(Kill, WhileZipWorks) {
    install({.logBytes = 10'000'000, .logFiles = 6, .incompressible = true});
    killWhen([] { return !processesOf("zip").empty(); }, program());
    EXPECT_FALSE(holds(logFile(), "Directory compressed successfully."));
    EXPECT_TRUE(hasData());
    expectTheNextRunSucceedsAndNothingIsLost();
}

// Two runs that begin in the same second share a run folder; what the first one could not send must survive
// the second. Here the run folder of every second that may come is there already.
TEST_F(Kill, AnArchiveThatCouldNotBeSentOutlivesARunInTheSameSecond) {
    install();
    std::map<fs::path, QByteArray> earlier;
    const std::time_t now = std::time(nullptr);
    for (std::time_t second = now; second < now + 20; ++second) {
        char stamp[16];
        std::strftime(stamp, sizeof stamp, "%Y%m%d%H%M%S", std::localtime(&second));
        const std::string name = std::string("lumaMacLog_") + stamp + "_cef.zip";
        writeFile(root() / "Output" / stamp / name, earlier[name] = stamp);
    }
    runWell();
    EXPECT_TRUE(earlier.contains("lumaMacLog_" + runFolder().filename().native() + "_cef.zip"));
    expectKept(earlier);
}
