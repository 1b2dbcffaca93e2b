// The command line of the support service program.
#pragma once

#include "SupportService.h"

#include <stdexcept>

namespace support_service {

struct CommandLine {
    Options service;
    Behaviour behaviour;
    /// The behaviour holds for so many requests; 0 for all.
    std::size_t behaviourCount = 0;
    CertificateKind certificate = CertificateKind::good;
    Handshake handshake = Handshake::complete;
    std::filesystem::path readyFile;
    bool help = false;
};

/// What is wrong with a command line, for the user.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

extern const char *const usage;

/// Takes the arguments of `main`. Throws UsageError. Once in a process, on the main thread.
CommandLine parseCommandLine(int count, char **arguments);

} // namespace support_service
