#include "test_support/LoggedTest.h"

#include "logging/Logging.h"
#include "platform/Account.h"
#include "platform/posix/Text.h"

#include <QRegularExpression>

namespace test_support {

QStringList logLines(const std::filesystem::path &file) {
    static const QRegularExpression form(QStringLiteral(
        "^((?:INFO: |WARNING: |ERROR: )?)\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d \\+0000: (.*)$"));
    QString text = QString::fromUtf8(readFile(file));
    const auto home = std::filesystem::path(qgetenv("HOME").toStdString());
    text.replace(platform::displayText(home.parent_path() / "[USER]/"), platform::displayText(home / ""));
    QStringList lines = text.split(u'\n');
    if (lines.last().isEmpty())
        lines.removeLast();
    for (QString &line : lines) {
        const auto match = form.match(line);
        line =
            match.hasMatch() ? match.captured(1) + match.captured(2) : QStringLiteral("MALFORMED: ") + line;
    }
    return lines;
}

std::filesystem::path startLog() {
    Logger::setupLogFile();
    return platform::userCachesFolders().front() / "Logs" / ConstantsFolder::DebugOutputLogFile;
}

std::vector<std::string> LoggedTest::said() const {
    std::vector<std::string> lines;
    for (const QString &line : logLines(log))
        lines.push_back(line.toStdString());
    return lines;
}

} // namespace test_support
