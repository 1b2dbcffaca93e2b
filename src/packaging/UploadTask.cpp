#include "packaging/UploadTask.h"

#include "platform/posix/Fatal.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Process.h"

#include <algorithm>
#include <new>

namespace {

[[noreturn]] void archiveUnreadable() {
    platform::fatal("The archive that was just made cannot be read.");
}

// The whole request body in one piece of memory: the archive is read to where it is sent from. In steps, so
// that a task that is given up in the meantime stops.
QByteArray readBody(const UploadRequest &request, const std::atomic<bool> &cancelled) {
    constexpr std::uint64_t stepBytes = std::uint64_t{4} << 20;
    std::uint64_t archiveBytes = 0;
    const auto archive = openArchive(request.archive, archiveBytes);
    QByteArray body = request.head;
    body.resize(request.head.size() + static_cast<qsizetype>(archiveBytes) + request.tail.size());
    char *position = body.data() + request.head.size();
    for (std::uint64_t remaining = archiveBytes; remaining > 0 && !cancelled;) {
        const ssize_t count = platform::uninterrupted(
            [&] { return ::read(archive.get(), position, std::min(remaining, stepBytes)); });
        if (count <= 0)
            archiveUnreadable();
        position += count;
        remaining -= static_cast<std::uint64_t>(count);
    }
    std::ranges::copy(request.tail, position);
    return body;
}

} // namespace

platform::FileDescriptor openArchive(const std::filesystem::path &archive, std::uint64_t &sizeBytes) {
    std::error_code error;
    auto file = platform::openRegularFile(archive, sizeBytes, error);
    if (!file)
        platform::fatal("The archive that was just made cannot be opened.");
    return file;
}

UploadTask::UploadTask(UploadRequest request, Progress progress, Finished finished, UploadLimits limits)
    : m_request(std::move(request))
    , m_progress(std::move(progress))
    , m_finished(std::move(finished))
    , m_limits(limits) {}

UploadTask::~UploadTask() {
    m_abandoned = true;
    cancel();
    if (m_thread.joinable())
        m_thread.join();
}

void UploadTask::resume() {
    if (m_transport)
        m_thread = platform::startThread("Upload", [this] { run(); });
    if (!m_thread.joinable())
        m_finished({{}, {}, transportError(TransportErrorCode::unknown)});
}

void UploadTask::cancel() {
    m_cancelled = true;
    if (m_transport)
        m_transport->wake();
}

void UploadTask::run() {
    UploadResponse response;
    try {
        const QByteArray body = readBody(m_request, m_cancelled);
        response = m_transport->perform(m_request, body, m_limits, m_progress, m_cancelled);
    } catch (const std::bad_alloc &) {
        archiveUnreadable();
    }
    if (!m_abandoned)
        m_finished(response);
}
