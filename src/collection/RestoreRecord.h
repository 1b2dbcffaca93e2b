// What is needed to take the product's logging switch back when the run that set it did not come to do so:
// a property list in the workspace's System folder, there from before the switch is written until it is taken
// back.
//
// One thread at a time. Without a workspace there is no record.
#pragma once

#include "platform/posix/PropertyList.h"

#include <QString>
#include <filesystem>
#include <optional>
#include <system_error>

struct RestoreRecord {
    /// One key of the switch; absent values are keys that are absent.
    struct Key {
        std::optional<platform::PropertyList> before;
        /// What this program leaves in the file.
        std::optional<platform::PropertyList> written;

        friend bool operator==(const Key &, const Key &) = default;
    };

    /// Larger records are not read, nor written: the switch holds four small values.
    static constexpr std::size_t limitBytes = std::size_t{1} << 20;

    /// The name of the preference file, which stands in the user's Preferences folder.
    QString preferenceFile;
    QString track;
    Key enable;
    Key sustain;

    /// Where it stands; none without a workspace.
    static std::optional<std::filesystem::path> location();

    /// Writes it, the user's alone, whole or not at all. Why it could not be written, if so.
    std::error_code write() const;
    /// None when there is none, or with `isUnusable` set when what stands there is no record of this program:
    /// damaged, too large, a link, or about a file that is none of the product's preferences.
    static std::optional<RestoreRecord> read(bool &isUnusable);
    /// Removes it; a link goes, not what it points at.
    static void remove();

    friend bool operator==(const RestoreRecord &, const RestoreRecord &) = default;
};
