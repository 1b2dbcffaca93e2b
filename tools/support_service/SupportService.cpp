#include "SupportService.h"

#include <algorithm>
#include <regex>
#include <sys/socket.h>

namespace support_service {

namespace {

/// Takes an upload's body apart: one multipart form part named "file". The format is held byte for byte,
/// blanks and line breaks included, and nothing may precede or follow the part. `content` is the archive.
Receipt examined(const std::string &contentType, std::string_view body, std::string_view &content) {
    static const std::regex form("multipart/form-data; boundary=([0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12})");
    std::smatch match;
    if (!std::regex_match(contentType, match, form))
        return {.problem = "the content type is not multipart form data with a UUID as its boundary"};
    const std::string dashes = "\r\n--" + match.str(1);
    const std::string before = dashes + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"";
    const std::string between = "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
    const std::string after = dashes + "--\r\n";
    const std::size_t begin = body.find(between) + between.size();
    if (!body.starts_with(before) || begin < before.size() + between.size())
        return {.problem = "the body does not begin as the part of a file named \"file\" does"};
    content = body.substr(begin);
    const bool isClosed = content.ends_with(after);
    content.remove_suffix(isClosed ? after.size() : 0);
    Receipt receipt{.fileName =
                        std::string(body.substr(before.size(), begin - between.size() - before.size())),
                    .sizeBytes = content.size(),
                    .complete = isClosed};
    if (content.find(dashes) != std::string_view::npos)
        return {.problem = "what follows the archive is not the closing boundary alone"};
    if (!isClosed)
        receipt.problem = "the body broke off before its closing boundary";
    return receipt;
}

std::optional<ReceivedRequest> readHead(TlsConnection &connection) {
    auto line = connection.readLine();
    if (!line)
        return std::nullopt;
    const std::size_t space = line->find(' ');
    ReceivedRequest request{line->substr(0, space), line->substr(space + 1, line->rfind(' ') - space - 1)};
    while ((line = connection.readLine()) && !line->empty()) {
        const std::size_t colon = line->find(": ");
        if (colon == std::string::npos)
            return std::nullopt;
        request.headers[line->substr(0, colon)] = line->substr(colon + 2);
    }
    return line ? std::optional(request) : std::nullopt;
}

/// True when another request may follow on the connection.
bool sendAnswer(TlsConnection &connection, const Behaviour &how) {
    if (how.rawAnswer) {
        connection.send(*how.rawAnswer);
        while (!how.repeated.empty() && connection.wait(how.repeatInterval) &&
               connection.send(how.repeated)) {
        }
        if (!how.closesInOrder)
            connection.breakOff();
        return false;
    }
    std::string head = "HTTP/1.1 " + std::to_string(how.status) +
                       " Answer\r\nContent-Length: " + std::to_string(how.body.size()) + "\r\n";
    if (how.location)
        head += "Location: " + *how.location + "\r\n";
    return connection.send(head + "\r\n" + how.body);
}

} // namespace

SupportService::SupportService(Options options)
    : m_options(std::move(options)) {
    if (m_options.folder.empty())
        m_options.folder = m_folder.path();
    test_support::writeFile(certificateFile(), QByteArray::fromStdString(m_certificates.trusted()));
    m_listener.emplace([this](int socket) { serve(socket); }, m_options.reach);
}

void SupportService::serve(int socket) {
    const Handshake handshake = get(m_handshake);
    if (handshake == Handshake::unanswered) {
        waitOn(socket, forEver);
        return;
    }
    char first = 0;
    if (::recv(socket, &first, 1, MSG_PEEK) == 1 && first == 'C')
        openTunnel(socket);
    TlsConnection connection(socket, m_certificates.serverContext(handshake).get());
    while (serveRequest(connection)) {
    }
}

// Answers "CONNECT host:port HTTP/1.1"; what follows is TLS.
void SupportService::openTunnel(int socket) {
    std::string request;
    char byte = 0;
    while (!request.ends_with("\r\n\r\n") && ::recv(socket, &byte, 1, 0) == 1)
        request += byte;
    constexpr std::string_view consent = "HTTP/1.1 200 Connected\r\n\r\n";
    ::send(socket, consent.data(), consent.size(), MSG_NOSIGNAL);
    const std::lock_guard lock(m_mutex);
    ++m_tunnels;
}

bool SupportService::serveRequest(TlsConnection &connection) {
    auto request = readHead(connection);
    if (!request)
        return false;
    std::size_t index = 0;
    const Behaviour how = begin(*request, index);
    const bool goesOn = !how.answersBeforeBody || (sendAnswer(connection, how) && !how.leavesBodyUnread);
    if (request->headers["Expect"] == "100-continue")
        connection.send("HTTP/1.1 100 Continue\r\n\r\n");
    const bool isWhole = goesOn && receive(connection, how, index);
    if (!isWhole || how.answersBeforeBody)
        return false;
    return connection.wait(how.neverAnswer ? forEver : how.waitBeforeAnswer) && sendAnswer(connection, how);
}

Behaviour SupportService::begin(const ReceivedRequest &request, std::size_t &index) {
    const std::lock_guard lock(m_mutex);
    index = m_requests.size();
    m_requests.push_back(request);
    m_changed.notify_all();
    Behaviour how = m_behaviour;
    if (!m_nextBehaviours.empty()) {
        how = std::move(m_nextBehaviours.front());
        m_nextBehaviours.pop_front();
    }
    if (request.target != uploadPath || request.method != "POST")
        return {.status = 404};
    return how;
}

// Reads the body, and keeps its archive with a receipt. True when it arrived to its end.
bool SupportService::receive(TlsConnection &connection, const Behaviour &how, std::size_t index) {
    ReceivedRequest request = requests().at(index);
    const std::uint64_t size = std::stoull("0" + request.headers["Content-Length"]);
    const std::string body = readBody(connection, how, size);
    const bool isUpload = request.method == "POST" && request.target == uploadPath;
    std::string_view content;
    Receipt receipt = examined(request.headers["Content-Type"], body, content);
    if (isUpload && receipt.complete) {
        receipt.archive = m_options.folder / (std::to_string(index + 1) + ".zip");
        test_support::writeFile(receipt.archive, {content.data(), static_cast<qsizetype>(content.size())});
    }
    const std::lock_guard lock(m_mutex);
    if (isUpload) {
        m_options.onReceipt(receipt);
        m_receipts.push_back(receipt);
    }
    m_changed.notify_all();
    return body.size() == size;
}

// Ends early as the behaviour says, or when the connection ends.
std::string SupportService::readBody(TlsConnection &connection, const Behaviour &how, std::uint64_t size) {
    using namespace std::chrono;
    constexpr std::uint64_t largestPiece = 65'536;
    const auto rate = how.readBytesPerSecond;
    const auto piece = rate == 0 ? largestPiece : std::clamp<std::uint64_t>(rate / 20, 1, largestPiece);
    const auto most = std::min(size, how.stopReadingAfterBytes.value_or(how.resetAfterBytes.value_or(size)));
    const auto start = steady_clock::now();
    std::string body;
    while (body.size() < most) {
        const std::string bytes = connection.read(std::min(piece, most - body.size()));
        if (bytes.empty())
            return body;
        body += bytes;
        {
            const std::lock_guard lock(m_mutex);
            m_bodyBytes += bytes.size();
            m_changed.notify_all();
        }
        const auto due = rate == 0 ? start : start + milliseconds(1000 * body.size() / rate);
        connection.wait(std::max(milliseconds(0), duration_cast<milliseconds>(due - steady_clock::now())));
    }
    if (how.stopReadingAfterBytes)
        connection.wait(forEver);
    if (how.resetAfterBytes)
        connection.breakOff();
    return body;
}

} // namespace support_service
