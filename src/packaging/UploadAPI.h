// Sends the archive to the support service, and turns the service's answer into success or failure.
//
// Uploads are started on the main thread; handlers and progress run on the upload's own thread.
#pragma once

#include "collection/StatusText.h"
#include "packaging/UploadTask.h"

#include <filesystem>
#include <memory>
#include <optional>

namespace UploadAPI {

using CompletionHandler = std::function<void(const UploadResult &)>;

/// The window's status line; none in silent mode. Main thread.
inline std::optional<TextBinding> uploadProgress;
/// The latest upload; not cleared when it ends. Resetting it stops an upload without a call of its handler.
/// Main thread.
inline std::unique_ptr<UploadTask> uploadTask;

/// Where the maker's support service takes archives, from the bundle's "LumamonSupportHost".
QByteArray endpoint();

/// The request that sends a file: a multipart form (RFC 7578) with one part
/// named "file", and a boundary made for each request. The body opens with a line break, as the service has
/// always been sent it.
UploadRequest multipartRequest(const std::filesystem::path &archive);

/// Starts the upload of `fileURL` and returns at once. The handler is called once, when it has ended; never
/// without a location. An archive that cannot be opened ends the process.
void upload(const std::optional<std::filesystem::path> &fileURL, CompletionHandler completionHandler);

/// What the service's answer comes to: only status 200 with data is success.
UploadResult handleResponse(const UploadResponse &response);

/// Logs why an upload failed.
void logUploadError(const UploadError &error);

} // namespace UploadAPI

/// Receives the progress of one upload. Made on the main thread, called on the upload's.
class UploadTaskDelegate {
public:
    /// Shows whole percents from 1 to 99 in `UploadAPI::uploadProgress`; at the beginning and at the end
    /// writes the text that it shows to the log. A total of 0 ends the process.
    void urlSession(std::int64_t didSendBodyData, std::int64_t totalBytesSent,
                    std::int64_t totalBytesExpectedToSend);

private:
    // As it is when the upload starts: the window replaces it while the upload runs.
    std::optional<TextBinding> m_progress = UploadAPI::uploadProgress;
};

namespace UtilityFunctions {

/// Uploads the run's archive. After success the whole output is removed; after a failure it is kept, so that
/// a later run can try again, and the log says why. `completion` is called once, on the upload's thread.
void SilentUpload(UploadAPI::CompletionHandler completion);

} // namespace UtilityFunctions
