#include "platform/Desktop.h"

#include "discovery/RunState.h"
#include "test_support/Bus.h"
#include "test_support/StandIns.h"
#include "test_support/WindowFixture.h"
#include "ui/ContentView.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QPalette>

namespace {

using namespace std::chrono_literals;
using platform::Appearance;
using platform::ColorScheme;
using test_support::runMainQueueFor;
using test_support::runMainQueueUntil;
using testing::ElementsAre;

// A service on the session bus that notes what it is asked.
class BusService : public QDBusVirtualObject {
public:
    BusService(const std::string &address, const QString &name, const QString &path)
        : m_bus(QDBusConnection::connectToBus(QString::fromStdString(address), name)) {
        m_bus.registerVirtualObject(path, this);
        EXPECT_TRUE(m_bus.registerService(name));
    }
    ~BusService() override { QDBusConnection::disconnectFromBus(m_bus.name()); }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override {
        QString question = message.interface() + u'.' + message.member() + u' ' + message.signature();
        for (const QVariant &argument : message.arguments())
            question += u'|' + argument.toStringList().join(u' ');
        questions.append(question);
        connection.send(answer ? message.createReply(*answer)
                               : message.createErrorReply(QDBusError::Failed, QStringLiteral("no")));
        return true;
    }

    QStringList questions;
    /// Without one the answer is an error.
    std::optional<QVariantList> answer;

protected:
    QDBusConnection m_bus;
};

class DesktopTest : public WindowTest {
protected:
    void SetUp() override {
        REQUIRE_OWN_NAMESPACES();
        xdgOpen.emplace("xdg-open");
    }
    void expectOpened(const std::string &target) {
        EXPECT_TRUE(runMainQueueUntil([&] { return !xdgOpen->calls().empty(); }, 5s));
        runMainQueueFor(50ms);
        EXPECT_THAT(xdgOpen->calls(), ElementsAre(ElementsAre("/usr/bin/xdg-open", target)));
    }
    void expectNothingOpened() {
        runMainQueueFor(200ms);
        EXPECT_TRUE(xdgOpen->calls().empty());
    }

    std::optional<test_support::StandInProgram> xdgOpen;
};

// --- Links and the pasteboard ---

TEST_F(DesktopTest, ALinkIsOpenedByThePathAndInOneArgument) {
    const char *const link = "mailto:a@b.cd?subject=x y&body=$(touch /tmp/x);'\"`|*";
    platform::openLink(link);
    expectOpened(link);
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

TEST_F(DesktopTest, TheMailGoesToTheSupportWithTheUsersWordsUnlessTheyCannotBeEncoded) {
    ContentView view;
    view.changeEmail(QStringLiteral("user@example.com"));
    view.changeFeedback(QStringLiteral("a") + QChar(0xD83D));
    view.mailToTrigger(view.supportEmail());
    expectNothingOpened();
    view.changeFeedback(QStringLiteral("50 % & more #1\né"));
    view.mailToTrigger(view.supportEmail());
    expectOpened("mailto:lumadoc-support@brennic.example?subject=Lumadoc%20troubleshooting%20using%20Brennic"
                 "%20Lumadoc%20Diagnostics.&body=Hi%20Team,%0A%0ALocal%20Log%20ID:%20" +
                 UtilityFunctions::UniqueId.toStdString() +
                 "%0ADescription:%2050%20%25%20&%20more%20%231%0A%C3%A9%0AEmail%20address:%20"
                 "user@example.com%0A");
}

TEST_F(DesktopTest, ThePasteboardHoldsTheText) {
    platform::setPasteboardText(QStringLiteral("one"));
    platform::setPasteboardText(QStringLiteral("two é"));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("two é"));
}

// --- Folders ---

class RevealTest : public DesktopTest {
protected:
    test_support::SessionBus bus;
    std::unique_ptr<BusService> browser;

