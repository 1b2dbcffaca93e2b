// Prints the proxies that the desktop's settings name for the URL that is its argument, one a line, in the
// order in which to try them.
//
// A program of its own: the library loads the desktop's modules, and runs the script of an automatic
// configuration, for as long as that takes.
#include <cstdio>
#include <cstdlib>
#include <proxy.h>

int main(int count, char **arguments) {
    if (count != 2) {
        std::fputs("Usage: proxies URL\n", stderr);
        return 2;
    }
    // The library would take these for any URL.
    ::unsetenv("http_proxy");
    ::unsetenv("HTTP_PROXY");
    pxProxyFactory *const settings = px_proxy_factory_new();
    char **const proxies =
        settings != nullptr ? px_proxy_factory_get_proxies(settings, arguments[1]) : nullptr;
    for (char **proxy = proxies; proxy != nullptr && *proxy != nullptr; ++proxy)
        std::puts(*proxy);
    // Nothing is given back: the end of the process does that, and a module could wait.
    std::fflush(stdout);
    std::_Exit(0);
}
