#include "platform/linux/helpers/system_profiler/Report.h"

#include "test_support/ScopedEnvironment.h"

#include <QByteArrayList>
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

// The names in the report, each with its location, in their order.
std::vector<std::string> order(const std::vector<Application> &applications) {
    std::vector<std::string> result;
    for (const QByteArray &line : reportOf(applications, Reader()).split('\n')) {
        if (line.startsWith("    ") && line.endsWith(':') && line[4] != ' ')
            result.push_back(line.sliced(4).chopped(1).toStdString());
        else if (line.startsWith("      Location: "))
            result.back() += line.sliced(15).toStdString();
    }
    return result;
}

std::string line(const char *text) {
    return lineOf(QString::fromUtf8(text)).toStdString();
}

TEST(Report, HasABlockForEachApplication) {
    Application full = named("Viewer", "/opt/Viewer.app");
    full.version = QStringLiteral("2.0");
    full.source = QStringLiteral("Package viewer");
    full.modified = std::chrono::sys_seconds(std::chrono::seconds(1'769'904'000));
    full.kind = QStringLiteral("64-bit ARM");
    full.maintainer = QStringLiteral("X <x@x.example>");
    full.entries = {"/usr/share/applications/b.desktop", "/usr/share/applications/a.desktop"};
    full.inMenus = false;
    Reader reader;
    reader.note("/b", QStringLiteral("not UTF-8"));
    reader.note("/a\nb", QStringLiteral("File too large"));
    EXPECT_EQ(reportOf({full, named("", "")}, reader),
              "Applications:\n"
              "\n"
              "    not known:\n"
              "\n"
              "      Version: not known\n"
              "      Obtained from: not known\n"
              "      Last Modified: not known\n"
              "      Kind: not known\n"
              "      Location: not known\n"
              "\n"
              "    Viewer:\n"
              "\n"
              "      Version: 2.0\n"
              "      Obtained from: Package viewer\n"
              "      Last Modified: 2026-02-01T00:00:00Z\n"
              "      Kind: 64-bit ARM\n"
              "      Maintainer: X <x@x.example>\n"
              "      Location: /opt/Viewer.app\n"
              "      Desktop Entry: /usr/share/applications/a.desktop\n"
              "      Desktop Entry: /usr/share/applications/b.desktop\n"
              "      Shown in Menus: No\n"
              "\n"
              "Not read:\n"
              "\n"
              "    /a\\u{A}b: File too large\n"
              "    /b: not UTF-8\n"
              "\n");
}

TEST(Report, OfAnEmptyMachineIsItsHeader) {
    EXPECT_EQ(reportOf({}, Reader()), "Applications:\n\n");
}

TEST(Report, IsSortedByNameWithoutCaseAndThenByLocation) {
    const std::vector<Application> applications = {named("beta"),        named("Alpha", "/2"),
                                                   named("alpha", "/1"), named("Ärger"),
                                                   named("Zeta"),        named("alpha", "/3")};
    EXPECT_EQ(order(applications), (std::vector<std::string>{"alpha /1", "Alpha /2", "alpha /3", "beta /x",
                                                             "Zeta /x", "Ärger /x"}));
}

TEST(Report, IsTheSameWhateverOrderItsApplicationsComeIn) {
    std::vector<Application> applications = {named("a", "/1"), named("A", "/1"), named("b", "/1"),
                                             named("a", "/2")};
    for (std::size_t i = 0; i < applications.size(); ++i)
        applications[i].entries = {"/" + std::to_string(i)};
    const QByteArray first = reportOf(applications, Reader());
    std::sort(applications.begin(), applications.end(),
              [](const auto &left, const auto &right) { return left.entries > right.entries; });
    EXPECT_EQ(reportOf(applications, Reader()), first);
}

TEST(Report, TellsTimesWithoutRegardToTheZone) {
    const test_support::ScopedEnvironment zone("TZ", "Asia/Tokyo");
    Application application = named("A");
    application.modified = std::chrono::sys_seconds(std::chrono::seconds(0));
    EXPECT_TRUE(reportOf({application}, Reader()).contains("Last Modified: 1970-01-01T00:00:00Z\n"));
    application.modified = std::chrono::sys_seconds(std::chrono::seconds(INT64_MAX / 1000));
    EXPECT_TRUE(reportOf({application}, Reader()).contains("Last Modified: not known\n"));
    application.modified = std::chrono::sys_seconds(std::chrono::seconds(INT64_MIN));
    EXPECT_TRUE(reportOf({application}, Reader()).contains("Last Modified: "));
}

TEST(Report, WritesWhatWouldForgeALineAsItsNumber) {
    EXPECT_EQ(line("a\n      Version: 9"), "a\\u{A}      Version: 9");
    EXPECT_EQ(line("a\r\t\x1b[1m\x7f"), "a\\u{D}\\u{9}\\u{1B}[1m\\u{7F}");
    EXPECT_EQ(line("a\u0085\u2028\u2029\u202e\u2066\ufeff!"),
              "a\\u{85}\\u{2028}\\u{2029}\\u{202E}\\u{2066}\\u{FEFF}!");
    EXPECT_EQ(lineOf(QString(QChar(0xD800)) + QStringLiteral("a")), QStringLiteral("\uFFFDa"));
}

TEST(Report, KeepsTheWordsOfEveryLanguage) {
    EXPECT_EQ(line("Größe 日本語 العربية 👩‍💻 می‌خواهم"),
              "Größe 日本語 العربية 👩‍💻 می‌خواهم");
}

TEST(Report, TakesNoBlanksAroundANameForItsPlace) {
    EXPECT_EQ(line("  Version: 9 \u00a0\u3000"), "Version: 9");
}

TEST(Report, CutsALongText) {
    EXPECT_EQ(lineOf(QString(1000, u'x')), QString(1000, u'x'));
    EXPECT_EQ(lineOf(QString(1001, u'x')), QString(1000, u'x') + QChar(0x2026));
}

} // namespace

} // namespace system_profiler
