#include "BundleText.h"

#include "EscapedText.h"
#include "platform/Bundle.h"

namespace spindump {

namespace {

std::string shown(const std::optional<QString> &text) {
    return text ? escaped(text->toStdString(), 256) : "not stated";
}

} // namespace

std::string bundleText(const std::string &executable) {
    const auto bundle = platform::Bundle::around(executable);
    if (!bundle)
        return "Identifier:       none, the program stands in no bundle\n";
    return "Identifier:       " + shown(bundle->identifier()) +
           "\nVersion:          " + shown(bundle->shortVersion()) + '\n';
}

} // namespace spindump
