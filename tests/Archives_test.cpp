// The command for archives that could not be sent, on what real runs leave.
#include "tests/SilentRun.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <csignal>

namespace fs = std::filesystem;
using namespace support_service;
using namespace test_support;

namespace {

struct Outcome {
    std::optional<int> status;
    std::string output;
    std::string errors;

    friend bool operator==(const Outcome &, const Outcome &) = default;
};

std::ostream &operator<<(std::ostream &out, const Outcome &outcome) {
    return out << outcome.status.value_or(-1) << "\n" << outcome.output << "\n" << outcome.errors;
}

class Archives : public SilentRun {
protected:
    Outcome archives(const std::vector<std::string> &arguments) const {
        auto options = program(arguments);
        options.program = bundle.path() / "Contents/Helpers/archives";
        ProgramRun run(options);
        const auto status = run.waitForEnd();
        return {status, run.standardOutput(), run.standardError()};
    }
    QJsonArray json(std::vector<std::string> arguments) const {
        arguments.emplace_back("--json");
        const Outcome outcome = archives(arguments);
        EXPECT_EQ(outcome.errors, "");
        return QJsonDocument::fromJson(QByteArray::fromStdString(outcome.output)).array();
    }
    std::vector<std::string> listed(const char *key) const {
        std::vector<std::string> values;
        for (const auto &run : json({"list"}))
            values.push_back(run.toObject()[QLatin1String(key)].toString().toStdString());
        return values;
    }
    static std::string complaint(const std::string &text) {
        return "lumadoc-diagnostics-archives: " + text + "\n";
    }
    // A run that the service refuses; its Log ID.
    std::string runRefused() {
        service.setBehaviour({.status = 500}, 1);
        run();
        expectArchiveKept();
        return logId();
    }
    // The folder of a run that began at that time and did not get far.
    fs::path leave(const std::string &stamp, const std::string &file) const {
        writeFile(root() / "Output" / stamp / file, "0123456789");
        return root() / "Output" / stamp;
    }
};

const std::string nothingWaits = "lumadoc-diagnostics-archives: Nothing is waiting to be sent.\n";
const std::string readOnlyFolder = "Read-only file system";

} // namespace

TEST_F(Archives, AreListedShownSentAndGone) {
    EXPECT_EQ(archives({"list"}), (Outcome{0, "", nothingWaits}));
    install();
    const std::string id = runRefused();
    const fs::path archiveFile = archive();
    leave("20260102030405", "Pellix/a.log");
    fs::create_directories(root() / "Output/20260102030406/Lumadoc");

    const auto list = json({"list"});
    ASSERT_EQ(list.size(), 2);
    const auto unsent = list[1].toObject();
    EXPECT_EQ(list[0].toObject()[QLatin1String("id")], QStringLiteral("20260102030405"));
    EXPECT_EQ(list[0].toObject()[QLatin1String("edition")], QStringLiteral("Pellix"));
    EXPECT_EQ(list[0].toObject()[QLatin1String("bytes")], 10);
    EXPECT_EQ(list[0].toObject()[QLatin1String("reason")],
              QStringLiteral("The run ended before its archive was made."));
    EXPECT_EQ(unsent[QLatin1String("id")], QString::fromStdString(id));
    EXPECT_EQ(unsent[QLatin1String("edition")], QStringLiteral("Lumadoc"));
    EXPECT_EQ(unsent[QLatin1String("bytes")], static_cast<qint64>(fs::file_size(archiveFile)));
    EXPECT_EQ(unsent[QLatin1String("path")], QString::fromStdString(archiveFile.native()));
    EXPECT_EQ(unsent[QLatin1String("reason")], QStringLiteral("Internal Server Error. (status 500)"));
    EXPECT_THAT(archives({"list"}).output,
                testing::MatchesRegex("ID +DATE +EDITION +SIZE  WHY IT WAS NOT SENT\n"
                                      "20260102030405 +2026-01-02 03:04  Pellix +10 bytes  The run.*\n" +
                                      id + "  20..-..-.. ..:..  Lumadoc +[0-9.]+ KiB  Internal Server.*\n"));

    std::map<std::string, std::int64_t> sizes;
    for (const auto &file : json({"show", id})[0].toObject()[QLatin1String("files")].toArray())
        sizes[file.toObject()[QLatin1String("name")].toString().toStdString()] =
            file.toObject()[QLatin1String("bytes")].toInteger();
    std::map<std::string, std::int64_t> packed;
    for (const auto &[name, item] : readArchive(archiveFile))
        packed[name] = static_cast<std::int64_t>(item.content.size());
    EXPECT_EQ(sizes, packed);
    EXPECT_THAT(archives({"show", id}).output, testing::HasSubstr("  Lumadoc/DetailedInfo.json\n"));

    // Refused again, with the reason of the last time.
    service.setBehaviour({.rawAnswer = ""}, 1);
    const std::string lost = "The connection to the support server was lost.";
    EXPECT_EQ(archives({"send", id}), (Outcome{1, "", complaint(id + ": " + lost)}));
    EXPECT_THAT(listed("reason"), testing::Contains(lost));
    const QByteArray bytes = readFile(archiveFile);
    service.setBehaviour({.body = "Thank\nyou."});
    EXPECT_EQ(archives({"send", id}), (Outcome{0, id + " sent: Thank\\nyou.\n", ""}));
    const Receipt receipt = service.receipts().back();
    EXPECT_EQ(receipt.fileName, archiveFile.filename());
    EXPECT_EQ(receipt.problem, "");
    EXPECT_TRUE(readFile(receipt.archive) == bytes);
    EXPECT_FALSE(fs::exists(archiveFile.parent_path()));
    EXPECT_EQ(archives({"send", id}), (Outcome{3, "", complaint("there is no archive " + id)}));
    EXPECT_EQ(archives({"send", "20260102030405"}),
              (Outcome{1, "", complaint("20260102030405: The run ended before its archive was made.")}));
    EXPECT_EQ(archives({"remove", "--all"}),
              (Outcome{0, "20260102030405 removed\n20260102030406 removed\n", ""}));
    EXPECT_EQ(namesIn("Output"), std::vector<std::string>());
}

