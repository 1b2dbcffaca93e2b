#include "discovery/Workspace.h"

#include "discovery/RunState.h"
#include "logging/Logging.h"
#include "platform/posix/Text.h"

#include <cstdio>

namespace Workspace {

namespace {

namespace fs = std::filesystem;
using platform::FileDescriptor;
using UtilityFunctions::tempDirURL;

// The way from the workspace's folder to `path`, empty for itself; none when it is outside.
std::optional<fs::path> wayTo(const fs::path &path) {
    if (!tempDirURL)
        return std::nullopt;
    const fs::path way = path.lexically_relative(*tempDirURL);
    if (way.empty() || *way.begin() == "..")
        return std::nullopt;
    return way == "." ? fs::path() : way;
}

bool isLink(const FileDescriptor &folder, const fs::path &name) {
    std::error_code error;
    return platform::kindOf(folder, name, error) == platform::FileKind::link;
}

FileDescriptor makeIn(const FileDescriptor &parent, const fs::path &name, const fs::path &path,
                      std::error_code &error) {
    if (isLink(parent, name) && platform::removeEntry(parent, name, error))
        Logger::logWarning(QStringLiteral("Replaced a link by a folder: ") + platform::displayText(path));
    return platform::makeFolder(parent, name, error);
}

} // namespace

FileDescriptor open(const fs::path &folder, std::error_code &error) {
    const auto way = wayTo(folder);
    FileDescriptor opened = platform::openFolder(way ? *tempDirURL : folder, error);
    for (const fs::path &name : way.value_or(fs::path())) {
        if (!error)
            opened = platform::openFolder(opened, name, error);
    }
    return opened;
}

FileDescriptor make(const fs::path &folder, std::error_code &error) {
    const auto way = wayTo(folder);
    fs::path path = way ? *tempDirURL : folder;
    fs::create_directories(path, error);
    if (error)
        return {};
    FileDescriptor made = platform::openFolder(path, error);
    for (const fs::path &name : way.value_or(fs::path())) {
        path /= name;
        if (!error)
            made = makeIn(made, name, path, error);
    }
    return made;
}

bool holds(const fs::path &path) {
    std::error_code error;
    const auto way = wayTo(path);
    if (way && way->empty())
        return fs::exists(path, error);
    const FileDescriptor folder = open(path.parent_path(), error);
    const auto kind = folder ? platform::kindOf(folder, path.filename(), error) : std::nullopt;
    return kind && kind != platform::FileKind::link;
}

bool remove(const fs::path &path, std::error_code &error) {
    const FileDescriptor folder = open(path.parent_path(), error);
    if (error == std::errc::no_such_file_or_directory)
        error.clear();
    return folder && platform::removeTree(folder, path.filename(), error);
}

bool move(const fs::path &from, const fs::path &to, std::error_code &error) {
    const FileDescriptor source = open(from.parent_path(), error);
    const FileDescriptor target = error ? FileDescriptor() : make(to.parent_path(), error);
    if (target && ::renameat(source.get(), from.filename().c_str(), target.get(), to.filename().c_str()) != 0)
        error = platform::systemError();
    return !error;
}

} // namespace Workspace
