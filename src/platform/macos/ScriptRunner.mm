#include "platform/ScriptRunner.h"

#include "platform/macos/Owned.h"
#include "platform/posix/Program.h"

namespace platform {

// A script that has begun cannot be stopped; it asks for rights itself.
std::optional<ScriptError> runScript(const Script &script) {
    if (programsAreStopped())
        return programIsEnding;
    @autoreleasepool {
        const Owned runner([[NSAppleScript alloc] initWithSource:stringOf(script.text)]);
        NSDictionary *error = nil;
        if (!runner || [runner.get() executeAndReturnError:&error] != nil)
            return std::nullopt;
        return ScriptError{[[error objectForKey:NSAppleScriptErrorNumber] intValue],
                           textOf([error objectForKey:NSAppleScriptErrorMessage])};
    }
}

} // namespace platform
