// A running program of a sample product, for as long as this object lives.
//
// The process ends with its object, and with the thread that started it should that be gone first. One
// thread at a time.
#pragma once

#include <filesystem>
#include <sys/types.h>

namespace sample_product {

class RunningProduct {
public:
    /// Starts the program, which must be a copy of the sample application; it runs when this returns. Throws
    /// std::runtime_error when it cannot be started.
    explicit RunningProduct(const std::filesystem::path &program);
    /// Stops.
    ~RunningProduct();
    RunningProduct(const RunningProduct &) = delete;
    RunningProduct &operator=(const RunningProduct &) = delete;

    /// 0 once it was stopped.
    pid_t processId() const { return m_processId; }
    bool isRunning();
    /// Asks it to end, and kills it when it has not within two seconds.
    void stop();

private:
    pid_t m_processId = 0;
};

} // namespace sample_product
