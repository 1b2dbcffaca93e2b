// One HTTP exchange through libcurl: options, callbacks and limits. Used by one thread, that of its upload
// task.
//
// Redirects are followed as browsers do, to HTTPS only. Proxies come from the environment (https_proxy,
// no_proxy), the certificates from the system or from SSL_CERT_FILE.
#pragma once

#include "packaging/TransportError.h"
#include "packaging/UploadTask.h"
#include "platform/Curl.h"

#include <memory>
#include <utility>
#include <vector>

class Transfer {
public:
    /// `body` must outlive the transfer: it is sent from where it stands.
    Transfer(const UploadRequest &request, const QByteArray &body, const UploadLimits &limits,
             const UploadTask::Progress &progress);

    /// Runs the exchange to its end, or until `cancelled` turns true and `multi` is woken.
    UploadResponse perform(CURLM *multi, const std::atomic<bool> &cancelled);

private:
    using Clock = std::chrono::steady_clock;

    static int onSocket(void *self, curl_socket_t socket, curlsocktype);
    static std::size_t onHeader(const char *bytes, std::size_t size, std::size_t count, void *self);
    static std::size_t onData(const char *bytes, std::size_t size, std::size_t count, void *self);
    static int onProgress(void *self, curl_off_t, curl_off_t received, curl_off_t, curl_off_t sent);

    std::optional<int> statusCode() const;
    void reportSent(std::int64_t sent);
    UploadResponse ended(CURLcode code) const;
    UploadResponse failed(const UploadError &error) const;
    void noteMove();
    bool isOverdue() const;

    const UploadLimits &m_limits;
    const UploadTask::Progress &m_progress;
    std::int64_t m_bodyBytes;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_easy;
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> m_headers;

    QByteArray m_answer;
    bool m_answerIsFull = false;
    /// In the request that is under way.
    std::int64_t m_sentNow = 0;
    /// As it was last reported.
    std::int64_t m_sent = 0;
    /// Opened for this transfer; some may be closed again.
    std::vector<curl_socket_t> m_sockets;
    /// Where the bytes were at the last look: in libcurl's counts, and in the system's send buffers.
    std::pair<std::int64_t, std::size_t> m_moved;
    Clock::time_point m_lastMove = Clock::now();
    std::optional<Clock::time_point> m_answerBegan;
};
