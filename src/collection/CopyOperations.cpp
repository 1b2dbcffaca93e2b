#include "collection/CopyOperations.h"

#include "discovery/Workspace.h"
#include "logging/Logging.h"
#include "platform/posix/Text.h"

namespace UtilityFunctions {

namespace {

namespace fs = std::filesystem;
using platform::description;
using platform::displayText;

// Gives what went wrong.
std::error_code copyTo(const platform::FileDescriptor &folder, const fs::path &name, const fs::path &source,
                       SourceLink link) {
    std::error_code error;
    const fs::path file = link == SourceLink::followed ? platform::behindLink(source, error) : source;
    if (error)
        return error;
    const platform::TreeCopy copy = platform::copyTree(file, folder, name);
    if (copy.skipped > 0)
        Logger::logWarning(
            QStringLiteral("Not copied from %1: %2 pipes, sockets or devices, the first one being %3")
                .arg(displayText(source.filename()), QString::number(copy.skipped),
                     displayText(copy.firstSkipped)));
    return copy.error;
}

} // namespace

bool copyItem(const std::optional<fs::path> &at, const std::optional<fs::path> &to, SourceLink link) {
    if (!at || !to) {
        Logger::logWarning(QStringLiteral("Invalid source or destination URL"));
        return false;
    }
    std::error_code error;
    const auto folder = Workspace::make(to->parent_path(), error);
    if (!error)
        error = copyTo(folder, to->filename(), *at, link);
    if (error)
        Logger::logError(QStringLiteral("Error copying ") + displayText(to->filename()) +
                         QStringLiteral(": ") + description(error));
    return !error;
}

std::error_code CopyFiles(const fs::path &sourceDirectory, const fs::path &destinationDirectory,
                          const fs::path &fileName, SourceLink link) {
    std::error_code error;
    const auto folder = Workspace::make(destinationDirectory, error);
    if (error)
        Logger::logError(QStringLiteral("Error while creating directory: ") + description(error));
    else if (platform::removeTree(folder, fileName, error); error)
        Logger::logError(QStringLiteral("Error while removing existing file: ") + description(error));
    else if ((error = copyTo(folder, fileName, sourceDirectory / fileName, link)))
        Logger::logError(QStringLiteral("Error while copying file: ") + description(error));
    else
        Logger::logInfo(QStringLiteral("File copied successfully."));
    return error;
}

} // namespace UtilityFunctions
