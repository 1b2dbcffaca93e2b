#include "platform/Curl.h"

#include "platform/posix/Fatal.h"

#include <dlfcn.h>

// The typed macros of the header stand in the way of the functions' names.
#undef curl_easy_setopt
#undef curl_easy_getinfo

namespace {

template <typename Function>
void find(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    if (!function)
        platform::fatal("The network library lacks a function.");
}

Curl load() {
    void *library = ::dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL);
    if (!library)
        platform::fatal("The network library cannot be loaded.");
    Curl curl = {};
    find(library, "curl_global_init", curl.global_init);
    find(library, "curl_easy_init", curl.easy_init);
    find(library, "curl_easy_setopt", curl.easy_setopt);
    find(library, "curl_easy_getinfo", curl.easy_getinfo);
    find(library, "curl_easy_cleanup", curl.easy_cleanup);
    find(library, "curl_slist_append", curl.slist_append);
    find(library, "curl_slist_free_all", curl.slist_free_all);
    find(library, "curl_multi_init", curl.multi_init);
    find(library, "curl_multi_add_handle", curl.multi_add_handle);
    find(library, "curl_multi_remove_handle", curl.multi_remove_handle);
    find(library, "curl_multi_perform", curl.multi_perform);
    find(library, "curl_multi_info_read", curl.multi_info_read);
    find(library, "curl_multi_poll", curl.multi_poll);
    find(library, "curl_multi_wakeup", curl.multi_wakeup);
    find(library, "curl_multi_cleanup", curl.multi_cleanup);
    curl.global_init(CURL_GLOBAL_DEFAULT);
    return curl;
}

} // namespace

const Curl &curl() {
    static const Curl loaded = load();
    return loaded;
}
