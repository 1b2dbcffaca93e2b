// File descriptors that close themselves, and what every caller of the system needs: its error, and calls
// that a signal does not cut short.
#pragma once

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace platform {

/// Why the last call to the system failed.
inline std::error_code systemError() {
    return {errno, std::generic_category()};
}

/// Makes a call to the system, as `[&] { return ::read(...); }`, until no signal interrupts it.
template <typename Call>
auto uninterrupted(Call call) {
    for (;;) {
        if (const auto result = call(); result >= 0 || errno != EINTR)
            return result;
    }
}

/// Owns an open descriptor, or none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor)
        : m_descriptor(descriptor) {}
    FileDescriptor(FileDescriptor &&other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~FileDescriptor() {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }

    explicit operator bool() const { return m_descriptor >= 0; }
    int get() const { return m_descriptor; }
    /// Gives up the descriptor: the caller closes it, or leaves that to the end of the process.
    int release() { return std::exchange(m_descriptor, -1); }

private:
    int m_descriptor = -1;
};

} // namespace platform
