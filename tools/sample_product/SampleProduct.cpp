#include "SampleProduct.h"

#include "test_support/ScratchHome.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <array>
#include <numeric>
#include <vector>

namespace sample_product {

namespace fs = std::filesystem;
using test_support::writeFile;

namespace {

/// What programs say: level, thread and component belong to the place in the code that says it.
constexpr std::array messages = {
    " INFO  [3] Renderer: page rendered, milliseconds: ",
    " DEBUG [3] Renderer: tile taken from the cache, age in milliseconds: ",
    " INFO  [1] DocumentStore: document opened, pages: ",
    " DEBUG [1] DocumentStore: object read at offset ",
    " INFO  [5] Network: request finished with status 200, bytes: ",
    " WARN  [5] Network: no answer within the time-out, attempt ",
    " INFO  [2] Licensing: licence checked, days left: ",
    " ERROR [4] Updater: the update list could not be read, line ",
};

/// Writes made-up log files, the same from the same point on.
class LogWriter {
public:
    /// Whole lines of exactly so many bytes, the last one filled up with blanks.
    void writeText(const fs::path &path, std::uint64_t bytes) {
        QByteArray text;
        while (text.size() < static_cast<qsizetype>(bytes))
            text += line();
        text.truncate(static_cast<qsizetype>(bytes));
        if (!text.isEmpty()) {
            const qsizetype whole = text.lastIndexOf('\n') + 1;
            std::fill(text.begin() + whole, text.end(), ' ');
            text.back() = '\n';
        }
        writeFile(path, text);
    }
    void writeIncompressible(const fs::path &path, std::uint64_t bytes) {
        std::vector<quint32> words(bytes / sizeof(quint32) + 1);
        m_random.fillRange(words.data(), static_cast<qsizetype>(words.size()));
        writeFile(path,
                  QByteArray(reinterpret_cast<const char *>(words.data()), static_cast<qsizetype>(bytes)));
    }

private:
    QByteArray line() {
        m_milliseconds += m_random.bounded(40);
        const auto seconds = m_milliseconds / 1000;
        std::array<char, 160> text{};
        // Some messages come far more often than others.
        const char *message = messages[m_random.bounded(static_cast<quint32>(m_random.bounded(1, 9)))];
        std::snprintf(text.data(), text.size(), "2026-02-03T%02d:%02d:%02d.%03d%s%d\n", seconds / 3600 % 24,
                      seconds / 60 % 60, seconds % 60, m_milliseconds % 1000, message,
                      m_random.bounded(2000));
        return text.data();
    }

