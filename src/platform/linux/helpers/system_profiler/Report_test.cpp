#include "platform/linux/helpers/system_profiler/Report.h"

#include "test_support/ScratchHome.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace system_profiler {

namespace {

Application named(const char *name, const char *location = "/x") {
    Application application;
    application.name = QString::fromUtf8(name);
    application.location = QString::fromUtf8(location);
    return application;
}

std::string line(const char *text) {
    return lineOf(QString::fromUtf8(text)).toStdString();
}

TEST(Report, IsSortedByNameWithoutCaseThenByLocation) {
    std::vector<Application> applications = {named("alpha", "/1"), named("Alpha", "/2"), named("alpha", "/3"),
                                             named("beta"),        named("Zeta"),        named("Ärger")};
    QByteArray expected = reportOf({}, Reader());
    for (const Application &application : applications)
        expected += reportOf({application}, Reader()).mid(expected.indexOf("\n\n") + 2);
    EXPECT_EQ(reportOf(applications, Reader()), expected);
    std::reverse(applications.begin(), applications.end());
    EXPECT_EQ(reportOf(applications, Reader()), expected);
}

TEST(Report, TellsTimesWithoutRegardToTheZone) {
    const test_support::ScopedEnvironment zone("TZ", "Asia/Tokyo");
    for (const auto &[seconds, text] : {std::pair(std::int64_t{0}, "1970-01-01T00:00:00Z"),
                                        std::pair(INT64_MAX / 1000, "not known"), std::pair(INT64_MIN, "")}) {
        Application application = named("A");
        application.modified = QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
        EXPECT_TRUE(reportOf({application}, Reader()).contains(QByteArray("Last Modified: ") + text)) << text;
    }
}

TEST(Report, KeepsATextOnOneLineOfBoundedLength) {
    EXPECT_EQ(line(" a\n      Version: 9 \u00a0\u3000"), "a\\n      Version: 9");
    EXPECT_EQ(lineOf(QString(1000, u'x')), QString(1000, u'x'));
    EXPECT_EQ(lineOf(QString(1001, u'x')), QString(1000, u'x') + QChar(0x2026));
}

} // namespace

} // namespace system_profiler
