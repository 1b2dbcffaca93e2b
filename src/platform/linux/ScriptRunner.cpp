#include "platform/ScriptRunner.h"

#include "platform/posix/FileDescriptor.h"
#include "platform/posix/Program.h"
#include "platform/posix/Text.h"

#include <QStringList>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr char elevator[] = "/usr/bin/pkexec";

constexpr int userCanceled = -128;
constexpr int commandNotFound = 127;
constexpr int commandNotRunnable = 126;
constexpr int noOutput = 1;

// How the elevator's own messages begin; the reason follows.
const QString elevatorFailure = QStringLiteral("Error executing command as another user: ");

ScriptError notFound(const std::filesystem::path &path) {
    return {commandNotFound, displayText(path) + QStringLiteral(": command not found")};
}

ScriptError notStarted(const ProgramOutcome &outcome, const Program &program) {
    const bool isCommand = outcome.startErrorPath == program.path;
    if (isCommand && outcome.startError == std::errc::no_such_file_or_directory)
        return notFound(program.path);
    return {isCommand ? commandNotRunnable : noOutput,
            displayText(outcome.startErrorPath) + QStringLiteral(": ") + description(outcome.startError)};
}

// The first lines that are not empty, short enough for a line of the log.
QString beginning(const QByteArray &errorOutput) {
    constexpr qsizetype lineLimit = 3;
    constexpr qsizetype characterLimit = 400;
    QStringList lines;
    for (const QString &line : QString::fromUtf8(errorOutput).split(u'\n')) {
        const QString trimmed = line.trimmed();
        if (!trimmed.isEmpty() && lines.size() < lineLimit)
            lines.append(trimmed);
    }
    return lines.join(u'\n').left(characterLimit);
}

// Why the elevator did not run the command; none when it did.
std::optional<ScriptError> elevatorError(int status, const QString &said) {
    if (status == commandNotRunnable && said.contains(QStringLiteral("Request dismissed")))
        return ScriptError{userCanceled, QStringLiteral("User canceled.")};
    if (status != commandNotFound)
        return std::nullopt;
    if (said.contains(elevatorFailure + QStringLiteral("Not authorized")))
        return ScriptError{commandNotFound, QStringLiteral("The administrator's rights were refused.")};
    if (said.contains(QStringLiteral("No authentication agent found")) ||
        said.contains(QStringLiteral("Error creating textual authentication agent")))
        return ScriptError{commandNotFound,
                           QStringLiteral("There is no authentication agent to ask for an administrator's "
                                          "rights.")};
    return std::nullopt;
}

std::optional<ScriptError> errorOf(const ProgramOutcome &outcome, const Program &program, bool isElevated) {
    if (outcome.startError)
        return notStarted(outcome, program);
    if (outcome.signal != 0)
        return ScriptError{
            128 + outcome.signal,
            QStringLiteral("The command was killed by signal %1.").arg(QString::number(outcome.signal))};
    if (!outcome.exitStatus)
        return programIsEnding;
    const int status = *outcome.exitStatus;
    if (status == 0)
        return std::nullopt;
    const QString said = beginning(outcome.errorOutput);
    if (isElevated) {
        if (auto error = elevatorError(status, said))
            return error;
    }
    return ScriptError{status,
                       said.isEmpty() ? QStringLiteral("The command exited with a non-zero status.") : said};
}

// Whether this is a helper of the installed program in whose place nobody but root can put another: each
// component of its path is root's, no link, and writable by nobody else.
bool isInstalled(const std::filesystem::path &command) {
    if (command.parent_path() != LUMAMON_INSTALLED_HELPERS)
        return false;
    FileDescriptor place(::open("/", O_PATH | O_CLOEXEC));
    struct stat status {};
    const auto isRootsAlone = [&] {
        return place && ::fstat(place.get(), &status) == 0 && !S_ISLNK(status.st_mode) &&
               status.st_uid == 0 && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
    };
    for (const std::filesystem::path &name : command.relative_path()) {
        if (!isRootsAlone())
            return false;
        place = FileDescriptor(::openat(place.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    }
    return isRootsAlone() && S_ISREG(status.st_mode);
}

} // namespace

std::optional<ScriptError> runScript(const Script &script) {
    Program program{
        .path = script.command, .arguments = script.arguments, .standardOutput = script.standardOutput};
    const ProgramOutcome outcome = outcomeOf(program);
    auto error = errorOf(outcome, program, false);
    if (script.rights == Script::Rights::user || outcome.exitStatus != Script::missingRights ||
        ::geteuid() == 0)
        return error;
    if (!isInstalled(script.command)) {
        error->message += QStringLiteral("\nOnly the installed program asks for an administrator's rights.");
        return error;
    }
    program.path = elevator;
    program.arguments.insert(program.arguments.begin(), script.command.native());
    return errorOf(outcomeOf(program), program, true);
}

} // namespace platform
