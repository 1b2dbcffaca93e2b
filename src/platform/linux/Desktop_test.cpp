#include "platform/Desktop.h"

#include "collection/UserDetails.h"
#include "discovery/ProductDiscovery.h"
#include "discovery/RunState.h"
#include "platform/Applications.h"
#include "test_support/Bus.h"
#include "test_support/ProgramRun.h"
#include "test_support/StandIns.h"
#include "test_support/WindowFixture.h"
#include "ui/ContentView.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
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

const QString portalName = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");

// A service on the session bus that notes what it is asked.
class BusService : public QDBusVirtualObject {
public:
    BusService(const std::string &address, const QString &name, const QString &path)
        : m_bus(QDBusConnection::connectToBus(QString::fromStdString(address), name)) {
        m_bus.registerVirtualObject(path, this, QDBusConnection::SubPath);
        EXPECT_TRUE(m_bus.registerService(name));
    }
    ~BusService() override { QDBusConnection::disconnectFromBus(m_bus.name()); }

    QString introspect(const QString &) const override { return {}; }
    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override {
        QString question = message.interface() + u'.' + message.member() + u' ' + message.signature();
        for (const QVariant &argument : message.arguments())
            question += u'|' + argument.toStringList().join(u' ');
        questions.append(question);
        call = message;
        connection.send(answer ? message.createReply(*answer)
                               : message.createErrorReply(QDBusError::Failed, QStringLiteral("no")));
        return true;
    }

    QStringList questions;
    QDBusMessage call;
    /// Without one the answer is an error.
    std::optional<QVariantList> answer;

    bool send(const QDBusMessage &message) { return m_bus.send(message); }

protected:
    QDBusConnection m_bus;
};

class DesktopTest : public WindowTest {
protected:
    void SetUp() override {
        REQUIRE_OWN_NAMESPACES();
        xdgOpen.emplace("xdg-open");
    }
    // Forgets it afterwards.
    void expectOpened(const std::string &target) {
        EXPECT_TRUE(runMainQueueUntil([&] { return !xdgOpen->calls().empty(); }, 5s));
        runMainQueueFor(50ms);
        EXPECT_THAT(xdgOpen->calls(), ElementsAre(ElementsAre("/usr/bin/xdg-open", target)));
        xdgOpen.emplace("xdg-open");
    }
    void expectNothingOpened() {
        runMainQueueFor(200ms);
        EXPECT_TRUE(xdgOpen->calls().empty());
    }

    const std::function<void()> fail = [] { ADD_FAILURE() << "it was opened"; };
    std::optional<test_support::StandInProgram> xdgOpen;
};

// --- Links and folders ---

TEST_F(DesktopTest, ALinkIsOpenedByThePathAndInOneArgumentWithoutWaitingForTheProgram) {
    xdgOpen.emplace("xdg-open", "exec sleep 10");
    const char *const link = "mailto:a@b.cd?subject=x y&body=$(touch /tmp/x);'\"`|*";
    const auto start = std::chrono::steady_clock::now();
    platform::openLink(link, fail);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
    expectOpened(link);
}

TEST_F(DesktopTest, TheMailGoesToTheSupportWithTheUsersWordsUnlessTheyCannotBeEncoded) {
    ContentView view;
    const QString sender = QStringLiteral("user@example.com");
    const QString words = QStringLiteral("50 % & more #1\né");
    view.changeEmail(sender);
    view.changeFeedback(QStringLiteral("a") + QChar(0xD83D));
    view.mailToTrigger(view.supportEmail());
    expectNothingOpened();
    view.changeFeedback(words);
    view.mailToTrigger(view.supportEmail());
    const QString support = QStringLiteral("lumadoc-support@brennic.example");
    expectOpened(mailLink(support, UtilityFunctions::UniqueId, words, sender)->toStdString());
}

TEST_F(DesktopTest, WithoutABusAFolderIsOpened) {
    platform::revealFolder(home.path(), fail);
    expectOpened(home.path().native());
}

TEST_F(DesktopTest, WhatCannotBeOpenedIsNamedOnce) {
    UtilityFunctions::tempTimeStampedURL = "/a folder/caf\xc3\xa9";
    std::vector<std::string> alerts;
    UtilityFunctions::alertPresenter = [&](const QString &title, const QString &message, auto...) {
        alerts.push_back((title + u'|' + message).toStdString());
    };
    ContentView view;
    for (const char *script : {"exit 3", "kill -9 $$"}) {
        xdgOpen.emplace("xdg-open", script);
        for (const auto &[open, alert] :
             {std::pair(
                  +[](ContentView &of) { of.viewLogs(); },
                  "Folder Not Shown|No file browser could be opened. Please open this folder "
                  "yourself:\n/a folder/caf\xc3\xa9"),
              {+[](ContentView &of) { of.mailToTrigger(of.supportEmail()); },
               "Mail Not Opened|No mail program could be opened. Please write to this address:\n"
               "lumadoc-support@brennic.example"}}) {
            alerts.clear();
            open(view);
            EXPECT_TRUE(runMainQueueUntil([&] { return !alerts.empty(); }, 5s));
            runMainQueueFor(50ms);
            EXPECT_THAT(alerts, ElementsAre(alert));
        }
    }
}

