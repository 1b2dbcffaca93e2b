#include "platform/linux/helpers/system_profiler/PackageManagers.h"

#include "platform/posix/Program.h"

#include <QByteArrayList>

namespace system_profiler {

namespace {

constexpr qsizetype answerLimitBytes = qsizetype{32} << 20;

// The lines that a program answers; none when it fails, which a status above `highestStatus` says.
QByteArrayList ask(const std::filesystem::path &program, const std::vector<std::string> &arguments,
                   Reader &reader, std::chrono::milliseconds limit, int highestStatus = EXIT_SUCCESS) {
    const auto outcome = platform::outcomeOf(platform::Program{
        .path = program, .arguments = arguments, .keptOutputBytes = answerLimitBytes, .timeLimit = limit});
    if (outcome.output.size() == answerLimitBytes)
        reader.note(program, QStringLiteral("gave too long an answer"));
    else if (outcome.exitStatus && *outcome.exitStatus <= highestStatus)
        return outcome.output.split('\n');
    else if (outcome.exitStatus || outcome.signal != 0)
        reader.note(program, QStringLiteral("failed: %1").arg(QString::fromUtf8(outcome.errorOutput)));
    else if (!outcome.startError)
        reader.note(program, QStringLiteral("gave no answer in time"));
    else if (!isAbsence(outcome.startError))
        reader.note(program, outcome.startError);
    return {};
}

} // namespace

Packages packagesOf(const std::set<std::string> &files, Reader &reader, std::chrono::milliseconds limit) {
    Packages result;
    if (files.empty())
        return result;
    constexpr auto program = "/usr/bin/dpkg-query";
    constexpr int someFileHasNoOwner = 1;
    std::map<QByteArray, Package> packages;
    const std::string format = "--showformat=${binary:Package}\\t${Version}\\t${Maintainer}\\n";
    for (const QByteArray &line : ask(program, {"--show", format}, reader, limit)) {
        const QByteArrayList fields = line.split('\t');
        packages[fields[0]] = {QString::fromUtf8(fields[0].split(':').first()),
                               QString::fromUtf8(fields.value(1)), QString::fromUtf8(fields.value(2))};
    }
    std::vector<std::string> question(files.begin(), files.end());
    question.insert(question.begin(), "--search");
    for (const QByteArray &line : ask(program, question, reader, limit, someFileHasNoOwner)) {
        // "package, package: file", or a sentence about a file that was diverted.
        const qsizetype colon = line.indexOf(": ");
        const auto package = packages.find(line.left(colon).split(',').first());
        if (package != packages.end())
            result.emplace(line.mid(colon + 2).toStdString(), package->second);
    }
    return result;
}

Packages flatpaks(Reader &reader) {
    Packages result;
    const std::vector<std::string> question = {"list", "--app", "--columns=application,version,installation"};
    for (const QByteArray &line : ask("/usr/bin/flatpak", question, reader, answerLimit)) {
        const QByteArrayList fields = line.split('\t');
        const std::string identifier = fields[0].toStdString();
        if (fields.value(2) == "user" || !result.contains(identifier))
            result[identifier] = {{}, QString::fromUtf8(fields.value(1)), {}};
    }
    return result;
}

Packages snaps(Reader &reader) {
    Packages result;
    const std::vector<std::string> question = {"list", "--color=never", "--unicode=never"};
    // Name, version, revision, channel, publisher, notes, under a line of headings. Stars mark the publishers
    // that the store has verified; "-" is none.
    for (const QByteArray &line : ask("/usr/bin/snap", question, reader, answerLimit).mid(1)) {
        const QByteArrayList fields = line.simplified().split(' ');
        const QByteArray publisher = fields.value(4).replace("*", "");
        result[fields[0].toStdString()] = {{},
                                           QString::fromUtf8(fields.value(1)),
                                           QString::fromUtf8(publisher == "-" ? QByteArray() : publisher)};
    }
    return result;
}

} // namespace system_profiler
