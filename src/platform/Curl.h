// libcurl (https://curl.se/libcurl/c/), loaded with the first upload: it brings some forty libraries with it,
// and a program that has not begun to upload starts the sooner without them.
#pragma once

#include <curl/curl.h>

/// The functions that uploads use, under their own names without the prefix.
struct Curl {
    decltype(&curl_global_init) global_init;
    decltype(&curl_easy_init) easy_init;
    decltype(&curl_easy_setopt) easy_setopt;
    decltype(&curl_easy_getinfo) easy_getinfo;
    decltype(&curl_easy_cleanup) easy_cleanup;
    decltype(&curl_slist_append) slist_append;
    decltype(&curl_slist_free_all) slist_free_all;
    decltype(&curl_multi_init) multi_init;
    decltype(&curl_multi_add_handle) multi_add_handle;
    decltype(&curl_multi_remove_handle) multi_remove_handle;
    decltype(&curl_multi_perform) multi_perform;
    decltype(&curl_multi_info_read) multi_info_read;
    decltype(&curl_multi_poll) multi_poll;
    decltype(&curl_multi_wakeup) multi_wakeup;
    decltype(&curl_multi_cleanup) multi_cleanup;
};

/// The library, loaded and initialised by the first call and kept for the life of the process. Ends the
/// process when it is not installed. Any thread.
const Curl &curl();
