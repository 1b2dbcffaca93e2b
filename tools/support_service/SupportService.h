// The support side of the upload, on 127.0.0.1 with TLS: receives archives, keeps them with a receipt, and
// can be asked to misbehave. For tests and demonstrations.
//
// Its own threads run until the destructor ends every connection at once. Any thread may call it at any time.
#pragma once

#include "Tls.h"
#include "test_support/LoopbackListener.h"
#include "test_support/ScratchHome.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <utility>
#include <vector>

namespace support_service {

/// How an upload is treated: well by default. The values combine.
struct Behaviour {
    /// For the request's body; 0 is as fast as it comes.
    std::uint64_t readBytesPerSecond = 0;
    /// After so many bytes nothing more is read and the connection stays open, or it is reset.
    std::optional<std::uint64_t> stopReadingAfterBytes = std::nullopt;
    std::optional<std::uint64_t> resetAfterBytes = std::nullopt;
    /// After the headers; the body is read afterwards, or the connection closed at once, which resets it.
    bool answersBeforeBody = false;
    bool leavesBodyUnread = false;
    std::chrono::milliseconds waitBeforeAnswer{0};
    /// The connection stays open.
    bool neverAnswer = false;
    int status = 200;
    std::string body = "Received.";
    /// A "Location" header, which turns a status in the 300s into a redirect.
    std::optional<std::string> location = std::nullopt;
    /// In the place of status, headers and body: these bytes, then those of `repeated` over and over, each
    /// time after the interval. When there are none, the connection is reset, or closed in order.
    std::optional<std::string> rawAnswer = std::nullopt;
    bool closesInOrder = false;
    std::string repeated = {};
    std::chrono::milliseconds repeatInterval{0};
};

struct ReceivedRequest {
    std::string method;
    /// Path and query, as sent.
    std::string target;
    /// Names and values as sent.
    std::map<std::string, std::string> headers = {};
};

/// What became of one upload.
struct Receipt {
    /// As the client named it; empty when the body has another format.
    std::string fileName = {};
    /// The archive's bytes that arrived.
    std::uint64_t sizeBytes = 0;
    /// The body arrived to its end and has the upload format throughout.
    bool complete = false;
    /// What is wrong with the body; empty when nothing is.
    std::string problem = {};
    /// Where the archive was stored; empty when the body was not complete.
    std::filesystem::path archive = {};
};

struct Options {
    /// Where archives and the certificates to trust are written. Empty: a temporary folder.
    std::filesystem::path folder = {};
    /// Called in a thread of the service with each receipt, one at a time, before the answer is sent. May not
    /// call the service.
    std::function<void(const Receipt &)> onReceipt = [](const Receipt &) {};
    test_support::Reach reach = test_support::Reach::loopback;
};

class SupportService {
public:
    /// Where uploads go, by POST. Everything else gets 404.
    static constexpr std::string_view uploadPath = "/cr-apip-7.0.0/mac/log";

    /// Listens on a free port when it returns. Throws std::exception when it cannot.
    explicit SupportService(Options options = {});

    int port() const { return m_listener->port(); }
    /// "localhost:" and the port: a name that the good certificate is valid for.
    std::string host() const { return "localhost:" + std::to_string(port()); }
    /// What a client is to trust (SSL_CERT_FILE).
    std::filesystem::path certificateFile() const { return m_options.folder / "authority.pem"; }

    /// For the requests whose headers arrive from now on; replaces what was set before.
    void setBehaviour(const Behaviour &behaviour) { set(m_behaviour, behaviour); }
    /// For the next `count` requests only; then as before. Further calls queue.
    void setBehaviour(const Behaviour &behaviour, std::size_t count) {
        const std::lock_guard lock(m_mutex);
        m_nextBehaviours.insert(m_nextBehaviours.end(), count, behaviour);
    }
    /// For connections made from now on.
    void setHandshake(Handshake handshake) { set(m_handshake, handshake); }

    /// In the order in which their headers arrived.
    std::vector<ReceivedRequest> requests() const { return get(m_requests); }
    /// In the order in which the uploads ended. An upload's receipt is there before its answer is sent.
    std::vector<Receipt> receipts() const { return get(m_receipts); }
    /// Body bytes read so far, over all requests.
    std::uint64_t bodyBytes() const { return get(m_bodyBytes); }
    /// Connections so far, and those of clients that took it for their proxy: these get a tunnel to itself.
    std::size_t connections() const { return m_listener->connections(); }
    std::size_t tunnels() const { return get(m_tunnels); }

    /// Waits until so many receipts were made, so many body bytes were read. False when `limit` passes first.
    bool waitForReceipts(std::size_t count, std::chrono::milliseconds limit) const {
        return waitFor(limit, [&] { return m_receipts.size() >= count; });
    }
    bool waitForBodyBytes(std::uint64_t count, std::chrono::milliseconds limit) const {
        return waitFor(limit, [&] { return m_bodyBytes >= count; });
    }

private:
    template <typename Value>
    void set(Value &member, const Value &value) {
        const std::lock_guard lock(m_mutex);
        member = value;
    }
    template <typename Value>
    Value get(const Value &member) const {
        const std::lock_guard lock(m_mutex);
        return member;
    }
    template <typename Condition>
    bool waitFor(std::chrono::milliseconds limit, Condition condition) const {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, condition);
    }

    // On the thread of each connection.
    void serve(int socket);
    void openTunnel(int socket);
    bool serveRequest(TlsConnection &connection);
    Behaviour begin(const ReceivedRequest &request, std::size_t &index);
    bool receive(TlsConnection &connection, const Behaviour &how, std::size_t index);
    std::string readBody(TlsConnection &connection, const Behaviour &how, std::uint64_t size);

    const test_support::ScratchFolder m_folder;
    Options m_options;
    const Certificates m_certificates;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    // Guarded by the mutex.
    Handshake m_handshake = Handshake::good;
    Behaviour m_behaviour;
    std::deque<Behaviour> m_nextBehaviours;
    std::vector<ReceivedRequest> m_requests;
    std::vector<Receipt> m_receipts;
    std::uint64_t m_bodyBytes = 0;
    std::size_t m_tunnels = 0;

    // Last, so that its threads end before anything that they use.
    std::optional<test_support::LoopbackListener> m_listener;
};

} // namespace support_service
