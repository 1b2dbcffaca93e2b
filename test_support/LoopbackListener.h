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

    int port() const { return m_port; }
    std::size_t connections() const;

private:
    void listen();

    std::function<void(int)> m_serve;
    int m_socket = -1;
    int m_port = 0;
    mutable std::mutex m_mutex;
    bool m_stopped = false;
    std::set<int> m_open;
    std::size_t m_connections = 0;
    std::vector<std::thread> m_threads;
    std::thread m_listener;
};

/// A proxy that makes tunnels to ports of this machine.
class ConnectProxy {
public:
    /// With another status than 200 it makes none.
    explicit ConnectProxy(int status = 200);

    /// "http://127.0.0.1:" and the port.
    std::string url() const;
    /// The first line of each request.
    std::vector<std::string> requests() const;

private:
    void serve(int socket);

    const int m_status;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_requests;
    LoopbackListener m_listener;
};

/// A port of 127.0.0.1 on which nothing listens.
int closedPort();

} // namespace test_support
