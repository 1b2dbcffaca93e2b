#include "platform/linux/helpers/system_profiler/Report.h"

#include "platform/posix/Text.h"

#include <QDateTime>
#include <algorithm>
#include <tuple>

namespace system_profiler {

namespace {

constexpr qsizetype lineLimit = 1000;

QString timeText(const std::optional<std::chrono::sys_seconds> &time) {
    // Empty for a year of more than four digits.
    const std::int64_t seconds = time ? time->time_since_epoch().count() : 0;
    return time ? QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC).toString(Qt::ISODate) : QString();
}

QByteArray orUnknown(const QString &text) {
    const QByteArray line = lineOf(text).toUtf8();
    return line.isEmpty() ? QByteArrayLiteral("not known") : line;
}

void addLine(QByteArray &report, const char *key, const QString &value) {
    report.append("      ").append(key).append(": ").append(orUnknown(value)).append('\n');
}

void addBlock(QByteArray &report, const Application &application) {
    report.append("    ").append(orUnknown(application.name)).append(":\n\n");
    addLine(report, "Version", application.version);
    addLine(report, "Obtained from", application.source);
    addLine(report, "Last Modified", timeText(application.modified));
    addLine(report, "Kind", application.kind);
    if (!application.maintainer.isEmpty())
        addLine(report, "Maintainer", application.maintainer);
    addLine(report, "Location", application.location);
    for (const auto &entry : application.entries)
        addLine(report, "Desktop Entry", platform::displayText(entry));
    if (!application.inMenus)
        addLine(report, "Shown in Menus", QStringLiteral("No"));
    report.append('\n');
}

} // namespace

QString lineOf(const QString &text) {
    const QString trimmed = text.trimmed();
    const QString line = platform::escaped(trimmed.left(lineLimit));
    return trimmed.size() > lineLimit ? line + QChar(0x2026) : line;
}

QByteArray reportOf(std::vector<Application> applications, const Reader &reader) {
    using Key = std::tuple<QString, QString, std::vector<std::filesystem::path>>;
    std::multimap<Key, const Application *> sorted;
    for (Application &application : applications) {
        std::sort(application.entries.begin(), application.entries.end());
        sorted.emplace(
            Key{lineOf(application.name).toCaseFolded(), application.location, application.entries},
            &application);
    }
    QByteArray report = "Applications:\n\n";
    for (const auto &[key, application] : sorted)
        addBlock(report, *application);
    if (reader.notRead().empty())
        return report;
    report.append("Not read:\n\n");
    for (const auto &[path, reason] : reader.notRead())
        report.append("    " + lineOf(QString::fromStdString(path)).toUtf8() + ": " +
                      lineOf(reason).toUtf8() + '\n');
    return report.append('\n');
}

} // namespace system_profiler
