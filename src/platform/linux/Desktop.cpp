#include "platform/Desktop.h"

#include "platform/posix/Process.h"
#include "platform/posix/Program.h"

#include <QClipboard>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QPalette>
#include <QUrl>
#include <QWindow>

namespace platform {

namespace {

// How long a program of the desktop may take to fail. One that goes on for longer has opened what it was
// asked to, and how it ends is its own matter.
constexpr std::chrono::seconds answerLimit(10);

// xdg-open may start a program that runs until the user closes it, so a thread waits for it.
void openWithDesktop(const std::string &target, const std::function<void()> &failed) {
    std::thread thread = startThread("xdg-open", [=] {
        const auto start = std::chrono::steady_clock::now();
        const auto status = runProgram({.path = "/usr/bin/xdg-open", .arguments = {target}});
        if (status != 0 && !programsAreStopped() && std::chrono::steady_clock::now() - start < answerLimit)
            failed();
    });
    if (thread.joinable())
        thread.detach();
    else
        failed();
}

// Asks a service of the desktop, and opens `target` where there is none or it does not do it.
void callOrOpenWithDesktop(const QDBusMessage &call, const std::string &target,
                           const std::function<void()> &failed) {
    const auto bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openWithDesktop(target, failed);
        return;
    }
    constexpr int limit = std::chrono::milliseconds(answerLimit).count();
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, limit), QCoreApplication::instance());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher, [=] {
        watcher->deleteLater();
        if (watcher->isError())
            openWithDesktop(target, failed);
    });
}

// RFC 8089. By hand, since the name of a folder need not be UTF-8.
QString fileUrl(const std::filesystem::path &path) {
    return QStringLiteral("file://") +
           QString::fromLatin1(QByteArray::fromStdString(path.native()).toPercentEncoding("/"));
}

std::filesystem::path pathOf(const QString &fileUrl) {
    return QByteArray::fromPercentEncoding(fileUrl.toUtf8().mid(QByteArrayView("file://").size()))
        .toStdString();
}

const QString portal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString settings = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorScheme = QStringLiteral("color-scheme");

// The portal's values; 0 is no preference.
constexpr uint prefersDark = 1;
constexpr uint prefersLight = 2;

ColorScheme schemeOfPalette() {
    const QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness()
               ? ColorScheme::dark
               : ColorScheme::light;
}

// A filter of the file panel: its name and its patterns, each a glob (0) or a media type (1).
using Pattern = std::pair<uint, QString>;
using Filter = std::pair<QString, QList<Pattern>>;

// Portals tell capital letters from small ones. In the bus's own form already: it is Qt's thread for the bus
// that may destroy the call, and it should need no code of ours for that.
QVariant filterOf(const QString &kind, const QStringList &extensions) {
    qDBusRegisterMetaType<Pattern>();
    qDBusRegisterMetaType<QList<Pattern>>();
    qDBusRegisterMetaType<Filter>();
    qDBusRegisterMetaType<QList<Filter>>();
    QList<Pattern> patterns;
    for (const QString &extension : extensions) {
        QString glob = QStringLiteral("*.");
        for (const QChar letter : extension)
            glob += u'[' + letter.toLower() + letter.toUpper() + u']';
        patterns.emplaceBack(0, glob);
    }
    QDBusArgument filters;
    filters << QList<Filter>{{kind, patterns}};
    return QVariant::fromValue(filters);
}

// The window that the panel belongs to, as portals name it.
QString nameOf(const QWindow *window) {
    return window != nullptr && QGuiApplication::platformName() == u"xcb"
               ? QStringLiteral("x11:") + QString::number(window->winId(), 16)
               : QString();
}

} // namespace

// https://www.freedesktop.org/wiki/Specifications/file-manager-interface/
void revealFolder(const std::filesystem::path &folder, const std::function<void()> &failed) {
    auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowFolders"));
    call.setArguments({QStringList{fileUrl(folder)}, QString()});
    callOrOpenWithDesktop(call, folder.native(), failed);
}

