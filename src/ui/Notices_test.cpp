#include "ui/Notices.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

class AlertsTest : public testing::Test {
protected:
    void present(const char *title) {
        alerts.present(QString::fromLatin1(title),
                       QStringLiteral("message of %1").arg(QString::fromLatin1(title)),
                       QStringLiteral("button of %1").arg(QString::fromLatin1(title)));
    }
    void expectUp(const char *title) {
        EXPECT_TRUE(alerts.isUp);
        EXPECT_EQ(alerts.title, QString::fromLatin1(title));
        EXPECT_EQ(alerts.message, QStringLiteral("message of %1").arg(QString::fromLatin1(title)));
        EXPECT_EQ(alerts.buttonTitle, QStringLiteral("button of %1").arg(QString::fromLatin1(title)));
    }

    Alerts alerts;
};

TEST_F(AlertsTest, NoneIsUpAtFirst) {
    EXPECT_FALSE(alerts.isUp);
}

TEST_F(AlertsTest, OneIsUpAtATimeInTheOrderAskedFor) {
    present("one");
    present("two");
    present("three");
    expectUp("one");
    alerts.dismiss();
    expectUp("two");
    present("four");
    expectUp("two");
    alerts.dismiss();
    expectUp("three");
    alerts.dismiss();
    expectUp("four");
    alerts.dismiss();
    EXPECT_FALSE(alerts.isUp);
}

TEST_F(AlertsTest, ALaterOneComesUpByItself) {
    present("one");
    alerts.dismiss();
    EXPECT_FALSE(alerts.isUp);
    present("two");
    expectUp("two");
}

// The view opens its panel when `isUp` changes: its texts must be set by then, and the panel must close
// between two alerts.
TEST_F(AlertsTest, TheTextsAreSetBeforeTheAlertIsUpAndItGoesDownInBetween) {
    std::vector<std::string> seen;
    const auto notifier = alerts.isUp.addNotifier(
        [&] { seen.push_back((alerts.isUp ? "up " : "down ") + alerts.title.value().toStdString()); });
    present("one");
    present("two");
    alerts.dismiss();
    alerts.dismiss();
    EXPECT_THAT(seen, ElementsAre("up one", "down one", "up two", "down two"));
}

TEST_F(AlertsTest, DismissingNothingIsHarmless) {
    alerts.dismiss();
    EXPECT_FALSE(alerts.isUp);
    present("one");
    expectUp("one");
}

// An alert that is asked for while another is being dismissed waits its turn.
TEST_F(AlertsTest, OneThatComesWithinADismissalIsNotLost) {
    present("one");
    bool isFirst = true;
    const auto notifier = alerts.isUp.addNotifier([&] {
        if (alerts.isUp || !std::exchange(isFirst, false))
            return;
        present("three");
    });
    present("two");
    alerts.dismiss();
    std::vector<std::string> shown;
    for (int i = 0; i < 4 && alerts.isUp; ++i) {
        shown.push_back(alerts.title.value().toStdString());
        alerts.dismiss();
    }
    EXPECT_THAT(shown, testing::UnorderedElementsAre("two", "three"));
    EXPECT_EQ(shown.front(), "two");
}

} // namespace
