#include "SampleProduct.h"

#include "LogText.h"
#include "ProductBundle.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <numeric>
#include <vector>

namespace sample_product {

namespace {

/// A file of the product's log folder. Logs dominate; some files are of kinds that nobody wants to have.
std::filesystem::path logFileName(std::size_t index) {
    constexpr std::array<const char *, 3> folders = {"", "services", "services/session 1"};
    constexpr std::array<const char *, 7> names = {"Lumadoc-",  "network-", "startup-", "state-",
                                                   "renderer-", "cache-",   "CHANGES-"};
    constexpr std::array<const char *, 7> extensions = {".log", ".txt", ".log", ".json", ".log", ".bin", ""};
    const std::size_t kind = index % names.size();
    return std::filesystem::path(folders[index % folders.size()]) /
           (names[kind] + std::to_string(index + 1) + extensions[kind]);
}

/// Parts of a total, of very different sizes, that add up to it.
std::vector<std::uint64_t> split(std::uint64_t total, std::size_t parts) {
    std::vector<std::uint64_t> sizes;
    std::uint64_t weights = 0;
    for (std::size_t i = 0; i < parts; ++i)
        weights += 1 + i * 5 % 13;
    for (std::size_t i = 0; i < parts; ++i)
        sizes.push_back(total / weights * (1 + i * 5 % 13));
    if (!sizes.empty())
        sizes.back() += total - std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{0});
    return sizes;
}

void writeLogs(LogText &text, const std::filesystem::path &folder, const SampleProductOptions &options) {
    std::filesystem::create_directories(folder);
    const auto sizes = split(options.logBytes, std::max<std::size_t>(1, options.logFiles));
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        const auto name = logFileName(i);
        TextKind kind = name.extension() == ".json" ? TextKind::json : TextKind::log;
        if (options.incompressible)
            kind = TextKind::incompressible;
        text.write(folder / name, kind, sizes[i]);
    }
}

/// "2026-02-03-101112", so many minutes earlier.
std::string reportTime(std::size_t minutesEarlier) {
    using namespace std::chrono;
    const sys_seconds time = sys_days(2026y / February / 3) + 10h + 11min + 12s - minutes(minutesEarlier);
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u-%02ld%02ld%02ld", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  clock.hours().count(), clock.minutes().count(), clock.seconds().count());
    return text.data();
}

void writeCrashReports(LogText &text, const SampleProduct &product, const SampleProductOptions &options) {
    // Oldest first, as a machine makes them: whoever sorts by creation date gets them by name.
    for (std::size_t i = options.crashReports; i-- > 0;)
        text.write(product.crashReports / ("Lumacef_" + reportTime(7 * i) + "_host.ips"), TextKind::json,
                   options.crashReportBytes);
    text.write(product.crashReports / ("TextTool_" + reportTime(3) + "_host.ips"), TextKind::json, 5000);
    text.write(product.crashReports / ("lumace_" + reportTime(4) + "_host.ips"), TextKind::json, 4000);
    text.write(product.crashReports / "Summary.txt", TextKind::log, 300);
}

void writeOtherLogs(LogText &text, const SampleProduct &product, const SampleProductOptions &options) {
    const auto logs = product.library / "Logs";
    const auto messageSizes = split(options.messageBytes, 3);
    text.write(product.messages / "messages-1.log", TextKind::log, messageSizes[0]);
    text.write(product.messages / "messages-2.log", TextKind::log, messageSizes[1]);
    text.write(product.messages / "campaigns/shown.json", TextKind::json, messageSizes[2]);

    text.write(logs / "lumaKWDLog.txt", TextKind::log, 6000);
    text.write(logs / "distKWDLog.txt", TextKind::log, 3000);
    text.write(logs / "KWD/kwd-1.log", TextKind::log, 8000);
    text.write(logs / "KWD/older/kwd-0.log", TextKind::log, 2000);
    text.write(logs / "lumacef_low/low.log", TextKind::log, 2500);
    text.write(logs / "Brennic/Lumadoc Update Helper QZ.log", TextKind::log, 4000);
    text.write(logs / "Brennic/Lumadoc Updater QZ.log", TextKind::log, 5000);
}

SampleProduct describe(const std::filesystem::path &home, const SampleProductOptions &options) {
    const bool lumadoc = options.edition == Edition::lumadoc;
    SampleProduct product;
    product.bundleIdentifier = lumadoc ? "com.brennic.LumadocPE" : "com.brennic.Pelx";
    product.editionName = lumadoc ? "Lumadoc" : "Pellix";
    product.track = trackOfVersion(options.version);
    product.bundle =
        options.bundle.empty() ? home / "Applications" / (product.editionName + ".app") : options.bundle;
    product.executable = product.bundle / "Contents/Linux" / product.editionName;
    product.helper = product.bundle / "Contents/Helpers" / (product.editionName + "Helper");
    if (options.desktopEntry)
        product.desktopEntry = home / ".local/share/applications" / (product.bundleIdentifier + ".desktop");

    product.library = home / ".local/share/Library";
    const auto support = product.library / "Application Support/Brennic/Lumadoc" / product.track;
    product.logs = support / product.editionName / "LumaLog";
    product.messages = support / (lumadoc ? "Trellis-ProMessages" : "PellixMessages");
    product.crashReports = product.library / "Logs/DiagnosticReports";
    product.preferences = product.library / "Preferences" / (product.bundleIdentifier + ".plist");
    product.crashReporterPreferences = product.library / "Preferences/com.brennic.crashreporter.plist";
    return product;
}

} // namespace

std::string trackOfVersion(const std::string &version) {
    const std::string last = version.substr(version.rfind('.') + 1);
    if (last.starts_with('1'))
        return "Beta";
    return last.starts_with('2') ? "QZ" : "Trunk";
}

SampleProduct makeSampleBundle(const std::filesystem::path &home, const SampleProductOptions &options) {
    SampleProduct product = describe(home, options);
    writeBundle(product, options.version);
    if (options.desktopEntry)
        writeDesktopEntry(product);
    return product;
}

SampleProduct makeSampleProduct(const std::filesystem::path &home, const SampleProductOptions &options) {
    SampleProduct product = makeSampleBundle(home, options);
    LogText text(options.seed);
    writeLogs(text, product.logs, options);
    writeCrashReports(text, product, options);
    writeOtherLogs(text, product, options);
    if (options.preferences != Preferences::none)
        writePreferences(product, options);
    return product;
}

} // namespace sample_product
