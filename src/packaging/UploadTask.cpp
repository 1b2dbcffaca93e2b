#include "packaging/UploadTask.h"

#include "platform/Network.h"
#include "platform/posix/Fatal.h"

#include <QUrl>
#include <algorithm>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void archiveUnreadable() {
    platform::fatal("The archive that was just made cannot be read.");
}

// The whole request body in one piece of memory: the archive is read to where it is sent from. In steps, so
// that a task that is given up in the meantime stops.
QByteArray readBody(const UploadRequest &request, const std::atomic<bool> &cancelled) {
    constexpr std::uint64_t stepBytes = std::uint64_t{4} << 20;
    QByteArray body = request.head;
    body.resize(request.head.size() + static_cast<qsizetype>(request.archiveBytes) + request.tail.size());
    char *position = body.data() + request.head.size();
    for (std::uint64_t remaining = request.archiveBytes; remaining > 0 && !cancelled;) {
        const ssize_t count = platform::uninterrupted(
            [&] { return ::read(request.archive.get(), position, std::min(remaining, stepBytes)); });
        if (count <= 0)
            archiveUnreadable();
        position += count;
        remaining -= static_cast<std::uint64_t>(count);
    }
    std::ranges::copy(request.tail, position);
    return body;
}

// One HTTP exchange, used by one thread.
class Transfer {
public:
    // `body` must outlive the transfer, which sends it from where it is.
    Transfer(const UploadRequest &request, const QByteArray &body, const UploadLimits &limits,
             const UploadTask::Progress &progress)
        : m_limits(limits)
        , m_progress(progress)
        , m_bodyBytes(body.size()) {
        m_headers.reset(curl_slist_append(nullptr, ("Content-Type: " + request.contentType).constData()));
        curl_slist_append(m_headers.get(), "Expect:");
        set(CURLOPT_URL, request.url.constData());
        set(CURLOPT_HTTPHEADER, m_headers.get());
        set(CURLOPT_POSTFIELDS, body.constData());
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        set(CURLOPT_PROTOCOLS_STR, "https");
        // An HTTP/2 stream that the server ends early loses its answer, and its windows make far servers
        // slow.
        set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
        set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
        if (const char *certificates = std::getenv("SSL_CERT_FILE"))
            set(CURLOPT_CAINFO, certificates);
        set(CURLOPT_NOSIGNAL, 1L);
        // A name server that does not answer must not hold up a cancelled transfer.
        set(CURLOPT_QUICK_EXIT, 1L);
        // A proxy's consent is no part of the answer.
        set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
        set(CURLOPT_NOPROGRESS, 0L);
        setCallbacks();
    }

    // Runs the exchange to its end, or until `cancelled` turns true and `multi` is woken.
    UploadResponse perform(CURLM *multi, const std::atomic<bool> &cancelled) {
        constexpr int pollMilliseconds = 250;
        curl_multi_add_handle(multi, m_easy.get());
        std::optional<UploadResponse> response;
        while (!response) {
            int running = 0;
            int queued = 0;
            curl_multi_perform(multi, &running);
            noteMove();
            if (const CURLMsg *message = curl_multi_info_read(multi, &queued)) {
                if (!isRedirected())
                    response = ended(message->data.result);
                else
                    startAgain(multi);
            } else if (cancelled)
                response = failed(transportError(TransportErrorCode::cancelled));
            else if (isOverdue())
                response = failed(transportError(TransportErrorCode::timedOut));
            else
                curl_multi_poll(multi, nullptr, 0, pollMilliseconds, nullptr);
        }
        curl_multi_remove_handle(multi, m_easy.get());
        return *response;
    }

private:
    template <typename Value>
    void set(CURLoption option, Value value) {
        curl_easy_setopt(m_easy.get(), option, value);
    }
    template <typename Value>
    Value get(CURLINFO information) const {
        Value value = 0;
        curl_easy_getinfo(m_easy.get(), information, &value);
        return value;
    }

