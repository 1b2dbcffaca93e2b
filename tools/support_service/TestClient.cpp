#include "TestClient.h"

#include <algorithm>
#include <curl/curl.h>
#include <memory>
#include <stdexcept>

namespace support_service::test {

namespace {

struct Source {
    std::string_view whole;
    std::string_view rest;
};

struct Sink {
    std::string *text;
    std::size_t limit;
    bool pause = false;
};

std::size_t give(char *to, std::size_t size, std::size_t count, void *state) {
    auto &rest = static_cast<Source *>(state)->rest;
    const std::size_t given = rest.copy(to, size * count);
    rest.remove_prefix(given);
    return given;
}

/// For a redirect that repeats the body.
int rewind(void *state, curl_off_t offset, int) {
    auto &source = *static_cast<Source *>(state);
    source.rest = source.whole.substr(static_cast<std::size_t>(offset));
    return CURL_SEEKFUNC_OK;
}

std::size_t take(const char *from, std::size_t size, std::size_t count, void *state) {
    const auto *sink = static_cast<Sink *>(state);
    if (sink->pause)
        return CURL_WRITEFUNC_PAUSE;
    if (sink->text->size() + size * count > sink->limit)
        return 0;
    sink->text->append(from, size * count);
    return size * count;
}

} // namespace

std::string uploadBody(std::string_view content, std::string_view fileName) {
    std::string body = "\r\n--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"";
    body += fileName;
    body += "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
    body += content;
    body += "\r\n--" + boundary + "--\r\n";
    return body;
}

std::string someBytes(std::size_t count) {
    std::string bytes(count, '\0');
    std::uint32_t state = 1;
    for (char &byte : bytes) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

Answer call(const SupportService &service, std::string_view body, Call how) {
    if (how.trust.empty())
        how.trust = service.certificateFile();
    return call(service.port(), body, how);
}

Answer call(int port, std::string_view body, const Call &how) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> handle(curl_easy_init(), curl_easy_cleanup);
    if (!handle)
        throw std::runtime_error("libcurl is not available");
    CURL *curl = handle.get();
    const std::string url = "https://" + how.host + ":" + std::to_string(port) + how.path;
    const std::string trust = how.trust.string();
    const bool hasBody = how.method != "GET";
    Source source{body, body};
    Answer answer;
    Sink bodySink{&answer.body, how.answerLimitBytes, how.pauseAnswer};
    Sink headerSink{&answer.headers, 1U << 20};

    curl_slist *lines = curl_slist_append(nullptr, ("Content-Type: " + contentType).c_str());
    lines = curl_slist_append(lines, "Expect:");
    if (how.chunked)
        lines = curl_slist_append(lines, "Transfer-Encoding: chunked");
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(lines, curl_slist_free_all);

    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_CAINFO, trust.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(how.timeout.count()));
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, how.followRedirects ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &take);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &bodySink);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &take);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &headerSink);
    if (hasBody) {
        curl_easy_setopt(curl, CURLOPT_POST, 1L);
        curl_easy_setopt(curl, CURLOPT_READFUNCTION, &give);
        curl_easy_setopt(curl, CURLOPT_READDATA, &source);
        curl_easy_setopt(curl, CURLOPT_SEEKFUNCTION, &rewind);
        curl_easy_setopt(curl, CURLOPT_SEEKDATA, &source);
        if (!how.chunked)
            curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    }
    if (how.method != "POST" && how.method != "GET")
        curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, how.method.c_str());

    const auto start = std::chrono::steady_clock::now();
    answer.error = curl_easy_perform(curl);
    answer.took =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &answer.status);
    curl_off_t sent = 0;
    curl_easy_getinfo(curl, CURLINFO_SIZE_UPLOAD_T, &sent);
    answer.sentBytes = static_cast<std::uint64_t>(sent);
    return answer;
}

} // namespace support_service::test
