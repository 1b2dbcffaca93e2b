#include "RunningProduct.h"

#include <stdexcept>

namespace sample_product {

namespace fs = std::filesystem;

RunningProduct::RunningProduct(const fs::path &program)
    : m_run(test_support::ProgramOptions{.program = program}) {
    const fs::path link = "/proc/" + std::to_string(processId()) + "/exe";
    const auto runsTheProgram = [&] {
        std::error_code error;
        return fs::equivalent(link, program, error);
    };
    test_support::waitUntil([&] { return runsTheProgram() || !isRunning(); });
    if (!runsTheProgram())
        throw std::runtime_error("Cannot start " + program.native());
}

} // namespace sample_product
