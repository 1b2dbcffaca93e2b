#include "test_support/BusObject.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace test_support {

BusObject::BusObject(const std::string &address, const std::string &service, const std::string &path,
                     Handler handler)
    : m_bus(address)
    , m_handler(std::move(handler)) {
    sd_bus *bus = m_bus.get();
    if (sd_bus_add_object(bus, nullptr, path.c_str(), &BusObject::handle, this) < 0 ||
        sd_bus_request_name(bus, service.c_str(), 0) < 0) {
        std::fprintf(stderr, "%s cannot be put on the bus\n", service.c_str());
        std::abort();
    }
    m_thread = std::thread([this] { serve(); });
}

BusObject::~BusObject() {
    m_isEnding = true;
    m_thread.join();
}

void BusObject::perform(std::function<void(sd_bus *)> work) {
    const std::lock_guard lock(m_mutex);
    m_work.push_back(std::move(work));
}

void BusObject::serve() {
    constexpr std::chrono::microseconds pause = std::chrono::milliseconds(10);
    while (!m_isEnding) {
        std::vector<std::function<void(sd_bus *)>> work;
        {
            const std::lock_guard lock(m_mutex);
            work.swap(m_work);
        }
        for (const auto &step : work)
            step(m_bus.get());
        const int progress = sd_bus_process(m_bus.get(), nullptr);
        if (progress < 0)
            return;
        if (progress == 0)
            sd_bus_wait(m_bus.get(), static_cast<std::uint64_t>(pause.count()));
    }
}

int BusObject::handle(sd_bus_message *message, void *object, sd_bus_error *) {
    return static_cast<BusObject *>(object)->m_handler(message) ? 1 : 0;
}

} // namespace test_support