TEST_F(Archives, AreFoundWhereverAKilledRunLeftThem) {
    install();
    const std::string sent = runRefused();
    const std::string kept = runRefused();
    const std::string damaged = runRefused();
    const auto fileOf = [](const std::string &id) { return "lumaMacLog_" + id + "_cef.zip"; };
    // Between the scratch folder and the run folder; among those that a later run has kept; cut short.
    for (const auto &folder : fs::directory_iterator(root() / "Output")) {
        if (const fs::path file = folder.path() / fileOf(sent); fs::exists(file)) {
            fs::copy(file, root() / "temp" / fileOf(sent));
            fs::resize_file(file, 100);
        }
        if (const fs::path file = folder.path() / fileOf(kept); fs::exists(file)) {
            fs::create_directory(root() / "Output/Recovered");
            fs::rename(file, root() / "Output/Recovered" / fileOf(kept));
        }
        if (const fs::path file = folder.path() / fileOf(damaged); fs::exists(file))
            fs::resize_file(file, 100);
    }
    writeFile(home.path() / "elsewhere" / fileOf("link"), "x");
    fs::create_directory_symlink(home.path() / "elsewhere", root() / "Output/20260102030405");
    fs::create_symlink(home.path() / "elsewhere" / fileOf("link"), root() / "temp" / fileOf("link"));
    EXPECT_THAT(listed("id"), testing::UnorderedElementsAre(sent, kept, damaged));
    const std::string problem = complaint(damaged + ": The archive is damaged.");
    EXPECT_EQ(archives({"show", damaged}), (Outcome{1, "", problem}));
    const Outcome all = archives({"send", "--all"});
    EXPECT_EQ(all.status, 1);
    EXPECT_THAT(all.output, testing::HasSubstr(sent + " sent: Received.\n"));
    EXPECT_THAT(all.output, testing::HasSubstr(kept + " sent: Received.\n"));
    EXPECT_EQ(all.errors, problem);
    EXPECT_EQ(listed("id"), std::vector<std::string>{damaged});
    EXPECT_EQ(archives({"remove", damaged}), (Outcome{0, damaged + " removed\n", ""}));
    EXPECT_EQ(archives({"remove", "--all"}).status, 0);
    EXPECT_TRUE(fs::exists(home.path() / "elsewhere" / fileOf("link")));
}

TEST_F(Archives, AreNotGoneWhileACopyIsThere) {
    REQUIRE_OWN_NAMESPACES();
    install();
    const std::string id = runRefused();
    const fs::path copy = archive();
    fs::copy(copy, root() / "temp" / copy.filename());
    fs::resize_file(copy, 100);
    {
        const Mount readOnly = Mount::readOnly(copy.parent_path());
        const std::string sent = "It was sent, but cannot be removed: ";
        EXPECT_EQ(archives({"send", id}), (Outcome{1, "", complaint(id + ": " + sent + readOnlyFolder)}));
        EXPECT_EQ(listed("id"), std::vector<std::string>{id});
        writeFile(root() / "temp" / copy.filename(), QByteArray(200, 'x'));
        EXPECT_EQ(archives({"remove", "--all"}), (Outcome{1, "", complaint(id + ": " + readOnlyFolder)}));
    }
    EXPECT_EQ(archives({"remove", "--all"}), (Outcome{0, id + " removed\n", ""}));
    EXPECT_EQ(listed("id"), std::vector<std::string>());
}

