// Runs the support service until SIGTERM or SIGINT, and prints a receipt for each upload. In the folder that
// its argument names are then the archives, the certificates to trust, and the port.
#include "SupportService.h"
#include "test_support/ArchiveReader.h"

#include <QCryptographicHash>
#include <algorithm>
#include <csignal>
#include <iomanip>
#include <iostream>
#include <sys/stat.h>

using namespace support_service;

namespace {

/// Names come from the client.
std::string withoutControlCharacters(std::string text) {
    std::ranges::replace_if(
        text, [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
    return text;
}

void printListing(const std::filesystem::path &archive) {
    try {
        const auto items = test_support::readArchive(archive);
        std::cout << "  Listing  " << items.size() << " entries\n";
        for (const auto &[name, item] : items)
            std::cout << std::setw(12) << item.content.size() << "  " << withoutControlCharacters(name)
                      << (item.isLink() ? " (link)" : "") << '\n';
    } catch (const std::exception &problem) {
        std::cout << "  Listing  none: " << problem.what() << '\n';
    }
}

void printReceipt(const Receipt &receipt) {
    const std::string name = withoutControlCharacters(receipt.fileName);
    const auto logId = QString::fromStdString(name).section(u'_', 1, 1).toStdString();
    std::cout << (receipt.complete ? "Received " : "Received in part ") << name << "\n  Log ID   " << logId
              << "\n  Size     " << receipt.sizeBytes << " bytes\n";
    if (!receipt.problem.empty())
        std::cout << "  Problem  " << receipt.problem << '\n';
    if (receipt.complete) {
        const auto content = test_support::readFile(receipt.archive);
        std::cout << "  SHA-256  "
                  << QCryptographicHash::hash(content, QCryptographicHash::Sha256).toHex().constData()
                  << "\n  Stored   " << receipt.archive.string() << '\n';
        printListing(receipt.archive);
    }
    std::cout.flush();
}

} // namespace

int main(int count, char **arguments) {
    if (count != 2) {
        std::cerr << "Usage: support_service FOLDER\n";
        return 2;
    }
    // Archives hold a user's data.
    umask(077);
    // Before there are threads, which would take the signals otherwise.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    const std::filesystem::path folder = arguments[1];
    const SupportService service({.folder = folder, .onReceipt = printReceipt});
    std::cout << "Listening on https://" << service.host() << SupportService::uploadPath << "\n"
              << "Trust: SSL_CERT_FILE=" << service.certificateFile().string() << std::endl;
    // Whoever waits for the file finds it whole.
    test_support::writeFile(folder / "port.part", QByteArray::number(service.port()) + '\n');
    std::filesystem::rename(folder / "port.part", folder / "port");
    int received = 0;
    sigwait(&ends, &received);
    return 0;
}
