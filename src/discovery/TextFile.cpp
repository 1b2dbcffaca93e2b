#include "discovery/TextFile.h"

#include "logging/Logging.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

namespace UtilityFunctions {

// The empty file comes first: a place where no file can be made is told apart from one that cannot be
// written.
void CreateFile(const std::optional<std::filesystem::path> &fileURL, const QString &fileContent) {
    if (!fileURL || fileContent.isEmpty())
        return;
    using platform::Replacement;
    std::error_code error;
    if (!platform::writeFileAtomically(*fileURL, {}, Replacement::privateFile, error)) {
        Logger::logError(QStringLiteral("Failed to create the file."));
        return;
    }
    if (platform::writeFileAtomically(*fileURL, fileContent.toUtf8(), Replacement::privateFile, error))
        Logger::logInfo(QStringLiteral("File created and content written successfully."));
    else
        Logger::logError(QStringLiteral("Error writing to file: ") + platform::description(error));
}

} // namespace UtilityFunctions
