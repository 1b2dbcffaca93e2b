#include "Spindump.h"

#include "Text.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Process.h"

#include <cerrno>
#include <cstring>
#include <iostream>
#include <sys/resource.h>
#include <sys/stat.h>

namespace spindump {

namespace {

constexpr int wrongCommandLine = 2;

struct Arguments {
    pid_t processId = 0;
    std::filesystem::path outputPath;
};

Arguments parseArguments(const std::vector<std::string> &words) {
    const QByteArray usage = "usage: spindump PID -file PATH";
    if (words.size() != 3 || words[1] != "-file")
        throw Failure(usage, wrongCommandLine);
    const QByteArray id = QByteArray::fromStdString(words[0]);
    const pid_t processId = id.toInt();
    // 0 where it is no number or too large.
    if (processId <= 0 || QByteArray::number(processId) != id)
        throw Failure('"' + escaped(id) + "\" is not a process id; " + usage, wrongCommandLine);
    const std::filesystem::path path = words[2];
    const auto name = path.filename();
    if (name.empty() || name == "." || name == "..")
        throw Failure('"' + escaped(QByteArray::fromStdString(words[2])) + "\" does not name a file; " +
                          usage,
                      wrongCommandLine);
    return {processId, path};
}

// However large the target's files are, and whatever they hold. No core is dumped: it would hold the target's
// data.
void limitResources() {
    struct rlimit files {};
    // Each thread takes some descriptors.
    if (::getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &files);
    }
    const struct rlimit noCore { 0, 0 };
    // So much more than there is now, since a sanitizer has most of an address space from the start.
    const QByteArray now = statusField(contentIn(AT_FDCWD, "/proc/self/status"), "VmData");
    const rlim_t memoryBytes = (now.split(' ').first().toULongLong() << 10) + (rlim_t{768} << 20);
    const struct rlimit memory { memoryBytes, memoryBytes };
    const struct rlimit report { 64 << 20, 64 << 20 };
    ::setrlimit(RLIMIT_CORE, &noCore);
    ::setrlimit(RLIMIT_DATA, &memory);
    ::setrlimit(RLIMIT_FSIZE, &report);
}

// The report takes the place of nothing but a plain file of the user's. What the user may do there is the
// system's business, since no other rights are left.
void requirePlace(const std::filesystem::path &path, const AskingUser &asking) {
    const auto reason = [](const QByteArray &what) { return escaped(what) + ": " + std::strerror(errno); };
    const std::string folderPath = path.native().substr(0, path.native().rfind('/') + 1);
    const QByteArray folder = folderPath.empty() ? "." : QByteArray::fromStdString(folderPath);
    const QByteArray name = QByteArray::fromStdString(path.filename());
    struct stat status {};
    if (::stat(folder.constData(), &status) != 0)
        throw Failure(reason(folder));
    if (asking.elevated && status.st_uid != asking.user)
        throw Failure(escaped(folder) + ": the folder belongs to another user");
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno != ENOENT)
            throw Failure(reason(name));
        return;
    }
    if (!S_ISREG(status.st_mode))
        throw Failure(escaped(name) + ": what stands there is no plain file");
    if (status.st_uid != asking.user)
        throw Failure(escaped(name) + ": a file of another user stands there");
}

void writeReport(const QByteArray &report, const std::filesystem::path &path) {
    std::error_code error;
    if (!platform::writeFileAtomically(path, report, platform::Replacement::privateFile, error))
        throw Failure(escaped(QByteArray::fromStdString(path.filename())) + ": " + error.message().c_str());
}

// The process is taken with the rights that this program was started with, and without reading what the
// target shapes; all else is done without them.
QByteArray sampled(const Arguments &arguments, const AskingUser &asking, const Limits &limits) {
    Target target(arguments.processId, asking);
    Tracer tracer(target.processId, target.threads.get(), limits.stall);
    tracer.attach();
    target.identify();
    dropPrivileges(asking);
    target.requireProduct();
    requirePlace(arguments.outputPath, asking);
    limitResources();
    const std::time_t date = std::time(nullptr);
    std::cerr << "sampling " << processNamed(target.processId).constData() << std::endl;
    return reportText(target, sample(target, tracer, limits), date);
}

} // namespace

int run(const std::vector<std::string> &words, const Limits &limits) {
    platform::prepareProcess();
    try {
        const Arguments arguments = parseArguments(words);
        const AskingUser asking = askingUser();
        // Nothing that others may have put there is for this program or its libraries.
        ::clearenv();
        if (asking.elevated && !arguments.outputPath.is_absolute())
            throw Failure("the path of the report must be absolute", wrongCommandLine);
        writeReport(sampled(arguments, asking, limits), arguments.outputPath);
        std::cerr << "the report is in " << escaped(arguments.outputPath.c_str()).constData() << std::endl;
        return EXIT_SUCCESS;
    } catch (const Failure &failure) {
        std::cerr << "spindump: " << failure.what() << std::endl;
        return failure.exitStatus;
    } catch (const std::exception &error) {
        std::cerr << "spindump: " << error.what() << std::endl;
        return EXIT_FAILURE;
    }
}

} // namespace spindump
