// Runs the support service until SIGTERM or SIGINT, and prints a receipt for each upload.
#include "SupportService.h"
#include "test_support/ArchiveReader.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <algorithm>
#include <csignal>
#include <iomanip>
#include <iostream>
#include <sys/stat.h>

using namespace support_service;

namespace {

/// Names come from the client.
std::string withoutControlCharacters(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
    return text;
}

void printListing(const std::filesystem::path &archive) {
    try {
        const auto items = test_support::listArchive(archive);
        std::cout << "  Listing  " << items.size() << " entries\n";
        for (const auto &[name, item] : items)
            std::cout << std::setw(12) << item.content.size() << "  " << withoutControlCharacters(name)
                      << (item.isLink() ? " (link)" : "") << '\n';
    } catch (const std::exception &problem) {
        std::cout << "  Listing  none: " << problem.what() << '\n';
    }
}

void printReceipt(const Receipt &receipt) {
    const auto named = [](const std::string &text, const char *none) {
        return text.empty() ? none : withoutControlCharacters(text);
    };
    std::cout << (receipt.complete ? "Received " : "Received in part ")
              << named(receipt.fileName, "an upload without a name") << "\n  Log ID   "
              << named(receipt.logId, "none") << "\n  Size     " << receipt.sizeBytes << " bytes\n"
              << "  SHA-256  " << named(receipt.sha256, "none") << '\n';
    if (!receipt.problem.empty())
        std::cout << "  Problem  " << receipt.problem << '\n';
    if (!receipt.archive.empty()) {
        std::cout << "  Stored   " << receipt.archive.string() << '\n';
        printListing(receipt.archive);
    }
    std::cout.flush();
}

/// Whoever waits for the file finds it whole.
void writeReadyFile(const std::filesystem::path &path, int port) {
    auto beside = path;
    beside += ".part";
    test_support::writeFile(beside, QByteArray::number(port) + '\n');
    std::filesystem::rename(beside, path);
}

sigset_t endSignals() {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    return ends;
}

int run(const QStringList &arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Receives uploads over HTTPS on 127.0.0.1, keeps them and prints a receipt for each."));
    parser.addHelpOption();
    const auto option = [&](const char *name, const char *value, const char *description) {
        parser.addOption({QLatin1String(name), QLatin1String(description), QLatin1String(value)});
        return [&parser, name] { return parser.value(QLatin1String(name)).toStdString(); };
    };
    const auto store = option("store", "folder", "Where archives are kept (a temporary folder).");
    const auto certificateFile =
        option("certificate-file", "path", "Where the certificate to trust is written (a temporary file).");
    const auto readyFile = option("ready-file", "path", "Written with the port as soon as it listens.");
    const auto status = option("status", "number", "Answers with this status (200).");
    parser.process(arguments);

    SupportService service({.store = store(),
                            .certificateFile = certificateFile(),
                            .keepBodies = false,
                            .onReceipt = printReceipt});
    Behaviour behaviour;
    behaviour.status = status().empty() ? behaviour.status : std::stoi(status());
    service.setBehaviour(behaviour);
    std::cout << "Listening on https://" << service.host() << SupportService::uploadPath << "\n"
              << "Trust: SSL_CERT_FILE=" << service.certificateFile().string() << std::endl;
    if (!readyFile().empty())
        writeReadyFile(readyFile(), service.port());

    const sigset_t ends = endSignals();
    int received = 0;
    sigwait(&ends, &received);
    return 0;
}

} // namespace

int main(int count, char **arguments) {
    // Archives hold a user's data.
    umask(077);
    // Before there are threads, which would take the signals otherwise.
    const sigset_t ends = endSignals();
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    const QCoreApplication application(count, arguments);
    try {
        return run(QCoreApplication::arguments());
    } catch (const std::exception &error) {
        std::cerr << "support_service: " << error.what() << '\n';
        return 1;
    }
}
