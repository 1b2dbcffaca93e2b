// The support side as docs/support-endpoint.md has it: the real nginx with the documented configuration and
// handler, in a folder and at a port of the test's own.
#pragma once

#include "test_support/ProgramRun.h"
#include "test_support/ScratchHome.h"

#include <optional>
#include <string>

namespace test_support {

class SupportEndpoint {
public:
    /// Listens when it returns; requests larger than `limit`, as nginx writes it, are refused. Throws
    /// std::runtime_error with what was printed when nginx or the handler does not start.
    explicit SupportEndpoint(const std::string &limit = "101m");
    ~SupportEndpoint();
    SupportEndpoint(const SupportEndpoint &) = delete;
    SupportEndpoint &operator=(const SupportEndpoint &) = delete;

    std::string host() const { return "localhost:" + std::to_string(m_port); }
    /// What a client is to trust.
    std::filesystem::path certificateFile() const { return m_folder.path() / "certificate.pem"; }
    /// Where requests wait, and where archives are stored under their Log ID.
    std::filesystem::path incoming() const { return m_folder.path() / "incoming"; }
    std::filesystem::path archives() const { return m_folder.path() / "archives"; }
    /// nginx writes a line for each request.
    std::filesystem::path log() const { return m_folder.path() / "lumadoc-uploads.log"; }

private:
    void makeCertificate() const;
    void writeConfiguration(const std::string &limit) const;

    const ScratchFolder m_folder;
    const int m_port;
    std::optional<ProgramRun> m_handler;
    std::optional<ProgramRun> m_nginx;
};

} // namespace test_support
