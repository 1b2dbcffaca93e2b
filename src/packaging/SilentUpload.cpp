#include "packaging/SilentUpload.h"

#include "discovery/RunState.h"
#include "packaging/FilesPathDirectory.h"

namespace UtilityFunctions {

void SilentUpload(UploadAPI::CompletionHandler completion) {
    UploadAPI::upload(compressedLogURL, [completion = std::move(completion)](const UploadResult &result) {
        if (const auto *error = std::get_if<UploadError>(&result)) {
            UploadAPI::logUploadError(*error);
        } else {
            FilesPathDirectory::removeOutput();
        }
        completion(result);
    });
}

} // namespace UtilityFunctions