    void startBrowser(const std::optional<QVariantList> &answer) {
        browser = std::make_unique<BusService>(bus.address(), QStringLiteral("org.freedesktop.FileManager1"),
                                               QStringLiteral("/org/freedesktop/FileManager1"));
        browser->answer = answer;
    }
    void expectShown(const QString &url) {
        ASSERT_TRUE(runMainQueueUntil([&] { return !browser->questions.isEmpty(); }, 5s));
        EXPECT_EQ(browser->questions,
                  QStringList{QStringLiteral("org.freedesktop.FileManager1.ShowFolders ass|") + url + u'|'});
    }
};

TEST_F(RevealTest, TheFileBrowserShowsTheRunFolderIfThereIsOne) {
    startBrowser(QVariantList());
    ContentView view;
    UtilityFunctions::tempTimeStampedURL.reset();
    view.viewLogs();
    expectNothingOpened();
    EXPECT_TRUE(browser->questions.isEmpty());
    UtilityFunctions::tempTimeStampedURL = home.path() / "Output/20260102030405";
    view.viewLogs();
    expectShown(
        QStringLiteral("file://%1/Output/20260102030405").arg(QString::fromStdString(home.path().native())));
    expectNothingOpened();
}

TEST_F(RevealTest, NamesAreEncodedByteByByte) {
    startBrowser(QVariantList());
    platform::revealFolder("/a b/c%d/#e/caf\xe9/\xc3\xa9?");
    expectShown(QStringLiteral("file:///a%20b/c%25d/%23e/caf%E9/%C3%A9%3F"));
}

TEST_F(RevealTest, WithoutAFileBrowserOnTheBusTheFolderIsOpened) {
    platform::revealFolder(home.path() / "a b");
    expectOpened((home.path() / "a b").native());
}

TEST_F(RevealTest, WithAFileBrowserThatRefusesTheFolderIsOpened) {
    startBrowser(std::nullopt);
    platform::revealFolder(home.path());
    expectOpened(home.path().native());
    EXPECT_EQ(browser->questions.size(), 1);
}

TEST_F(DesktopTest, WithoutABusTheFolderIsOpened) {
    platform::revealFolder(home.path());
    expectOpened(home.path().native());
}

// --- Appearance ---

constexpr auto light = ColorScheme::light;
constexpr auto dark = ColorScheme::dark;

class AppearanceTest : public WindowTest {
protected:
    static void setPalette(QColor window, QColor text) {
        QPalette palette;
        palette.setColor(QPalette::Window, window);
        palette.setColor(QPalette::WindowText, text);
        QGuiApplication::setPalette(palette);
    }
    static void setLightPalette() { setPalette(Qt::white, Qt::black); }
    static void setDarkPalette() { setPalette(QColor(30, 30, 30), QColor(240, 240, 240)); }

    void watch() {
        seen.clear();
        appearance = std::make_unique<Appearance>([this](ColorScheme scheme) { seen.push_back(scheme); });
    }
    // All that was seen since it is watched, also after a while in which nothing should happen.
    void expectSeen(const std::vector<ColorScheme> &schemes) {
        runMainQueueUntil([&] { return seen.size() >= schemes.size(); }, 3s);
        runMainQueueFor(40ms);
        EXPECT_EQ(seen, schemes);
    }

    std::vector<ColorScheme> seen;
    std::unique_ptr<Appearance> appearance;
};

TEST_F(AppearanceTest, WithoutABusIsThePalettesAndFollowsItsChanges) {
    setDarkPalette();
    watch();
    EXPECT_THAT(seen, ElementsAre(dark));
    setLightPalette();
    watch();
    EXPECT_THAT(seen, ElementsAre(light));
    setDarkPalette();
    expectSeen({light, dark});
    setPalette(QColor(10, 10, 10), Qt::white);
    expectSeen({light, dark});
    setLightPalette();
    expectSeen({light, dark, light});
    appearance.reset();
    setDarkPalette();
    expectSeen({light, dark, light});
}

// A desktop portal with the one setting.
class Portal : public BusService {
public:
    explicit Portal(const std::string &address)
        : BusService(address, QStringLiteral("org.freedesktop.portal.Desktop"),
                     QStringLiteral("/org/freedesktop/portal/desktop")) {}

