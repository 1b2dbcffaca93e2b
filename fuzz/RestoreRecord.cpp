// A record of an interrupted run, whatever is in it, changes nothing but the switch, and is gone afterwards.
#include "collection/PListOperations.h"
#include "discovery/RunState.h"
#include "fuzz/Harness.h"
#include "test_support/ScratchHome.h"

using test_support::readFile;
using test_support::writeFile;

void tryInput(const QByteArray &bytes) {
    static const test_support::ScratchHome home;
    static const auto preferences = home.library() / "Preferences";
    static const QByteArray off =
        "<plist><dict><key>QZ</key><dict><key>LumaLogging</key><dict/></dict></dict></plist>";
    static const QByteArray on = QByteArray(off).replace(
        "<dict/>",
        "<dict><key>EnableLumaLogging</key><array><integer>10</integer><integer>7</integer></array></dict>");
    const std::filesystem::path files[] = {preferences / "com.brennic.LumadocPE.plist",
                                           preferences / "other.plist", home.path() / "other.plist"};
    for (const auto &file : files) {
        if (readFile(file) != on)
            writeFile(file, on);
    }
    UtilityFunctions::userLibraryPrefURL = preferences;
    UtilityFunctions::tempSystemURL = home.library() / "System";
    const auto record = *UtilityFunctions::tempSystemURL / "LoggingSwitch.plist";
    writeFile(record, bytes);
    PListOperations::RestoreAfterInterruptedRun();
    require(!std::filesystem::exists(record), "the record is gone");
    const auto left = platform::PropertyList::load(files[0]);
    require(left &&
                (*left == *platform::PropertyList::parse(on) || *left == *platform::PropertyList::parse(off)),
            "the preferences are as they were, or without the switch");
    require(readFile(files[1]) == on && readFile(files[2]) == on, "no other file is changed");
}
