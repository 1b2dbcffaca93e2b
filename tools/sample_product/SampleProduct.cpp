#include "SampleProduct.h"

#include "test_support/ScratchHome.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <array>

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

/// Writes made-up log files of a size to the byte, the same from the same point on.
class LogWriter {
public:
    void write(const fs::path &path, std::uint64_t bytes, bool incompressible = false) {
        QByteArray content;
        while (content.size() < static_cast<qsizetype>(bytes))
            content += incompressible ? QByteArray(1, static_cast<char>(m_random.generate())) : line();
        writeFile(path, content.first(static_cast<qsizetype>(bytes)));
    }

private:
    QByteArray line() {
        // Some messages come far more often than others.
        const char *message = messages[m_random.bounded(static_cast<quint32>(m_random.bounded(1, 9)))];
        m_time = m_time.addMSecs(m_random.bounded(40));
        return m_time.toString(Qt::ISODateWithMs).toLatin1() + message +
               QByteArray::number(m_random.bounded(2000)) + '\n';
    }

    QRandomGenerator m_random{1};
    QDateTime m_time{QDate(2026, 2, 3), QTime(0, 0)};
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

void writeLogs(const SampleProduct &product, const fs::path &messageFolder,
               const SampleProductOptions &options) {
    LogWriter writer;
    // Of very different sizes, which add up to the total.
    const std::uint64_t count = options.logFiles;
    const auto upTo = [&](std::uint64_t i) { return options.logBytes * i * (i + 1) / (count * (count + 1)); };
    for (std::uint64_t i = 0; i < count; ++i)
        writer.write(product.logs / logFileName(i), upTo(i + 1) - upTo(i), options.incompressible);

    // Oldest first, as a machine makes them: whoever sorts by creation date gets them by name.
    for (const char *report :
         {"Lumacef_2026-02-03-095712", "Lumacef_2026-02-03-100412", "Lumacef_2026-02-03-101112",
          "TextTool_2026-02-03-100812", "lumace_2026-02-03-100712"})
        writer.write(product.crashReports / (std::string(report) + "_host.ips"), 20'000);
    writer.write(product.crashReports / "Summary.txt", 300);
    for (const char *name : {"messages-1.log", "messages-2.log", "campaigns/shown.json"})
        writer.write(messageFolder / name, 4000);
    for (const char *name :
         {"lumaKWDLog.txt", "distKWDLog.txt", "KWD/kwd-1.log", "KWD/older/kwd-0.log", "lumacef_low/low.log",
          "Brennic/Lumadoc Update Helper QZ.log", "Brennic/Lumadoc Updater QZ.log"})
        writer.write(product.library / "Logs" / name, 4000);
}

QByteArray entry(const char *key, const std::string &value) {
    return "<key>" + QByteArray(key) + "</key><string>" +
           QString::fromStdString(value).toHtmlEscaped().toUtf8() + "</string>\n";
}

QByteArray propertyList(const QByteArray &entries) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n" + entries +
           "</dict>\n</plist>\n";
}

QByteArray preferences(const SampleProduct &product, const std::string &version) {
    return propertyList(entry("InstalledVersion", version) +
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

fs::path supportFolder(const SampleProduct &product) {
    return product.library / "Application Support/Brennic/Lumadoc" / product.track;
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
    product.logs = supportFolder(product) / product.editionName / "LumaLog";
    product.crashReports = product.library / "Logs/DiagnosticReports";
    product.preferences = product.library / "Preferences" / (product.bundleIdentifier + ".plist");
    writeBundle(product, options);
    return product;
}

SampleProduct makeSampleProduct(const fs::path &home, const SampleProductOptions &options) {
    SampleProduct product = makeSampleBundle(home, options);
    const bool lumadoc = options.edition == Edition::lumadoc;
    writeLogs(product, supportFolder(product) / (lumadoc ? "Trellis-ProMessages" : "PellixMessages"),
              options);
    writeFile(product.preferences, preferences(product, options.version));
    writeFile(product.library / "Preferences/com.brennic.crashreporter.plist",
              propertyList(entry("DialogType", "none")));
    return product;
}

} // namespace sample_product
