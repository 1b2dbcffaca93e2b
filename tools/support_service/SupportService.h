// The support side of the upload, on 127.0.0.1 with TLS: takes archives in, keeps them with a receipt, and
// can be told to misbehave. For tests and demonstrations.
//
// Runs in threads of its own from construction to destruction; the destructor ends every connection at
// once, whatever it is stuck in. Every operation may be called from any thread at any time.
#pragma once

#include "Behaviour.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace support_service {

/// What became of one upload.
struct Receipt {
    /// As the client named it, and the Log ID in that name; both empty when the body has another format.
    std::string fileName;
    std::string logId;
    /// The archive's bytes that arrived, and their SHA-256 in hexadecimal.
    std::uint64_t sizeBytes = 0;
    std::string sha256;
    /// The body arrived to its end and has the upload format throughout.
    bool complete = false;
    /// What is wrong with the body; empty when nothing is.
    std::string problem;
    /// Where the archive was stored; empty when the body was not complete.
    std::filesystem::path archive;
};

/// A request as it came.
struct ReceivedRequest {
    std::string method;
    /// Path and query, as sent.
    std::string target;
    /// Names as sent, values without the blanks around them; in the order of the names.
    std::vector<std::pair<std::string, std::string>> headers = {};
    /// The bytes of the body that were read; absent while it is being read, and without `keepBodies`.
    std::shared_ptr<const std::string> body = nullptr;
    /// The body was read as far as it will be; it came whole.
    bool finished = false;
    bool arrivedWhole = false;

    /// The value of the first header with this name, in any case; empty when there is none.
    std::string header(std::string_view name) const;
};

struct Options {
    /// 0 takes a free one.
    int port = 0;
    /// Where archives are stored. Empty: in a folder of the service's own that goes with it.
    std::filesystem::path store = {};
    /// Where the authority's certificate is written, as PEM. Empty: in that folder.
    std::filesystem::path certificateFile = {};
    /// Keeps every request's body in memory, for `requests`.
    bool keepBodies = true;
    /// Called in a thread of the service with each receipt, one at a time, before the answer is sent.
    std::function<void(const Receipt &)> onReceipt = nullptr;
};

class SupportService {
public:
    /// Where uploads go.
    static constexpr std::string_view uploadPath = "/cr-apip-7.0.0/mac/log";

    /// Listens when it returns. Throws std::runtime_error or std::filesystem::filesystem_error when it
    /// cannot.
    explicit SupportService(Options options = {});
    ~SupportService();
    SupportService(const SupportService &) = delete;
    SupportService &operator=(const SupportService &) = delete;

    int port() const;
    /// "localhost:" and the port: a name that the good certificate holds for.
    std::string host() const;
    /// What a client is to trust (SSL_CERT_FILE).
    std::filesystem::path certificateFile() const;

    /// For the requests whose headers arrive from now on; takes the place of what was set before.
    void setBehaviour(const Behaviour &behaviour);
    /// For the next `count` requests alone; then as before. A further call queues behind.
    void setBehaviour(const Behaviour &behaviour, std::size_t count);
    /// For connections made from now on.
    void setCertificate(CertificateKind kind);
    void setHandshake(Handshake handshake);

    /// In the order in which their headers arrived.
    std::vector<ReceivedRequest> requests() const;
    /// In the order in which the uploads ended. An upload's receipt is there before its answer is sent.
    std::vector<Receipt> receipts() const;
    /// Body bytes read so far, over all requests.
    std::uint64_t bodyBytes() const;
    /// Connections accepted so far, and those of them that completed the TLS handshake.
    std::size_t connections() const;
    std::size_t secureConnections() const;

    /// Waits until so many requests' headers have arrived, so many receipts were made, so many body bytes
    /// were read. False when `limit` passes first.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds limit) const;
    bool waitForReceipts(std::size_t count, std::chrono::milliseconds limit) const;
    bool waitForBodyBytes(std::uint64_t count, std::chrono::milliseconds limit) const;

private:
    class Implementation;
    std::unique_ptr<Implementation> m_implementation;
};

} // namespace support_service
