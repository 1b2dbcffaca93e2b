// What the support service has received so far, and the folder where it keeps archives.
//
// Any thread may call any operation.
#pragma once

#include "SupportService.h"

#include <condition_variable>
#include <mutex>

namespace support_service {

class ReceivedUploads {
public:
    ReceivedUploads(std::filesystem::path store, bool keepBodies,
                    std::function<void(const Receipt &)> onReceipt);

    /// Notes a request and gives its number.
    std::size_t begin(ReceivedRequest request);
    void addBodyBytes(std::size_t count);
    /// Notes the end of the request's body. `arrivedWhole` tells whether all of it came.
    void end(std::size_t index, std::string body, bool arrivedWhole);
    /// The same for an upload: makes its receipt and stores its archive.
    void endUpload(std::size_t index, std::string body, bool arrivedWhole);

    ReceivedRequest request(std::size_t index) const;
    std::vector<ReceivedRequest> requests() const;
    std::vector<Receipt> receipts() const;
    std::uint64_t bodyBytes() const;

    bool waitForRequests(std::size_t count, std::chrono::milliseconds limit) const;
    bool waitForReceipts(std::size_t count, std::chrono::milliseconds limit) const;
    bool waitForBodyBytes(std::uint64_t count, std::chrono::milliseconds limit) const;

private:
    template <typename Condition>
    bool waitFor(std::chrono::milliseconds limit, Condition condition) const;
    void store(Receipt &receipt, std::string_view content, std::size_t index) const;

    const std::filesystem::path m_store;
    const bool m_keepBodies;
    const std::function<void(const Receipt &)> m_onReceipt;
    std::mutex m_reporting;

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    std::vector<ReceivedRequest> m_requests;
    std::vector<Receipt> m_receipts;
    std::uint64_t m_bodyBytes = 0;
};

} // namespace support_service
