// Servers on 127.0.0.1: any, by a function that serves a connection, and a proxy.
//
// Each connection has its thread. They end with their objects, whatever they are doing.
#pragma once

#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace test_support {

class LoopbackListener {
public:
    /// `serve` gets each accepted connection's socket, which is closed when it returns.
    explicit LoopbackListener(std::function<void(int socket)> serve);
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

/// A proxy that makes tunnels to ports of this machine; with another status than 200 it makes none.
class ConnectProxy {
public:
    explicit ConnectProxy(int status = 200)
        : m_status(status) {}

    std::string url() const { return "http://127.0.0.1:" + std::to_string(m_listener.port()); }
    std::size_t connections() const { return m_listener.connections(); }

private:
    void serve(int socket) const;

    const int m_status;
    LoopbackListener m_listener{[this](int socket) { serve(socket); }};
};

} // namespace test_support
