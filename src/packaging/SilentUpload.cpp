#include "packaging/SilentUpload.h"

#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "packaging/FilesPathDirectory.h"
#include "platform/posix/Fatal.h"

namespace UtilityFunctions {

void logUploadError(const UploadError &error) {
    Logger::logError(QStringLiteral("Upload error code: ") + QString::number(error.code));
    Logger::logError(QStringLiteral("Upload error domain: ") + error.domain);
    if (error.code == TransportErrorCode::cancelled) {
        Logger::logError(QStringLiteral("Upload task was canceled"));
    } else if (error.code == TransportErrorCode::notConnectedToInternet) {
        Logger::logError(QStringLiteral("No internet connection"));
    } else {
        Logger::logError(QStringLiteral("Other network error: ") + error.localizedDescription());
        const QString &text = error.userInfoDescription;
        Logger::logError(QStringLiteral("userInfo: ") +
                         (text.isEmpty() ? QStringLiteral("no userInfo") : text));
    }
}

void SilentUpload(UploadAPI::CompletionHandler completion) {
    UploadAPI::upload(compressedLogURL, [completion = std::move(completion)](const UploadResult &result) {
        if (const auto *error = std::get_if<UploadError>(&result)) {
            logUploadError(*error);
        } else {
            if (!tempOutputURL)
                platform::fatal("The output folder is not known when it is to be removed.");
            FilesPathDirectory::deleteDirectory(*tempOutputURL);
        }
        completion(result);
    });
}

} // namespace UtilityFunctions
