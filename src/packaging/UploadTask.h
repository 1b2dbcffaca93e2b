// One upload over HTTPS: one HTTP exchange through libcurl, on its own thread.
//
// The main thread makes, starts, cancels and destroys a task. The two callbacks run on the task's thread, the
// session's callback queue. The last of them is `finished`, called exactly once, unless the task is destroyed
// first: that stops the transfer promptly and calls nothing. Where the system has no thread to give, `resume`
// calls it, with an unknown error.
//
// HTTP/1.1. The redirects 307 and 308 are followed, to HTTPS on the same host; any other is the answer. A 200
// counts only when its head is whole and the whole body was sent before it came. Proxies come from the
// environment or from the desktop, the certificates from the system or from SSL_CERT_FILE and SSL_CERT_DIR.
#pragma once

#include "packaging/UploadError.h"
#include "platform/posix/FileDescriptor.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

/// What came of a transfer. One that broke off after its status line has a status, no data and an error; a
/// redirect that asks for the same request again and was not followed has all three.
struct UploadResponse {
    std::optional<int> statusCode;
    std::optional<QByteArray> data;
    std::optional<UploadError> error;
};

/// The body is `head`, the archive's bytes and `tail`.
struct UploadRequest {
    QByteArray url;
    QByteArray contentType;
    QByteArray head;
    QByteArray tail;
    platform::FileDescriptor archive;
    std::uint64_t archiveBytes = 0;
};

/// How long a transfer may make no progress, and how much of an answer is kept.
struct UploadLimits {
    /// For connecting by one way; and then without a byte moving, either while the body is sent or while its
    /// answer comes.
    std::chrono::milliseconds idle = std::chrono::seconds(60);
    /// From the first byte of the answer to its last: a server that trickles one must not hold the program.
    std::chrono::milliseconds answer = std::chrono::minutes(5);
    /// The answer is cut between characters of UTF-8.
    qsizetype answerBytes = qsizetype{64} << 10;
};

class UploadTask {
public:
    /// Of the bytes that the other side has received.
    using Progress =
        std::function<void(std::int64_t bytesSent, std::int64_t totalSent, std::int64_t totalExpected)>;
    using Finished = std::function<void(const UploadResponse &)>;

    UploadTask(UploadRequest request, Progress progress, Finished finished, UploadLimits limits = {});
    ~UploadTask();
    UploadTask(const UploadTask &) = delete;
    UploadTask &operator=(const UploadTask &) = delete;

    /// Starts the transfer. Once.
    void resume();
    /// Ends the transfer with the cancellation error, unless it has ended already.
    void cancel();

private:
    void run();

    UploadRequest m_request;
    Progress m_progress;
    Finished m_finished;
    UploadLimits m_limits;
    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> m_multi;
    std::atomic<bool> m_cancelled = false;
    std::atomic<bool> m_abandoned = false;
    std::thread m_thread;
};
