#include "ui/Assets.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <algorithm>
#include <cmath>
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

struct Pair {
    const char *color;
    const char *ground;
    double least;
};

class AssetContrastTest : public testing::TestWithParam<std::tuple<Pair, Scheme>> {};

TEST_P(AssetContrastTest, IsEnough) {
    const auto &[pair, scheme] = GetParam();
    const QColor color = Assets::color(QString::fromLatin1(pair.color), scheme);
    const QColor ground = Assets::color(QString::fromLatin1(pair.ground), scheme);
    EXPECT_EQ(color.alpha(), 255);
    EXPECT_EQ(ground.alpha(), 255);
    EXPECT_GE(contrast(color, ground), pair.least) << pair.color << " on " << pair.ground;
}

constexpr double text = 4.5;
constexpr double mark = 3;
INSTANTIATE_TEST_SUITE_P(
    Catalogue, AssetContrastTest,
    testing::Combine(testing::Values(Pair{"PrimaryTextColor", "BackgroundColor", text},
                                     Pair{"SecondaryTextColor", "BackgroundColor", text},
                                     Pair{"error", "BackgroundColor", text},
                                     Pair{"LinkColor", "BackgroundColor", text},
                                     Pair{"white", "PrimaryColor", text},
                                     // The primary button while the user reproduces the problem.
                                     Pair{"BackgroundColor", "PrimaryTextColor", text},
                                     Pair{"Border", "BackgroundColor", mark},
                                     Pair{"CheckboxColor", "BackgroundColor", mark},
                                     // The check mark in a toggle that is on.
                                     Pair{"BackgroundColor", "CheckboxColor", mark},
                                     // The button's outline and fill against the window.
                                     Pair{"PrimaryColor", "BackgroundColor", mark}),
                     testing::Values(Scheme::light, Scheme::dark)));

class PressedContrastTest : public testing::TestWithParam<Scheme> {};

TEST_P(PressedContrastTest, IsEnoughOnThePressedThickBorderButton) {
    const QColor content = Assets::color(QStringLiteral("PrimaryTextColor"), GetParam());
    const QColor window = Assets::color(QStringLiteral("BackgroundColor"), GetParam());
    EXPECT_GE(contrast(content, over(window, content, 0.2)), text);
}

TEST_P(PressedContrastTest, IsEnoughOnThePressedFilledButton) {
    const QColor fill = Assets::color(QStringLiteral("PrimaryColor"), GetParam());
    const QColor window = Assets::color(QStringLiteral("BackgroundColor"), GetParam());
    EXPECT_GE(contrast(over(window, Qt::white, 0.8), over(window, fill, 0.8)), text);
}

TEST_P(PressedContrastTest, IsEnoughOnADisabledCheckBox) {
    const QColor content = Assets::color(QStringLiteral("PrimaryTextColor"), GetParam());
    const QColor window = Assets::color(QStringLiteral("BackgroundColor"), GetParam());
    EXPECT_GE(contrast(over(window, content, 0.65), window), text);
}

INSTANTIATE_TEST_SUITE_P(Schemes, PressedContrastTest, testing::Values(Scheme::light, Scheme::dark));

TEST(AssetsTest, SystemColoursAreTheSameInBothAppearances) {
    for (const Scheme scheme : {Scheme::light, Scheme::dark}) {
        EXPECT_EQ(Assets::color(QStringLiteral("white"), scheme), QColor(Qt::white));
        EXPECT_EQ(Assets::color(QStringLiteral("clear"), scheme).alpha(), 0);
    }
}

TEST(AssetsTest, EveryColourHasAVariantForTheDark) {
    for (const char *name : {"PrimaryColor", "PrimaryTextColor", "SecondaryTextColor", "BackgroundColor",
                             "Border", "CheckboxColor", "error", "LinkColor"}) {
        EXPECT_NE(Assets::color(QString::fromLatin1(name), Scheme::light),
                  Assets::color(QString::fromLatin1(name), Scheme::dark))
            << name;
    }
}

TEST(AssetsTest, AnUnknownColourEndsTheProcess) {
    for (const char *name : {"", "primarycolor", "Error", "black"})
        EXPECT_EXIT(Assets::color(QString::fromLatin1(name), Scheme::light), testing::ExitedWithCode(1),
                    "a colour that is not in the catalogue");
}

TEST(AssetsTest, AnImageHasAPlaceForEachAppearance) {
    EXPECT_EQ(Assets::image(QStringLiteral("checkmarkcircle"), Scheme::light),
              QUrl(QStringLiteral("qrc:/Lumamon/assets/light/checkmarkcircle.svg")));
    EXPECT_EQ(Assets::image(QStringLiteral("checkmarkcircle"), Scheme::dark),
              QUrl(QStringLiteral("qrc:/Lumamon/assets/dark/checkmarkcircle.svg")));
}

// --- Images ---

std::vector<std::string> imagesIn(const char *appearance) {
    std::vector<std::string> names;
    QDirIterator file(QStringLiteral(":/Lumamon/assets/") + QString::fromLatin1(appearance));
    while (file.hasNext())
        names.push_back(QFileInfo(file.next()).fileName().toStdString());
    std::sort(names.begin(), names.end());
    return names;
}

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
    for (const QString &name : names) {
        expectImage(name, Scheme::light);
        expectImage(name, Scheme::dark);
    }
}

// The error mark has another name in each appearance.
TEST(AssetImagesTest, TheErrorMarkOfEachAppearanceIsThere) {
    expectImage(QStringLiteral("erroricon"), Scheme::light);
    expectImage(QStringLiteral("darkerroricon"), Scheme::dark);
}

TEST(AssetImagesTest, BothAppearancesHoldTheSameImagesButForTheErrorMarks) {
    auto light = imagesIn("light");
    auto dark = imagesIn("dark");
    EXPECT_FALSE(light.empty());
    for (auto *names : {&light, &dark})
        std::erase_if(*names, [](const std::string &name) { return name.ends_with("erroricon.svg"); });
    EXPECT_EQ(light, dark);
}

} // namespace
