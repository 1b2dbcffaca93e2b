// Made-up log text: lines with rising time stamps, the same for the same seed. Or bytes that no archiver
// makes smaller.
//
// A value; one thread at a time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace sample_product {

enum class TextKind {
    /// "2026-02-03T10:11:12.345 INFO  [7] Renderer: ..."
    log,
    /// One JSON object a line.
    json,
    /// Bytes of every value.
    incompressible,
};

class LogText {
public:
    explicit LogText(std::uint64_t seed)
        : m_random(seed) {}

    /// Exactly this many bytes. Text is of whole lines, the last one filled up with blanks.
    std::string make(TextKind kind, std::size_t bytes);

    /// Writes a file of exactly this size, with its folders. Throws std::runtime_error when it cannot.
    void write(const std::filesystem::path &path, TextKind kind, std::uint64_t bytes);

private:
    std::uint64_t next();
    std::uint64_t below(std::uint64_t limit) { return next() % limit; }
    void appendTime(std::string &line);
    void appendLogLine(std::string &text);
    void appendJsonLine(std::string &text);

    std::uint64_t m_random;
    std::uint64_t m_milliseconds = 0;
};

/// Writes a file with its folders, replacing one that is there. Throws std::runtime_error when it cannot.
void writeFile(const std::filesystem::path &path, std::string_view content);

} // namespace sample_product
