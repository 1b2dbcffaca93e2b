// The upload format, and what departs from it.
#include "support_service/UploadBody.h"

#include <gtest/gtest.h>
#include <stdexcept>

using namespace support_service;

namespace {

const std::string boundary = "0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0";
const std::string form = "multipart/form-data; boundary=";

std::string uploadBody(const std::string &content, const std::string &name = "some name.zip") {
    return "\r\n--" + boundary + "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + name +
           "\"\r\nContent-Type: application/octet-stream\r\n\r\n" + content + "\r\n--" + boundary + "--\r\n";
}

// What is wrong with this body; empty when nothing is.
std::string problemOf(const std::string &body, const std::string &type = form + boundary) {
    try {
        return parseUploadBody(type, body).complete ? "" : "it is incomplete";
    } catch (const std::runtime_error &problem) {
        return problem.what();
    }
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    return text.replace(text.find(from), from.size(), to);
}

} // namespace

TEST(UploadBody, IsTakenApartByteForByte) {
    for (const std::string &content : {std::string(), std::string("\r\n"), std::string("a\0b", 3),
                                       std::string("\r\n--"), "--" + boundary + "--\r\n"}) {
        const std::string body = uploadBody(content);
        const auto upload = parseUploadBody(form + boundary, body);
        EXPECT_EQ(upload.fileName, "some name.zip");
        EXPECT_EQ(upload.content, content);
        EXPECT_TRUE(upload.complete);
    }
}

TEST(UploadBody, IsIncompleteWhereverItBreaksOff) {
    const std::string whole = uploadBody("content");
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_NE(problemOf(whole.substr(0, size)), "") << size;
}

TEST(UploadBody, IsHeldToItsFormat) {
    const std::string body = uploadBody("content");
    EXPECT_EQ(problemOf(body, "text/plain"), "the content type is not multipart form data with a boundary");
    for (const std::string &other : {'"' + boundary + '"', replaced(boundary, "F", "f")})
        EXPECT_EQ(problemOf(body, form + other), "the boundary is not a UUID in upper case");
    const std::string begin = "the body does not begin with a line break and the boundary";
    EXPECT_EQ(problemOf(body, form + replaced(boundary, "0", "1")), begin);
    const std::string disposition = "the part's disposition is not that of a file named \"file\"";
    const std::string type =
        "the file name is not followed by the content type application/octet-stream alone";
    const std::string more = "what follows the archive is not the closing boundary alone";
    const std::pair<std::string, std::string> departures[] = {
        {body.substr(2), begin},
        {replaced(body, "; name", ";  name"), disposition},
        {replaced(body, "\"file\"", "\"data\""), disposition},
        {replaced(body, "Content-Disposition", "content-disposition"), disposition},
        {uploadBody("content", "two\r\nlines"), "the part's file name has no end"},
        {replaced(body, "octet-stream", "zip"), type},
        {replaced(body, "octet-stream\r\n", "octet-stream\n"), type},
        {body + "x", more},
        {replaced(body, "content\r\n--", "content\r\n--" + boundary + "\r\nmore\r\n--"), more},
    };
    for (const auto &[departed, problem] : departures)
        EXPECT_EQ(problemOf(departed), problem);
}

TEST(LogId, ComesFromTheArchiveName) {
    EXPECT_EQ(logIdFromFileName("lumaMacLog_id_abc.zip"), "id");
    for (const char *other : {"lumaMacLog_id.zip", "lumaMacLog_id_abc.tar", "other_id_abc.zip", ""})
        EXPECT_EQ(logIdFromFileName(other), "");
}
