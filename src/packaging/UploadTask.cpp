#include "packaging/UploadTask.h"

#include "packaging/Transfer.h"
#include "platform/Curl.h"
#include "platform/posix/Fatal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>

namespace {

[[noreturn]] void archiveUnreadable() {
    platform::fatal("The archive that was just made cannot be read.");
}

// The whole request body in one piece of memory: the archive is read to where it is sent from. In steps, so
// that a task that is given up in the meantime stops.
QByteArray readBody(const UploadRequest &request, const std::atomic<bool> &cancelled) {
    constexpr std::uint64_t stepBytes = std::uint64_t{4} << 20;
    const MultipartFrame &frame = request.frame;
    if (request.archiveBytes > static_cast<std::uint64_t>(std::numeric_limits<qsizetype>::max() / 2))
        archiveUnreadable();
    QByteArray body(frame.head.size() + static_cast<qsizetype>(request.archiveBytes) + frame.tail.size(),
                    Qt::Uninitialized);
    std::memcpy(body.data(), frame.head.constData(), static_cast<std::size_t>(frame.head.size()));
    char *position = body.data() + frame.head.size();
    for (std::uint64_t remaining = request.archiveBytes; remaining > 0 && !cancelled;) {
        const ssize_t count = ::read(request.archive.get(), position, std::min(remaining, stepBytes));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            archiveUnreadable();
        position += count;
        remaining -= static_cast<std::uint64_t>(count);
    }
    std::memcpy(body.data() + body.size() - frame.tail.size(), frame.tail.constData(),
                static_cast<std::size_t>(frame.tail.size()));
    return body;
}

} // namespace

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
    if (CURLM *multi = m_multi)
        curl().multi_cleanup(multi);
}

void UploadTask::resume() {
    m_thread = std::thread(&UploadTask::run, this);
}

void UploadTask::cancel() {
    m_cancelled = true;
    if (CURLM *multi = m_multi)
        curl().multi_wakeup(multi);
}

void UploadTask::run() {
    // Here, since the first upload loads the library, which the window does not wait for.
    m_multi = curl().multi_init();
    UploadResponse response;
    try {
        const QByteArray body = readBody(m_request, m_cancelled);
        Transfer transfer(m_request, body, m_limits, m_progress);
        response = transfer.perform(m_multi, m_cancelled);
    } catch (const std::bad_alloc &) {
        archiveUnreadable();
    }
    if (!m_abandoned)
        m_finished(response);
}
