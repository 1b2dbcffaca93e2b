#include "packaging/Transfer.h"

#include "platform/Network.h"

#include <algorithm>
#include <cstdlib>

Transfer::Transfer(const UploadRequest &request, const QByteArray &body, const UploadLimits &limits,
                   const UploadTask::Progress &progress)
    : m_limits(limits)
    , m_progress(progress)
    , m_bodyBytes(body.size())
    , m_easy(curl().easy_init(), curl().easy_cleanup)
    , m_headers(nullptr, curl().slist_free_all) {
    m_headers.reset(curl().slist_append(nullptr, ("Content-Type: " + request.contentType).constData()));
    curl().slist_append(m_headers.get(), "Expect:");

    CURL *const easy = m_easy.get();
    curl().easy_setopt(easy, CURLOPT_URL, request.url.constData());
    curl().easy_setopt(easy, CURLOPT_HTTPHEADER, m_headers.get());
    curl().easy_setopt(easy, CURLOPT_POSTFIELDS, body.constData());
    curl().easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl().easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "https");
    curl().easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "https");
    curl().easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
    curl().easy_setopt(easy, CURLOPT_MAXREDIRS, 20L);
    curl().easy_setopt(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (const char *certificates = std::getenv("SSL_CERT_FILE"))
        curl().easy_setopt(easy, CURLOPT_CAINFO, certificates);
    curl().easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    // A name server that does not answer must not hold up a cancelled transfer.
    curl().easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
    curl().easy_setopt(easy, CURLOPT_SOCKOPTFUNCTION, &Transfer::onSocket);
    curl().easy_setopt(easy, CURLOPT_SOCKOPTDATA, this);
    // A proxy's consent is no part of the answer.
    curl().easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl().easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    curl().easy_setopt(easy, CURLOPT_HEADERDATA, this);
    curl().easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::onData);
    curl().easy_setopt(easy, CURLOPT_WRITEDATA, this);
    curl().easy_setopt(easy, CURLOPT_XFERINFOFUNCTION, &Transfer::onProgress);
    curl().easy_setopt(easy, CURLOPT_XFERINFODATA, this);
    curl().easy_setopt(easy, CURLOPT_NOPROGRESS, 0L);
}

int Transfer::onSocket(void *self, curl_socket_t socket, curlsocktype) {
    static_cast<Transfer *>(self)->m_sockets.push_back(socket);
    return CURL_SOCKOPT_OK;
}

std::size_t Transfer::onHeader(const char *, std::size_t size, std::size_t count, void *self) {
    auto &transfer = *static_cast<Transfer *>(self);
    transfer.m_lastMove = Clock::now();
    if (!transfer.m_answerBegan)
        transfer.m_answerBegan = transfer.m_lastMove;
    return size * count;
}

std::size_t Transfer::onData(const char *bytes, std::size_t size, std::size_t count, void *self) {
    auto &transfer = *static_cast<Transfer *>(self);
    const auto room = transfer.m_limits.answerBytes - transfer.m_answer.size();
    const auto arrived = static_cast<qsizetype>(size) * static_cast<qsizetype>(count);
    transfer.m_answer.append(bytes, std::min(arrived, room));
    transfer.m_answerIsFull = arrived > room;
    return transfer.m_answerIsFull ? 0 : size * count;
}

int Transfer::onProgress(void *self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) {
    auto &transfer = *static_cast<Transfer *>(self);
    // A redirect sends all of it again, and the answer is still to come.
    if (sent < transfer.m_sentNow)
        transfer.m_answerBegan.reset();
    transfer.m_sentNow = sent;
    transfer.reportSent(sent);
    return 0;
}

// The system's send buffers hold megabytes. A slow service takes minutes for them, in which libcurl sees
// nothing move.
void Transfer::noteMove() {
    curl_off_t sent = 0;
    curl_off_t received = 0;
    curl().easy_getinfo(m_easy.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
    curl().easy_getinfo(m_easy.get(), CURLINFO_SIZE_DOWNLOAD_T, &received);
    std::size_t unsent = 0;
    for (const curl_socket_t socket : m_sockets)
        unsent += platform::unsentBytes(socket);
    const std::pair<std::int64_t, std::size_t> moved(sent + received, unsent);
    if (moved != m_moved)
        m_lastMove = Clock::now();
    m_moved = moved;
}

// One report for each whole percent that is reached, the first one for the first bytes.
void Transfer::reportSent(std::int64_t sent) {
    const auto percent = [this](std::int64_t bytes) { return bytes * 100 / m_bodyBytes; };
    if (sent <= m_sent || (m_sent > 0 && percent(sent) == percent(m_sent)))
        return;
    m_progress(sent - m_sent, sent, m_bodyBytes);
    m_sent = sent;
}

UploadResponse Transfer::perform(CURLM *multi, const std::atomic<bool> &cancelled) {
    constexpr int pollMilliseconds = 250;
    curl().multi_add_handle(multi, m_easy.get());
    std::optional<UploadResponse> response;
    while (!response) {
        int running = 0;
        int queued = 0;
        curl().multi_perform(multi, &running);
        noteMove();
        if (const CURLMsg *message = curl().multi_info_read(multi, &queued))
            response = ended(message->data.result);
        else if (cancelled)
            response = failed(transportError(TransportErrorCode::cancelled));
        else if (isOverdue())
            response = failed(transportError(TransportErrorCode::timedOut));
        else
            curl().multi_poll(multi, nullptr, 0, pollMilliseconds, nullptr);
    }
    curl().multi_remove_handle(multi, m_easy.get());
    return *response;
}

bool Transfer::isOverdue() const {
    const auto now = Clock::now();
    return now - m_lastMove > m_limits.idle || (m_answerBegan && now - *m_answerBegan > m_limits.answer);
}

std::optional<int> Transfer::statusCode() const {
    long code = 0;
    curl().easy_getinfo(m_easy.get(), CURLINFO_RESPONSE_CODE, &code);
    return code >= 200 ? std::optional<int>(static_cast<int>(code)) : std::nullopt;
}

UploadResponse Transfer::ended(CURLcode code) const {
    if (code == CURLE_OK || m_answerIsFull)
        return {statusCode(), m_answer, std::nullopt};
    TransportFailure failure{.code = code, .hasNetwork = platform::hasNetwork()};
    curl().easy_getinfo(m_easy.get(), CURLINFO_SSL_VERIFYRESULT, &failure.verifyResult);
    curl().easy_getinfo(m_easy.get(), CURLINFO_OS_ERRNO, &failure.systemError);
    return failed(transportError(failure));
}

UploadResponse Transfer::failed(const UploadError &error) const {
    return {statusCode(), std::nullopt, error};
}