// The application looks for the bus when it starts.
class DesktopWithBus : public DesktopTest {
protected:
    test_support::SessionBus bus;
};

TEST_F(DesktopWithBus, AFolderIsShownByTheFileBrowserOrOpenedWithoutOne) {
    const char *const folder = "/a b/c%d/#e/caf\xe9/\xc3\xa9?";
    UtilityFunctions::tempTimeStampedURL = folder;
    ContentView view;
    view.viewLogs();
    expectOpened(folder);
    BusService browser(bus.address(), QStringLiteral("org.freedesktop.FileManager1"),
                       QStringLiteral("/org/freedesktop/FileManager1"));
    view.viewLogs();
    expectOpened(folder);
    browser.answer = QVariantList();
    view.viewLogs();
    ASSERT_TRUE(runMainQueueUntil([&] { return browser.questions.size() == 2; }, 5s));
    EXPECT_EQ(browser.questions.last(), QStringLiteral("org.freedesktop.FileManager1.ShowFolders ass|"
                                                       "file:///a%20b/c%25d/%23e/caf%E9/%C3%A9%3F|"));
    expectNothingOpened();
}

TEST_F(DesktopWithBus, ALinkGoesToThePortalWhichNoOtherUserCanReadOrIsOpenedWithoutOne) {
    const char *const link = "mailto:a@b.cd?subject=x%20y&body=z";
    platform::openLink(link, fail);
    expectOpened(link);
    BusService portal(bus.address(), portalName, portalPath);
    platform::openLink(link, fail);
    expectOpened(link);
    portal.answer = QVariantList{QVariant::fromValue(QDBusObjectPath(QStringLiteral("/request")))};
    platform::openLink(link, fail);
    ASSERT_TRUE(runMainQueueUntil([&] { return portal.questions.size() == 2; }, 5s));
    EXPECT_EQ(portal.questions.last(), QStringLiteral("org.freedesktop.portal.OpenURI.OpenURI ssa{sv}||"
                                                      "mailto:a@b.cd?subject=x%20y&body=z|"));
    expectNothingOpened();
}

// --- The window is asked for ---

const QString copyName = QStringLiteral("com.example.The-Program");
constexpr const char *tokenVariable = "XDG_ACTIVATION_TOKEN";

TEST_F(DesktopWithBus, ASecondCopyAsksForTheWindowInTheNameOfTheActionThatStartedIt) {
    platform::activateOtherCopy(copyName);
    platform::activateOtherCopy(QStringLiteral("no name on a bus"));
    BusService first(bus.address(), copyName, QStringLiteral("/com/example/The_Program"));
    const test_support::ScopedEnvironment token(tokenVariable, "token");
    const test_support::ScopedEnvironment startup("DESKTOP_STARTUP_ID", "id_TIME1");
    platform::activateOtherCopy(copyName);
    ASSERT_TRUE(runMainQueueUntil([&] { return !first.questions.empty(); }, 5s));
    EXPECT_THAT(first.questions, ElementsAre(QStringLiteral("org.freedesktop.Application.Activate a{sv}|")));
    EXPECT_EQ(qdbus_cast<QVariantMap>(first.call.arguments().at(0)),
              (QVariantMap{{QStringLiteral("activation-token"), QStringLiteral("token")},
                           {QStringLiteral("desktop-startup-id"), QStringLiteral("id_TIME1")}}));
}

TEST_F(DesktopWithBus, TheWindowIsAskedForWithTheTokenWhereQtLooksForIt) {
    QList<QByteArray> tokens;
    platform::onReopen(copyName, [&] { tokens.append(qgetenv(tokenVariable)); });
    for (const char *token : {"", "token"}) {
        const auto isAsked = [&] {
            test_support::statusInChild([token] {
                ::setenv(tokenVariable, token, 1);
                platform::activateOtherCopy(copyName);
                return 0;
            });
            return tokens.contains(token);
        };
        // The name is not there at once.
        EXPECT_TRUE(runMainQueueUntil(isAsked, 5s)) << token;
    }
}

// --- The file panel ---

class FileChooserTest : public WindowTest {
protected:
    using Files = platform::FileChooser::Files;

    void open() {
        chosen.clear();
        chooser =
            std::make_unique<platform::FileChooser>(QStringLiteral("Title"), QStringLiteral("Kind"),
                                                    QStringList{QStringLiteral("pdf"), QStringLiteral("x1")},
                                                    [this](const Files &files) { chosen.push_back(files); });
    }
    // Until the chooser has told what came of it, and a while in which it should not tell more.
    void expectChosen(const std::vector<Files> &expected) {
        runMainQueueUntil([&] { return chosen.size() >= expected.size(); }, 3s);
        runMainQueueFor(40ms);
        EXPECT_EQ(chosen, expected);
    }

    std::vector<Files> chosen;
    std::unique_ptr<platform::FileChooser> chooser;
};

const platform::FileChooser::Files noFiles = std::vector<std::filesystem::path>();

