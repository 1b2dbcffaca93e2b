// The support side of the upload, on 127.0.0.1 with TLS: receives archives, keeps them with a receipt, and
// can be asked to misbehave. For tests and demonstrations.
//
// Runs in its own threads from construction to destruction; the destructor ends every connection at once,
// whatever it is doing. Any thread may call any operation at any time.
#pragma once

#include "Exchange.h"
#include "test_support/LoopbackListener.h"
#include "test_support/ScratchHome.h"

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>

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

struct ReceivedRequest : RequestHead {
    /// The bytes of the body that were read; absent while it is being read, and without `keepBodies`.
    std::shared_ptr<const std::string> body = nullptr;
};

struct Options {
    /// Where archives are stored. Empty: in a temporary folder that goes with the service.
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
    /// Where uploads go. Another path gets 404, another method 405.
    static constexpr std::string_view uploadPath = "/cr-apip-7.0.0/mac/log";

    /// Listens on a free port when it returns. Throws std::exception when it cannot.
    explicit SupportService(Options options = {});
    ~SupportService();
    SupportService(const SupportService &) = delete;
    SupportService &operator=(const SupportService &) = delete;

    int port() const { return m_listener->port(); }
    /// "localhost:" and the port: a name that the good certificate is valid for.
    std::string host() const { return "localhost:" + std::to_string(port()); }
    /// What a client is to trust (SSL_CERT_FILE).
    std::filesystem::path certificateFile() const { return m_options.certificateFile; }

    /// For the requests whose headers arrive from now on; replaces what was set before.
    void setBehaviour(const Behaviour &behaviour) { set(m_behaviour, behaviour); }
    /// For the next `count` requests only; then as before. Further calls queue.
    void setBehaviour(const Behaviour &behaviour, std::size_t count);
    /// For connections made from now on.
    void setCertificate(CertificateKind kind) { set(m_certificate, kind); }
    void setHandshake(Handshake handshake) { set(m_handshake, handshake); }

    /// In the order in which their headers arrived.
    std::vector<ReceivedRequest> requests() const { return get(m_requests); }
    /// In the order in which the uploads ended. An upload's receipt is there before its answer is sent.
    std::vector<Receipt> receipts() const { return get(m_receipts); }
    /// Body bytes read so far, over all requests.
    std::uint64_t bodyBytes() const { return get(m_bodyBytes); }
    /// Connections accepted so far.
    std::size_t connections() const { return m_listener->connections(); }

    /// Waits until so many requests' headers have arrived, so many receipts were made, so many body bytes
    /// were read. False when `limit` passes first.
    bool waitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
        return waitFor(limit, [&] { return m_requests.size() >= count; });
    }
    bool waitForReceipts(std::size_t count, std::chrono::milliseconds limit) const {
        return waitFor(limit, [&] { return m_receipts.size() >= count; });
    }
    bool waitForBodyBytes(std::uint64_t count, std::chrono::milliseconds limit) const {
        return waitFor(limit, [&] { return m_bodyBytes >= count; });
    }

private:
    template <typename Value>
    Value get(const Value &member) const {
        const std::lock_guard lock(m_mutex);
        return member;
    }
    template <typename Value>
    void set(Value &member, const Value &value) {
        const std::lock_guard lock(m_mutex);
        member = value;
    }
    template <typename Condition>
    bool waitFor(std::chrono::milliseconds limit, Condition condition) const {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, condition);
    }

    // In a thread of their own for each connection.
    void serve(int socket);
    std::shared_ptr<SSL_CTX> contextForNextConnection();
    bool serveRequest(TlsConnection &connection);
    Behaviour begin(const RequestHead &head, std::size_t &index);
    bool receiveBody(TlsConnection &connection, const Behaviour &how, std::size_t index, BodyReader reader);
    void finish(std::size_t index, std::string body, bool isWhole);
    Receipt receiptFor(const RequestHead &head, const std::string &body, bool isWhole,
                       std::size_t index) const;

    const test_support::ScratchFolder m_folder;
    Options m_options;
    std::mutex m_reporting;
    std::stop_source m_stop;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    // Guarded by the mutex.
    CertificateAuthority m_authority;
    CertificateKind m_certificate = CertificateKind::good;
    Handshake m_handshake = Handshake::complete;
    Behaviour m_behaviour;
    std::deque<Behaviour> m_nextBehaviours;
    std::vector<ReceivedRequest> m_requests;
    std::vector<Receipt> m_receipts;
    std::uint64_t m_bodyBytes = 0;

    // Last, so that its threads end before anything that they use.
    std::optional<test_support::LoopbackListener> m_listener;
};

} // namespace support_service
