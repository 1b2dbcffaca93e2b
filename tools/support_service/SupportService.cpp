#include "SupportService.h"

#include "UploadBody.h"

#include <QCryptographicHash>
#include <algorithm>

namespace support_service {

namespace {

/// A name from outside as a name on disk: what could lead out of the folder, or hide, is replaced.
std::string storedName(std::size_t index, std::string name) {
    const auto isPlain = [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '.' || c == '_' || c == '-';
    };
    std::replace_if(
        name.begin(), name.end(), [&](char c) { return !isPlain(static_cast<unsigned char>(c)); }, '_');
    return std::to_string(index + 1) + "-" + name.substr(0, 200);
}

QByteArray rawBytes(std::string_view text) {
    return QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size()));
}

std::string sha256(std::string_view bytes) {
    return QCryptographicHash::hash(rawBytes(bytes), QCryptographicHash::Sha256).toHex().toStdString();
}

bool isUpload(const RequestHead &head) {
    return head.method == "POST" && head.target == SupportService::uploadPath;
}

/// Keeps a reader to so many bytes per second.
class Pace {
public:
    explicit Pace(std::uint64_t bytesPerSecond)
        : m_bytesPerSecond(bytesPerSecond) {}

    std::size_t pieceBytes() const {
        constexpr std::uint64_t largest = 64 * 1024;
        return m_bytesPerSecond == 0 ? largest : std::clamp<std::uint64_t>(m_bytesPerSecond / 20, 1, largest);
    }
    /// The time to wait after `count` more bytes.
    std::chrono::milliseconds pauseAfter(std::size_t count) {
        using namespace std::chrono;
        if (m_bytesPerSecond == 0)
            return {};
        m_bytes += count;
        const auto due = m_begin + milliseconds(1000 * m_bytes / m_bytesPerSecond);
        return std::max(milliseconds(0), duration_cast<milliseconds>(due - steady_clock::now()));
    }

private:
    const std::uint64_t m_bytesPerSecond;
    const std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
    std::uint64_t m_bytes = 0;
};

} // namespace

SupportService::SupportService(Options options)
    : m_options(std::move(options)) {
    if (m_options.store.empty())
        m_options.store = m_folder.path() / "archives";
    if (m_options.certificateFile.empty())
        m_options.certificateFile = m_folder.path() / "authority.pem";
    std::filesystem::create_directories(m_options.store);
    test_support::writeFile(m_options.certificateFile, QByteArray::fromStdString(m_authority.pem()));
    m_listener.emplace([this](int socket) { serve(socket); });
}

SupportService::~SupportService() {
    m_stop.request_stop();
}

void SupportService::setBehaviour(const Behaviour &behaviour, std::size_t count) {
    const std::lock_guard lock(m_mutex);
    m_nextBehaviours.insert(m_nextBehaviours.end(), count, behaviour);
}

void SupportService::serve(int socket) {
    const auto context = contextForNextConnection();
    if (!context)
        return sleepUntilStopped(m_stop.get_token());
    TlsConnection connection(socket, context.get());
    if (!connection.handshake())
        return;
    while (serveRequest(connection)) {
    }
    connection.finish();
}

// None for a connection whose handshake is to hang.
std::shared_ptr<SSL_CTX> SupportService::contextForNextConnection() {
    const std::lock_guard lock(m_mutex);
    if (m_handshake != Handshake::complete)
        return m_handshake == Handshake::refuse ? contextWithoutCertificate() : nullptr;
    return m_authority.serverContext(m_certificate);
}

