#include "platform/linux/helpers/system_profiler/Report.h"

#include "platform/posix/Text.h"

#include <algorithm>
#include <tuple>

namespace system_profiler {

namespace {

constexpr qsizetype lineLimit = 1000;

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
    // Empty for a year of more than four digits.
    addLine(report, "Last Modified", application.modified.toString(Qt::ISODate));
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
    std::ranges::stable_sort(applications, {}, [](const Application &application) {
        return std::tuple(lineOf(application.name).toCaseFolded(), application.location);
    });
    QByteArray report = "Applications:\n\n";
    for (const Application &application : applications)
        addBlock(report, application);
    if (reader.notRead().empty())
        return report;
    report.append("Not read:\n\n");
    for (const auto &[path, reason] : reader.notRead())
        report.append("    " + lineOf(QString::fromStdString(path)).toUtf8() + ": " +
                      lineOf(reason).toUtf8() + '\n');
    return report.append('\n');
}

} // namespace system_profiler
