#include "test_support/SupportEndpoint.h"

#include "test_support/LoopbackListener.h"

#include <stdexcept>
#include <unistd.h>

namespace test_support {

namespace {

void replace(QByteArray &text, const std::string &what, const std::string &by) {
    if (!text.contains(what.c_str()))
        throw std::runtime_error("the configuration has no \"" + what + "\"");
    text.replace(what.c_str(), by.c_str());
}

} // namespace

SupportEndpoint::SupportEndpoint(const std::string &limit)
    // Whoever wants to be sure that nobody takes the port meanwhile has a network of its own.
    : m_port(LoopbackListener([](int) {}).port()) {
    for (const auto &folder : {incoming(), archives()})
        std::filesystem::create_directory(folder);
    makeCertificate();
    writeConfiguration(limit);
    m_handler.emplace(ProgramOptions{.program = SUPPORT_ENDPOINT "/archive_handler.py",
                                     .arguments = {m_folder.path() / "handler.sock", archives()}});
    m_handler->waitForFirstLine();
    m_nginx.emplace(ProgramOptions{
        .program = "/usr/sbin/nginx",
        .arguments = {"-e", m_folder.path() / "error.log", "-c", m_folder.path() / "nginx.conf"}});
    // Written when it listens.
    const auto hasStarted = [&] { return !readFile(m_folder.path() / "nginx.pid").isEmpty(); };
    if (!waitUntil([&] { return hasStarted() || !m_nginx->isRunning(); }) || !hasStarted())
        throw std::runtime_error("nginx did not start: " + m_nginx->standardError());
}

SupportEndpoint::~SupportEndpoint() {
    // It ends its workers, which do not notice when it is killed.
    m_nginx->send(SIGTERM);
    m_nginx->waitForEnd();
}

void SupportEndpoint::makeCertificate() const {
    ProgramRun openssl(
        {.program = "/usr/bin/openssl",
         .arguments = {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
                       "-days", "2", "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost",
                       "-keyout", m_folder.path() / "key.pem", "-out", certificateFile()}});
    if (openssl.waitForEnd() != exited(0))
        throw std::runtime_error("no certificate: " + openssl.standardError());
}

void SupportEndpoint::writeConfiguration(const std::string &limit) const {
    const std::string folder = m_folder.path().native() + '/';
    QByteArray site = readFile(SUPPORT_ENDPOINT "/lumadoc-uploads.nginx");
    for (const char *place :
         {"/etc/lumadoc-uploads/", "/var/log/nginx/", "/var/lib/lumadoc-uploads/", "/run/lumadoc-uploads/"})
        replace(site, place, folder);
    replace(site, "listen 443 ssl", "listen 127.0.0.1:" + std::to_string(m_port) + " ssl");
    replace(site, "client_max_body_size 101m", "client_max_body_size " + limit);
    writeFile(folder + "site", site);
    // What the system's configuration has around a site. Root's workers would be another user's, and the
    // places for what is never used here would be the system's.
    std::string main = ::geteuid() == 0 ? "user root;\n" : "";
    main += "daemon off;\nworker_processes auto;\npid " + folder +
            "nginx.pid;\nevents { worker_connections 768; }\nhttp {\n";
    for (const char *kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
        main += std::string(kind) + "_temp_path " + folder + "unused;\n";
    main += "include " + folder + "site;\n}\n";
    writeFile(folder + "nginx.conf", QByteArray::fromStdString(main));
}

} // namespace test_support
