// The upload of silent mode.
#pragma once

#include "packaging/UploadAPI.h"

namespace UtilityFunctions {

/// Uploads the run's archive. After success the whole output is removed; after a failure it is kept, so that
/// a later run can try again, and the error is told in the log. `completion` is called once, on the upload's
/// thread.
void SilentUpload(UploadAPI::CompletionHandler completion);

} // namespace UtilityFunctions
