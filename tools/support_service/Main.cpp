// Runs the support service until SIGTERM or SIGINT.
#include "CommandLine.h"
#include "Report.h"

#include <csignal>
#include <fstream>
#include <iostream>
#include <sys/stat.h>

using namespace support_service;

namespace {

/// Whoever waits for the file finds it whole.
void writeReadyFile(const std::filesystem::path &path, int port) {
    auto beside = path;
    beside += ".part";
    std::ofstream file(beside, std::ios::trunc);
    file << port << '\n';
    file.close();
    if (!file)
        throw std::runtime_error("Cannot write " + beside.string());
    std::filesystem::rename(beside, path);
}

int run(const CommandLine &line) {
    if (line.help) {
        std::cout << usage;
        return 0;
    }
    // Archives hold a user's data.
    umask(077);
    // Before there are threads, which would take the signals otherwise.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, nullptr);

    Options options = line.service;
    options.keepBodies = false;
    options.onReceipt = [](const Receipt &receipt) { printReceipt(std::cout, receipt); };
    SupportService service(options);
    if (line.behaviourCount > 0)
        service.setBehaviour(line.behaviour, line.behaviourCount);
    else
        service.setBehaviour(line.behaviour);
    service.setCertificate(line.certificate);
    service.setHandshake(line.handshake);

    std::cout << "Listening on https://" << service.host() << SupportService::uploadPath << "\n"
              << "Trust: SSL_CERT_FILE=" << service.certificateFile().string() << std::endl;
    if (!line.readyFile.empty())
        writeReadyFile(line.readyFile, service.port());

    int received = 0;
    sigwait(&ends, &received);
    return 0;
}

} // namespace

int main(int count, char **arguments) {
    try {
        return run(parseCommandLine(count, arguments));
    } catch (const UsageError &error) {
        std::cerr << "support_service: " << error.what() << " (see --help)\n";
        return 2;
    } catch (const std::exception &error) {
        std::cerr << "support_service: " << error.what() << '\n';
        return 1;
    }
}
