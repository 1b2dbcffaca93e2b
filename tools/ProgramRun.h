// A program that a test runs: its exit status and what it printed. It ends with its object.
//
// One thread at a time.
#pragma once

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace tools {

class ProgramRun {
public:
    /// Starts it; standard output and standard error go to files in `folder`.
    ProgramRun(std::vector<std::string> command, const std::filesystem::path &folder)
        : m_output(folder / "output")
        , m_errors(folder / "errors") {
        std::vector<char *> arguments;
        arguments.reserve(command.size() + 1);
        for (std::string &argument : command)
            arguments.push_back(argument.data());
        arguments.push_back(nullptr);
        constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC;
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, m_output.c_str(), flags, 0600);
        posix_spawn_file_actions_addopen(&files, STDERR_FILENO, m_errors.c_str(), flags, 0600);
        const int error = posix_spawn(&m_process, arguments[0], &files, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&files);
        if (error != 0)
            throw std::runtime_error("Cannot start " + command.at(0));
    }
    ~ProgramRun() {
        if (m_process == 0)
            return;
        // Asked first, so that it can tidy up after itself.
        kill(m_process, SIGTERM);
        wait();
        if (m_process == 0)
            return;
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    ProgramRun(const ProgramRun &) = delete;
    ProgramRun &operator=(const ProgramRun &) = delete;

    void signal(int number) const { kill(m_process, number); }
    /// The exit status; -1 when it was killed, or has not ended in ten seconds.
    int wait() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        int status = 0;
        while (waitpid(m_process, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline)
                return -1;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string output() const { return read(m_output); }
    std::string errors() const { return read(m_errors); }
    /// Waits, ten seconds at most, until it has printed this.
    bool waitForOutput(const std::string &text) const {
        for (int i = 0; i < 2000; ++i) {
            if (output().find(text) != std::string::npos)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }

private:
    static std::string read(const std::filesystem::path &path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path m_output;
    std::filesystem::path m_errors;
    pid_t m_process = 0;
};

/// A folder that goes with its object.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "tools-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("Cannot make a scratch folder");
        path = name;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    ScratchFolder(const ScratchFolder &) = delete;
    ScratchFolder &operator=(const ScratchFolder &) = delete;

    std::filesystem::path path;
};

} // namespace tools
