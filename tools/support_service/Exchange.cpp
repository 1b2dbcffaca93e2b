#include "Exchange.h"

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <strings.h>

namespace support_service {

namespace {

/// A line without its line break; none when the connection ends before it.
std::optional<std::string> readLine(TlsConnection &connection) {
    std::string line;
    while (!line.ends_with("\r\n")) {
        // Byte by byte, so that nothing of what follows is taken.
        const std::string byte = connection.read(1);
        if (byte.empty())
            return std::nullopt;
        line += byte;
    }
    line.resize(line.size() - 2);
    return line;
}

std::string statusLine(const Behaviour &behaviour) {
    return "HTTP/1.1 " + std::to_string(behaviour.status) + " Answer\r\n";
}

bool keepsConnection(const Behaviour &behaviour) {
    // Clients that read of the connection's end beforehand stop sending: wrong for one that is to go on.
    return behaviour.ending == AnswerEnding::whole && behaviour.answerTime != AnswerTime::beforeBodyThenClose;
}

std::string head(const Behaviour &behaviour, std::uint64_t contentBytes) {
    constexpr int noContent = 204;
    std::string text = statusLine(behaviour);
    if (behaviour.status != noContent)
        text += "Content-Type: text/plain\r\nContent-Length: " + std::to_string(contentBytes) + "\r\n";
    if (!keepsConnection(behaviour))
        text += "Connection: close\r\n";
    if (behaviour.location)
        text += "Location: " + *behaviour.location + "\r\n";
    return text + "\r\n";
}

} // namespace

bool sleepUnlessStopped(const std::stop_token &stop, std::chrono::milliseconds duration) {
    std::mutex mutex;
    std::condition_variable_any never;
    std::unique_lock lock(mutex);
    never.wait_for(lock, stop, duration, [] { return false; });
    return !stop.stop_requested();
}

void sleepUntilStopped(const std::stop_token &stop) {
    while (sleepUnlessStopped(stop, std::chrono::hours(1))) {
    }
}

std::string RequestHead::header(std::string_view name) const {
    for (const auto &[key, value] : headers) {
        if (key.size() == name.size() && strncasecmp(key.data(), name.data(), name.size()) == 0)
            return value;
    }
    return {};
}

std::optional<RequestHead> readHead(TlsConnection &connection) {
    auto line = readLine(connection);
    if (!line)
        return std::nullopt;
    const std::size_t space = line->find(' ');
    RequestHead head{line->substr(0, space), line->substr(space + 1, line->rfind(' ') - space - 1)};
    while ((line = readLine(connection)) && !line->empty()) {
        const std::size_t colon = line->find(": ");
        if (colon == std::string::npos)
            return std::nullopt;
        head.headers.emplace_back(line->substr(0, colon), line->substr(colon + 2));
    }
    return line ? std::optional(head) : std::nullopt;
}

BodyReader::BodyReader(TlsConnection &connection, const RequestHead &head)
    : m_connection(connection)
    , m_rest(std::strtoull(head.header("Content-Length").c_str(), nullptr, 10)) {}

std::string BodyReader::next(std::size_t most) {
    const std::string bytes = m_rest > 0 ? m_connection.read(std::min<std::uint64_t>(m_rest, most)) : "";
    m_rest -= bytes.size();
    return bytes;
}

bool sendAnswer(TlsConnection &connection, const Behaviour &behaviour, const std::stop_token &stop) {
    constexpr std::uint64_t endless = std::uint64_t{1} << 50;
    const std::string &body = behaviour.body;
    const std::string headers = head(behaviour, body.size());
    const auto sendAndReset = [&](const std::string &bytes) {
        connection.send(bytes);
        connection.reset();
        return false;
    };
    const auto sendForEver = [&](const std::string &begin, const std::string &piece,
                                 std::chrono::milliseconds interval = {}) {
        connection.send(begin);
        while (connection.send(piece) && (interval.count() == 0 || sleepUnlessStopped(stop, interval))) {
        }
        return false;
    };

    switch (behaviour.ending) {
    case AnswerEnding::whole:
        return connection.send(headers + body) && keepsConnection(behaviour);
    case AnswerEnding::resetAfterStatusLine:
        return sendAndReset(statusLine(behaviour));
    case AnswerEnding::resetAfterHeaders:
        return sendAndReset(headers);
    case AnswerEnding::resetInBody:
        return sendAndReset(headers + body.substr(0, body.size() / 2));
    case AnswerEnding::hangAfterHeaders:
        connection.send(headers);
        sleepUntilStopped(stop);
        return false;
    case AnswerEnding::endlessHeaders:
        return sendForEver(statusLine(behaviour), "X-Endless: " + std::string(100, 'x') + "\r\n");
    case AnswerEnding::endlessBody:
        return sendForEver(head(behaviour, endless), std::string(65'536, 'x'));
    case AnswerEnding::trickle:
        return sendForEver(head(behaviour, endless), "x", behaviour.trickleInterval);
    }
    return false;
}

} // namespace support_service
