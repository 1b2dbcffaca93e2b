// What the report could not be told: each file or folder that was not read, with the reason.
//
// Filled by one thread.
#pragma once

#include <QString>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>

namespace system_profiler {

class NotRead {
public:
    /// More are counted but not kept, so that a folder full of rubbish does not drown the report.
    static constexpr std::size_t limit = 1000;

    /// Notes a path once: what is said of it first stays.
    void add(const std::filesystem::path &path, const QString &reason);
    void add(const std::filesystem::path &path, const std::error_code &error);

    /// The reasons by path, in the order of the paths' bytes.
    const std::map<std::string, QString> &reasons() const { return m_reasons; }
    /// How often a further path was left out.
    std::size_t furtherCount() const { return m_furtherCount; }

private:
    std::map<std::string, QString> m_reasons;
    std::size_t m_furtherCount = 0;
};

} // namespace system_profiler
