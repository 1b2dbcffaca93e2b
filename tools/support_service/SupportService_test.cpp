// What the product's own tests rely on without looking: that the service tells good uploads from bad ones,
// and keeps what it received as it came.
#include "support_service/SupportService.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

using namespace support_service;
using namespace test_support;

namespace {

const std::string boundary = "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0";
const std::string agreed = "\r\n--" + boundary +
                           "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"a b.zip\"\r\n"
                           "Content-Type: application/octet-stream\r\n\r\ncontent\r\n--" +
                           boundary + "--\r\n";

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    return text.replace(text.find(from), from.size(), to);
}

std::size_t append(const char *bytes, std::size_t size, std::size_t count, std::string *text) {
    text->append(bytes, size * count);
    return size * count;
}

// Sends a body, and gives the answer with its status.
std::string send(const SupportService &service, const std::string &body, const char *method = "POST",
                 std::string_view path = SupportService::uploadPath) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
        curl_slist_append(nullptr, ("Content-Type: multipart/form-data; boundary=" + boundary).c_str()),
        curl_slist_free_all);
    std::string answer;
    long status = 0;
    const auto set = [&](CURLoption option, auto value) { curl_easy_setopt(curl.get(), option, value); };
    set(CURLOPT_URL, ("https://" + service.host() + std::string(path)).c_str());
    set(CURLOPT_PROXY, "");
    set(CURLOPT_CAINFO, service.certificateFile().c_str());
    set(CURLOPT_HTTPHEADER, headers.get());
    set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    set(CURLOPT_POSTFIELDS, body.data());
    set(CURLOPT_CUSTOMREQUEST, method);
    set(CURLOPT_WRITEFUNCTION, &append);
    set(CURLOPT_WRITEDATA, &answer);
    curl_easy_perform(curl.get());
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    return answer + std::to_string(status);
}

} // namespace

TEST(SupportService, KeepsAnUploadAsItCameAndSaysWhatIsWrongWithOthers) {
    SupportService service;
    const std::string begin = "the body does not begin as the part of a file named \"file\" does";
    const std::string more = "what follows the archive is not the closing boundary alone";
    const std::pair<std::string, std::string> cases[] = {
        {agreed, ""},
        {"", begin},
        {agreed.substr(2), begin},
        {replaced(agreed, boundary, boundary + "0"), begin},
        {replaced(agreed, "; name", ";  name"), begin},
        {replaced(agreed, "octet-stream\r\n", "octet-stream\n"), begin},
        {agreed + "x", more},
        {replaced(agreed, "content\r\n--", "content\r\n--" + boundary + "\r\nmore\r\n--"), more},
        {agreed.substr(0, agreed.size() - 20), "the body broke off before its closing boundary"},
    };
    for (const auto &[body, problem] : cases) {
        EXPECT_EQ(send(service, body), "Received.200");
        EXPECT_EQ(*service.requests().back().body, body);
        const Receipt receipt = service.receipts().back();
        EXPECT_EQ(receipt.problem, problem);
        EXPECT_EQ(receipt.complete, problem.empty());
        EXPECT_EQ(readFile(receipt.archive), problem.empty() ? "content" : "");
    }
    EXPECT_EQ(service.receipts()[0].fileName, "a b.zip");
    EXPECT_EQ(send(service, agreed, "POST", "/elsewhere"), "404");
    EXPECT_EQ(send(service, agreed, "PUT"), "405");
    EXPECT_EQ(service.receipts().size(), std::size(cases));
}
