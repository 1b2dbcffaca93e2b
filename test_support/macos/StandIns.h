// What stands for a Mac in the tests of the macOS side: the answers of its services, and what they were
// asked.
//
// A test sets the answers before it calls the program. Any thread, one at a time.
#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

struct Mac {
    static Mac &shared();

    // Files and applications
    std::filesystem::path library;
    std::filesystem::path caches;
    std::map<QString, std::vector<std::filesystem::path>> installed;
    /// Calls of functions that newer systems give up.
    int outdatedCalls = 0;
    struct Running {
        QString identifier;
        int process = 0;
        std::filesystem::path bundle;
    };
    std::vector<Running> running;
    /// Processes whose windows were brought to the front.
    std::vector<int> activated;

    // This application
    std::vector<std::string> presence;
    int majorVersion = 12;
    bool isDark = false;
    void setDark(bool dark);
    /// Whether the frameworks know that there are several threads.
    static bool isMultiThreaded();
    /// The user opens the application again.
    static void reopen();

    // Network
    /// An empty one is an interface without an address.
    std::optional<std::vector<QString>> interfaces;
    struct Proxy {
        std::string type;
        QString host;
        int port = 0;
    };
    /// Of one address; of any other there is only "none".
    std::optional<std::vector<Proxy>> proxies;
    QByteArray proxiedUrl;
    /// The host of a proxy of the type "AutoConfigurationURL" is a script's address. What scripts name by
    /// their address; any other never answers.
    std::map<QString, std::vector<Proxy>> proxyScripts;
    /// Seconds for which scripts were waited for, and what happens meanwhile.
    double waitedSeconds = 0;
    std::function<void()> whileWaiting = [] {};
    /// Sources of a run loop that may still call back or have not been released.
    int openSources = 0;

    // Log
    struct LogLine {
        std::string subsystem;
        std::string category;
        int type = 0;
        std::string format;
        QString argument;
    };
    std::vector<LogLine> log;

    // Scripts
    std::vector<QString> scripts;
    /// The user dismisses the request for an administrator's rights.
    bool refusesRights = false;

    // Desktop
    /// It opens nothing.
    bool isDesktopBroken = false;
    std::vector<QByteArray> opened;
    std::vector<std::filesystem::path> revealed;
    QString pasteboard;
    int pasteboardChanges = 7;
    /// Whether its present owner has said that it will put a text there.
    bool takesText = false;
    struct Panel {
        QString message;
        std::vector<QString> extensions;
        bool takesFolders = true;
        bool takesSeveral = false;
        bool isOpen = false;
        /// The user chooses these files, or cancels.
        std::function<void(std::optional<std::vector<std::filesystem::path>>)> answer;
    };
    Panel panel;
};

} // namespace test_support
