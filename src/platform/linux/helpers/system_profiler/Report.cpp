#include "platform/linux/helpers/system_profiler/Report.h"

#include "platform/posix/Text.h"

#include <QDateTime>
#include <algorithm>

namespace system_profiler {

namespace {

constexpr qsizetype lineLimit = 1000;
constexpr auto unknown = "not known";

// Control and format characters, line breaks, halves of pairs. The two joiners belong to the writing of
// words.
bool isHarmful(char32_t c) {
    constexpr char32_t nonJoiner = 0x200C;
    constexpr char32_t joiner = 0x200D;
    if (c == nonJoiner || c == joiner)
        return false;
    switch (QChar::category(c)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

struct Key {
    QString name;
    QString location;
    std::string entry;

    friend auto operator<=>(const Key &left, const Key &right) {
        if (const int order = left.name.compare(right.name); order != 0)
            return order <=> 0;
        if (const int order = left.location.compare(right.location); order != 0)
            return order <=> 0;
        return left.entry.compare(right.entry) <=> 0;
    }
};

Key keyOf(const Application &application) {
    return {lineOf(application.name).toCaseFolded(), application.location,
            application.entries.empty() ? std::string() : application.entries.front().native()};
}

QString timeText(const std::optional<std::chrono::sys_seconds> &time) {
    if (!time)
        return {};
    // Empty for a year of more than four digits.
    return QDateTime::fromSecsSinceEpoch(time->time_since_epoch().count(), Qt::UTC).toString(Qt::ISODate);
}

void addLine(QByteArray &report, const char *key, const QString &value) {
    const QString line = lineOf(value);
    report.append("      ").append(key).append(": ");
    report.append(line.isEmpty() ? QByteArray(unknown) : line.toUtf8()).append('\n');
}

void addBlock(QByteArray &report, const Application &application) {
    report.append("    ").append(lineOf(application.name).toUtf8()).append(":\n\n");
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

void addNotRead(QByteArray &report, const NotRead &notRead) {
    report.append("Not read:\n\n");
    for (const auto &[path, reason] : notRead.reasons()) {
        report.append("    ").append(lineOf(QString::fromStdString(path)).toUtf8()).append(": ");
        report.append(lineOf(reason).toUtf8()).append('\n');
    }
    if (notRead.furtherCount() > 0)
        report.append("    and ")
            .append(QByteArray::number(static_cast<qulonglong>(notRead.furtherCount())))
            .append(" more\n");
    report.append('\n');
}

} // namespace

QString lineOf(const QString &text) {
    QString line;
    for (const char32_t c : text.trimmed().left(lineLimit).toUcs4()) {
        if (isHarmful(c))
            line += QStringLiteral("\\u{%1}").arg(QString::number(static_cast<uint>(c), 16).toUpper());
        else
            line += QString::fromUcs4(&c, 1);
    }
    return text.trimmed().size() > lineLimit ? line + QChar(0x2026) : line;
}

QByteArray reportOf(std::vector<Application> applications, const NotRead &notRead) {
    std::vector<std::pair<Key, const Application *>> sorted;
    for (Application &application : applications) {
        std::sort(application.entries.begin(), application.entries.end());
        sorted.emplace_back(keyOf(application), &application);
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto &left, const auto &right) { return left.first < right.first; });
    QByteArray report = "Applications:\n\n";
    for (const auto &[key, application] : sorted)
        addBlock(report, *application);
    if (!notRead.reasons().empty())
        addNotRead(report, notRead);
    return report;
}

} // namespace system_profiler