bool SupportService::serveRequest(TlsConnection &connection) {
    const auto head = readHead(connection);
    if (!head)
        return false;
    std::size_t index = 0;
    const Behaviour how = begin(*head, index);
    const auto stop = m_stop.get_token();

    if (how.answerTime != AnswerTime::afterBody) {
        if (!sleepUnlessStopped(stop, how.waitBeforeAnswer) || !sendAnswer(connection, how, stop))
            connection.waitForHangUp();
        else
            receiveBody(connection, how, index, {connection, *head});
        return false;
    }
    if (head->header("Expect") == "100-continue")
        connection.send("HTTP/1.1 100 Continue\r\n\r\n");
    if (!receiveBody(connection, how, index, {connection, *head}))
        return false;
    if (how.neverAnswer)
        sleepUntilStopped(stop);
    return sleepUnlessStopped(stop, how.waitBeforeAnswer) && sendAnswer(connection, how, stop);
}

Behaviour SupportService::begin(const RequestHead &head, std::size_t &index) {
    const std::lock_guard lock(m_mutex);
    index = m_requests.size();
    m_requests.push_back({head});
    m_changed.notify_all();
    Behaviour how = m_behaviour;
    if (!m_nextBehaviours.empty()) {
        how = std::move(m_nextBehaviours.front());
        m_nextBehaviours.pop_front();
    }
    if (!isUpload(head))
        return {.status = head.target == uploadPath ? 405 : 404, .body = ""};
    return how;
}

bool SupportService::receiveBody(TlsConnection &connection, const Behaviour &how, std::size_t index,
                                 BodyReader reader) {
    const auto limit = how.stopReadingAfterBytes ? how.stopReadingAfterBytes : how.resetAfterBytes;
    Pace pace(how.readBytesPerSecond);
    std::string body;
    while (!limit || body.size() < *limit) {
        const std::size_t most =
            limit ? std::min<std::uint64_t>(*limit - body.size(), pace.pieceBytes()) : pace.pieceBytes();
        const std::string bytes = reader.next(most);
        if (bytes.empty())
            break;
        body += bytes;
        {
            const std::lock_guard lock(m_mutex);
            m_bodyBytes += bytes.size();
            m_changed.notify_all();
        }
        if (const auto pause = pace.pauseAfter(bytes.size()); pause.count() > 0)
            sleepUnlessStopped(m_stop.get_token(), pause);
    }
    if (limit && body.size() == *limit) {
        if (how.stopReadingAfterBytes)
            sleepUntilStopped(m_stop.get_token());
        else
            connection.reset();
    }
    finish(index, std::move(body), reader.isWhole());
    return reader.isWhole();
}

void SupportService::finish(std::size_t index, std::string body, bool isWhole) {
    const auto kept = std::make_shared<const std::string>(std::move(body));
    RequestHead head;
    {
        const std::lock_guard lock(m_mutex);
        head = m_requests.at(index);
        if (m_options.keepBodies)
            m_requests.at(index).body = kept;
    }
    if (!isUpload(head))
        return;
    Receipt receipt = receiptFor(head, *kept, isWhole, index);
    if (m_options.onReceipt) {
        const std::lock_guard reporting(m_reporting);
        m_options.onReceipt(receipt);
    }
    const std::lock_guard lock(m_mutex);
    m_receipts.push_back(std::move(receipt));
    m_changed.notify_all();
}

Receipt SupportService::receiptFor(const RequestHead &head, const std::string &body, bool isWhole,
                                   std::size_t index) const {
    Receipt receipt;
    try {
        const auto upload = parseUploadBody(head.header("Content-Type"), body);
        receipt.fileName = upload.fileName;
        receipt.logId = logIdFromFileName(upload.fileName);
        receipt.sizeBytes = upload.content.size();
        receipt.sha256 = sha256(upload.content);
        receipt.complete = upload.complete && isWhole;
        if (receipt.complete) {
            receipt.archive = m_options.store / storedName(index, receipt.fileName);
            test_support::writeFile(receipt.archive, rawBytes(upload.content));
        } else {
            receipt.problem = "the body broke off before its closing boundary";
        }
    } catch (const std::exception &problem) {
        receipt.problem = problem.what();
    }
    return receipt;
}

} // namespace support_service
