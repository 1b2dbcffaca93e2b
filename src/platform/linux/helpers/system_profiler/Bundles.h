// Application bundles: the folders `X.app` with `Contents/Info.plist`.
#pragma once

#include "platform/Bundle.h"
#include "platform/linux/helpers/system_profiler/NotRead.h"
#include "platform/linux/helpers/system_profiler/Places.h"

#include <cstdint>
#include <map>

namespace system_profiler {

/// The bundles of the machine, each once whatever links lead to it.
class Bundles {
public:
    /// Reads no more than `budgetBytes` of Info.plist files in all.
    explicit Bundles(NotRead &notRead, std::uint64_t budgetBytes = std::uint64_t{32} << 20)
        : m_notRead(notRead)
        , m_remainingBytes(budgetBytes) {}

    /// Adds the bundles that stand in the folders which `places` names for them.
    void addInstalled(const Places &places);

    /// Adds the nearest bundle around `program`, of the innermost four folders that are named like one,
    /// looked for above the place that it is called by and above the place that its links lead to; gives the
    /// bundle's key, empty when there is none.
    std::string addAround(const std::filesystem::path &program);

    /// By the path with all links followed; each bundle keeps the path by which it was found first.
    const std::map<std::string, platform::Bundle> &all() const { return m_bundles; }

private:
    void addFrom(const std::filesystem::path &folder);
    /// The key of the bundle at `path`; empty when none is there.
    std::string add(const std::filesystem::path &path);
    std::string nearest(const std::filesystem::path &program);

    NotRead &m_notRead;
    std::uint64_t m_remainingBytes;
    std::map<std::string, platform::Bundle> m_bundles;
};

/// The name that a bundle gives itself, or that of its folder.
QString nameOf(const platform::Bundle &bundle);
/// The version that a bundle names; empty when it names none.
QString versionOf(const platform::Bundle &bundle);

} // namespace system_profiler
