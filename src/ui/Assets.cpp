#include "ui/Assets.h"

#include "platform/posix/Fatal.h"

#include <algorithm>
#include <array>

namespace {

struct NamedColor {
    const char *name;
    QRgb light;
    QRgb dark;
};

constexpr std::array colors{
    // Fill of the primary button; its text is white in both appearances.
    NamedColor{"PrimaryColor", 0xFF0A56A3, 0xFF2869BD},
    NamedColor{"PrimaryTextColor", 0xFF1B1F24, 0xFFF1F3F5},
    NamedColor{"SecondaryTextColor", 0xFF57606A, 0xFFB6BEC8},
    NamedColor{"BackgroundColor", 0xFFFFFFFF, 0xFF1C1F23},
    NamedColor{"Border", 0xFF7A838D, 0xFF88919B},
    NamedColor{"CheckboxColor", 0xFF0A56A3, 0xFF6CB0FF},
    NamedColor{"error", 0xFFB3261E, 0xFFFF8A80},
    NamedColor{"LinkColor", 0xFF0A56A3, 0xFF6CB0FF},
};

} // namespace

QColor Assets::color(const QString &name, ContentViewState::ColorScheme colorScheme) {
    if (name == u"white")
        return Qt::white;
    if (name == u"clear")
        return Qt::transparent;
    const auto found = std::ranges::find_if(
        colors, [&](const NamedColor &color) { return name == QLatin1String(color.name); });
    if (found == colors.end())
        platform::fatal("The window asks for a colour that is not in the catalogue.");
    return colorScheme == ContentViewState::ColorScheme::dark ? found->dark : found->light;
}

QUrl Assets::image(const QString &name, ContentViewState::ColorScheme colorScheme) {
    const QString variant =
        colorScheme == ContentViewState::ColorScheme::dark ? QStringLiteral("dark") : QStringLiteral("light");
    return QUrl(QStringLiteral("qrc:/Lumamon/assets/%1/%2.svg").arg(variant, name));
}
