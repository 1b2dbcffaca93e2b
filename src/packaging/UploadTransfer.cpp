#include "packaging/UploadTransfer.h"

#include "packaging/UploadProxies.h"
#include "platform/Network.h"

#include <QUrl>
#include <algorithm>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

constexpr int mostRedirects = 20;
// libcurl has a limit of its own above this one, which does not say what was wrong.
constexpr qsizetype headLimitBytes = qsizetype{256} << 10;

UploadTransfer &transferOf(void *self) {
    return *static_cast<UploadTransfer *>(self);
}

// As much of `text` as fits, without a part of a character at the end.
QByteArray cutBetweenCharacters(const QByteArray &text, qsizetype limitBytes) {
    const auto isInsideCharacter = [&](qsizetype place) {
        return (static_cast<unsigned char>(text[place]) & 0xC0U) == 0x80U;
    };
    constexpr qsizetype longestCharacterBytes = 4;
    if (text.size() <= limitBytes)
        return text;
    qsizetype end = limitBytes;
    while (end > 0 && limitBytes - end < longestCharacterBytes && isInsideCharacter(end))
        --end;
    return text.left(end);
}

} // namespace

UploadTransfer::UploadTransfer(const UploadRequest &request, const QByteArray &body,
                               const UploadLimits &limits, const UploadProgress &progress,
                               const std::atomic<bool> &cancelled)
    : m_request(request)
    , m_limits(limits)
    , m_progress(progress)
    , m_cancelled(cancelled)
    , m_bodyBytes(body.size()) {
    m_headers.reset(curl_slist_append(nullptr, ("Content-Type: " + request.contentType).constData()));
    curl_slist_append(m_headers.get(), "Expect:");
    set(CURLOPT_HTTPHEADER, m_headers.get());
    set(CURLOPT_POSTFIELDS, body.constData());
    set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    set(CURLOPT_PROTOCOLS_STR, "https");
    // An HTTP/2 stream that the server ends early loses its answer, and its windows make far servers slow.
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    for (const CURLoption version : {CURLOPT_SSLVERSION, CURLOPT_PROXY_SSLVERSION})
        set(version, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    platform::trustCertificates(m_easy.get());
    set(CURLOPT_NOSIGNAL, 1L);
    // A name server that does not answer must not hold up a cancelled transfer.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits.connect.count()));
    // A connection ends with its transfer, whom it calls when it is closed.
    set(CURLOPT_FORBID_REUSE, 1L);
    // A proxy's consent is no part of the answer.
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    // Which proxy is used is decided here, with the exceptions.
    set(CURLOPT_NOPROXY, "");
    setCallbacks();
}

void UploadTransfer::setCallbacks() {
    set(CURLOPT_SOCKOPTFUNCTION, &UploadTransfer::onSocket);
    set(CURLOPT_SOCKOPTDATA, this);
    set(CURLOPT_CLOSESOCKETFUNCTION, &UploadTransfer::onSocketClose);
    set(CURLOPT_CLOSESOCKETDATA, this);
    set(CURLOPT_PREREQFUNCTION, &UploadTransfer::onConnected);
    set(CURLOPT_PREREQDATA, this);
    set(CURLOPT_HEADERFUNCTION, &UploadTransfer::onHead);
    set(CURLOPT_HEADERDATA, this);
    set(CURLOPT_WRITEFUNCTION, &UploadTransfer::onData);
    set(CURLOPT_WRITEDATA, this);
}

UploadResponse UploadTransfer::perform(CURLM *multi) {
    constexpr int pollMilliseconds = 250;
    start(multi, m_request.url);
    std::optional<UploadResponse> response;
    while (!response) {
        int running = 0;
        int queued = 0;
        curl_multi_perform(multi, &running);
        noteMove();
        if (const CURLMsg *message = curl_multi_info_read(multi, &queued)) {
            const CURLcode code = message->data.result;
            if (!goesOn(multi, code))
                response = ended(code);
        } else if (m_cancelled)
            response = failed(transportError(TransportErrorCode::cancelled));
        else if (isOverdue())
            response = failed(transportError(TransportErrorCode::timedOut));
        else
            curl_multi_poll(multi, nullptr, 0, pollMilliseconds, nullptr);
    }
    curl_multi_remove_handle(multi, m_easy.get());
    return *response;
}

void UploadTransfer::start(CURLM *multi, const QByteArray &url) {
    set(CURLOPT_URL, url.constData());
    m_proxies = proxiesFor(url, m_cancelled);
    connect(multi);
}

void UploadTransfer::connect(CURLM *multi) {
    set(CURLOPT_PROXY, m_proxies.front().constData());
    m_exchange = {};
    curl_multi_add_handle(multi, m_easy.get());
}

// Begins the next exchange when one is to follow: to where a redirect leads, or by the next way when this one
// leads nowhere.
bool UploadTransfer::goesOn(CURLM *multi, CURLcode code) {
    const QByteArray target = redirectTarget();
    const bool isRedirected = !target.isEmpty() && !redirectError();
    const bool hasNextWay = code != CURLE_OK && isOnTheWay() && m_proxies.size() > 1;
    if (m_cancelled || (!isRedirected && !hasNextWay))
        return false;
    curl_multi_remove_handle(multi, m_easy.get());
    if (isRedirected) {
        ++m_redirects;
        start(multi, target);
    } else {
        m_proxies.erase(m_proxies.begin());
        connect(multi);
    }
    return true;
}

// What waits in the system to be sent is kept short. What is on its way is not limited by that.
int UploadTransfer::onSocket(void *self, curl_socket_t socket, curlsocktype) {
    constexpr int waitingBytes = 128 << 10;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &waitingBytes, sizeof waitingBytes);
    transferOf(self).m_sockets.push_back(socket);
    return CURL_SOCKOPT_OK;
}

