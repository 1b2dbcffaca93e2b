#include "platform/Desktop.h"

#include "discovery/RunState.h"
#include "test_support/SessionBus.h"
#include "test_support/StandInProgram.h"
#include "ui/ContentView.h"
#include "ui/WindowTest.h"

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

QVariant nested(const QVariant &value, int depth) {
    return depth == 0 ? value : QVariant::fromValue(QDBusVariant(nested(value, depth - 1)));
}

// A desktop portal with the one setting.
class Portal : public QDBusVirtualObject {
public:
    explicit Portal(const std::string &address)
        : m_bus(QDBusConnection::connectToBus(QString::fromStdString(address), QStringLiteral("portal"))) {
        m_bus.registerVirtualObject(path(), this);
        EXPECT_TRUE(m_bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));
    }
    ~Portal() override { QDBusConnection::disconnectFromBus(QStringLiteral("portal")); }

    /// The answer to Read; without one it is an error.
    std::optional<QVariant> answer;
    QStringList questions;

    void change(const QString &space, const QString &key, const QVariant &value) {
        auto signal = QDBusMessage::createSignal(path(), settings(), QStringLiteral("SettingChanged"));
        signal.setArguments({space, key, value});
        EXPECT_TRUE(m_bus.send(signal));
    }
    void change(uint value) {
        change(QStringLiteral("org.freedesktop.appearance"), QStringLiteral("color-scheme"),
               nested(value, 1));
    }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override {
        questions.append(message.interface() + u'.' + message.member() + u' ' +
                         message.arguments().value(0).toString() + u' ' +
                         message.arguments().value(1).toString());
        if (answer)
            connection.send(message.createReply(*answer));
        else
            connection.send(message.createErrorReply(QStringLiteral("org.freedesktop.portal.Error.NotFound"),
                                                     QStringLiteral("Requested setting not found")));
        return true;
    }

private:
    static QString path() { return QStringLiteral("/org/freedesktop/portal/desktop"); }
    static QString settings() { return QStringLiteral("org.freedesktop.portal.Settings"); }

    QDBusConnection m_bus;
};

class AppearanceTest : public WindowTest {
protected:
    static void setPalette(QColor window, QColor text) {
        QPalette palette;
        palette.setColor(QPalette::Window, window);
        palette.setColor(QPalette::WindowText, text);
        QGuiApplication::setPalette(palette);
    }
    void watch() {
        appearance = std::make_unique<Appearance>([this](ColorScheme scheme) { seen.push_back(scheme); });
    }
    bool sees(std::vector<ColorScheme> schemes) {
        const bool came = runMainQueueUntil([&] { return seen.size() >= schemes.size(); }, 3s);
        runMainQueueFor(20ms);
        return came && seen == schemes;
    }

    std::vector<ColorScheme> seen;
    std::unique_ptr<Appearance> appearance;
};

constexpr auto light = ColorScheme::light;
constexpr auto dark = ColorScheme::dark;

// --- No portal ---

TEST_F(AppearanceTest, WithoutABusThePaletteTellsAtOnce) {
    setPalette(Qt::white, Qt::black);
    watch();
    EXPECT_THAT(seen, ElementsAre(light));
    runMainQueueFor(50ms);
    EXPECT_THAT(seen, ElementsAre(light));
}

TEST_F(AppearanceTest, ADarkPaletteIsDark) {
    setPalette(QColor(30, 30, 30), QColor(240, 240, 240));
    watch();
    EXPECT_THAT(seen, ElementsAre(dark));
}

TEST_F(AppearanceTest, AChangeOfThePaletteIsFollowedOnceEach) {
    setPalette(Qt::white, Qt::black);
    watch();
    setPalette(Qt::black, Qt::white);
    EXPECT_TRUE(sees({light, dark}));
    setPalette(QColor(10, 10, 10), Qt::white);
    EXPECT_TRUE(sees({light, dark}));
    setPalette(Qt::white, Qt::black);
    EXPECT_TRUE(sees({light, dark, light}));
}

TEST_F(AppearanceTest, NothingIsToldBehindItsEnd) {
    setPalette(Qt::white, Qt::black);
    watch();
    appearance.reset();
    setPalette(Qt::black, Qt::white);
    runMainQueueFor(20ms);
    EXPECT_THAT(seen, ElementsAre(light));
}

// --- Portal ---

class PortalTest : public AppearanceTest {
protected:
    PortalTest() { setPalette(Qt::white, Qt::black); }

    test_support::SessionBus bus;
    Portal portal{bus.address()};
};

