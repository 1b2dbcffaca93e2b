// The command `lumadoc-diagnostics-archives`: lists, shows, sends and removes what runs could not send.
// Results go to standard output, what went wrong to standard error, and progress there too when that is a
// terminal. Its manual page says how it is used.
#include "archives/SendHistory.h"
#include "archives/UnsentRuns.h"
#include "discovery/RunState.h"
#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "packaging/FilesPathDirectory.h"
#include "packaging/UploadAPI.h"
#include "platform/Account.h"
#include "platform/Applications.h"
#include "platform/posix/Fatal.h"
#include "platform/posix/Process.h"
#include "platform/posix/Text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <algorithm>
#include <future>
#include <unistd.h>

using namespace archives;

namespace {

enum ExitStatus { done = 0, failed = 1, wrongUsage = 2, unknownId = 3, runUnderWay = 4 };

constexpr char usage[] = "usage: lumadoc-diagnostics-archives list [--json]\n"
                         "       lumadoc-diagnostics-archives show [--json] ID\n"
                         "       lumadoc-diagnostics-archives send [--json] ID...|--all\n"
                         "       lumadoc-diagnostics-archives remove [--json] ID...|--all|--older-than DAYS\n"
                         "       lumadoc-diagnostics-archives --help|--version\n";

struct Request {
    QString command;
    QStringList ids;
    bool isJson = false;
    bool isAll = false;
    std::optional<int> olderThanDays;
};

void print(const QString &text) {
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
}

void complain(const QString &text) {
    std::fprintf(stderr, "lumadoc-diagnostics-archives: %s\n", text.toUtf8().constData());
}

// None for a command line that makes no sense.
std::optional<Request> requestOf(QStringList arguments) {
    Request request;
    if (arguments.isEmpty())
        return std::nullopt;
    request.command = arguments.takeFirst();
    while (!arguments.isEmpty()) {
        const QString word = arguments.takeFirst();
        bool isNumber = true;
        if (word == u"--json")
            request.isJson = true;
        else if (word == u"--all")
            request.isAll = true;
        else if (word == u"--older-than" && !arguments.isEmpty())
            request.olderThanDays = arguments.takeFirst().toInt(&isNumber);
        else if (word.startsWith(u'-'))
            return std::nullopt;
        else
            request.ids.append(word);
        if (!isNumber || request.olderThanDays.value_or(0) < 0)
            return std::nullopt;
    }
    const auto choices =
        (request.ids.isEmpty() ? 0 : 1) + (request.isAll ? 1 : 0) + (request.olderThanDays ? 1 : 0);
    const bool isShow = request.command == u"show";
    const bool isChange = request.command == u"send" || request.command == u"remove";
    const bool fits = (request.command == u"list" && choices == 0) || (isShow && request.ids.size() == 1) ||
                      (isChange && choices == 1);
    if (!fits || (request.isAll && isShow) || (request.olderThanDays && request.command != u"remove"))
        return std::nullopt;
    return request;
}

bool isRunUnderWay() {
    const auto &bundle = platform::Bundle::main();
    const auto identifier = bundle ? bundle->identifier() : std::nullopt;
    if (!identifier)
        platform::fatal("The main bundle has no identifier.");
    return std::ranges::any_of(platform::runningApplications(),
                               [&](const auto &other) { return other.bundleIdentifier == *identifier; });
}

QString sizeText(std::uint64_t bytes) {
    return QLocale::c().formattedDataSize(static_cast<qint64>(bytes), 1);
}

QString cell(const QString &text) {
    return text.isEmpty() ? QStringLiteral("-") : platform::shown(text);
}

QJsonObject json(const UnsentRun &run) {
    const auto orNull = [](const QString &text) { return text.isEmpty() ? QJsonValue() : QJsonValue(text); };
    return {{QStringLiteral("id"), run.id},
            {QStringLiteral("archive"), run.isArchive},
            {QStringLiteral("date"), orNull(run.date.toUTC().toString(Qt::ISODate))},
            {QStringLiteral("edition"), orNull(run.edition)},
            {QStringLiteral("bytes"), static_cast<qint64>(run.bytes)},
            {QStringLiteral("path"), platform::displayText(run.path)},
            {QStringLiteral("reason"), orNull(run.reason)}};
}

void print(const QJsonArray &array) {
    print(QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)) + u'\n');
}

