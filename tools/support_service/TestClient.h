// A TLS client for the tests of the support service, and upload bodies in the format that it takes.
#pragma once

#include "SupportService.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace support_service::test {

inline const std::string boundary = "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0";
inline const std::string contentType = "multipart/form-data; boundary=" + boundary;
inline const std::string archiveName = "lumaMacLog_3b1f8a3e-55f0-4ad0-8d5c-3a1f1f3f9d55_cef.zip";

/// The body that carries this archive.
std::string uploadBody(std::string_view content, std::string_view fileName = archiveName);

/// Bytes of every value, the same for the same count; line breaks and dashes among them.
std::string someBytes(std::size_t count);

struct Answer {
    /// libcurl's code: 0 when the exchange went through.
    int error = 0;
    /// 0 when no status line arrived.
    long status = 0;
    std::string body;
    std::string headers;
    std::uint64_t sentBytes = 0;
    std::chrono::milliseconds took{0};
};

struct Call {
    std::string path = std::string(SupportService::uploadPath);
    std::string method = "POST";
    std::string host = "localhost";
    std::filesystem::path trust = {};
    std::chrono::milliseconds timeout{20'000};
    bool followRedirects = false;
    /// No more of the answer's body is taken than this.
    std::size_t answerLimitBytes = 1U << 20;
    /// Takes nothing of the answer's body, and waits until the time is over.
    bool pauseAnswer = false;
    /// Sends the body in chunks, without a length in advance.
    bool chunked = false;
};

/// Sends one request in a connection of its own and waits for what comes of it.
Answer call(int port, std::string_view body, const Call &how);
/// The same, trusting the service's own authority unless told otherwise.
Answer call(const SupportService &service, std::string_view body, Call how = {});

} // namespace support_service::test
