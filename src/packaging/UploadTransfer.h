// One HTTP exchange through libcurl, with the redirects and the other proxies that follow from it.
//
// Used by one thread, the upload's.
#pragma once

#include "packaging/UploadTask.h"
#include "platform/UploadTls.h"

#include <string_view>
#include <utility>
#include <vector>

class UploadTransfer {
public:
    /// `body` is the whole of the request's body. It must outlive the transfer, which sends it from where it
    /// is, and so must everything else that is passed.
    UploadTransfer(const UploadRequest &request, const QByteArray &body, const UploadLimits &limits,
                   const UploadProgress &progress, const std::atomic<bool> &cancelled);

    /// Runs to the end of the exchange, or until `cancelled` turns true and `multi` is woken.
    UploadResponse perform(CURLM *multi);

private:
    using Clock = std::chrono::steady_clock;

    // What is known of one request and its answer; a redirect and another proxy begin with a new one.
    struct Exchange {
        bool isConnected = false;
        bool hasStatus = false;
        bool isInterim = false;
        bool headIsWhole = false;
        qsizetype headBytes = 0;
        QByteArray answer;
        // Bytes of the body that had been sent when the answer's status line came.
        std::int64_t sentAtAnswer = 0;
        // Whether an address that was tried refused the connection.
        bool isRefused = false;
        // What was left to read when sending last failed.
        int unread = 0;
        // The bytes that libcurl has counted, and those that wait in the system.
        std::pair<std::int64_t, std::size_t> moved;
        Clock::time_point lastMove = Clock::now();
        std::optional<Clock::time_point> answerBegan;
        // The last move before the answer began.
        Clock::time_point moveBeforeAnswer;
    };

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
    void setCallbacks();

    static int onSocket(void *self, curl_socket_t socket, curlsocktype);
    static int onSocketClose(void *self, curl_socket_t socket);
    static int onConnected(void *self, char *, char *, int, int);
    static std::size_t onHead(const char *bytes, std::size_t size, std::size_t count, void *self);
    static std::size_t onData(const char *bytes, std::size_t size, std::size_t count, void *self);

    void readHeadLine(std::string_view line);
    bool hasMoreToRead();
    void noteMove();
    void noteAnswer();
    bool isOverdue() const;
    void reportSent(std::int64_t sent);

    void start(CURLM *multi, const QByteArray &url);
    void connect(CURLM *multi);
    bool goesOn(CURLM *multi, CURLcode code);
    UploadResponse ended(CURLcode code) const;
    UploadResponse failed(const UploadError &error) const { return {statusCode(), std::nullopt, error}; }
    std::optional<UploadError> redirectError() const;
    QByteArray redirectTarget() const;
    std::optional<int> statusCode() const;
    bool isOnTheWay() const;

    const UploadRequest &m_request;
    const UploadLimits &m_limits;
    const UploadProgress &m_progress;
    const std::atomic<bool> &m_cancelled;
    const std::int64_t m_bodyBytes;
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> m_headers{nullptr, curl_slist_free_all};

    // Those that are open.
    std::vector<curl_socket_t> m_sockets;
    // Ways to the service that are left to try, the one in use first; an empty one leads there directly.
    std::vector<QByteArray> m_proxies;
    int m_redirects = 0;
    // Bytes of the body that the other side has, and those that were last reported.
    std::int64_t m_sent = 0;
    std::int64_t m_reported = 0;
    Exchange m_exchange;
    const platform::TlsEvents m_tls{[this] { return hasMoreToRead(); },
                                    // A slow answer moves before one of its lines is whole.
                                    [this] {
                                        if (m_sent == m_bodyBytes)
                                            noteAnswer();
                                    }};
    // Last, so that it ends before anything that its callbacks use.
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_easy{curl_easy_init(), curl_easy_cleanup};
};