// Those that hold something: a window that was only opened leaves an empty folder.
std::vector<UnsentRun> listedRuns() {
    auto runs = unsentRuns();
    // The newest is of the run that is under way, if there is one.
    if (!runs.empty() && runs.back().reason.startsWith(QStringLiteral("The run ended")) && isRunUnderWay())
        runs.back().reason = QStringLiteral("The run is under way.");
    std::erase_if(runs, [](const UnsentRun &run) { return !run.isArchive && run.files.empty(); });
    return runs;
}

int list(const Request &request) {
    QJsonArray array;
    std::vector<std::array<QString, 5>> lines;
    for (const UnsentRun &run : listedRuns()) {
        array.append(json(run));
        lines.push_back({cell(run.id), cell(run.date.toString(QStringLiteral("yyyy-MM-dd HH:mm"))),
                         cell(run.edition), sizeText(run.bytes), cell(run.reason)});
    }
    if (request.isJson) {
        print(array);
    } else if (lines.empty()) {
        complain(QStringLiteral("Nothing is waiting to be sent."));
    } else {
        lines.insert(lines.begin(), {QStringLiteral("ID"), QStringLiteral("DATE"), QStringLiteral("EDITION"),
                                     QStringLiteral("SIZE"), QStringLiteral("WHY IT WAS NOT SENT")});
        for (const auto &[id, date, edition, size, reason] : lines)
            print(QStringLiteral("%1  %2  %3  %4  %5\n")
                      .arg(id, -36)
                      .arg(date, -16)
                      .arg(edition, -7)
                      .arg(size, 10)
                      .arg(reason));
    }
    return done;
}

int show(const UnsentRun &run, bool isJson) {
    QJsonArray files;
    for (const auto &[name, bytes] : run.files)
        files.append(QJsonObject{{QStringLiteral("name"), name},
                                 {QStringLiteral("bytes"), static_cast<qint64>(bytes)}});
    if (isJson) {
        QJsonObject object = json(run);
        object[QStringLiteral("files")] = files;
        print(QJsonArray{object});
    } else {
        for (const auto &[name, bytes] : run.files)
            print(QStringLiteral("%1  %2\n").arg(bytes, 12).arg(platform::shown(name)));
    }
    if (!run.files.empty())
        return done;
    complain(run.id + QStringLiteral(": ") + run.reason);
    return failed;
}

// Percents for a person who watches.
std::optional<TextBinding> terminalProgress() {
    if (::isatty(STDERR_FILENO) == 0)
        return std::nullopt;
    return TextBinding{
        .get = [] { return QString(); },
        .set = [](const QString &text) { std::fprintf(stderr, "\r\033[K%s", text.toUtf8().constData()); }};
}

UploadResult upload(const std::filesystem::path &archive) {
    std::promise<UploadResult> result;
    UploadAPI::uploadProgress = terminalProgress();
    UploadAPI::upload(archive, [&](const UploadResult &ended) { result.set_value(ended); });
    UploadResult ended = result.get_future().get();
    // Its thread has ended when this returns.
    UploadAPI::uploadTask.reset();
    if (UploadAPI::uploadProgress)
        UploadAPI::uploadProgress->set(QString());
    return ended;
}

// Why the archive was not sent; `answer` is the service's when it was.
std::optional<QString> send(const UnsentRun &run, QString &answer) {
    const QString name = platform::displayText(run.path.filename());
    if (!run.isArchive || run.files.empty())
        return run.reason;
    if (!FilesPathDirectory::isFileSizeValid(run.path))
        return QStringLiteral("The archive is too large: the service takes less than 100 MiB.");
    Logger::logInfo(QStringLiteral("Archive is sent again: ") + name);
    const UploadResult result = upload(run.path);
    if (const auto *error = std::get_if<UploadError>(&result)) {
        Logger::logError(SendHistory::failureLine(name, error->localizedDescription()));
        return error->localizedDescription();
    }
    answer = QString::fromUtf8(std::get<QByteArray>(result));
    std::error_code error;
    if (!removeRun(run, error))
        return QStringLiteral("It was sent, but cannot be removed: ") + platform::description(error);
    return std::nullopt;
}

