#include "ui/Notices.h"

#include <gmock/gmock.h>

namespace {

TEST(Alerts, OneIsUpAtATimeInTheOrderAskedFor) {
    Alerts alerts;
    alerts.dismiss();
    EXPECT_FALSE(alerts.isUp);
    for (const auto &title : {QStringLiteral("one"), QStringLiteral("two")})
        alerts.present(title, title + u'!', title + u'?');
    std::vector<bool> seen;
    const auto notifier = alerts.isUp.addNotifier([&] {
        seen.push_back(alerts.isUp);
        // One that comes within a dismissal is not lost, and puts the next one up.
        if (seen.size() == 1)
            alerts.present(QStringLiteral("three"), {}, {});
    });
    QStringList shown;
    for (; alerts.isUp; alerts.dismiss())
        shown += alerts.texts;
    EXPECT_EQ(shown.join(u' '), QStringLiteral("one one! one? two two! two? three  "));
    // The views close one alert before they open the next.
    EXPECT_THAT(seen, testing::ElementsAre(false, false, true, false));
}

} // namespace
