#include "platform/Desktop.h"

#include "test_support/Machine.h"
#include "test_support/macos/StandIns.h"

#include <QStringList>
#include <gmock/gmock.h>

namespace {

using platform::ColorScheme;
using test_support::Mac;
using testing::ElementsAre;
using testing::IsEmpty;

class MacDesktop : public testing::Test {
protected:
    using Files = platform::FileChooser::Files;

    void open() {
        chosen.clear();
        chooser = std::make_unique<platform::FileChooser>(
            QStringLiteral("Title"), QStringLiteral("Kind"),
            QStringList{QStringLiteral("pdf"), QString(), QStringLiteral("x1")},
            [this](const Files &files) { chosen.push_back(files); });
    }

    test_support::Machine machine;
    Mac &mac = Mac::shared();
    int failures = 0;
    const std::function<void()> fail = [this] { ++failures; };
    std::vector<Files> chosen;
    std::unique_ptr<platform::FileChooser> chooser;
};

TEST_F(MacDesktop, OpensLinksAsTheyAre) {
    const QByteArray link = "mailto:a@b.cd?subject=x%20y&body=%0A%25";
    platform::openLink(link, fail);
    EXPECT_THAT(mac.opened, ElementsAre(link));
    EXPECT_EQ(failures, 0);
    mac.isDesktopBroken = true;
    platform::openLink(link, fail);
    platform::revealFolder("/a", fail);
    EXPECT_EQ(failures, 2);
}

TEST_F(MacDesktop, ShowsAFolderInTheFileBrowser) {
    platform::revealFolder("/a b/c%d/caf\xc3\xa9", fail);
    EXPECT_THAT(mac.revealed, ElementsAre("/a b/c%d/caf\xc3\xa9"));
    EXPECT_EQ(failures, 0);
}

TEST_F(MacDesktop, HasThePasteboardUntilAnotherProgramUsesIt) {
    EXPECT_FALSE(platform::ownsPasteboard());
    mac.pasteboard = QStringLiteral("before");
    platform::setPasteboardText(QStringLiteral("caf\u00e9"));
    EXPECT_EQ(mac.pasteboard, QStringLiteral("caf\u00e9"));
    EXPECT_TRUE(platform::ownsPasteboard());
    ++mac.pasteboardChanges;
    EXPECT_FALSE(platform::ownsPasteboard());
}

TEST_F(MacDesktop, GivesTheFilesThatTheUserChose) {
    open();
    EXPECT_EQ(mac.panel.message, QStringLiteral("Title"));
    EXPECT_THAT(mac.panel.extensions, ElementsAre(QStringLiteral("pdf"), QStringLiteral("x1")));
    EXPECT_FALSE(mac.panel.takesFolders);
    EXPECT_TRUE(mac.panel.takesSeveral);
    ASSERT_TRUE(mac.panel.isOpen);
    EXPECT_THAT(chosen, IsEmpty());
    mac.panel.answer({{"/a b/caf\xc3\xa9.pdf", "/#%.x1"}});
    EXPECT_THAT(chosen, ElementsAre(Files({"/a b/caf\xc3\xa9.pdf", "/#%.x1"})));
    chooser.reset();
    EXPECT_EQ(chosen.size(), 1U);
    open();
    mac.panel.answer(std::nullopt);
    EXPECT_THAT(chosen, ElementsAre(Files(std::in_place)));
}

TEST_F(MacDesktop, ClosesThePanelWithItsObject) {
    open();
    chooser.reset();
    EXPECT_FALSE(mac.panel.isOpen);
    EXPECT_THAT(chosen, IsEmpty());
}

TEST_F(MacDesktop, FollowsTheAppearance) {
    std::vector<ColorScheme> seen;
    auto appearance =
        std::make_unique<platform::Appearance>([&](ColorScheme scheme) { seen.push_back(scheme); });
    EXPECT_THAT(seen, ElementsAre(ColorScheme::light));
    mac.setDark(true);
    mac.setDark(true);
    EXPECT_THAT(seen, ElementsAre(ColorScheme::light, ColorScheme::dark));
    mac.setDark(false);
    EXPECT_THAT(seen, ElementsAre(ColorScheme::light, ColorScheme::dark, ColorScheme::light));
    appearance.reset();
    mac.setDark(true);
    EXPECT_EQ(seen.size(), 3U);
}

TEST_F(MacDesktop, OpensTheWindowAgain) {
    int count = 0;
    EXPECT_TRUE(platform::outlivesItsWindow());
    platform::onReopen(QStringLiteral("com.example.product"), [&] { ++count; });
    EXPECT_EQ(count, 0);
    mac.reopen();
    mac.reopen();
    EXPECT_EQ(count, 2);
}

TEST_F(MacDesktop, HasADefaultWindowSizeFromVersion13On) {
    EXPECT_FALSE(platform::hasDefaultWindowSize());
    for (const int version : {13, 14, 26}) {
        mac.majorVersion = version;
        EXPECT_TRUE(platform::hasDefaultWindowSize());
    }
}

} // namespace
