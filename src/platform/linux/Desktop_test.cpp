#include "platform/Desktop.h"

#include "discovery/RunState.h"
#include "test_support/SessionBus.h"
#include "test_support/StandInProgram.h"
#include "ui/ContentView.h"
#include "ui/WindowTest.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>

namespace {

using namespace std::chrono_literals;
using test_support::runMainQueueFor;
using test_support::runMainQueueUntil;
using testing::ElementsAre;

class DesktopTest : public WindowTest {
protected:
    void SetUp() override {
        REQUIRE_OWN_NAMESPACES();
        xdgOpen.emplace("xdg-open");
    }
    // The one call of xdg-open.
    std::vector<std::string> opened() {
        EXPECT_TRUE(runMainQueueUntil([&] { return !xdgOpen->calls().empty(); }, 5s));
        runMainQueueFor(50ms);
        const auto calls = xdgOpen->calls();
        EXPECT_EQ(calls.size(), 1U);
        return calls.empty() ? std::vector<std::string>() : calls[0];
    }
    void expectNothingOpened() {
        runMainQueueFor(200ms);
        EXPECT_TRUE(xdgOpen->calls().empty());
    }

    std::optional<test_support::StandInProgram> xdgOpen;
};

// --- Links ---

TEST_F(DesktopTest, ALinkIsOpenedByThePathAndInOneArgument) {
    platform::openLink("mailto:a@b.cd?subject=x y&body=$(touch /tmp/x);'\"`|*");
    EXPECT_THAT(opened(),
                ElementsAre("/usr/bin/xdg-open", "mailto:a@b.cd?subject=x y&body=$(touch /tmp/x);'\"`|*"));
}

TEST_F(DesktopTest, OpeningDoesNotWaitForTheProgram) {
    const test_support::ScratchFolder folder;
    const auto slow = folder.path() / "slow";
    test_support::writeFile(slow, "#!/bin/sh\nexec sleep 10\n");
    std::filesystem::permissions(slow, std::filesystem::perms::owner_all);
    const auto mount = test_support::Mount::over(slow, "/usr/bin/xdg-open");
    const auto start = std::chrono::steady_clock::now();
    platform::openLink("mailto:a@b.cd");
    EXPECT_TRUE(runMainQueueUntil([] { return test_support::processesOf("sleep").size() == 1; }, 5s));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST_F(DesktopTest, TheMailGoesToTheSupportWithTheUsersWords) {
    ContentView view;
    view.changeFeedback(QStringLiteral("50 % & more #1\né"));
    view.changeEmail(QStringLiteral("user@example.com"));
    view.mailToTrigger(view.supportEmail());
    EXPECT_THAT(
        opened(),
        ElementsAre(
            "/usr/bin/xdg-open",
            "mailto:lumadoc-support@brennic.example?subject=Lumadoc%20troubleshooting%20using%20Brennic"
            "%20Lumadoc%20Diagnostics.&body=Hi%20Team,%0A%0ALocal%20Log%20ID:%20" +
                UtilityFunctions::UniqueId.toStdString() +
                "%0ADescription:%2050%20%25%20&%20more%20%231%0A%C3%A9%0AEmail%20address:%20"
                "user@example.com%0A"));
}

TEST_F(DesktopTest, HalfASurrogatePairOpensNothing) {
    ContentView view;
    view.changeFeedback(QStringLiteral("a") + QChar(0xD83D));
    view.mailToTrigger(view.supportEmail());
    expectNothingOpened();
}

// --- Folders ---

// A file browser that notes what it is asked to show.
class FileBrowser : public QDBusVirtualObject {
public:
    explicit FileBrowser(const std::string &address)
        : m_bus(QDBusConnection::connectToBus(QString::fromStdString(address), QStringLiteral("browser"))) {
        m_bus.registerVirtualObject(QStringLiteral("/org/freedesktop/FileManager1"), this);
        EXPECT_TRUE(m_bus.registerService(QStringLiteral("org.freedesktop.FileManager1")));
    }
    ~FileBrowser() override { QDBusConnection::disconnectFromBus(QStringLiteral("browser")); }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override {
        asked.append(message.interface() + u'.' + message.member() + u' ' + message.signature() + u' ' +
                     message.arguments().value(0).toStringList().join(u' ') + u'|' +
                     message.arguments().value(1).toString());
        if (refuses)
            connection.send(message.createErrorReply(QDBusError::Failed, QStringLiteral("no")));
        else
            connection.send(message.createReply());
        return true;
    }

    QStringList asked;
    bool refuses = false;

private:
    QDBusConnection m_bus;
};

class RevealTest : public DesktopTest {
protected:
    test_support::SessionBus bus;
};

TEST_F(RevealTest, TheFileBrowserShowsTheRunFolderWithoutASelection) {
    FileBrowser browser(bus.address());
    UtilityFunctions::tempTimeStampedURL = home.path() / "Output/20260102030405";
    ContentView view;
    view.viewLogs();
    ASSERT_TRUE(runMainQueueUntil([&] { return !browser.asked.isEmpty(); }, 5s));
    EXPECT_EQ(browser.asked,
              QStringList{QStringLiteral("org.freedesktop.FileManager1.ShowFolders ass file://") +
                          QString::fromStdString(home.path().native()) +
                          QStringLiteral("/Output/20260102030405|")});
    expectNothingOpened();
}

TEST_F(RevealTest, NamesAreEncodedByteByByte) {
    FileBrowser browser(bus.address());
    platform::revealFolder("/a b/c%d/#e/caf\xe9/\xc3\xa9?");
    ASSERT_TRUE(runMainQueueUntil([&] { return !browser.asked.isEmpty(); }, 5s));
    EXPECT_EQ(browser.asked, QStringList{QStringLiteral("org.freedesktop.FileManager1.ShowFolders ass "
                                                        "file:///a%20b/c%25d/%23e/caf%E9/%C3%A9%3F|")});
}

TEST_F(RevealTest, WithoutAFileBrowserOnTheBusTheFolderIsOpened) {
    platform::revealFolder(home.path() / "a b");
    EXPECT_THAT(opened(), ElementsAre("/usr/bin/xdg-open", (home.path() / "a b").native()));
}

TEST_F(RevealTest, AFileBrowserThatRefusesIsAsNone) {
    FileBrowser browser(bus.address());
    browser.refuses = true;
    platform::revealFolder(home.path());
    EXPECT_THAT(opened(), ElementsAre("/usr/bin/xdg-open", home.path().native()));
    EXPECT_EQ(browser.asked.size(), 1);
}

TEST_F(DesktopTest, WithoutABusTheFolderIsOpened) {
    platform::revealFolder(home.path());
    EXPECT_THAT(opened(), ElementsAre("/usr/bin/xdg-open", home.path().native()));
}

TEST_F(DesktopTest, WithoutARunFolderNothingIsOpened) {
    ContentView view;
    view.viewLogs();
    expectNothingOpened();
}

// --- Pasteboard ---

TEST_F(DesktopTest, ThePasteboardHoldsTheText) {
    platform::setPasteboardText(QStringLiteral("one"));
    platform::setPasteboardText(QStringLiteral("two é"));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("two é"));
}

} // namespace
