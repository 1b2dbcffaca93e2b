// The body of an upload: one multipart form part named "file", taken apart byte for byte.
//
// Pure functions; any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace support_service {

struct UploadBody {
    std::string fileName;
    /// The archive's bytes, within the body that was parsed: as many as arrived.
    std::string_view content;
    /// The closing boundary is in its place and nothing follows it.
    bool complete = false;
};

/// Takes a body apart. The format is held strictly, blanks and line breaks included: a boundary of a UUID in
/// upper case, a line break before the first boundary, one part with two header lines, the closing boundary,
/// nothing else. Throws std::runtime_error that names the departure on any.
UploadBody parseUploadBody(std::string_view contentType, std::string_view body);

/// The Log ID in an archive's name, "lumaMacLog_<Log ID>_<suffix>.zip"; empty for any other name.
std::string logIdFromFileName(std::string_view fileName);

} // namespace support_service
