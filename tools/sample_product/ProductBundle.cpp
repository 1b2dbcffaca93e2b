#include "ProductBundle.h"

#include "LogText.h"
#include "platform/posix/PropertyList.h"

#include <stdexcept>

namespace sample_product {

namespace {

constexpr std::string_view plistHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                       "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                       "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                       "<plist version=\"1.0\">\n<dict>\n";
constexpr std::string_view plistTail = "</dict>\n</plist>\n";

std::string escaped(const std::string &text) {
    std::string result;
    for (const char c : text) {
        if (c == '&')
            result += "&amp;";
        else if (c == '<')
            result += "&lt;";
        else
            result += c;
    }
    return result;
}

std::string textEntry(const std::string &key, const std::string &value) {
    return "\t<key>" + escaped(key) + "</key>\n\t<string>" + escaped(value) + "</string>\n";
}

std::string binary(const std::string &xml) {
    using platform::PropertyList;
    const auto list = PropertyList::parse(QByteArray::fromStdString(xml));
    const QByteArray bytes = list ? list->serialized(platform::PropertyListFormat::binary) : QByteArray();
    if (bytes.isEmpty())
        throw std::runtime_error("The preferences cannot be written as a binary property list");
    return bytes.toStdString();
}

void writePropertyList(const std::filesystem::path &path, const std::string &entries, Preferences format) {
    const std::string xml = std::string(plistHead) + entries + std::string(plistTail);
    writeFile(path, format == Preferences::binary ? binary(xml) : xml);
}

void copyProgram(const std::filesystem::path &to) {
    std::filesystem::create_directories(to.parent_path());
    // A running program's file cannot be written to, but it can be replaced.
    std::filesystem::remove(to);
    std::filesystem::copy_file(SAMPLE_APP_PATH, to);
}

/// An argument of a desktop entry's "Exec": quoted, then escaped once more as every value of the file is.
std::string execArgument(const std::string &argument) {
    std::string quoted = "\"";
    for (const char c : argument) {
        if (c == '"' || c == '`' || c == '$' || c == '\\')
            quoted += '\\';
        if (c == '%')
            quoted += '%';
        quoted += c;
    }
    quoted += '"';

    std::string value;
    for (const char c : quoted) {
        if (c == '\\')
            value += '\\';
        value += c;
    }
    return value;
}

} // namespace

void writeBundle(const SampleProduct &product, const std::string &version) {
    writePropertyList(product.bundle / "Contents/Info.plist",
                      textEntry("CFBundleExecutable", product.editionName) +
                          textEntry("CFBundleIdentifier", product.bundleIdentifier) +
                          textEntry("CFBundleName", product.editionName) +
                          textEntry("CFBundlePackageType", "APPL") +
                          textEntry("CFBundleShortVersionString", version),
                      Preferences::xml);
    copyProgram(product.executable);
    copyProgram(product.helper);
}

void writeDesktopEntry(const SampleProduct &product) {
    writeFile(product.desktopEntry, "[Desktop Entry]\nType=Application\nName=" + product.editionName +
                                        "\nExec=" + execArgument(product.executable.string()) + " %F\n");
}

void writePreferences(const SampleProduct &product, const SampleProductOptions &options) {
    std::string track = "\t\t<key>OpenAtStart</key>\n\t\t<true/>\n"
                        "\t\t<key>RecentDocuments</key>\n\t\t<array>\n\t\t\t<string>Report.pdf</string>\n"
                        "\t\t\t<string>Übersicht.pdf</string>\n\t\t</array>\n"
                        "\t\t<key>WindowCount</key>\n\t\t<integer>2</integer>\n"
                        "\t\t<key>ZoomFactor</key>\n\t\t<real>1.25</real>\n";
    if (options.lumaLogging)
        track +=
            "\t\t<key>LumaLogging</key>\n\t\t<dict>\n"
            "\t\t\t<key>EnableLumaLogging</key>\n"
            "\t\t\t<array>\n\t\t\t\t<integer>1</integer>\n\t\t\t\t<integer>2</integer>\n\t\t\t</array>\n"
            "\t\t\t<key>SustainLumaLogging</key>\n"
            "\t\t\t<array>\n\t\t\t\t<integer>3</integer>\n\t\t\t\t<false/>\n\t\t\t</array>\n\t\t</dict>\n";
    const std::string entries = textEntry("InstalledVersion", options.version) +
                                "\t<key>LastStart</key>\n\t<date>2026-02-03T10:11:12Z</date>\n" + "\t<key>" +
                                product.track + "</key>\n\t<dict>\n" + track + "\t</dict>\n";
    writePropertyList(product.preferences, entries, options.preferences);
    writePropertyList(product.crashReporterPreferences,
                      textEntry("DialogType", "none") + "\t<key>Reports</key>\n\t<integer>" +
                          std::to_string(options.crashReports) + "</integer>\n",
                      options.preferences);
}

} // namespace sample_product
