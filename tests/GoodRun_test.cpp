// A run in which nothing goes wrong, from the command line to the service.
#include "tests/SilentRun.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <pwd.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

class GoodRun : public SilentRun {};

std::string sizeLine(std::uint64_t bytes) {
    char text[64];
    std::snprintf(text, sizeof text, "INFO: Compressed file size: %.3f mb\n",
                  static_cast<double>(bytes) / 1048576);
    return text;
}

// The hardware address of the machine's first interface, by the system's own listing.
std::string firstHardwareAddress() {
    std::map<int, std::string> addresses;
    for (const auto &entry : fs::directory_iterator("/sys/class/net")) {
        int index = 0;
        std::string address;
        std::ifstream(entry.path() / "ifindex") >> index;
        std::ifstream(entry.path() / "address") >> address;
        if (entry.path().filename() != "lo" && address.find_first_not_of("0:") != std::string::npos)
            addresses[index] = address;
    }
    return addresses.empty() ? "" : addresses.begin()->second;
}

std::string machineId() {
    const std::string text = firstHardwareAddress() + "_" + ::getpwuid(::geteuid())->pw_name;
    return QCryptographicHash::hash(QByteArray::fromStdString(text), QCryptographicHash::Sha512)
        .toHex()
        .toStdString();
}

} // namespace

TEST_F(GoodRun, LogsEveryStepInOrderAndLeavesNothingElse) {
    install();
    EXPECT_EQ(run(), exited(0));
    ASSERT_EQ(service.receipts().size(), 1U);
    EXPECT_EQ(log(),
              collectedSmallProduct + sizeLine(service.receipts()[0].sizeBytes) + "INFO: \n" + sentWell);
    EXPECT_FALSE(fs::exists(firstLogFile()));
    EXPECT_EQ(namesIn(""), (std::vector<std::string>{"Output", "System",
                                                     "System/LumadocDiagnosticsDebugOutput.log", "temp"}));
    EXPECT_TRUE(fs::is_empty(home.caches() / "Logs"));
}

TEST_F(GoodRun, SendsOneRequestOfExactlyTheAgreedForm) {
    // Of a size at which clients like to ask first whether they may send.
    install({.logBytes = 3'000'000, .incompressible = true});
    EXPECT_EQ(run(), exited(0));
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].target, "/cr-apip-7.0.0/mac/log");
    EXPECT_EQ(requests[0].header("Host"), service.host());
    EXPECT_EQ(requests[0].header("Expect"), "");
    EXPECT_EQ(requests[0].header("Transfer-Encoding"), "");

    const std::string form = "multipart/form-data; boundary=";
    const std::string type = requests[0].header("Content-Type");
    ASSERT_TRUE(type.starts_with(form)) << type;
    const std::string boundary = type.substr(form.size());
    EXPECT_THAT(boundary,
                testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}"));

    const auto receipts = service.receipts();
    ASSERT_EQ(receipts.size(), 1U);
    EXPECT_EQ(receipts[0].fileName, "lumaMacLog_" + logId() + "_cef.zip");
    const std::string archive = readFile(receipts[0].archive).toStdString();
    const std::string body = "\r\n--" + boundary +
                             "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"lumaMacLog_" +
                             logId() + "_cef.zip\"\r\nContent-Type: application/octet-stream\r\n\r\n" +
                             archive + "\r\n--" + boundary + "--\r\n";
    EXPECT_TRUE(*requests[0].body == body);
    EXPECT_EQ(requests[0].header("Content-Length"), std::to_string(body.size()));
}

TEST_F(GoodRun, PacksWhatTheProductLoggedByteForByte) {
    const auto product = install();
    EXPECT_EQ(run(), exited(0));
    const auto items = received();

    std::map<std::string, std::string> expected;
    for (const auto &entry : fs::recursive_directory_iterator(product.logs)) {
        if (entry.is_regular_file() && entry.path().extension() != ".bin")
            expected["Lumadoc/LumaLog/" + entry.path().lexically_relative(product.logs).native()] =
                readFile(entry.path()).toStdString();
    }
    EXPECT_EQ(expected.size(), 5U);
    for (const auto &entry : fs::directory_iterator(product.crashReports)) {
        const std::string name = entry.path().filename();
        if (name.starts_with("Lumacef_"))
            expected["Lumadoc/DiagnosticReports/" + name] = readFile(entry.path()).toStdString();
    }
    EXPECT_EQ(expected.size(), 8U);

    std::map<std::string, std::string> files;
    std::vector<std::string> folders;
    for (const auto &[name, item] : items) {
        EXPECT_EQ(item.mode & 077U, 0U) << name;
        if (item.isFolder())
            folders.push_back(name);
        else
            files[name] = item.content;
    }
    EXPECT_EQ(files.erase("Lumadoc/DetailedInfo.json"), 1U);
    // The log as it was when it was copied.
    const std::string copied = files["Lumadoc/LumadocDiagnosticsDebugOutput.log"];
    EXPECT_THAT(copied, testing::EndsWith("Log file will be copied and compressed after this point.\n"));
    EXPECT_TRUE(readFile(logFile()).startsWith(QByteArray::fromStdString(copied)));
    EXPECT_EQ(files.erase("Lumadoc/LumadocDiagnosticsDebugOutput.log"), 1U);
    EXPECT_EQ(files, expected);
    EXPECT_EQ(folders,
              (std::vector<std::string>{"Lumadoc/", "Lumadoc/DiagnosticReports/", "Lumadoc/LumaLog/",
                                        "Lumadoc/LumaLog/services/", "Lumadoc/LumaLog/services/session 1/"}));
}