TEST_F(PortalTest, ThePortalsPreferenceIsAskedForAndTaken) {
    portal.answer = nested(1U, 2);
    watch();
    EXPECT_THAT(seen, ElementsAre(light));
    EXPECT_TRUE(sees({light, dark}));
    EXPECT_EQ(portal.questions,
              QStringList{QStringLiteral(
                  "org.freedesktop.portal.Settings.Read org.freedesktop.appearance color-scheme")});
}

TEST_F(PortalTest, AnAnswerMayHoldItsValueInAnyNumberOfVariants) {
    for (int depth = 1; depth <= 4; ++depth) {
        seen.clear();
        portal.answer = nested(1U, depth);
        watch();
        EXPECT_TRUE(sees({light, dark})) << depth;
        appearance.reset();
    }
}

TEST_F(PortalTest, AChangeIsFollowed) {
    portal.answer = nested(2U, 2);
    watch();
    ASSERT_TRUE(runMainQueueUntil([&] { return !portal.questions.isEmpty(); }));
    runMainQueueFor(20ms);
    portal.change(1);
    EXPECT_TRUE(sees({light, dark}));
    portal.change(1);
    EXPECT_TRUE(sees({light, dark}));
    portal.change(2);
    EXPECT_TRUE(sees({light, dark, light}));
}

TEST_F(PortalTest, AChangesValueMayStandInMoreVariants) {
    watch();
    runMainQueueFor(30ms);
    portal.change(QStringLiteral("org.freedesktop.appearance"), QStringLiteral("color-scheme"),
                  nested(1U, 3));
    EXPECT_TRUE(sees({light, dark}));
}

TEST_F(PortalTest, OtherSettingsAreNoneOfTheWindows) {
    watch();
    runMainQueueFor(30ms);
    portal.change(QStringLiteral("org.freedesktop.appearance"), QStringLiteral("contrast"), nested(1U, 1));
    portal.change(QStringLiteral("org.gnome.desktop.interface"), QStringLiteral("color-scheme"),
                  nested(1U, 1));
    runMainQueueFor(50ms);
    EXPECT_THAT(seen, ElementsAre(light));
}

TEST_F(PortalTest, APreferenceStandsAboveThePalette) {
    portal.answer = nested(2U, 2);
    setPalette(Qt::black, Qt::white);
    watch();
    EXPECT_TRUE(sees({dark, light}));
    setPalette(QColor(1, 1, 1), Qt::white);
    runMainQueueFor(20ms);
    EXPECT_THAT(seen, ElementsAre(dark, light));
}

TEST_F(PortalTest, WithoutAPreferenceThePaletteTells) {
    portal.answer = nested(0U, 2);
    setPalette(Qt::black, Qt::white);
    watch();
    runMainQueueFor(50ms);
    EXPECT_THAT(seen, ElementsAre(dark));
    portal.change(2);
    EXPECT_TRUE(sees({dark, light}));
    portal.change(0);
    EXPECT_TRUE(sees({dark, light, dark}));
}

TEST_F(PortalTest, APortalWithoutTheSettingIsAsNone) {
    watch();
    ASSERT_TRUE(runMainQueueUntil([&] { return !portal.questions.isEmpty(); }));
    runMainQueueFor(30ms);
    EXPECT_THAT(seen, ElementsAre(light));
    portal.change(1);
    EXPECT_TRUE(sees({light, dark}));
}

TEST_F(PortalTest, ValuesOfOtherKindsAreNoPreference) {
    for (const QVariant &value : {QVariant(QStringLiteral("prefer-dark")), QVariant(7U), QVariant(-1),
                                  QVariant(QStringList{QStringLiteral("1")}), QVariant(QByteArray("\1"))}) {
        seen.clear();
        portal.answer = nested(value, 2);
        watch();
        runMainQueueFor(30ms);
        EXPECT_THAT(seen, ElementsAre(light)) << value.typeName();
        appearance.reset();
    }
}

TEST_F(PortalTest, AnAnswerBehindItsEndFindsNobody) {
    portal.answer = nested(1U, 2);
    watch();
    appearance.reset();
    ASSERT_TRUE(runMainQueueUntil([&] { return !portal.questions.isEmpty(); }));
    runMainQueueFor(30ms);
    EXPECT_THAT(seen, ElementsAre(light));
}

TEST_F(AppearanceTest, ABusWithoutAPortalIsAsNone) {
    const test_support::SessionBus bus;
    setPalette(Qt::black, Qt::white);
    watch();
    runMainQueueFor(50ms);
    EXPECT_THAT(seen, ElementsAre(dark));
}

TEST_F(AppearanceTest, APortalThatComesLaterIsHeard) {
    const test_support::SessionBus bus;
    setPalette(Qt::white, Qt::black);
    watch();
    runMainQueueFor(30ms);
    Portal portal(bus.address());
    runMainQueueFor(50ms);
    portal.change(1);
    EXPECT_TRUE(sees({light, dark}));
}

} // namespace
