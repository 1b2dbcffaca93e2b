#include "RunningProduct.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace sample_product {

RunningProduct::RunningProduct(const std::filesystem::path &program) {
    std::string path = program.string();
    std::string option = "--exit-with-parent";
    std::string parent = std::to_string(getpid());
    const std::array<char *, 4> arguments = {path.data(), option.data(), parent.data(), nullptr};

    // The signals that this process blocks or ignores are none of the child's business.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int error =
        posix_spawn(&m_processId, path.c_str(), nullptr, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0)
        throw std::runtime_error("Cannot start " + path + ": " + std::strerror(error));
}

RunningProduct::~RunningProduct() {
    stop();
}

bool RunningProduct::isRunning() {
    if (m_processId != 0 && waitpid(m_processId, nullptr, WNOHANG) == m_processId)
        m_processId = 0;
    return m_processId != 0;
}

void RunningProduct::stop() {
    if (!isRunning())
        return;
    kill(m_processId, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (isRunning() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    if (m_processId != 0) {
        kill(m_processId, SIGKILL);
        waitpid(m_processId, nullptr, 0);
        m_processId = 0;
    }
}

} // namespace sample_product
