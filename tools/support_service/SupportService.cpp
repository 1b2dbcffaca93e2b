#include "SupportService.h"

#include "HttpsServer.h"
#include "RawAnswer.h"
#include "ReceivedUploads.h"

#include <deque>
#include <fstream>
#include <unistd.h>

namespace support_service {

namespace {

/// A folder of the service's own, gone with it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "support-service-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("Cannot make a temporary folder");
        m_path = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;
    const std::filesystem::path &path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

/// Fills in the places that were left open, in a folder that is made when one is.
Options completed(Options options, std::optional<TemporaryFolder> &ownFolder) {
    if (options.store.empty() || options.certificateFile.empty())
        ownFolder.emplace();
    if (options.store.empty())
        options.store = ownFolder->path() / "archives";
    if (options.certificateFile.empty())
        options.certificateFile = ownFolder->path() / "authority.pem";
    return options;
}

bool isUpload(const ReceivedRequest &request) {
    return request.method == "POST" && request.target == SupportService::uploadPath;
}

/// The library puts the connection's addresses among the headers.
bool isAddedByTheLibrary(std::string_view header) {
    return header == "REMOTE_ADDR" || header == "REMOTE_PORT" || header == "LOCAL_ADDR" ||
           header == "LOCAL_PORT";
}

bool hasBody(const httplib::Request &request) {
    return request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
}

} // namespace

class SupportService::Implementation {
public:
    explicit Implementation(Options wanted)
        : options(completed(std::move(wanted), m_folder))
        , received(options.store, options.keepBodies, options.onReceipt)
        , server([this](httplib::Request &request, Connection &connection) { begin(request, connection); }) {
        std::filesystem::create_directories(options.store);
        makeCertificates();

        const auto withBody = [this](const httplib::Request &request, httplib::Response &response,
                                     const httplib::ContentReader &reader) {
            serve(request, response, &reader);
        };
        const auto withoutBody = [this](const httplib::Request &request, httplib::Response &response) {
            serve(request, response, nullptr);
        };
        server.Post(".*", withBody).Put(".*", withBody).Patch(".*", withBody).Delete(".*", withBody);
        server.Get(".*", withoutBody).Options(".*", withoutBody);
        server.start(options.port);
    }

    void setBehaviour(const Behaviour &behaviour) {
        const std::lock_guard lock(m_mutex);
        m_behaviour = behaviour;
    }

    void queueBehaviour(const Behaviour &behaviour, std::size_t count) {
        const std::lock_guard lock(m_mutex);
        m_nextBehaviours.insert(m_nextBehaviours.end(), count, behaviour);
    }

private:
    std::optional<TemporaryFolder> m_folder;
    std::mutex m_mutex;
    Behaviour m_behaviour;
    std::deque<Behaviour> m_nextBehaviours;

public:
    const Options options;
    ReceivedUploads received;
    // Last, so that its threads end before anything that they use.
    HttpsServer server;

private:
    void makeCertificates() {
        CertificateAuthority authority("Loopback support authority");
        CertificateAuthority stranger("Some other authority");
        for (const auto kind : {CertificateKind::good, CertificateKind::wrongHost, CertificateKind::expired,
                                CertificateKind::notYetValid})
            server.setCertificate(kind, authority.issue(kind));
        server.setCertificate(CertificateKind::untrusted, stranger.issue(CertificateKind::good));

        std::ofstream file(options.certificateFile, std::ios::trunc);
        file << authority.pem();
        file.close();
        if (!file)
            throw std::runtime_error("Cannot write " + options.certificateFile.string());
    }

    Behaviour takeBehaviour() {
        const std::lock_guard lock(m_mutex);
        if (m_nextBehaviours.empty())
            return m_behaviour;
        Behaviour next = std::move(m_nextBehaviours.front());
        m_nextBehaviours.pop_front();
        return next;
    }

    void begin(httplib::Request &request, Connection &connection) {
        ReceivedRequest noted{request.method, request.target};
        for (const auto &[name, value] : request.headers) {
            if (!isAddedByTheLibrary(name))
                noted.headers.emplace_back(name, value);
        }
        connection.requestIndex = received.begin(std::move(noted));
        // The library would take a multipart body apart, and its very bytes would be lost.
        request.headers.erase("Content-Type");
    }