// The portal first: the arguments of a program are for every user of the machine to read.
// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.OpenURI.html
void openLink(const QByteArray &link, const std::function<void()> &failed) {
    auto call = QDBusMessage::createMethodCall(
        portal, portalPath, QStringLiteral("org.freedesktop.portal.OpenURI"), QStringLiteral("OpenURI"));
    call.setArguments({QString(), QString::fromUtf8(link), QVariantMap()});
    callOrOpenWithDesktop(call, link.toStdString(), failed);
}

void setPasteboardText(const QString &text) {
    QGuiApplication::clipboard()->setText(text);
}

bool ownsPasteboard() {
    return QGuiApplication::clipboard()->ownsClipboard();
}

// The desktop portal's panel.
// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.FileChooser.html
class FileChooser::Request : public QObject {
    Q_OBJECT

public:
    Request(const QString &title, const QString &kind, const QStringList &extensions,
            std::function<void(Files)> chosen)
        : m_chosen(std::move(chosen)) {
        auto bus = QDBusConnection::sessionBus();
        // A call without a bus never ends.
        if (!bus.isConnected())
            QMetaObject::invokeMethod(
                this, [this] { finish({}); }, Qt::QueuedConnection);
        // The portal names its answer's object by the caller and this token, so that no answer is missed.
        static int count = 0;
        const QString token = QStringLiteral("diagnostics%1").arg(++count);
        m_object = QStringLiteral("%1/request/%2/%3")
                       .arg(portalPath, bus.baseService().mid(1).replace(u'.', u'_'), token);
        bus.connect(portal, m_object, requestInterface, QStringLiteral("Response"), this,
                    SLOT(answered(uint, QVariantMap)));
        auto call = QDBusMessage::createMethodCall(portal, portalPath,
                                                   QStringLiteral("org.freedesktop.portal.FileChooser"),
                                                   QStringLiteral("OpenFile"));
        call.setArguments({nameOf(QGuiApplication::focusWindow()), title,
                           QVariantMap{{QStringLiteral("handle_token"), token},
                                       {QStringLiteral("multiple"), true},
                                       {QStringLiteral("filters"), filterOf(kind, extensions)}}});
        auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            if (watcher->isError())
                finish({});
        });
        // A portal that has gone answers no more.
        auto *service =
            new QDBusServiceWatcher(portal, bus, QDBusServiceWatcher::WatchForUnregistration, this);
        connect(service, &QDBusServiceWatcher::serviceUnregistered, this,
                [this] { finish(std::vector<std::filesystem::path>()); });
    }

    ~Request() override {
        if (m_chosen)
            QDBusConnection::sessionBus().asyncCall(
                QDBusMessage::createMethodCall(portal, m_object, requestInterface, QStringLiteral("Close")));
    }

private:
    Q_SLOT void answered(uint response, const QVariantMap &results) {
        std::vector<std::filesystem::path> files;
        if (response == 0) {
            for (const QString &uri : results.value(QStringLiteral("uris")).toStringList())
                files.push_back(pathOf(uri));
        }
        finish(std::move(files));
    }

    void finish(Files files) {
        if (const auto chosen = std::exchange(m_chosen, nullptr))
            chosen(std::move(files));
    }

    std::function<void(Files)> m_chosen;
    QString m_object;
};

FileChooser::FileChooser(const QString &title, const QString &kind, const QStringList &extensions,
                         std::function<void(Files)> chosen)
    : m_request(std::make_unique<Request>(title, kind, extensions, std::move(chosen))) {}

FileChooser::~FileChooser() = default;

