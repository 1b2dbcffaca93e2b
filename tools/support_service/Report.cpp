#include "Report.h"

#include "ArchiveListing.h"

#include <algorithm>
#include <iomanip>

namespace support_service {

namespace {

std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
    return text;
}

void printListing(std::ostream &out, const std::filesystem::path &archive) {
    std::string problem;
    const auto entries = listArchive(archive, problem);
    if (!entries) {
        out << "  Listing  none: " << problem << '\n';
        return;
    }
    out << "  Listing  " << entries->size() << " entries\n";
    for (const ArchiveEntry &entry : *entries)
        out << std::setw(12) << entry.sizeBytes << "  " << printable(entry.name)
            << (entry.isLink ? " (link)" : "") << '\n';
}

} // namespace

void printReceipt(std::ostream &out, const Receipt &receipt) {
    out << (receipt.complete ? "Received " : "Received in part ")
        << (receipt.fileName.empty() ? "an upload without a name" : printable(receipt.fileName)) << '\n'
        << "  Log ID   " << (receipt.logId.empty() ? "none" : printable(receipt.logId)) << '\n'
        << "  Size     " << receipt.sizeBytes << " bytes\n"
        << "  SHA-256  " << (receipt.sha256.empty() ? "none" : receipt.sha256) << '\n';
    if (!receipt.problem.empty())
        out << "  Problem  " << receipt.problem << '\n';
    if (!receipt.archive.empty()) {
        out << "  Stored   " << receipt.archive.string() << '\n';
        printListing(out, receipt.archive);
    }
    out.flush();
}

} // namespace support_service