int UploadTransfer::onSocketClose(void *self, curl_socket_t socket) {
    UploadTransfer &transfer = transferOf(self);
    if (transfer.get<long>(CURLINFO_OS_ERRNO) == ECONNREFUSED)
        transfer.m_exchange.isRefused = true;
    std::erase(transfer.m_sockets, socket);
    return ::close(socket);
}

int UploadTransfer::onConnected(void *self, char *, char *, int, int) {
    UploadTransfer &transfer = transferOf(self);
    transfer.m_exchange.isConnected = true;
    transfer.m_exchange.lastMove = Clock::now();
    platform::watchConnection(transfer.m_easy.get(), transfer.m_tls);
    return CURL_PREREQFUNC_OK;
}

// A server that answers early and hangs up makes sending fail while its answer waits to be read: until that
// is read, sending is tried again.
bool UploadTransfer::hasMoreToRead() {
    int unread = 0;
    for (const curl_socket_t socket : m_sockets)
        ::ioctl(socket, FIONREAD, &unread);
    // The same as at the last failure: nobody reads it.
    return unread > 0 && unread != std::exchange(m_exchange.unread, unread);
}

std::size_t UploadTransfer::onHead(const char *bytes, std::size_t size, std::size_t count, void *self) {
    UploadTransfer &transfer = transferOf(self);
    const std::string_view line(bytes, size * count);
    transfer.m_exchange.headBytes += static_cast<qsizetype>(line.size());
    if (transfer.m_exchange.headBytes > headLimitBytes)
        return 0;
    transfer.readHeadLine(line);
    return line.size();
}

void UploadTransfer::readHeadLine(std::string_view line) {
    noteAnswer();
    if (line.size() > 5 && qstrnicmp(line.data(), "HTTP/", 5) == 0) {
        // libcurl takes a line in small letters, or without a version, for a 200.
        m_exchange.hasStatus = line.starts_with("HTTP/") && line[5] >= '0' && line[5] <= '9';
        m_exchange.isInterim = line.substr(line.find(' ') + 1).starts_with('1');
        m_exchange.headIsWhole = false;
        noteMove();
        m_exchange.sentAtAnswer = m_sent;
    }
    // What follows the empty line are trailers.
    if (line != "\r\n" && line != "\n")
        return;
    m_exchange.headIsWhole = m_exchange.hasStatus;
    // Interim answers change no clock: a server may send them for ever.
    if (m_exchange.isInterim) {
        m_exchange.answerBegan.reset();
        m_exchange.lastMove = m_exchange.moveBeforeAnswer;
    }
}

std::size_t UploadTransfer::onData(const char *bytes, std::size_t size, std::size_t count, void *self) {
    UploadTransfer &transfer = transferOf(self);
    QByteArray &answer = transfer.m_exchange.answer;
    // One byte more than is kept tells that there is more, and where its last character ends.
    const auto room = transfer.m_limits.answerBytes + 1 - answer.size();
    const auto arrived = static_cast<qsizetype>(size) * static_cast<qsizetype>(count);
    answer.append(bytes, std::min(arrived, room));
    return arrived < room ? size * count : 0;
}

// How far the body has come: not what libcurl has passed on, but what has left this machine for good. The
// system's buffers can hold what a slow line takes minutes for.
void UploadTransfer::noteMove() {
    if (m_sockets.empty())
        return;
    std::size_t unsent = 0;
    for (const curl_socket_t socket : m_sockets)
        unsent += platform::unsentBytes(socket);
    const auto passedOn = get<curl_off_t>(CURLINFO_SIZE_UPLOAD_T);
    const std::pair<std::int64_t, std::size_t> moved(passedOn + get<curl_off_t>(CURLINFO_SIZE_DOWNLOAD_T),
                                                     unsent);
    if (moved != m_exchange.moved)
        m_exchange.lastMove = Clock::now();
    m_exchange.moved = moved;
    m_sent = std::max<std::int64_t>(0, passedOn - static_cast<std::int64_t>(unsent));
    reportSent(m_sent);
}