namespace {

// https://specifications.freedesktop.org/desktop-entry-spec/latest/dbus.html
class Activation : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    Activation(QObject *parent, const QString &identifier, std::function<void()> activate)
        : QObject(parent)
        , m_activate(std::move(activate)) {
        auto bus = QDBusConnection::sessionBus();
        const QString object = u'/' + QString(identifier).replace(u'.', u'/').replace(u'-', u'_');
        bus.registerObject(object, this, QDBusConnection::ExportScriptableSlots);
        // Without waiting for the answer, which Qt's own call for this does.
        constexpr uint doNotQueue = 4;
        const QString daemon = QStringLiteral("org.freedesktop.DBus");
        auto call = QDBusMessage::createMethodCall(daemon, QStringLiteral("/org/freedesktop/DBus"), daemon,
                                                   QStringLiteral("RequestName"));
        call.setArguments({identifier, doNotQueue});
        bus.send(call);
    }

    Q_SCRIPTABLE Q_SLOT void Activate(const QVariantMap &platformData) {
        // Qt takes it from there when it next asks for the keyboard.
        const QByteArray token = platformData.value(QStringLiteral("activation-token")).toString().toUtf8();
        if (!token.isEmpty())
            qputenv("XDG_ACTIVATION_TOKEN", token);
        m_activate();
    }

private:
    std::function<void()> m_activate;
};

} // namespace

void onReopen(const QString &identifier, std::function<void()> reopen) {
    new Activation(QCoreApplication::instance(), identifier, std::move(reopen));
}

bool outlivesItsWindow() {
    return false;
}

bool hasDefaultWindowSize() {
    return true;
}

// The desktop portal's setting, and the palette where there is no portal or the user has no preference.
// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
class Appearance::Watcher : public QObject {
    Q_OBJECT

public:
    explicit Watcher(std::function<void(ColorScheme)> changed)
        : m_changed(std::move(changed))
        , m_shown(schemeOfPalette()) {
        // Without this the signal is not delivered before the first good answer.
        qRegisterMetaType<QDBusVariant>();
        QCoreApplication::instance()->installEventFilter(this);
        m_changed(m_shown);
        auto bus = QDBusConnection::sessionBus();
        bus.connect(portal, portalPath, settings, QStringLiteral("SettingChanged"), this,
                    SLOT(settingChanged(QString, QString, QDBusVariant)));
        auto call = QDBusMessage::createMethodCall(portal, portalPath, settings, QStringLiteral("Read"));
        call.setArguments({appearance, colorScheme});
        auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            watcher->deleteLater();
            const QDBusPendingReply<QDBusVariant> reply = *watcher;
            // A change signalled in the meantime is newer.
            if (reply.isValid() && !m_isSignalled)
                take(reply.value());
        });
    }

    bool eventFilter(QObject *watched, QEvent *event) override {
        if (event->type() == QEvent::ApplicationPaletteChange)
            show();
        return QObject::eventFilter(watched, event);
    }

private:
    Q_SLOT void settingChanged(const QString &space, const QString &key, const QDBusVariant &value) {
        if (space != appearance || key != colorScheme)
            return;
        m_isSignalled = true;
        take(value);
    }

    // An answer holds its value in one more variant than a signal does, and some portals in yet another.
    void take(const QDBusVariant &value) {
        QVariant content = value.variant();
        while (content.metaType() == QMetaType::fromType<QDBusVariant>())
            content = content.value<QDBusVariant>().variant();
        m_preference = content.toUInt();
        show();
    }

    void show() {
        const ColorScheme before = m_shown;
        m_shown = m_preference == prefersDark    ? ColorScheme::dark
                  : m_preference == prefersLight ? ColorScheme::light
                                                 : schemeOfPalette();
        if (m_shown != before)
            m_changed(m_shown);
    }

    std::function<void(ColorScheme)> m_changed;
    ColorScheme m_shown;
    uint m_preference = 0;
    bool m_isSignalled = false;
};

Appearance::Appearance(std::function<void(ColorScheme)> changed)
    : m_watcher(std::make_unique<Watcher>(std::move(changed))) {}

Appearance::~Appearance() = default;

} // namespace platform

#include "Desktop.moc"
