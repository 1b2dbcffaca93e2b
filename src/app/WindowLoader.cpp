#include "app/WindowLoader.h"

#include "platform/Bundle.h"
#include "platform/posix/Text.h"
#include "ui/WindowFrontEnd.h"

#include <QPluginLoader>
#include <cstdio>

WindowFrontEnd *loadWindow() {
    const auto &bundle = platform::Bundle::main();
    const auto module = bundle ? bundle->path() / "Contents/PlugIns/libWindow.so" : std::filesystem::path();
    QPluginLoader loader(platform::displayText(module));
    auto *window = qobject_cast<WindowFrontEnd *>(loader.instance());
    if (!window)
        std::fprintf(stderr, "Brennic_Lumadoc_Diagnostics: the window cannot be loaded: %s\n",
                     loader.errorString().toUtf8().constData());
    return window;
}