    QRandomGenerator m_random{1};
    int m_milliseconds = 0;
};

/// A file of the product's log folder. Logs dominate; some files are of kinds that nobody wants to have.
fs::path logFileName(std::size_t index) {
    constexpr std::array<const char *, 3> folders = {"", "services", "services/session 1"};
    constexpr std::array<const char *, 7> names = {"Lumadoc-",  "network-", "startup-", "state-",
                                                   "renderer-", "cache-",   "CHANGES-"};
    constexpr std::array<const char *, 7> extensions = {".log", ".txt", ".log", ".json", ".log", ".bin", ""};
    const std::size_t kind = index % names.size();
    return fs::path(folders[index % folders.size()]) /
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
    if (parts > 0)
        sizes.back() += total - std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{0});
    return sizes;
}

void writeLogs(const SampleProduct &product, const SampleProductOptions &options) {
    LogWriter writer;
    fs::create_directories(product.logs);
    const auto sizes = split(options.logBytes, options.logFiles);
    const auto writeLog = options.incompressible ? &LogWriter::writeIncompressible : &LogWriter::writeText;
    for (std::size_t i = 0; i < sizes.size(); ++i)
        (writer.*writeLog)(product.logs / logFileName(i), sizes[i]);

    // Oldest first, as a machine makes them: whoever sorts by creation date gets them by name.
    const QDateTime last(QDate(2026, 2, 3), QTime(10, 11, 12), Qt::UTC);
    for (auto i = static_cast<qint64>(options.crashReports); i-- > 0;) {
        const QString time = last.addSecs(-7 * 60 * i).toString(QStringLiteral("yyyy-MM-dd-HHmmss"));
        writer.writeText(product.crashReports / ("Lumacef_" + time.toStdString() + "_host.ips"), 20'000);
    }
    writer.writeText(product.crashReports / "TextTool_2026-02-03-100812_host.ips", 5000);
    writer.writeText(product.crashReports / "lumace_2026-02-03-100712_host.ips", 4000);
    writer.writeText(product.crashReports / "Summary.txt", 300);

    const auto messageSizes = split(options.messageBytes, 3);
    writer.writeText(product.messages / "messages-1.log", messageSizes[0]);
    writer.writeText(product.messages / "messages-2.log", messageSizes[1]);
    writer.writeText(product.messages / "campaigns/shown.json", messageSizes[2]);

    for (const char *name :
         {"lumaKWDLog.txt", "distKWDLog.txt", "KWD/kwd-1.log", "KWD/older/kwd-0.log", "lumacef_low/low.log",
          "Brennic/Lumadoc Update Helper QZ.log", "Brennic/Lumadoc Updater QZ.log"})
        writer.writeText(product.library / "Logs" / name, 4000);
}

QByteArray entry(const char *key, const std::string &value) {
    return "<key>" + QByteArray(key) + "</key><string>" +
           QString::fromStdString(value).toHtmlEscaped().toUtf8() + "</string>\n";
}

QByteArray propertyList(const QByteArray &entries) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n" + entries +
           "</dict>\n</plist>\n";
}

QByteArray preferences(const SampleProduct &product, const SampleProductOptions &options) {
    // The same as below, as another program writes it: version 10.003.20112, track QZ.
    if (options.preferences == Preferences::binary)
        return QByteArray::fromBase64(
            "YnBsaXN0MDDTAQIDBAUGXxAQSW5zdGFsbGVkVmVyc2lvbllMYXN0U3RhcnRSUVpcMTAuMDAzLjIwMTEyM0HHmQCg"
            "AAAA1AcICQoLDA8QW09wZW5BdFN0YXJ0XxAPUmVjZW50RG9jdW1lbnRzW1dpbmRvd0NvdW50Wlpvb21GYWN0b3IJ"
            "og0OWlJlcG9ydC5wZGZtANwAYgBlAHIAcwBpAGMAaAB0AC4AcABkAGYQAiM/9AAAAAAAAAgPIiwvPEVOWmx4g4SH"
            "kq2vAAAAAAAAAQEAAAAAAAAAEQAAAAAAAAAAAAAAAAAAALg=");
    return propertyList(entry("InstalledVersion", options.version) +
                        "<key>LastStart</key><date>2026-02-03T10:11:12Z</date>\n<key>" +
                        QByteArray::fromStdString(product.track) +
                        "</key><dict>\n<key>OpenAtStart</key><true/>\n"
                        "<key>RecentDocuments</key><array><string>Report.pdf</string>"
                        "<string>Übersicht.pdf</string></array>\n"
                        "<key>WindowCount</key><integer>2</integer>\n"
                        "<key>ZoomFactor</key><real>1.25</real></dict>\n");
}

void writeBundle(const SampleProduct &product, const SampleProductOptions &options) {
    writeFile(product.bundle / "Contents/Info.plist",
              propertyList(entry("CFBundleExecutable", product.editionName) +
                           entry("CFBundleIdentifier", product.bundleIdentifier) +
                           entry("CFBundleName", product.editionName) +
                           entry("CFBundleShortVersionString", options.version)));
    for (const fs::path &program : {product.executable, product.helper}) {
        fs::create_directories(program.parent_path());
        // A running program's file cannot be written to, but it can be replaced.
        fs::remove(program);
        fs::copy_file(SAMPLE_APP_PATH, program);
    }
}

std::string trackOf(const std::string &version) {
    const std::string last = version.substr(version.rfind('.') + 1);
    if (last.starts_with('1'))
        return "Beta";
    return last.starts_with('2') ? "QZ" : "Trunk";
}

} // namespace

SampleProduct makeSampleBundle(const fs::path &home, const SampleProductOptions &options) {
    const bool lumadoc = options.edition == Edition::lumadoc;
    SampleProduct product;
    product.bundleIdentifier = lumadoc ? "com.brennic.LumadocPE" : "com.brennic.Pelx";
    product.editionName = lumadoc ? "Lumadoc" : "Pellix";
    product.track = trackOf(options.version);
    product.bundle =
        options.bundle.empty() ? home / "Applications" / (product.editionName + ".app") : options.bundle;
    product.executable = product.bundle / "Contents/Linux" / product.editionName;
    product.helper = product.bundle / "Contents/Helpers" / (product.editionName + "Helper");

    product.library = home / ".local/share/Library";
    const auto support = product.library / "Application Support/Brennic/Lumadoc" / product.track;
    product.logs = support / product.editionName / "LumaLog";
    product.messages = support / (lumadoc ? "Trellis-ProMessages" : "PellixMessages");
    product.crashReports = product.library / "Logs/DiagnosticReports";
    product.preferences = product.library / "Preferences" / (product.bundleIdentifier + ".plist");
    writeBundle(product, options);
    return product;
}

SampleProduct makeSampleProduct(const fs::path &home, const SampleProductOptions &options) {
    const SampleProduct product = makeSampleBundle(home, options);
    writeLogs(product, options);
    writeFile(product.preferences, preferences(product, options));
    writeFile(product.library / "Preferences/com.brennic.crashreporter.plist",
              propertyList(entry("DialogType", "none")));
    return product;
}

} // namespace sample_product
