#include "platform/linux/helpers/system_profiler/PackageDatabase.h"

#include "platform/linux/helpers/system_profiler/Folders.h"
#include "platform/posix/FileSystem.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace system_profiler {

namespace fs = std::filesystem;

namespace {

std::string_view viewOf(const QByteArray &bytes) {
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

QString textOf(std::string_view bytes) {
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

// Takes the first line off `rest`.
std::string_view nextLine(std::string_view &rest) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    return line;
}

// By file, the package as its list is called: its name, with the architecture where several may be installed.
using Owners = std::map<std::string, std::string>;

Owners ownersOf(const std::unordered_set<std::string> &files, const fs::path &folder, NotRead &notRead,
                const PackageLimits &limits) {
    const std::unordered_set<std::string_view> wanted(files.begin(), files.end());
    Owners owners;
    std::size_t totalBytes = 0;
    for (const fs::path &path : entriesOf(folder, notRead)) {
        if (path.extension() != ".list")
            continue;
        std::error_code error;
        const auto list = platform::readFile(path, limits.listBytes, error);
        if (!list) {
            notRead.add(path, error);
            continue;
        }
        totalBytes += static_cast<std::size_t>(list->size());
        if (totalBytes > limits.totalListBytes) {
            notRead.add(path, QStringLiteral("comes after %1 bytes of lists").arg(limits.totalListBytes));
            break;
        }
        for (std::string_view rest = viewOf(*list); !rest.empty();) {
            const std::string_view file = nextLine(rest);
            if (wanted.contains(file))
                owners.emplace(file, path.stem().native());
        }
    }
    return owners;
}

// The value of a field of a status stanza, when the line holds that field.
std::optional<std::string_view> valueOf(std::string_view line, std::string_view field) {
    if (!line.starts_with(field))
        return std::nullopt;
    line.remove_prefix(field.size());
    const std::size_t begin = line.find_first_not_of(' ');
    return begin == std::string_view::npos ? std::string_view() : line.substr(begin);
}

struct Stanza {
    std::string_view name;
    std::string_view architecture;
    std::string_view version;
    std::string_view maintainer;

    void take(std::string_view line) {
        const std::pair<std::string_view, std::string_view *> fields[] = {{"Package:", &name},
                                                                          {"Architecture:", &architecture},
                                                                          {"Version:", &version},
                                                                          {"Maintainer:", &maintainer}};
        for (const auto &[field, place] : fields) {
            if (const auto value = valueOf(line, field))
                *place = *value;
        }
    }
};

using Packages = std::map<std::string, Package>;

// Fills in what the stanza says of the package, under both names that its list may have.
void describe(const Stanza &stanza, Packages &packages) {
    const std::string name(stanza.name);
    for (const std::string &key : {name, name + ":" + std::string(stanza.architecture)}) {
        const auto package = packages.find(key);
        if (package == packages.end() || !package->second.version.isEmpty())
            continue;
        package->second.version = textOf(stanza.version);
        package->second.maintainer = textOf(stanza.maintainer);
    }
}

void describeAll(Packages &packages, const fs::path &file, NotRead &notRead, const PackageLimits &limits) {
    std::error_code error;
    const auto status = platform::readFile(file, limits.statusBytes, error);
    if (!status)
        return notRead.add(file, error);
    Stanza stanza;
    for (std::string_view rest = viewOf(*status); !rest.empty();) {
        const std::string_view line = nextLine(rest);
        stanza.take(line);
        if (line.empty() || rest.empty()) {
            describe(stanza, packages);
            stanza = {};
        }
    }
}

} // namespace

std::map<std::string, Package> packagesOf(const std::unordered_set<std::string> &files,
                                          const fs::path &database, NotRead &notRead,
                                          const PackageLimits &limits) {
    const Owners owners = ownersOf(files, database / "info", notRead, limits);
    Packages packages;
    for (const auto &[file, owner] : owners)
        packages[owner].name = textOf(owner.substr(0, owner.find(':')));
    if (!packages.empty())
        describeAll(packages, database / "status", notRead, limits);
    std::map<std::string, Package> result;
    for (const auto &[file, owner] : owners)
        result.emplace(file, packages.at(owner));
    return result;
}

} // namespace system_profiler