TEST_F(GoodRun, PacksARecordOfTheRun) {
    install();
    EXPECT_EQ(run({"/silent", "/component=Viewer"}), exited(0));
    const auto json = QByteArray::fromStdString(received().at("Lumadoc/DetailedInfo.json").content);
    std::map<std::string, std::string> fields;
    const QJsonObject record = QJsonDocument::fromJson(json).object();
    for (auto field = record.begin(); field != record.end(); ++field)
        fields[field.key().toStdString()] = field.value().toString().toStdString();
    EXPECT_EQ(fields, (std::map<std::string, std::string>{
                          {"lumadoc_product", "Lumadoc"},
                          {"lumadoc_version", "QZ"},
                          {"lumadoc_versionnumber", "10.003.20112"},
                          {"lumadoc_lumadocinstallpath", (home.path() / "Applications/Lumadoc.app").native()},
                          {"diagnostics_silentapp", "True"},
                          {"diagnostics_machineid", machineId()},
                          {"diagnostics_version", "7.8.9"},
                          {"diagnostics_component", "viewer"},
                      }));
    EXPECT_FALSE(json.contains('\n'));
}

TEST_F(GoodRun, ChangesNothingOutsideItsOwnFolder) {
    install({.logFiles = 28, .crashReports = 5, .preferences = sample_product::Preferences::binary});
    fs::create_symlink("Logs", home.library() / "link to logs");
    const auto before = outside();
    EXPECT_EQ(run(), exited(0));
    expectUnchanged(before);
    EXPECT_GT(before.size(), 40U);
    EXPECT_EQ(treeOf(home.caches()).size(), 1U);
}

// Looked at over and over while the run goes on, with a file mode mask around it that hides nothing.
TEST_F(GoodRun, LetsNobodyElseReadWhatItCollectsOrKeeps) {
    install({.logBytes = 3'000'000, .logFiles = 60, .incompressible = true});
    fs::permissions(home.path(), fs::perms::all);
    service.setBehaviour({.readBytesPerSecond = 8'000'000, .status = 503});
    const auto running = start();
    std::vector<std::string> open;
    std::size_t looks = 0;
    std::size_t most = 0;
    while (running->isRunning() && open.empty()) {
        if (!fs::exists(root()))
            continue;
        open = openToOthers(root());
        const auto first = openToOthers(home.caches() / "Logs");
        open.insert(open.end(), first.begin(), first.end());
        most = std::max(most, namesIn("").size());
        ++looks;
    }
    EXPECT_EQ(running->waitForEnd(), exited(0));
    EXPECT_TRUE(fs::exists(archive()));
    EXPECT_EQ(openToOthers(root()), std::vector<std::string>());
    EXPECT_EQ(open, std::vector<std::string>());
    EXPECT_GT(looks, 10U);
    EXPECT_GT(most, 10U) << "what was collected was never seen";
}

TEST_F(GoodRun, MasksTheUsersNameInItsLogAlone) {
    REQUIRE_OWN_NAMESPACES();
    const Mount homes = Mount::memory("/home", std::uint64_t{64} << 20);
    const fs::path own = "/home/jane doe";
    sample_product::makeSampleProduct(own, smallProduct());
    const ScopedEnvironment variable("HOME", own.native());
    EXPECT_EQ(run(), exited(0));
    const auto items = received();
    const std::string &text = items.at("Lumadoc/LumadocDiagnosticsDebugOutput.log").content;
    EXPECT_THAT(text, testing::HasSubstr("is: /home/[USER]/Applications/Lumadoc.app\n"));
    EXPECT_THAT(text,
                testing::HasSubstr("Directory: /home/[USER]/.local/share/Library/LumadocDiagnostics\n"));
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("jane")));
    EXPECT_THAT(items.at("Lumadoc/DetailedInfo.json").content,
                testing::HasSubstr("/home/jane doe/Applications/Lumadoc.app"));
}

TEST_F(GoodRun, AppendsToTheLogOfEarlierRunsUnderNewNames) {
    install();
    EXPECT_EQ(run(), exited(0));
    const QByteArray first = readFile(logFile());
    const std::string firstId = logId();
    EXPECT_EQ(run(), exited(0));
    EXPECT_NE(logId(), firstId);
    EXPECT_NE(service.requests().at(0).header("Content-Type"),
              service.requests().at(1).header("Content-Type"));
    const QByteArray both = readFile(logFile());
    ASSERT_TRUE(both.startsWith(first));
    EXPECT_TRUE(both.mid(first.size()).startsWith('\n'));
    std::string second = collectedSmallProduct;
    for (const std::string made : {"INFO: Directory created: System\n", "INFO: Directory created: temp\n"})
        second.erase(second.find(made), made.size());
    EXPECT_THAT(log(), testing::StartsWith(second));
}
