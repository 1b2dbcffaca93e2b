// A server on 127.0.0.1, or in a network of a test's own, by a function that serves a connection.
//
// Each connection has its thread. All end with their object, whatever they are doing.
#pragma once

#include <functional>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace test_support {

/// Who reaches a server: this machine, or whoever its network leads to, by buffers as large as the system's.
enum class Reach { loopback, network };

class LoopbackListener {
public:
    /// `serve` gets each accepted connection's socket, which is closed when it returns.
    explicit LoopbackListener(std::function<void(int socket)> serve, Reach reach = Reach::loopback);
    ~LoopbackListener();
    LoopbackListener(const LoopbackListener &) = delete;
    LoopbackListener &operator=(const LoopbackListener &) = delete;

    int port() const;
    std::size_t connections() const;

private:
    void listen();
    void serve(int socket);

    std::function<void(int)> m_serve;
    int m_socket = -1;
    mutable std::mutex m_mutex;
    std::set<int> m_open;
    std::vector<std::thread> m_threads;
    std::thread m_listener;
};

} // namespace test_support
