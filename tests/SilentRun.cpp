#include "tests/SilentRun.h"

#include "test_support/LoggedTest.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStringList>
#include <algorithm>

namespace fs = std::filesystem;
using test_support::ProgramOptions;
using test_support::ProgramRun;

namespace {

constexpr char started[] = "----------------------------Application Started----------------------------";
constexpr char runFolderLine[] = "Directory created: (\\S+/Output/[0-9]{14})[/\n]";

std::string lastMatch(const std::string &text, const char *expression) {
    const QRegularExpression wanted(QString::fromLatin1(expression));
    QRegularExpressionMatch match;
    const bool isThere = QString::fromStdString(text).lastIndexOf(wanted, -1, &match) >= 0;
    return isThere ? match.captured(1).toStdString() : std::string();
}

} // namespace

SilentRun::SilentRun()
    : bundle(LUMAMON_SHIPPED_BUNDLE, home.path()) {
    bundle.setText("LumamonSupportHost", service.host());
    bundle.setText("CFBundleShortVersionString", "7.8.9");
}

ProgramOptions SilentRun::program(const std::vector<std::string> &arguments) const {
    ProgramOptions options{.program = bundle.executable(), .arguments = arguments};
    options.variables.emplace_back("SSL_CERT_FILE", service.certificateFile().native());
    for (const char *name : {"DESKTOP_SESSION", "GNOME_DESKTOP_SESSION_ID", "KDE_FULL_SESSION"})
        options.variables.emplace_back(name, std::nullopt);
    return options;
}

void SilentRun::useDesktopProxies(ProgramOptions &options, int scriptPort) const {
    test_support::writeFile(
        home.path() / ".config/glib-2.0/settings/keyfile",
        "[system/proxy]\nmode='auto'\nignore-hosts=@as []\nautoconfig-url='http://127.0.0.1:" +
            QByteArray::number(scriptPort) + "/'\n");
    options.variables.emplace_back("XDG_CONFIG_HOME", home.path() / ".config");
    options.variables.emplace_back("GSETTINGS_BACKEND", "keyfile");
    options.variables.emplace_back("DESKTOP_SESSION", "gnome");
}

void SilentRun::run(const ProgramOptions &options) const {
    expectEnd(options, 0, "", "");
}

void SilentRun::runWell(const ProgramOptions &options) const {
    run(options);
    EXPECT_EQ(uploadLog(), sentWell);
}

void SilentRun::expectEnd(const ProgramOptions &options, int status, const std::string &output,
                          const std::string &errors) const {
    ProgramRun process(options);
    EXPECT_EQ(process.waitForEnd(), test_support::exited(status)) << log();
    EXPECT_EQ(process.standardOutput(), output);
    EXPECT_EQ(process.standardError(), errors);
}

void SilentRun::expectItStays(ProgramRun &running, const fs::path &file) const {
    const auto hasNoArchive = [&] { return log(file).ends_with("ERROR: unable to copy compressed file.\n"); };
    EXPECT_TRUE(test_support::waitUntil(hasNoArchive, std::chrono::seconds(30))) << log(file);
    EXPECT_FALSE(running.waitForEnd(std::chrono::milliseconds(300)));
    EXPECT_EQ(running.standardOutput() + running.standardError(), "");
    EXPECT_EQ(service.connections(), 0U);
}

std::string SilentRun::log(const fs::path &file) const {
    const std::string lines = lastRun(file);
    auto text = QByteArray::fromStdString(lines);
    for (const auto &[what, word] : {std::pair(lastMatch(lines, runFolderLine), "RUN"),
                                     {root().native(), "ROOT"},
                                     {bundle.executable().native(), "PROGRAM"},
                                     {home.path().native(), "~"},
                                     {lastMatch(lines, "lumaMacLog_([-0-9a-f]{36})_"), "LOGID"}}) {
        if (!what.empty())
            text.replace(what.c_str(), word);
    }
    return text.toStdString();
}

std::string SilentRun::lastRun(const fs::path &file) {
    const QStringList lines = test_support::logLines(file);
    const qsizetype first = std::max<qsizetype>(0, lines.lastIndexOf(QString::fromLatin1(started)));
    return (lines.mid(first).join(u'\n') + u'\n').toStdString();
}

