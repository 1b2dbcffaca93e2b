#include "ui/Notices.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;

class AlertsTest : public testing::Test {
protected:
    void present(const QString &title) {
        alerts.present(title, QStringLiteral("message of ") + title, QStringLiteral("button of ") + title);
    }
    // Title, message and button of the alert that is up.
    QString shown() const {
        return alerts.isUp ? alerts.title + u'|' + alerts.message + u'|' + alerts.buttonTitle : QString();
    }
    // Dismisses all alerts, and gives their titles.
    QStringList dismissAll() {
        QStringList titles;
        for (; alerts.isUp; alerts.dismiss())
            titles.append(alerts.title);
        return titles;
    }

    Alerts alerts;
};

TEST_F(AlertsTest, OneIsUpAtATimeInTheOrderAskedFor) {
    alerts.dismiss();
    EXPECT_EQ(shown(), QString());
    present(QStringLiteral("one"));
    present(QStringLiteral("two"));
    EXPECT_EQ(shown(), QStringLiteral("one|message of one|button of one"));
    present(QStringLiteral("three"));
    std::vector<bool> seen;
    const auto notifier = alerts.isUp.addNotifier([&] { seen.push_back(alerts.isUp); });
    alerts.dismiss();
    // The views close one alert before they open the next.
    EXPECT_THAT(seen, ElementsAre(false, true));
    EXPECT_EQ(shown(), QStringLiteral("two|message of two|button of two"));
    EXPECT_EQ(dismissAll(), (QStringList{QStringLiteral("two"), QStringLiteral("three")}));
}

TEST_F(AlertsTest, OneThatComesWithinADismissalIsNotLost) {
    present(QStringLiteral("one"));
    present(QStringLiteral("two"));
    bool isFirst = true;
    const auto notifier = alerts.isUp.addNotifier([&] {
        if (std::exchange(isFirst, false))
            present(QStringLiteral("three"));
    });
    alerts.dismiss();
    EXPECT_EQ(dismissAll(), (QStringList{QStringLiteral("two"), QStringLiteral("three")}));
}

} // namespace
