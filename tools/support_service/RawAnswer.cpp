#include "RawAnswer.h"

namespace support_service {

namespace {

constexpr std::uint64_t endless = std::uint64_t{1} << 50;

std::string statusLine(const Behaviour &behaviour) {
    return "HTTP/1.1 " + std::to_string(behaviour.status) + " Answer\r\n";
}

std::string headerLines(const Behaviour &behaviour, std::uint64_t contentBytes) {
    std::string lines =
        "Content-Type: text/plain\r\nContent-Length: " + std::to_string(contentBytes) + "\r\n";
    // Said beforehand, the end of the connection makes clients stop sending: wrong for one that is to go on.
    if (behaviour.answerTime != AnswerTime::beforeBodyThenRead)
        lines += "Connection: close\r\n";
    for (const auto &[name, value] : behaviour.headers)
        lines.append(name).append(": ").append(value).append("\r\n");
    if (behaviour.location)
        lines += "Location: " + *behaviour.location + "\r\n";
    return lines;
}

void sendForEver(Connection &connection, std::string_view piece) {
    while (connection.send(piece)) {
    }
}

} // namespace

void sendWholeAnswer(Connection &connection, const Behaviour &behaviour) {
    connection.send(statusLine(behaviour) + headerLines(behaviour, behaviour.body.size()) + "\r\n" +
                    behaviour.body);
}

void sendBrokenAnswer(Connection &connection, const Behaviour &behaviour, const std::stop_token &stop) {
    const std::string status = statusLine(behaviour);
    const std::string head = status + headerLines(behaviour, behaviour.body.size()) + "\r\n";
    const std::string endlessHead = status + headerLines(behaviour, endless) + "\r\n";
    const std::string_view halfBody = std::string_view(behaviour.body).substr(0, behaviour.body.size() / 2);

    switch (behaviour.ending) {
    case AnswerEnding::whole:
        sendWholeAnswer(connection, behaviour);
        break;
    case AnswerEnding::resetAfterStatusLine:
        connection.send(status);
        connection.reset();
        break;
    case AnswerEnding::resetAfterHeaders:
        connection.send(head);
        connection.reset();
        break;
    case AnswerEnding::resetInBody:
        connection.send(head);
        connection.send(halfBody);
        connection.reset();
        break;
    case AnswerEnding::closeInBody:
        connection.send(head);
        connection.send(halfBody);
        break;
    case AnswerEnding::hangAfterHeaders:
        connection.send(head);
        sleepUntilStopped(stop);
        break;
    case AnswerEnding::endlessHeaders:
        connection.send(status);
        sendForEver(connection, "X-Endless: " + std::string(100, 'x') + "\r\n");
        break;
    case AnswerEnding::endlessBody:
        connection.send(endlessHead);
        sendForEver(connection, std::string(65'536, 'x'));
        break;
    case AnswerEnding::trickle:
        connection.send(endlessHead);
        while (connection.send("x") && sleepUnlessStopped(stop, behaviour.trickleInterval)) {
        }
        break;
    }
    connection.finish();
}

} // namespace support_service
