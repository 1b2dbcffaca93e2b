#include "LogText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <stdexcept>

namespace sample_product {

namespace {

/// What programs say: level, thread and component belong to the place in the code that says it.
constexpr std::array<std::string_view, 16> messages = {
    " INFO  [3] Renderer: page rendered, milliseconds: ",
    " DEBUG [3] Renderer: tile taken from the cache, age in milliseconds: ",
    " INFO  [1] DocumentStore: document opened, pages: ",
    " DEBUG [1] DocumentStore: object read at offset ",
    " INFO  [5] Network: request finished with status 200, bytes: ",
    " WARN  [5] Network: no answer within the time-out, attempt ",
    " DEBUG [5] Network: connection reused, idle milliseconds: ",
    " INFO  [2] Licensing: licence checked, days left: ",
    " INFO  [4] Updater: no update available for build ",
    " ERROR [4] Updater: the update list could not be read, line ",
    " DEBUG [1] Annotations: layer rebuilt, items: ",
    " INFO  [1] Annotations: note added on page ",
    " WARN  [3] FontCache: font substituted in object ",
    " DEBUG [3] FontCache: entry dropped, age in seconds: ",
    " INFO  [6] Printing: job queued, sheets: ",
    " DEBUG [6] Printing: band sent, bytes: ",
};
constexpr std::array<std::string_view, 8> components = {"Renderer", "DocumentStore", "Network",   "Licensing",
                                                        "Updater",  "Annotations",   "FontCache", "Printing"};

void appendNumber(std::string &text, std::uint64_t number) {
    std::array<char, 20> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text.append(digits.data(), end);
}

void appendPadded(std::string &text, std::uint64_t number, int width) {
    for (std::uint64_t unit = 10; width > 1; --width, unit *= 10) {
        if (number < unit)
            text += '0';
    }
    appendNumber(text, number);
}

} // namespace

std::uint64_t LogText::next() {
    // SplitMix64: small, fast, and the same everywhere.
    std::uint64_t mixed = m_random += 0x9e3779b97f4a7c15U;
    mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebU;
    return mixed ^ (mixed >> 31);
}

void LogText::appendTime(std::string &line) {
    m_milliseconds += below(40);
    const std::uint64_t seconds = m_milliseconds / 1000;
    line += "2026-02-";
    appendPadded(line, 1 + seconds / 86400 % 28, 2);
    line += 'T';
    appendPadded(line, seconds / 3600 % 24, 2);
    line += ':';
    appendPadded(line, seconds / 60 % 60, 2);
    line += ':';
    appendPadded(line, seconds % 60, 2);
    line += '.';
    appendPadded(line, m_milliseconds % 1000, 3);
}

void LogText::appendLogLine(std::string &text) {
    const std::uint64_t random = next();
    appendTime(text);
    // Some messages come far more often than others.
    const std::uint64_t kind = (random & 15) * (random >> 4 & 15) / 15;
    text += messages[kind];
    appendNumber(text, (random >> 40) % 2000);
    text += '\n';
}

void LogText::appendJsonLine(std::string &text) {
    const std::uint64_t random = next();
    text += R"({"time": ")";
    appendTime(text);
    text += R"(", "component": ")";
    text += components[random & 7];
    text += R"(", "value": )";
    appendNumber(text, (random >> 8) % 100'000);
    text += "}\n";
}

std::string LogText::make(TextKind kind, std::size_t bytes) {
    std::string text;
    constexpr std::size_t longestLine = 160;
    text.reserve(bytes + longestLine);
    if (kind == TextKind::incompressible) {
        while (text.size() < bytes) {
            const std::uint64_t random = next();
            text.append(reinterpret_cast<const char *>(&random), sizeof random);
        }
        text.resize(bytes);
        return text;
    }

    std::size_t lastWhole = 0;
    while (text.size() <= bytes) {
        lastWhole = text.size();
        if (kind == TextKind::log)
            appendLogLine(text);
        else
            appendJsonLine(text);
    }
    text.resize(lastWhole);
    text.resize(bytes, ' ');
    if (bytes > 0 && lastWhole < bytes)
        text.back() = '\n';
    return text;
}

void LogText::write(const std::filesystem::path &path, TextKind kind, std::uint64_t bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    constexpr std::uint64_t pieceBytes = 1 << 20;
    for (std::uint64_t rest = bytes; rest > 0 && file;) {
        const std::uint64_t size = std::min(rest, pieceBytes);
        const std::string piece = make(kind, size);
        file.write(piece.data(), static_cast<std::streamsize>(piece.size()));
        rest -= size;
    }
    file.close();
    if (!file)
        throw std::runtime_error("Cannot write " + path.string());
}

void writeFile(const std::filesystem::path &path, std::string_view content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    file.close();
    if (!file)
        throw std::runtime_error("Cannot write " + path.string());
}

} // namespace sample_product
