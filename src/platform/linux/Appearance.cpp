#include "platform/Appearance.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QPalette>

namespace platform {

namespace {

const QString portal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settings = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearance = QStringLiteral("org.freedesktop.appearance");
const QString colorScheme = QStringLiteral("color-scheme");

// The portal's values; 0 stands for no preference.
constexpr uint prefersDark = 1;
constexpr uint prefersLight = 2;

ColorScheme schemeOfPalette() {
    const QPalette palette = QGuiApplication::palette();
    return palette.color(QPalette::Window).lightness() < palette.color(QPalette::WindowText).lightness()
               ? ColorScheme::dark
               : ColorScheme::light;
}

} // namespace

// The desktop portal's setting, and the palette where there is no portal or the user has no preference.
// https://flatpak.github.io/xdg-desktop-portal/docs/doc-org.freedesktop.portal.Settings.html
class Appearance::Watcher : public QObject {
    Q_OBJECT

public:
    explicit Watcher(std::function<void(ColorScheme)> changed)
        : m_changed(std::move(changed))
        , m_shown(schemeOfPalette()) {
        // Else the signal is not delivered before the first good answer.
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
            // A change that was told meanwhile is newer.
            if (reply.isValid() && !m_isTold)
                take(reply.value());
        });
    }

    bool eventFilter(QObject *watched, QEvent *event) override {
        if (event->type() == QEvent::ApplicationPaletteChange)
            show();
        return QObject::eventFilter(watched, event);
    }

private Q_SLOTS:
    void settingChanged(const QString &space, const QString &key, const QDBusVariant &value) {
        if (space != appearance || key != colorScheme)
            return;
        m_isTold = true;
        take(value);
    }

private:
    // An answer holds its value in one more variant than a signal does, and some portals in yet another.
    void take(const QDBusVariant &value) {
        QVariant content = value.variant();
        while (content.metaType() == QMetaType::fromType<QDBusVariant>())
            content = content.value<QDBusVariant>().variant();
        m_preference = content.toUInt();
        show();
    }

    void show() {
        ColorScheme scheme = schemeOfPalette();
        if (m_preference == prefersDark)
            scheme = ColorScheme::dark;
        else if (m_preference == prefersLight)
            scheme = ColorScheme::light;
        if (scheme == m_shown)
            return;
        m_shown = scheme;
        m_changed(scheme);
    }

    std::function<void(ColorScheme)> m_changed;
    ColorScheme m_shown;
    uint m_preference = 0;
    bool m_isTold = false;
};

Appearance::Appearance(std::function<void(ColorScheme)> changed)
    : m_watcher(std::make_unique<Watcher>(std::move(changed))) {}

Appearance::~Appearance() = default;

} // namespace platform

#include "Appearance.moc"
