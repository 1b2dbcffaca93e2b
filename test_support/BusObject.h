// An object on a message bus that answers for a service which is not there: in a thread of its own, from the
// construction to the end of this object.
#pragma once

#include "test_support/BusClient.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test_support {

class BusObject {
public:
    /// Puts an answer to `call` on its way and gives true, or leaves the call alone and gives false, which is
    /// an error to the caller. Called in the object's thread.
    using Handler = std::function<bool(sd_bus_message *call)>;

    /// The service has this name, and answers, when it returns.
    BusObject(const std::string &address, const std::string &service, const std::string &path,
              Handler handler);
    ~BusObject();
    BusObject(const BusObject &) = delete;
    BusObject &operator=(const BusObject &) = delete;

    /// Has `work` done with the connection in the object's thread, soon.
    void perform(std::function<void(sd_bus *)> work);

private:
    void serve();
    static int handle(sd_bus_message *message, void *object, sd_bus_error *error);

    BusClient m_bus;
    Handler m_handler;
    std::mutex m_mutex;
    std::vector<std::function<void(sd_bus *)>> m_work;
    std::atomic<bool> m_isEnding = false;
    std::thread m_thread;
};

} // namespace test_support
