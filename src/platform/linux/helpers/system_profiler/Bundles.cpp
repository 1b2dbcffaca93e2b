#include "platform/linux/helpers/system_profiler/Bundles.h"

#include "platform/linux/helpers/system_profiler/Folders.h"
#include "platform/posix/FileSystem.h"
#include "platform/posix/Text.h"

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

// No Info.plist that means well comes near.
constexpr std::uint64_t infoLimitBytes = std::uint64_t{1} << 20;
// Applications within applications end sooner; a path made to keep the search busy does not.
constexpr int nestingLimit = 4;

} // namespace

void Bundles::addInstalled(const Places &places) {
    for (const fs::path &folder : places.bundles)
        addFrom(folder);
    for (const fs::path &folder : places.nestedBundles) {
        addFrom(folder);
        for (const fs::path &inner : entriesOf(folder, m_notRead)) {
            std::error_code error;
            if (inner.extension() != ".app" && fs::is_directory(inner, error))
                addFrom(inner);
        }
    }
}

void Bundles::addFrom(const fs::path &folder) {
    for (const fs::path &path : entriesOf(folder, m_notRead)) {
        if (path.extension() == ".app")
            add(path);
    }
}

std::string Bundles::addAround(const fs::path &program) {
    // A bundle may be a link to a folder of another name.
    const std::string key = nearest(resolved(program));
    return key.empty() ? nearest(program) : key;
}

std::string Bundles::nearest(const fs::path &program) {
    int nesting = 0;
    for (fs::path folder = program.parent_path(); folder.has_relative_path() && nesting < nestingLimit;
         folder = folder.parent_path()) {
        if (folder.extension() != ".app")
            continue;
        ++nesting;
        if (std::string key = add(folder); !key.empty())
            return key;
    }
    return {};
}

std::string Bundles::add(const fs::path &path) {
    std::string key = resolved(path).native();
    if (m_bundles.contains(key))
        return key;
    const fs::path info = path / "Contents" / "Info.plist";
    std::error_code error;
    std::uint64_t sizeBytes = 0;
    if (!platform::openRegularFile(info, sizeBytes, error)) {
        if (!isAbsence(error))
            m_notRead.add(info, error);
        return {};
    }
    if (sizeBytes > infoLimitBytes) {
        m_notRead.add(info, std::make_error_code(std::errc::file_too_large));
        return {};
    }
    if (sizeBytes > m_remainingBytes) {
        m_notRead.add(info, QStringLiteral("comes after too many bytes of such files"));
        return {};
    }
    m_remainingBytes -= sizeBytes;
    auto bundle = platform::Bundle::at(path);
    if (!bundle) {
        m_notRead.add(info, QStringLiteral("no property list with keys"));
        return {};
    }
    m_bundles.emplace(key, std::move(*bundle));
    return key;
}

QString nameOf(const platform::Bundle &bundle) {
    for (const char *key : {"CFBundleDisplayName", "CFBundleName"}) {
        const auto name = bundle.text(key);
        if (name && !name->trimmed().isEmpty())
            return *name;
    }
    return platform::displayText(bundle.path().stem());
}

QString versionOf(const platform::Bundle &bundle) {
    const auto version = bundle.shortVersion();
    return version && !version->isEmpty() ? *version : bundle.text("CFBundleVersion").value_or(QString());
}

} // namespace system_profiler