    void serve(const httplib::Request &request, httplib::Response &response,
               const httplib::ContentReader *reader);
    bool readBody(const httplib::ContentReader &reader, Connection &connection, const Behaviour &behaviour,
                  bool upload);
    void answer(Connection &connection, const Behaviour &behaviour, httplib::Response &response);
};

void SupportService::Implementation::serve(const httplib::Request &request, httplib::Response &response,
                                           const httplib::ContentReader *reader) {
    Connection &connection = Connection::of(request.ssl);
    const bool upload = isUpload(received.request(connection.requestIndex));
    const bool body = reader != nullptr && hasBody(request);
    Behaviour behaviour = takeBehaviour();
    if (!upload && !behaviour.anyRequest) {
        const bool wrongMethod = request.target == uploadPath;
        behaviour = {.status = wrongMethod ? 405 : 404, .body = ""};
    }

    if (behaviour.answerTime == AnswerTime::afterBody) {
        if (body && !readBody(*reader, connection, behaviour, upload))
            return connection.finish();
        if (!body)
            received.end(connection.requestIndex, {}, true);
        return answer(connection, behaviour, response);
    }

    if (sleepUnlessStopped(server.stopToken(), behaviour.waitBeforeAnswer))
        sendWholeAnswer(connection, behaviour);
    if (behaviour.answerTime == AnswerTime::beforeBodyThenClose)
        connection.waitUntilSent();
    else if (body)
        readBody(*reader, connection, behaviour, upload);
    connection.finish();
}

bool SupportService::Implementation::readBody(const httplib::ContentReader &reader, Connection &connection,
                                              const Behaviour &behaviour, bool upload) {
    connection.setReadRate(behaviour.readBytesPerSecond);
    if (behaviour.stopReadingAfterBytes)
        connection.setReadLimit(*behaviour.stopReadingAfterBytes,
                                [this] { sleepUntilStopped(server.stopToken()); });
    else if (behaviour.resetAfterBytes)
        connection.setReadLimit(*behaviour.resetAfterBytes, [&] { connection.reset(); });

    std::string body;
    const bool whole = reader([&](const char *bytes, std::size_t count) {
        body.append(bytes, count);
        received.addBodyBytes(count);
        return true;
    });
    connection.setReadRate(0);
    if (upload)
        received.endUpload(connection.requestIndex, std::move(body), whole);
    else
        received.end(connection.requestIndex, std::move(body), whole);
    return whole;
}

void SupportService::Implementation::answer(Connection &connection, const Behaviour &behaviour,
                                            httplib::Response &response) {
    const auto stop = server.stopToken();
    if (behaviour.neverAnswer)
        sleepUntilStopped(stop);
    if (!sleepUnlessStopped(stop, behaviour.waitBeforeAnswer))
        return connection.finish();
    if (behaviour.ending != AnswerEnding::whole)
        return sendBrokenAnswer(connection, behaviour, stop);

    response.status = behaviour.status;
    if (!behaviour.body.empty())
        response.set_content(behaviour.body, "text/plain");
    for (const auto &[name, value] : behaviour.headers)
        response.set_header(name, value);
    if (behaviour.location)
        response.set_header("Location", *behaviour.location);
}

SupportService::SupportService(Options options)
    : m_implementation(std::make_unique<Implementation>(std::move(options))) {}

SupportService::~SupportService() = default;

int SupportService::port() const {
    return m_implementation->server.port();
}
std::string SupportService::host() const {
    return "localhost:" + std::to_string(port());
}
std::filesystem::path SupportService::certificateFile() const {
    return m_implementation->options.certificateFile;
}

void SupportService::setBehaviour(const Behaviour &behaviour) {
    m_implementation->setBehaviour(behaviour);
}
void SupportService::setBehaviour(const Behaviour &behaviour, std::size_t count) {
    m_implementation->queueBehaviour(behaviour, count);
}
void SupportService::setCertificate(CertificateKind kind) {
    m_implementation->server.certificateKind = kind;
}
void SupportService::setHandshake(Handshake handshake) {
    m_implementation->server.handshake = handshake;
}

std::vector<ReceivedRequest> SupportService::requests() const {
    return m_implementation->received.requests();
}
std::vector<Receipt> SupportService::receipts() const {
    return m_implementation->received.receipts();
}
std::uint64_t SupportService::bodyBytes() const {
    return m_implementation->received.bodyBytes();
}
std::size_t SupportService::connections() const {
    return m_implementation->server.acceptedConnections();
}
std::size_t SupportService::secureConnections() const {
    return m_implementation->server.establishedConnections();
}

bool SupportService::waitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
    return m_implementation->received.waitForRequests(count, limit);
}
bool SupportService::waitForReceipts(std::size_t count, std::chrono::milliseconds limit) const {
    return m_implementation->received.waitForReceipts(count, limit);
}
bool SupportService::waitForBodyBytes(std::uint64_t count, std::chrono::milliseconds limit) const {
    return m_implementation->received.waitForBodyBytes(count, limit);
}

} // namespace support_service