// Sends or removes one after the other; a failure is reported and the next one is taken.
int change(const Request &request, const std::vector<UnsentRun> &runs) {
    const bool isSend = request.command == u"send";
    QJsonArray array;
    int status = done;
    for (const UnsentRun &run : runs) {
        if (isRunUnderWay()) {
            complain(QStringLiteral("Lumadoc Diagnostics is running; try again when it has ended."));
            status = runUnderWay;
            break;
        }
        QString answer;
        std::optional<QString> problem;
        std::error_code error;
        if (isSend)
            problem = send(run, answer);
        else if (!removeRun(run, error))
            problem = platform::description(error);
        QJsonObject object{
            {QStringLiteral("id"), run.id},
            {request.command == u"send" ? QStringLiteral("sent") : QStringLiteral("removed"), !problem}};
        if (problem) {
            object[QStringLiteral("reason")] = *problem;
            complain(platform::shown(run.id + QStringLiteral(": ") + *problem));
            status = failed;
        } else if (isSend) {
            object[QStringLiteral("answer")] = answer;
        }
        array.append(object);
        if (!problem && !request.isJson)
            print(platform::shown(
                      run.id + (isSend ? QStringLiteral(" sent: ") + answer : QStringLiteral(" removed"))) +
                  u'\n');
    }
    if (request.isJson)
        print(array);
    return status;
}

// What the request is about; none when it names what is not there.
std::optional<std::vector<UnsentRun>> chosenRuns(const Request &request) {
    std::vector<UnsentRun> runs = request.command == u"remove" ? unsentRuns() : listedRuns();
    const auto isChosen = [&](const UnsentRun &run) {
        if (request.olderThanDays)
            return run.date < QDateTime::currentDateTime().addDays(-*request.olderThanDays);
        return request.isAll ? request.command == u"remove" || run.isArchive : request.ids.contains(run.id);
    };
    for (const QString &id : request.ids) {
        if (std::ranges::find(runs, id, &UnsentRun::id) == runs.end()) {
            complain(QStringLiteral("there is no archive ") + platform::shown(id));
            return std::nullopt;
        }
    }
    std::erase_if(runs, std::not_fn(isChosen));
    return runs;
}

int perform(const Request &request) {
    if (request.command == u"list")
        return list(request);
    const auto runs = chosenRuns(request);
    if (!runs)
        return unknownId;
    if (request.command == u"show")
        return show(runs->front(), request.isJson);
    // Where the runs log, which keeps why an archive was not sent.
    if (const auto &folder = UtilityFunctions::tempSystemURL; folder && Workspace::holds(*folder))
        Logger::NewLogFileLocation();
    return change(request, *runs);
}

} // namespace

int main(int argumentCount, char **arguments) {
    platform::prepareProcess();
    if (platform::isRootInAnotherHome())
        platform::fatal(
            "This is the home folder of another user. Start the program as that user, not as root.");
    QStringList given;
    for (int i = 1; i < argumentCount; ++i)
        given.append(QString::fromLocal8Bit(arguments[i]));
    if (given == QStringList{QStringLiteral("--help")}) {
        print(QString::fromLatin1(usage));
        return done;
    }
    if (given == QStringList{QStringLiteral("--version")}) {
        const auto &bundle = platform::Bundle::main();
        print((bundle ? bundle->shortVersion().value_or(QString()) : QString()) + u'\n');
        return done;
    }
    const auto request = requestOf(given);
    if (!request) {
        std::fputs(usage, stderr);
        return wrongUsage;
    }
    const int status = perform(*request);
    platform::SystemLog::flush(std::chrono::seconds(1));
    if (std::fflush(stdout) == 0)
        return status;
    complain(QStringLiteral("the result cannot be written"));
    return failed;
}