void UploadTransfer::noteAnswer() {
    const auto now = Clock::now();
    if (!m_exchange.answerBegan) {
        m_exchange.answerBegan = now;
        m_exchange.moveBeforeAnswer = m_exchange.lastMove;
    }
    m_exchange.lastMove = now;
}

// libcurl itself watches the time that connecting takes.
bool UploadTransfer::isOverdue() const {
    const auto now = Clock::now();
    return m_exchange.isConnected &&
           (now - m_exchange.lastMove > m_limits.idle ||
            (m_exchange.answerBegan && now - *m_exchange.answerBegan > m_limits.answer));
}

// One report for each whole percent that is reached, the first one for the first bytes.
void UploadTransfer::reportSent(std::int64_t sent) {
    const auto percent = [this](std::int64_t bytes) { return bytes * 100 / m_bodyBytes; };
    if (sent <= m_reported || (m_reported > 0 && percent(sent) == percent(m_reported)))
        return;
    m_progress(sent - m_reported, sent, m_bodyBytes);
    m_reported = sent;
}

UploadResponse UploadTransfer::ended(CURLcode code) const {
    const bool answerIsFull = m_exchange.answer.size() > m_limits.answerBytes;
    if (code == CURLE_OK || answerIsFull) {
        // A service that says so before it can have the whole archive has not taken it.
        const bool isTooEarly = statusCode() == 200 && m_exchange.sentAtAnswer < m_bodyBytes;
        if (!m_exchange.headIsWhole || isTooEarly)
            return failed(transportError(TransportErrorCode::connectionLost));
        return {statusCode(), cutBetweenCharacters(m_exchange.answer, m_limits.answerBytes), redirectError()};
    }
    // libcurl runs out of the memory that it allows for one line.
    const bool headIsTooLarge =
        m_exchange.headBytes > headLimitBytes ||
        (code == CURLE_OUT_OF_MEMORY && m_exchange.isConnected && !m_exchange.headIsWhole);
    if (headIsTooLarge)
        return failed(otherError(headTooLarge));
    const bool isAtProxy = isOnTheWay() && !m_proxies.front().isEmpty();
    return failed(transportError(
        {.code = code,
         .verifyResult = get<long>(isAtProxy ? CURLINFO_PROXY_SSL_VERIFYRESULT : CURLINFO_SSL_VERIFYRESULT),
         .systemError = m_exchange.isRefused ? ECONNREFUSED : get<long>(CURLINFO_OS_ERRNO),
         .hasNetwork = platform::hasNetwork(),
         .isAtProxy = isAtProxy,
         .proxyStatus = get<long>(CURLINFO_HTTP_CONNECTCODE)}));
}

// Where a redirect leads that asks for the same request again; empty when there is none.
QByteArray UploadTransfer::redirectTarget() const {
    const auto status = statusCode();
    if ((status != 307 && status != 308) || !m_exchange.headIsWhole)
        return {};
    return get<const char *>(CURLINFO_REDIRECT_URL);
}

// Only to the same host, and not for ever.
std::optional<UploadError> UploadTransfer::redirectError() const {
    const QByteArray target = redirectTarget();
    if (target.isEmpty())
        return std::nullopt;
    const QUrl from(QString::fromUtf8(get<const char *>(CURLINFO_EFFECTIVE_URL)));
    const QUrl to(QString::fromUtf8(target));
    if (to.scheme() != u"https" || to.host() != from.host())
        return otherError(redirectRefused);
    return m_redirects < mostRedirects ? std::nullopt : std::optional(otherError(tooManyRedirects));
}

std::optional<int> UploadTransfer::statusCode() const {
    const auto code = get<long>(CURLINFO_RESPONSE_CODE);
    return m_exchange.hasStatus && code >= 200 ? std::optional(static_cast<int>(code)) : std::nullopt;
}

// Whether neither the service nor a proxy has answered yet.
bool UploadTransfer::isOnTheWay() const {
    return !m_exchange.isConnected && get<long>(CURLINFO_HTTP_CONNECTCODE) == 0;
}

namespace {

class CurlTransport final : public UploadTransport {
public:
    UploadResponse perform(const UploadRequest &request, const QByteArray &body, const UploadLimits &limits,
                           const UploadProgress &progress, const std::atomic<bool> &cancelled) override {
        return UploadTransfer(request, body, limits, progress, cancelled).perform(m_multi.get());
    }

    void wake() override { curl_multi_wakeup(m_multi.get()); }

private:
    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> m_multi{curl_multi_init(),
                                                                        curl_multi_cleanup};
};

} // namespace

std::unique_ptr<UploadTransport> makeUploadTransport() {
    return std::make_unique<CurlTransport>();
}

// What the program finds by its name in the module.
extern "C" UploadTransport *newUploadTransport() {
    return new CurlTransport;
}