TEST_F(Archives, AreNoneWithoutAHomeFolder) {
    REQUIRE_OWN_NAMESPACES();
    writeFile(home.path() / "passwd", "tester:x:" + QByteArray::number(::geteuid()) + ":0:::/bin/sh\n");
    const Mount accounts = Mount::over(home.path() / "passwd", "/etc/passwd");
    const ScopedEnvironment unset("HOME", std::nullopt);
    EXPECT_EQ(archives({"list"}), (Outcome{0, "", nothingWaits}));
    for (const char *command : {"send", "remove"})
        EXPECT_EQ(archives({command, "--all"}), (Outcome{0, "", ""}));
}

TEST_F(Archives, AreLeftAloneWhileARunIsUnderWay) {
    install();
    const std::string id = runRefused();
    service.setBehaviour({.neverAnswer = true});
    ProgramRun running(program());
    ASSERT_TRUE(service.waitForReceipts(2, std::chrono::seconds(20)));
    const auto before = treeOf(root() / "Output");
    const Outcome busy{4, "", complaint("Lumadoc Diagnostics is running; try again when it has ended.")};
    EXPECT_EQ(archives({"send", id}), busy);
    EXPECT_EQ(archives({"remove", "--all"}), busy);
    EXPECT_EQ(treeOf(root() / "Output"), before);
    EXPECT_THAT(listed("reason"),
                testing::ElementsAre("Internal Server Error. (status 500)", "The run is under way."));
    running.send(SIGKILL);
    running.waitForEnd();
    EXPECT_THAT(listed("reason"), testing::Contains("The run ended before the archive was sent."));
    EXPECT_EQ(archives({"remove", id}), (Outcome{0, id + " removed\n", ""}));
    EXPECT_EQ(listed("id").size(), 1U);
}

TEST_F(Archives, ShowTheirProgressOnATerminal) {
    install({.logBytes = 6'000'000, .logFiles = 6, .incompressible = true});
    const std::string id = runRefused();
    service.setBehaviour({.readBytesPerSecond = 12'000'000});
    auto options =
        program({"-q", "-e", "-c", (bundle.path() / "Contents/Helpers/archives").native() + " send " + id,
                 "/dev/null"});
    options.program = "/usr/bin/script";
    ProgramRun terminal(options);
    EXPECT_EQ(terminal.waitForEnd(), exited(0));
    EXPECT_THAT(terminal.standardOutput(),
                testing::ContainsRegex("\r\x1b\\[KUploading [0-9]+%\r\x1b\\[K.*" + id + " sent: Received"));
}

TEST_F(Archives, AreRemovedByTheirAge) {
    const fs::path old = leave("20260102030405", "Lumadoc/a.log");
    const auto today = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMddHHmmss"));
    const fs::path fresh = leave(today.toStdString(), "Lumadoc/a.log");
    EXPECT_EQ(archives({"remove", "--older-than", "1"}), (Outcome{0, "20260102030405 removed\n", ""}));
    EXPECT_FALSE(fs::exists(old));
    EXPECT_TRUE(fs::exists(fresh));
    EXPECT_EQ(archives({"remove", "--older-than", "0"}).status, 0);
    EXPECT_FALSE(fs::exists(fresh));
}

TEST_F(Archives, AreNotTouchedByACommandLineWithoutSense) {
    const fs::path folder = leave("20260102030405", "Lumadoc/a.log");
    using Words = std::vector<std::string>;
    for (const Words &words : {Words{},
                               {"delete"},
                               {"list", "a"},
                               {"show"},
                               {"show", "--all"},
                               {"send"},
                               {"send", "--al"},
                               {"send", "--older-than", "1"},
                               {"remove"},
                               {"remove", "--all", "20260102030405"},
                               {"remove", "--older-than"},
                               {"remove", "--older-than", "x"},
                               {"remove", "--older-than", "-1"}}) {
        const Outcome outcome = archives(words);
        EXPECT_EQ(outcome.status, 2) << testing::PrintToString(words);
        EXPECT_THAT(outcome.errors, testing::StartsWith("usage: "));
    }
    EXPECT_TRUE(fs::exists(folder));
    EXPECT_THAT(archives({"--help"}).output, testing::StartsWith("usage: "));
    EXPECT_EQ(archives({"--version"}), (Outcome{0, "7.8.9\n", ""}));
}
