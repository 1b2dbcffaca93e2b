#include "ui/Assets.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <algorithm>
#include <cmath>
#include <functional>
#include <gmock/gmock.h>
#include <set>

namespace {

using Scheme = ContentViewState::ColorScheme;

// https://www.w3.org/TR/WCAG21/#dfn-relative-luminance
double luminance(const QColor &color) {
    const auto linear = [](double channel) {
        return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

// https://www.w3.org/TR/WCAG21/#dfn-contrast-ratio
double contrast(const QColor &one, const QColor &other) {
    const double first = luminance(one);
    const double second = luminance(other);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

QColor over(const QColor &ground, const QColor &color, double opacity) {
    const auto mixed = [opacity](float below, float above) {
        return static_cast<float>(opacity * above + (1 - opacity) * below);
    };
    return QColor::fromRgbF(mixed(ground.redF(), color.redF()), mixed(ground.greenF(), color.greenF()),
                            mixed(ground.blueF(), color.blueF()));
}

TEST(ContrastTest, IsComputedAsWcagHasIt) {
    EXPECT_DOUBLE_EQ(contrast(Qt::black, Qt::white), 21);
    EXPECT_DOUBLE_EQ(contrast(Qt::white, Qt::white), 1);
    // The examples that are known for just passing and just failing.
    EXPECT_NEAR(contrast(QColor(0x76, 0x76, 0x76), Qt::white), 4.54, 0.005);
    EXPECT_NEAR(contrast(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.005);
}

// In both appearances: `check` gets each named colour of an appearance.
void inEach(const std::function<void(Scheme, const std::function<QColor(const char *)> &)> &check) {
    for (const Scheme scheme : {Scheme::light, Scheme::dark}) {
        SCOPED_TRACE(scheme == Scheme::dark ? "dark" : "light");
        check(scheme,
              [scheme](const char *name) { return Assets::color(QString::fromLatin1(name), scheme); });
    }
}

constexpr double text = 4.5;
constexpr double mark = 3;

TEST(AssetContrastTest, IsEnoughForEveryTextAndMark) {
    struct Pair {
        const char *color;
        const char *ground;
        double least;
    };
    constexpr Pair pairs[] = {{"PrimaryTextColor", "BackgroundColor", text},
                              {"SecondaryTextColor", "BackgroundColor", text},
                              {"error", "BackgroundColor", text},
                              {"LinkColor", "BackgroundColor", text},
                              {"white", "PrimaryColor", text},
                              // The primary button while the user reproduces the problem.
                              {"BackgroundColor", "PrimaryTextColor", text},
                              {"Border", "BackgroundColor", mark},
                              {"CheckboxColor", "BackgroundColor", mark},
                              // The button's outline and fill against the window.
                              {"PrimaryColor", "BackgroundColor", mark}};
    inEach([&](Scheme, const auto &color) {
        for (const auto &[name, ground, least] : pairs) {
            EXPECT_EQ(color(name).alpha(), 255) << name;
            EXPECT_GE(contrast(color(name), color(ground)), least) << name << " on " << ground;
        }
    });
}

TEST(AssetContrastTest, IsEnoughOnWhatIsPressedOrDisabled) {
    inEach([](Scheme, const auto &color) {
        const QColor content = color("PrimaryTextColor");
        const QColor window = color("BackgroundColor");
        // The thick-border button and the filled one, pressed; a disabled check box.
        EXPECT_GE(contrast(content, over(window, content, 0.2)), text);
        EXPECT_GE(contrast(over(window, Qt::white, 0.8), over(window, color("PrimaryColor"), 0.8)), text);
        EXPECT_GE(contrast(over(window, content, 0.65), window), text);
    });
}

TEST(AssetsTest, EveryColourButTheSystemsHasAVariantForTheDark) {
    for (const char *name : {"PrimaryColor", "PrimaryTextColor", "SecondaryTextColor", "BackgroundColor",
                             "Border", "CheckboxColor", "error", "LinkColor"}) {
        const QString color = QString::fromLatin1(name);
        EXPECT_NE(Assets::color(color, Scheme::light), Assets::color(color, Scheme::dark)) << name;
    }
    inEach([](Scheme, const auto &color) {
        EXPECT_EQ(color("white"), QColor(Qt::white));
        EXPECT_EQ(color("clear").alpha(), 0);
    });
}

TEST(AssetsTest, AnUnknownColourEndsTheProcess) {
    for (const char *name : {"", "primarycolor", "Error", "black"})
        EXPECT_EXIT(Assets::color(QString::fromLatin1(name), Scheme::light), testing::ExitedWithCode(1),
                    "a colour that is not in the catalogue");
}

// --- Images ---

// Every image that a view names as its own, wherever the views name it.
std::set<QString> imagesOfTheViews() {
    static const QRegularExpression named(QStringLiteral("AssetImage \\{[^}]*name: \"([^\"]+)\""));
    std::set<QString> names;
    QDirIterator file(QStringLiteral(":/Lumamon/qml"));
    while (file.hasNext()) {
        QFile view(file.next());
        EXPECT_TRUE(view.open(QIODevice::ReadOnly));
        const QString code = QString::fromUtf8(view.readAll());
        for (auto match = named.globalMatch(code); match.hasNext();)
            names.insert(match.next().captured(1));
    }
    return names;
}

void expectImage(const QString &name, Scheme scheme) {
    const QUrl url = Assets::image(name, scheme);
    QFile image(QStringLiteral(":") + url.path());
    ASSERT_TRUE(image.open(QIODevice::ReadOnly)) << url.toString().toStdString();
    EXPECT_TRUE(image.readAll().contains("<svg")) << url.toString().toStdString();
}

TEST(AssetImagesTest, EveryImageOfTheViewsIsThereInBothAppearances) {
    const auto names = imagesOfTheViews();
    EXPECT_THAT(names, testing::IsSupersetOf({QStringLiteral("lumadocdiagnosticlogo"),
                                              QStringLiteral("checkmarkcircle"),
                                              QStringLiteral("TarnDeleteOutline18N")}));
    for (const Scheme scheme : {Scheme::light, Scheme::dark})
        for (const QString &name : names)
            expectImage(name, scheme);
    // The error mark has another name in each appearance.
    expectImage(QStringLiteral("erroricon"), Scheme::light);
    expectImage(QStringLiteral("darkerroricon"), Scheme::dark);
    EXPECT_EQ(Assets::image(QStringLiteral("checkmark"), Scheme::dark),
              QUrl(QStringLiteral("qrc:/Lumamon/assets/dark/checkmark.svg")));
}

} // namespace
