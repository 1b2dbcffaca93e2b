// A running program of a sample product. It ends with its object, or with the thread that started it.
//
// One thread at a time.
#pragma once

#include "test_support/ProgramRun.h"

#include <stdexcept>

namespace sample_product {

class RunningProduct {
public:
    /// Starts the program; it runs when this returns. Throws std::runtime_error when it cannot be started.
    explicit RunningProduct(const std::filesystem::path &program) {
        m_run.emplace(test_support::ProgramOptions{.program = program});
        const auto runsTheProgram = [&] {
            std::error_code error;
            return equivalent("/proc/" + std::to_string(processId()) + "/exe", program, error);
        };
        test_support::waitUntil([&] { return runsTheProgram() || !isRunning(); });
        if (!runsTheProgram())
            throw std::runtime_error("Cannot start " + program.native());
    }

    pid_t processId() const { return m_run->processId(); }
    bool isRunning() { return m_run && m_run->isRunning(); }
    void stop() { m_run.reset(); }

private:
    std::optional<test_support::ProgramRun> m_run;
};

} // namespace sample_product
