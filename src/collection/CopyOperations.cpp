#include "collection/CopyOperations.h"

#include "collection/TreeCopy.h"
#include "logging/Logging.h"
#include "platform/posix/Text.h"

namespace UtilityFunctions {

namespace fs = std::filesystem;

namespace {

// Copies one item of any kind. Tells the log of the entries that no copy can hold.
std::error_code copyAnything(const fs::path &source, const fs::path &destination) {
    const TreeCopy copy = copyTree(source, destination);
    if (copy.skipped > 0)
        Logger::logWarning(
            QStringLiteral("Not copied from %1: %2 pipes, sockets or devices, the first one being %3")
                .arg(platform::displayText(source.filename()), QString::number(copy.skipped),
                     platform::displayText(copy.firstSkipped)));
    return copy.error;
}

} // namespace

bool copyItem(const std::optional<fs::path> &at, const std::optional<fs::path> &to) {
    if (!at || !to) {
        Logger::logWarning(QStringLiteral("Invalid source or destination URL"));
        return false;
    }
    std::error_code error;
    fs::create_directories(to->parent_path(), error);
    if (!error)
        error = copyAnything(*at, *to);
    if (!error)
        return true;
    Logger::logError(QStringLiteral("Error copying ") + platform::displayText(to->filename()) +
                     QStringLiteral(": ") + platform::description(error));
    return false;
}

void CopyFiles(const fs::path &sourceDirectory, const fs::path &destinationDirectory,
               const fs::path &fileName) {
    const fs::path source = sourceDirectory / fileName;
    const fs::path destination = destinationDirectory / fileName;
    std::error_code error;
    fs::create_directories(destinationDirectory, error);
    if (error) {
        Logger::logError(QStringLiteral("Error while creating directory: ") + platform::description(error));
        return;
    }
    fs::remove_all(destination, error);
    if (error) {
        Logger::logError(QStringLiteral("Error while removing existing file: ") +
                         platform::description(error));
        return;
    }
    if ((error = copyAnything(source, destination)))
        Logger::logError(QStringLiteral("Error while copying file: ") + platform::description(error));
    else
        Logger::logInfo(QStringLiteral("File copied successfully."));
}

} // namespace UtilityFunctions
