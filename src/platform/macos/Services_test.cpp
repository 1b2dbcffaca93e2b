// What macOS has of its own besides what the tests of the neutral headers hold: applications, network,
// scripts and log.
#include "platform/Applications.h"
#include "platform/Network.h"
#include "platform/ScriptRunner.h"
#include "platform/System.h"
#include "platform/SystemLog.h"
#include "platform/posix/Process.h"
#include "test_support/Machine.h"
#include "test_support/ProgramRun.h"
#include "test_support/macos/StandIns.h"

#include <gmock/gmock.h>
#include <poll.h>

namespace {

using test_support::Mac;
using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;
using testing::Optional;

// GNUstep takes the first thread that it meets for the main one. Were that another, and had it ended, the end
// of a thread of GNUstep's own would end the process.
class MainThread : public testing::Environment {
    void SetUp() override { Mac::isMultiThreaded(); }
};

[[maybe_unused]] const auto *const mainThread = testing::AddGlobalTestEnvironment(new MainThread);

class MacServices : public testing::Test {
protected:
    test_support::Machine machine;
    Mac &mac = Mac::shared();
};

TEST_F(MacServices, ListApplicationsInTheirOwnOrderAlsoWhereTheyDoNotSayAll) {
    const QString product = QStringLiteral("a.b");
    mac.running = {{product, 3, "/Zeta.app"}, {QString(), 1, {}}, {product, 2, {}}};
    EXPECT_THAT(platform::runningApplications(),
                ElementsAre(FieldsAre(product, 3, "/Zeta.app"), FieldsAre(QString(), 1, ""),
                            FieldsAre(product, 2, "")));
    // The later version has another call.
    for (mac.majorVersion = 11; mac.majorVersion <= 12; ++mac.majorVersion) {
        mac.installed[product] = {"/Z/caf\xc3\xa9 b.app", "/A.app"};
        EXPECT_THAT(platform::installedApplications(product), ElementsAre("/Z/caf\xc3\xa9 b.app", "/A.app"));
        mac.installed.clear();
        EXPECT_THAT(platform::installedApplications(product), IsEmpty());
        EXPECT_EQ(mac.outdatedCalls, 2);
    }
}

TEST_F(MacServices, ShowTheProgramInFrontOrNotAtAll) {
    platform::setPresence(platform::Presence::hidden);
    EXPECT_THAT(mac.presence, ElementsAre("prohibited"));
    mac.presence.clear();
    platform::setPresence(platform::Presence::ordinary);
    EXPECT_THAT(mac.presence, ElementsAre("regular", "active"));
}

TEST_F(MacServices, BringsTheWindowsOfItsOtherCopyToTheFront) {
    const QString identifier = QStringLiteral("com.example.product");
    mac.running = {
        {identifier, ::getpid(), {}}, {QStringLiteral("com.example.other"), 2, {}}, {identifier, 3, {}}};
    platform::activateOtherCopy(identifier);
    EXPECT_THAT(mac.activated, ElementsAre(3));
}

TEST_F(MacServices, GiveTheAddressesOfInterfacesThatHaveOne) {
    mac.interfaces = {{QString(), QStringLiteral("a4:83:e7:0b:12:9c")}};
    EXPECT_THAT(platform::hardwareAddresses(), Optional(ElementsAre(QStringLiteral("a4:83:e7:0b:12:9c"))));
    mac.interfaces.reset();
    EXPECT_EQ(platform::hardwareAddresses(), std::nullopt);
}

TEST_F(MacServices, NameTheProxiesOfAnAddressInTheirOrder) {
    const std::atomic<bool> cancelled = false;
    const QByteArray url = "https://support.brennic.example/a%20b?c=d";
    EXPECT_THAT(platform::desktopProxies(url, cancelled), IsEmpty());
    mac.proxiedUrl = url;
    mac.proxies = {{"HTTPS", QStringLiteral("one.example"), 3128},
                   {"FTP", QStringLiteral("three.example"), 21},
                   {"HTTP", QStringLiteral("::1"), 80},
                   {"SOCKS", QStringLiteral("two.example"), 1080},
                   {"None", {}, 0}};
    EXPECT_THAT(
        platform::desktopProxies(url, cancelled),
        ElementsAre("http://one.example:3128", "http://[::1]:80", "socks5://two.example:1080", "direct://"));
    EXPECT_THAT(platform::desktopProxies("https://other.example", cancelled), ElementsAre("direct://"));
}

TEST_F(MacServices, AskTheScriptOfAnAutomaticConfigurationForProxies) {
    const QByteArray url = "https://support.brennic.example/a";
    const QString script = QStringLiteral("http://wpad.example/proxy.pac");
    std::atomic<bool> cancelled = false;
    mac.proxiedUrl = url;
    mac.proxies = {{"AutoConfigurationURL", script, 0}, {"None", {}, 0}};
    mac.proxyScripts[script] = {{"SOCKS", QStringLiteral("one.example"), 1080},
                                {"HTTP", QStringLiteral("two.example"), 3128}};
    EXPECT_THAT(platform::desktopProxies(url, cancelled),
                ElementsAre("socks5://one.example:1080", "http://two.example:3128", "direct://"));
    EXPECT_EQ(mac.waitedSeconds, 0);
    mac.proxyScripts.clear();
    mac.proxies->push_back(mac.proxies->front());
    EXPECT_THAT(platform::desktopProxies(url, cancelled), ElementsAre("direct://"));
    EXPECT_EQ(mac.waitedSeconds, 10) << "for both scripts";
    mac.whileWaiting = [&] { cancelled = true; };
    EXPECT_THAT(platform::desktopProxies(url, cancelled), ElementsAre("direct://"));
    EXPECT_LE(mac.waitedSeconds, 10.5);
    EXPECT_EQ(mac.openSources, 0);
}

TEST_F(MacServices, RunAScriptAsItIsGivenAndSayThatTheUserDismissedIt) {
    const QString text =
        QStringLiteral("do shell script \"spindump 12 -file '/a/caf\u00e9.txt'\" with administrator "
                       "privileges with prompt \"Capturing Lumadoc data dump.\"");
    mac.refusesRights = true;
    EXPECT_EQ(platform::runScript({.text = text, .command = {}, .arguments = {}, .standardOutput = {}}),
              (platform::ScriptError{-128, QStringLiteral("User canceled.")}));
    EXPECT_THAT(mac.scripts, ElementsAre(text));
}

TEST_F(MacServices, LogTheLabelAsAPartOfTheFormat) {
    for (const char16_t *text : {u"INFO: %@ a", u"ERROR: b", u"WARNING: c", u"info: d"})
        platform::SystemLog::send(QStringLiteral("a.b"), QStringLiteral("MyApp"), platform::OSLogType::info,
                                  QString::fromUtf16(text));
    std::vector<std::pair<std::string, QString>> found;
    for (const auto &line : mac.log)
        found.emplace_back(line.format, line.argument);
    EXPECT_THAT(found, ElementsAre(std::pair("INFO: %@", QStringLiteral("%@ a")),
                                   std::pair("ERROR: %@", QStringLiteral("b")),
                                   std::pair("WARNING: %@", QStringLiteral("c")),
                                   std::pair("%@", QStringLiteral("info: d"))));
}

TEST_F(MacServices, LearnOfThreadsThatAreNotTheirOwn) {
    EXPECT_FALSE(Mac::isMultiThreaded());
    platform::startThread("Test", [] {}).join();
    EXPECT_TRUE(Mac::isMultiThreaded());
}

TEST_F(MacServices, TellOfTheEndOfAChild) {
    const pid_t child = test_support::startInChild([] { return ::pause(); });
    const platform::FileDescriptor end = platform::endOf(child);
    struct pollfd waiting = {end.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&waiting, 1, 0), 0);
    ::kill(child, SIGKILL);
    EXPECT_EQ(::poll(&waiting, 1, 20'000), 1);
    test_support::statusOf(child);
}

TEST_F(MacServices, KeepProgramsInTheirOwnPlace) {
    EXPECT_EQ(platform::programFolder(), "MacOS");
}

} // namespace
