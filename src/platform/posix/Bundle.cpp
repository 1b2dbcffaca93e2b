#include "platform/Bundle.h"

#include "platform/System.h"
#include "platform/posix/Process.h"
#include "platform/posix/Text.h"

namespace platform {

namespace fs = std::filesystem;

Bundle::Bundle(fs::path path, PropertyList info)
    : m_path(std::move(path))
    , m_info(std::move(info)) {}

const std::optional<Bundle> &Bundle::main() {
    static const std::optional<Bundle> bundle = around(executablePath({}));
    return bundle;
}

std::optional<Bundle> Bundle::at(const fs::path &path) {
    auto info = PropertyList::load(path / "Contents" / "Info.plist");
    if (!info || !info->isDictionary())
        return std::nullopt;
    return Bundle(path, std::move(*info));
}

std::optional<Bundle> Bundle::around(const fs::path &path) {
    for (fs::path folder = path.parent_path(); folder.has_relative_path(); folder = folder.parent_path()) {
        if (folder.extension() != ".app")
            continue;
        if (auto bundle = at(folder))
            return bundle;
    }
    return std::nullopt;
}

std::optional<QString> Bundle::text(const char *key) const {
    const auto value = m_info.value(key);
    return value ? value->text() : std::nullopt;
}

std::optional<bool> Bundle::flag(const char *key) const {
    const auto value = m_info.value(key);
    return value ? value->flag() : std::nullopt;
}

std::optional<fs::path> Bundle::executable() const {
    const auto name = text("CFBundleExecutable");
    if (!name || name->isEmpty() || name->contains(u'/'))
        return std::nullopt;
    return m_path / "Contents" / programFolder() / pathFromText(*name);
}

fs::path Bundle::module(const std::string &name) const {
    return m_path / "Contents" / "PlugIns" / ("lib" + name + ".so");
}

} // namespace platform
