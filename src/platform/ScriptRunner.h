// Runs one of this program's own commands through the system's script runner, which can ask the user for an
// administrator's rights. It asks only where the command cannot do without them, and only for the command of
// the installed program: any other the user, or whoever acts in the user's name, may have put there.
//
// Any thread; running a script blocks it, also while the user is asked. After `stopPrograms` (Program.h) none
// starts; where the system can stop one that runs, it ends.
#pragma once

#include "platform/posix/Text.h"

#include <QString>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace platform {

struct Script {
    /// `administrator`: where the command, run as the user, ends with `missingRights`.
    enum class Rights { user, administrator };
    static constexpr int missingRights = 77;

    /// The command as a script, for a system that has a script language; others use the fields that follow.
    QString text;
    /// Its absolute path.
    std::filesystem::path command;
    std::vector<std::string> arguments;
    /// As `Program::standardOutput`.
    std::filesystem::path standardOutput;
    Rights rights = Rights::user;
};

/// Why a script failed. The numbers are these on every system:
///   -128                the user dismissed the request for rights, or the program is ending
///   127                 the command, or what asks for the rights, is missing; the rights were refused; there
///                       is nobody to ask for them
///   126                 the command is there and cannot be run
///   128 and the signal  the command was killed
///   1                   the file for its output cannot be made
/// and any other the exit status of the command, `Script::missingRights` when it was not given an
/// administrator's.
struct ScriptError {
    int number = 0;
    QString message;

    /// On one line, with the keys that the support side knows from every system:
    /// `["NSAppleScriptErrorMessage": "User canceled.", "NSAppleScriptErrorNumber": -128]`.
    QString printedDescription() const {
        return QStringLiteral("[\"NSAppleScriptErrorMessage\": %1, \"NSAppleScriptErrorNumber\": ")
                   .arg(printedText(message)) +
               QString::number(number) + u']';
    }

    friend bool operator==(const ScriptError &, const ScriptError &) = default;
};

/// Of a script that `stopPrograms` stopped, or did not let start.
inline const ScriptError programIsEnding{
    -128, QStringLiteral("The command was stopped because the program is ending.")};

/// Runs a script to its end; none when its command ended with status 0.
std::optional<ScriptError> runScript(const Script &script);

} // namespace platform
