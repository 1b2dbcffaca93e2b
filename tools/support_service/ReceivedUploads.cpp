#include "ReceivedUploads.h"

#include "Sha256.h"
#include "UploadBody.h"

#include <algorithm>
#include <fstream>
#include <strings.h>

namespace support_service {

namespace {

/// A name from outside as a name on disk: what could lead out of the folder, or hide, is replaced.
std::string storedName(std::size_t index, std::string name) {
    const auto isPlain = [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '.' || c == '_' || c == '-';
    };
    std::replace_if(
        name.begin(), name.end(), [&](char c) { return !isPlain(static_cast<unsigned char>(c)); }, '_');
    return std::to_string(index + 1) + "-" + name.substr(0, 200);
}

} // namespace

std::string ReceivedRequest::header(std::string_view name) const {
    for (const auto &[key, value] : headers) {
        if (key.size() == name.size() && strncasecmp(key.data(), name.data(), name.size()) == 0)
            return value;
    }
    return {};
}

ReceivedUploads::ReceivedUploads(std::filesystem::path store, bool keepBodies,
                                 std::function<void(const Receipt &)> onReceipt)
    : m_store(std::move(store))
    , m_keepBodies(keepBodies)
    , m_onReceipt(std::move(onReceipt)) {}

std::size_t ReceivedUploads::begin(ReceivedRequest request) {
    const std::lock_guard lock(m_mutex);
    m_requests.push_back(std::move(request));
    m_changed.notify_all();
    return m_requests.size() - 1;
}

void ReceivedUploads::addBodyBytes(std::size_t count) {
    const std::lock_guard lock(m_mutex);
    m_bodyBytes += count;
    m_changed.notify_all();
}

void ReceivedUploads::end(std::size_t index, std::string body, bool arrivedWhole) {
    const std::lock_guard lock(m_mutex);
    ReceivedRequest &request = m_requests.at(index);
    request.finished = true;
    request.arrivedWhole = arrivedWhole;
    if (m_keepBodies)
        request.body = std::make_shared<const std::string>(std::move(body));
    m_changed.notify_all();
}

void ReceivedUploads::endUpload(std::size_t index, std::string body, bool arrivedWhole) {
    Receipt receipt;
    if (const auto upload = parseUploadBody(request(index).header("Content-Type"), body, receipt.problem)) {
        receipt.fileName = upload->fileName;
        receipt.logId = logIdFromFileName(upload->fileName);
        receipt.sizeBytes = upload->content.size();
        receipt.sha256 = sha256Hex(upload->content);
        receipt.complete = upload->complete && arrivedWhole;
        if (receipt.complete)
            store(receipt, upload->content, index);
        else
            receipt.problem = "the body broke off before its closing boundary";
    }
    end(index, std::move(body), arrivedWhole);

    if (m_onReceipt) {
        const std::lock_guard reporting(m_reporting);
        m_onReceipt(receipt);
    }
    const std::lock_guard lock(m_mutex);
    m_receipts.push_back(std::move(receipt));
    m_changed.notify_all();
}

void ReceivedUploads::store(Receipt &receipt, std::string_view content, std::size_t index) const {
    const auto path = m_store / storedName(index, receipt.fileName);
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (file)
        receipt.archive = path;
    else
        receipt.problem = "the archive could not be stored";
}

ReceivedRequest ReceivedUploads::request(std::size_t index) const {
    const std::lock_guard lock(m_mutex);
    return m_requests.at(index);
}

std::vector<ReceivedRequest> ReceivedUploads::requests() const {
    const std::lock_guard lock(m_mutex);
    return m_requests;
}

std::vector<Receipt> ReceivedUploads::receipts() const {
    const std::lock_guard lock(m_mutex);
    return m_receipts;
}

std::uint64_t ReceivedUploads::bodyBytes() const {
    const std::lock_guard lock(m_mutex);
    return m_bodyBytes;
}

template <typename Condition>
bool ReceivedUploads::waitFor(std::chrono::milliseconds limit, Condition condition) const {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, limit, condition);
}

bool ReceivedUploads::waitForRequests(std::size_t count, std::chrono::milliseconds limit) const {
    return waitFor(limit, [&] { return m_requests.size() >= count; });
}

bool ReceivedUploads::waitForReceipts(std::size_t count, std::chrono::milliseconds limit) const {
    return waitFor(limit, [&] { return m_receipts.size() >= count; });
}

bool ReceivedUploads::waitForBodyBytes(std::uint64_t count, std::chrono::milliseconds limit) const {
    return waitFor(limit, [&] { return m_bodyBytes >= count; });
}

} // namespace support_service