    static QVariant nested(const QVariant &value, int depth) {
        return depth == 0 ? value : QVariant::fromValue(QDBusVariant(nested(value, depth - 1)));
    }
    void setAnswer(const QVariant &value, int depth = 2) { answer = QVariantList{nested(value, depth)}; }
    void change(uint value, const QString &space = QStringLiteral("org.freedesktop.appearance"),
                const QString &key = QStringLiteral("color-scheme"), int depth = 1) {
        auto signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/portal/desktop"),
                                                 QStringLiteral("org.freedesktop.portal.Settings"),
                                                 QStringLiteral("SettingChanged"));
        signal.setArguments({space, key, nested(value, depth)});
        EXPECT_TRUE(m_bus.send(signal));
    }
};

class PortalTest : public AppearanceTest {
protected:
    PortalTest() { setLightPalette(); }

    test_support::SessionBus bus;
    Portal portal{bus.address()};
};

TEST_F(PortalTest, ThePreferenceIsAskedForHoweverDeepTheAnswerHoldsIt) {
    for (int depth = 1; depth <= 4; ++depth) {
        portal.setAnswer(1U, depth);
        portal.questions.clear();
        watch();
        EXPECT_THAT(seen, ElementsAre(light));
        expectSeen({light, dark});
        EXPECT_EQ(portal.questions, QStringList{QStringLiteral("org.freedesktop.portal.Settings.Read ss|"
                                                               "org.freedesktop.appearance|color-scheme")});
    }
}

TEST_F(PortalTest, AChangeOfThisSettingAloneIsFollowed) {
    portal.setAnswer(2U);
    watch();
    expectSeen({light});
    portal.change(1, QStringLiteral("org.freedesktop.appearance"), QStringLiteral("contrast"));
    portal.change(1, QStringLiteral("org.gnome.desktop.interface"));
    expectSeen({light});
    portal.change(1);
    expectSeen({light, dark});
    portal.change(1, QStringLiteral("org.freedesktop.appearance"), QStringLiteral("color-scheme"), 3);
    expectSeen({light, dark});
    portal.change(2);
    expectSeen({light, dark, light});
}

TEST_F(PortalTest, APreferenceCountsMoreThanThePalette) {
    setDarkPalette();
    portal.setAnswer(2U);
    watch();
    expectSeen({dark, light});
    setPalette(QColor(1, 1, 1), Qt::white);
    expectSeen({dark, light});
    portal.change(0);
    expectSeen({dark, light, dark});
}

TEST_F(PortalTest, WithoutAKnownPreferenceThePaletteCounts) {
    for (const QVariant &value :
         {QVariant(0U), QVariant(QStringLiteral("prefer-dark")), QVariant(7U), QVariant(-1),
          QVariant(QStringList{QStringLiteral("1")}), QVariant(QByteArray("\1"))}) {
        SCOPED_TRACE(value.typeName());
        portal.setAnswer(value);
        watch();
        expectSeen({light});
    }
    portal.answer.reset();
    watch();
    expectSeen({light});
    portal.change(1);
    expectSeen({light, dark});
}

TEST_F(PortalTest, AnAnswerAfterTheEndHarmsNobody) {
    portal.setAnswer(1U);
    watch();
    appearance.reset();
    ASSERT_TRUE(runMainQueueUntil([&] { return !portal.questions.isEmpty(); }));
    expectSeen({light});
}

TEST_F(AppearanceTest, APortalThatComesLaterIsHeard) {
    const test_support::SessionBus bus;
    setDarkPalette();
    watch();
    expectSeen({dark});
    Portal portal(bus.address());
    runMainQueueFor(50ms);
    portal.change(2);
    expectSeen({dark, light});
}

} // namespace