    void setCallbacks() {
        set(CURLOPT_SOCKOPTFUNCTION, &Transfer::onSocket);
        set(CURLOPT_SOCKOPTDATA, this);
        set(CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
        set(CURLOPT_HEADERDATA, this);
        set(CURLOPT_WRITEFUNCTION, &Transfer::onData);
        set(CURLOPT_WRITEDATA, this);
        set(CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
        set(CURLOPT_XFERINFODATA, this);
    }

    static int onSocket(void *self, curl_socket_t socket, curlsocktype) {
        static_cast<Transfer *>(self)->m_sockets.push_back(socket);
        return CURL_SOCKOPT_OK;
    }

    // One line of an answer's head. Interim answers (1xx) change no clock: a server may send them for ever.
    static std::size_t onHeader(const char *bytes, std::size_t size, std::size_t count, void *self) {
        auto &transfer = *static_cast<Transfer *>(self);
        const std::string_view line(bytes, size * count);
        if (line.starts_with("HTTP/")) {
            transfer.m_isInterim = line.substr(line.find(' ') + 1).starts_with('1');
            transfer.m_sentAtAnswer = transfer.get<curl_off_t>(CURLINFO_SIZE_UPLOAD_T);
            transfer.m_headIsWhole = false;
        }
        // What follows the empty line are trailers.
        if (line == "\r\n" || line == "\n")
            transfer.m_headIsWhole = true;
        if (transfer.m_isInterim)
            return line.size();
        transfer.m_lastMove = Clock::now();
        if (!transfer.m_answerBegan)
            transfer.m_answerBegan = transfer.m_lastMove;
        return line.size();
    }

    static std::size_t onData(const char *bytes, std::size_t size, std::size_t count, void *self) {
        auto &transfer = *static_cast<Transfer *>(self);
        const auto room = transfer.m_limits.answerBytes - transfer.m_answer.size();
        const auto arrived = static_cast<qsizetype>(size) * static_cast<qsizetype>(count);
        transfer.m_answer.append(bytes, std::min(arrived, room));
        transfer.m_answerIsFull = arrived > room;
        return transfer.m_answerIsFull ? 0 : size * count;
    }

    static int onProgress(void *self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
        static_cast<Transfer *>(self)->reportSent(sent);
        return 0;
    }

    // One report for each whole percent that is reached, the first one for the first bytes.
    void reportSent(std::int64_t sent) {
        const auto percent = [this](std::int64_t bytes) { return bytes * 100 / m_bodyBytes; };
        if (sent <= m_sent || (m_sent > 0 && percent(sent) == percent(m_sent)))
            return;
        m_progress(sent - m_sent, sent, m_bodyBytes);
        m_sent = sent;
    }

    // The system's send buffers hold megabytes. A slow service takes minutes for them, in which libcurl sees
    // nothing move.
    void noteMove() {
        std::size_t unsent = 0;
        for (const curl_socket_t socket : m_sockets)
            unsent += platform::unsentBytes(socket);
        const auto counted =
            get<curl_off_t>(CURLINFO_SIZE_UPLOAD_T) + get<curl_off_t>(CURLINFO_SIZE_DOWNLOAD_T);
        const std::pair<std::int64_t, std::size_t> moved(counted, unsent);
        if (moved != m_moved)
            m_lastMove = Clock::now();
        m_moved = moved;
    }

    bool isOverdue() const {
        const auto now = Clock::now();
        return now - m_lastMove > m_limits.idle || (m_answerBegan && now - *m_answerBegan > m_limits.answer);
    }

    // Only the statuses that ask for the same request again, and only to the same host.
    bool isRedirected() const {
        constexpr int mostRedirects = 20;
        const auto status = statusCode();
        const auto *const target = get<const char *>(CURLINFO_REDIRECT_URL);
        if ((status != 307 && status != 308) || !m_headIsWhole || target == nullptr ||
            m_redirects >= mostRedirects)
            return false;
        const QUrl from(QString::fromUtf8(get<const char *>(CURLINFO_EFFECTIVE_URL)));
        const QUrl to(QString::fromUtf8(target));
        return to.scheme() == u"https" && to.host() == from.host();
    }

    void startAgain(CURLM *multi) {
        ++m_redirects;
        curl_multi_remove_handle(multi, m_easy.get());
        set(CURLOPT_URL, QByteArray(get<const char *>(CURLINFO_REDIRECT_URL)).constData());
        m_answer.clear();
        m_answerIsFull = false;
        m_answerBegan.reset();
        m_lastMove = Clock::now();
        curl_multi_add_handle(multi, m_easy.get());
    }

    UploadResponse ended(CURLcode code) const {
        if (code == CURLE_OK || m_answerIsFull) {
            // A service that says so before it can have the whole archive has not taken it.
            const bool isTooEarly = statusCode() == 200 && m_sentAtAnswer < m_bodyBytes;
            if (!m_headIsWhole || isTooEarly)
                return failed(transportError(TransportErrorCode::connectionLost));
            return {statusCode(), m_answer, std::nullopt};
        }
        return failed(transportError({.code = code,
                                      .verifyResult = get<long>(CURLINFO_SSL_VERIFYRESULT),
                                      .systemError = get<long>(CURLINFO_OS_ERRNO),
                                      .hasNetwork = platform::hasNetwork()}));
    }

    UploadResponse failed(const UploadError &error) const { return {statusCode(), std::nullopt, error}; }

    std::optional<int> statusCode() const {
        const auto code = get<long>(CURLINFO_RESPONSE_CODE);
        return code >= 200 ? std::optional(static_cast<int>(code)) : std::nullopt;
    }

    const UploadLimits &m_limits;
    const UploadTask::Progress &m_progress;
    const std::int64_t m_bodyBytes;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_easy{curl_easy_init(), curl_easy_cleanup};
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> m_headers{nullptr, curl_slist_free_all};

    QByteArray m_answer;
    bool m_answerIsFull = false;
    bool m_isInterim = false;
    bool m_headIsWhole = false;
    int m_redirects = 0;
    // Bytes of the body that were sent when the answer's status line came.
    std::int64_t m_sentAtAnswer = 0;
    // Bytes of the body that were last reported.
    std::int64_t m_sent = 0;
    // Opened for this transfer; some may be closed again.
    std::vector<curl_socket_t> m_sockets;
    // Where the bytes were at the last look: in libcurl's counts, and in the system's send buffers.
    std::pair<std::int64_t, std::size_t> m_moved;
    Clock::time_point m_lastMove = Clock::now();
    std::optional<Clock::time_point> m_answerBegan;
};

} // namespace

UploadTask::UploadTask(UploadRequest request, Progress progress, Finished finished, UploadLimits limits)
    : m_request(std::move(request))
    , m_progress(std::move(progress))
    , m_finished(std::move(finished))
    , m_limits(limits)
    , m_multi(curl_multi_init(), curl_multi_cleanup) {}

UploadTask::~UploadTask() {
    m_abandoned = true;
    cancel();
    if (m_thread.joinable())
        m_thread.join();
}

void UploadTask::resume() {
    m_thread = std::thread(&UploadTask::run, this);
}

void UploadTask::cancel() {
    m_cancelled = true;
    curl_multi_wakeup(m_multi.get());
}

void UploadTask::run() {
    UploadResponse response;
    try {
        const QByteArray body = readBody(m_request, m_cancelled);
        response = Transfer(m_request, body, m_limits, m_progress).perform(m_multi.get(), m_cancelled);
    } catch (const std::bad_alloc &) {
        archiveUnreadable();
    }
    if (!m_abandoned)
        m_finished(response);
}
