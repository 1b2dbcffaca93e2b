// One upload over HTTPS: one HTTP exchange, on its own thread.
//
// The main thread makes, starts, cancels and destroys a task; where it must not wait for the task's thread,
// another one destroys it. The two callbacks run on the task's thread, the session's callback queue. The last
// of them is `finished`, called exactly once, unless the task is destroyed first: that stops the transfer
// promptly and calls nothing. Where there is no transport, or the system has no thread to give, `resume`
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
#include <filesystem>
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
    /// Opened and read by the task's thread, and closed before it is sent. It ends the process when that
    /// fails.
    std::filesystem::path archive;
};

/// Opens an archive and gives its size. Ends the process when that fails. Any thread.
platform::FileDescriptor openArchive(const std::filesystem::path &archive, std::uint64_t &sizeBytes);

/// How long a transfer may make no progress, and how much of an answer is kept.
struct UploadLimits {
    /// For connecting by one way, until the secure connection is there.
    std::chrono::milliseconds connect = std::chrono::seconds(60);
    /// After that, without a byte moving: while the body is sent, and while its answer comes.
    std::chrono::milliseconds idle = std::chrono::seconds(60);
    /// From the first byte of the answer to its last: a server that trickles one must not hold the program.
    std::chrono::milliseconds answer = std::chrono::minutes(5);
    /// The answer is cut between characters of UTF-8.
    qsizetype answerBytes = qsizetype{64} << 10;
};

/// Of the bytes that the other side has received.
using UploadProgress =
    std::function<void(std::int64_t bytesSent, std::int64_t totalSent, std::int64_t totalExpected)>;

/// Makes HTTP exchanges, one after the other.
class UploadTransport {
public:
    virtual ~UploadTransport() = default;

    /// Runs one exchange to its end, or until `cancelled` turns true and `wake` is called. `body` is the
    /// whole of the request's body.
    virtual UploadResponse perform(const UploadRequest &request, const QByteArray &body,
                                   const UploadLimits &limits, const UploadProgress &progress,
                                   const std::atomic<bool> &cancelled) = 0;
    /// Any thread.
    virtual void wake() = 0;
};

/// The transport by libcurl; none when it cannot be loaded, which the log says. The program has it in a
/// module of the bundle, since libcurl brings twenty libraries with it: loading them takes a tenth of the
/// time in which the window opens. A program that is no bundle's links it.
std::unique_ptr<UploadTransport> makeUploadTransport();

class UploadTask {
public:
    using Progress = UploadProgress;
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
    const std::unique_ptr<UploadTransport> m_transport = makeUploadTransport();
    std::atomic<bool> m_cancelled = false;
    std::atomic<bool> m_abandoned = false;
    std::thread m_thread;
};