std::string SilentRun::logBetween(const std::string &begin, const std::string &end) const {
    const std::string text = log();
    const std::size_t first = text.find(begin);
    const std::size_t last = text.find(end, first == std::string::npos ? 0 : first + begin.size());
    if (first == std::string::npos || last == std::string::npos)
        return "not in the log:\n" + text;
    return text.substr(first + begin.size(), last - first - begin.size());
}

std::string SilentRun::uploadLog() const {
    std::string text = log();
    const std::size_t size = text.find("INFO: Compressed file size: ");
    if (size == std::string::npos)
        return "no archive:\n" + text;
    text.erase(0, text.find('\n', size) + 1);
    return QByteArray::fromStdString(text).replace("INFO: \n", "").toStdString();
}

test_support::FileTree SilentRun::outside() const {
    fs::create_directories(root());
    auto tree = test_support::treeOf(home.path(), root());
    // The log begins below it and moves out.
    tree.erase(".cache");
    return tree;
}

std::string SilentRun::logId() const {
    return lastMatch(lastRun(logFile()), "Compressed File: lumaMacLog_([-0-9a-f]{36})_cef\\.zip\n");
}

fs::path SilentRun::runFolder() const {
    return lastMatch(lastRun(logFile()), runFolderLine);
}

fs::path SilentRun::archive() const {
    return runFolder() / ("lumaMacLog_" + logId() + "_cef.zip");
}

std::vector<std::string> SilentRun::namesIn(const std::string &folder) const {
    // Entries may go while this looks.
    std::vector<std::string> names;
    std::error_code error;
    fs::recursive_directory_iterator entry(root() / folder, error);
    for (const fs::recursive_directory_iterator end; !error && entry != end; entry.increment(error))
        names.push_back(entry->path().lexically_relative(root() / folder).native());
    std::sort(names.begin(), names.end());
    return names;
}

void SilentRun::expectArchiveComplete() const {
    EXPECT_EQ(test_support::readArchive(archive()).count("Lumadoc/DetailedInfo.json"), 1U);
    EXPECT_EQ(namesIn("Output/" + runFolder().filename().native()),
              std::vector<std::string>{archive().filename().native()});
    EXPECT_EQ(namesIn("temp"), std::vector<std::string>());
}

void SilentRun::expectArchiveKept() const {
    expectArchiveComplete();
    ASSERT_FALSE(service.receipts().empty());
    EXPECT_TRUE(test_support::readFile(archive()) ==
                test_support::readFile(service.receipts().back().archive));
}

std::map<std::string, test_support::ArchivedItem> SilentRun::received() const {
    return test_support::readArchive(service.receipts().at(service.receipts().size() - 1).archive);
}

std::map<std::string, std::string> SilentRun::receivedRecord() const {
    std::map<std::string, std::string> texts;
    for (const auto &[name, item] : received()) {
        if (!name.ends_with("/DetailedInfo.json"))
            continue;
        const auto record = QJsonDocument::fromJson(QByteArray::fromStdString(item.content)).object();
        for (auto text = record.begin(); text != record.end(); ++text)
            texts[text.key().toStdString()] = text.value().toString().toStdString();
    }
    return texts;
}

const std::string sentWell = "INFO: Status Code: 200\n"
                             "INFO: Response Data: Received.\n"
                             "INFO: Directory deleted successfully. Path: RUN\n"
                             "INFO: --------------Silent Upload successful, app terminated--------------\n";

std::string uploadErrors(int code, const std::string &domain, const std::string &sentence) {
    constexpr int notConnected = -1009;
    return "ERROR: Upload error code: " + std::to_string(code) + "\nERROR: Upload error domain: " + domain +
           "\nERROR: " +
           (code == notConnected
                ? "No internet connection\n"
                : "Other network error: " + sentence + "\nERROR: userInfo: " + sentence + "\n") +
           "INFO: --------------Silent Upload failed, app terminated--------------\n";
}

std::string transportFailure(int code, const std::string &sentence) {
    return "INFO: " + sentence + '\n' + uploadErrors(code, "NSURLErrorDomain", sentence);
}