TEST_F(FileChooserTest, WithoutABusThereIsNone) {
    open();
    expectChosen({std::nullopt});
}

class PortalFileChooserTest : public FileChooserTest {
protected:
    // Answers the last call.
    void respond(uint response, const QStringList &uris) {
        const auto options = qdbus_cast<QVariantMap>(portal->call.arguments().at(2));
        auto signal = QDBusMessage::createSignal(
            QStringLiteral("%1/request/%2/%3")
                .arg(portalPath, portal->call.service().mid(1).replace(u'.', u'_'),
                     options.value(QStringLiteral("handle_token")).toString()),
            QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
        signal.setArguments({response, QVariantMap{{QStringLiteral("uris"), uris}}});
        EXPECT_TRUE(portal->send(signal));
    }
    void openAndWait() {
        portal->questions.clear();
        open();
        ASSERT_TRUE(runMainQueueUntil([&] { return !portal->questions.isEmpty(); }));
    }

    test_support::SessionBus bus;
    std::optional<BusService> portal{std::in_place, bus.address(), portalName, portalPath};
};

TEST_F(PortalFileChooserTest, GivesWhatTheUserChose) {
    portal->answer = QVariantList{QVariant::fromValue(QDBusObjectPath("/request"))};
    openAndWait();
    EXPECT_EQ(portal->questions.at(0),
              QStringLiteral("org.freedesktop.portal.FileChooser.OpenFile ssa{sv}||Title|"));
    const auto options = qdbus_cast<QVariantMap>(portal->call.arguments().at(2));
    EXPECT_TRUE(options.value(QStringLiteral("multiple")).toBool());
    using Pattern = std::pair<uint, QString>;
    using Filters = QList<std::pair<QString, QList<Pattern>>>;
    EXPECT_EQ(qdbus_cast<Filters>(options.value(QStringLiteral("filters"))),
              (Filters{{QStringLiteral("Kind"),
                        {{0U, QStringLiteral("*.[pP][dD][fF]")}, {0U, QStringLiteral("*.[xX][11]")}}}}));
    const QStringList uris{QStringLiteral("file:///a%20b/caf%E9.pdf"), QStringLiteral("file:///%23%25.x1")};
    respond(0, uris);
    expectChosen({std::vector<std::filesystem::path>{"/a b/caf\xe9.pdf", "/#%.x1"}});
    // A second one has an answer of its own.
    openAndWait();
    respond(1, uris);
    expectChosen({noFiles});
}

TEST_F(PortalFileChooserTest, WithoutOneOrWhenItGoesTheWindowIsTold) {
    openAndWait();
    expectChosen({std::nullopt});
    portal->answer = QVariantList{QVariant::fromValue(QDBusObjectPath("/request"))};
    openAndWait();
    portal.reset();
    expectChosen({noFiles});
    open();
    expectChosen({std::nullopt});
}

TEST_F(PortalFileChooserTest, IsClosedWithItsObject) {
    portal->answer = QVariantList{QVariant::fromValue(QDBusObjectPath("/request"))};
    openAndWait();
    chooser.reset();
    ASSERT_TRUE(runMainQueueUntil([&] { return portal->call.member() == u"Close"; }));
    EXPECT_EQ(portal->call.interface(), QStringLiteral("org.freedesktop.portal.Request"));
    expectChosen({});
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
        : BusService(address, portalName, portalPath) {}

    static QVariant nested(const QVariant &value, int depth) {
        return depth == 0 ? value : QVariant::fromValue(QDBusVariant(nested(value, depth - 1)));
    }
    void setAnswer(const QVariant &value, int depth = 2) { answer = QVariantList{nested(value, depth)}; }
    void change(uint value, const QString &space = QStringLiteral("org.freedesktop.appearance"),
                const QString &key = QStringLiteral("color-scheme"), int depth = 1) {
        auto signal = QDBusMessage::createSignal(
            portalPath, QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("SettingChanged"));
        signal.setArguments({space, key, nested(value, depth)});
        EXPECT_TRUE(send(signal));
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

TEST_F(PortalTest, APreferenceCountsMoreThanThePaletteAndItsChangesAreFollowed) {
    setDarkPalette();
    portal.setAnswer(2U);
    watch();
    expectSeen({dark, light});
    setPalette(QColor(1, 1, 1), Qt::white);
    portal.change(1, QStringLiteral("org.freedesktop.appearance"), QStringLiteral("contrast"));
    portal.change(1, QStringLiteral("org.gnome.desktop.interface"));
    expectSeen({dark, light});
    portal.change(0);
    expectSeen({dark, light, dark});
    portal.change(2, QStringLiteral("org.freedesktop.appearance"), QStringLiteral("color-scheme"), 3);
    expectSeen({dark, light, dark, light});
    portal.change(1);
    expectSeen({dark, light, dark, light, dark});
}

TEST_F(PortalTest, WithoutAKnownPreferenceThePaletteCounts) {
    for (const QVariant &value : {QVariant(0U), QVariant(7U), QVariant(QStringList{QStringLiteral("1")})}) {
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

    // An answer after the end reaches nobody.
    portal.setAnswer(1U);
    portal.questions.clear();
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
