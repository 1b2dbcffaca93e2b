// The upload format, and what departs from it.
#include "support_service/UploadBody.h"

#include <gtest/gtest.h>

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
    std::string problem;
    const auto upload = parseUploadBody(type, body, problem);
    EXPECT_EQ(upload.has_value(), problem.empty());
    return problem;
}

std::string replaced(std::string text, const std::string &from, const std::string &to) {
    return text.replace(text.find(from), from.size(), to);
}

} // namespace

TEST(UploadBody, IsTakenApartByteForByte) {
    for (const std::string &content : {std::string(), std::string("\r\n"), std::string("a\0b", 3),
                                       std::string("\r\n--"), "--" + boundary + "--\r\n"}) {
        const std::string body = uploadBody(content);
        std::string problem;
        const auto upload = parseUploadBody(form + boundary, body, problem);
        ASSERT_TRUE(upload) << problem;
        EXPECT_EQ(upload->fileName, "some name.zip");
        EXPECT_EQ(upload->content, content);
        EXPECT_TRUE(upload->complete);
    }
}

TEST(UploadBody, IsIncompleteWhereverItBreaksOff) {
    const std::string whole = uploadBody("content");
    const std::size_t headSize = whole.find("content");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::string problem;
        const auto upload = parseUploadBody(form + boundary, whole.substr(0, size), problem);
        EXPECT_FALSE(upload && (size < headSize || upload->complete)) << size;
    }
}

TEST(UploadBody, IsHeldToItsFormat) {
    const std::string body = uploadBody("content");
    EXPECT_EQ(problemOf(body), "");
    EXPECT_EQ(problemOf(body, "text/plain"), "the content type is not multipart form data with a boundary");
    for (const std::string &other : {'"' + boundary + '"', replaced(boundary, "F", "f")})
        EXPECT_EQ(problemOf(body, form + other), "the boundary is not a UUID in upper case");
    const std::string begin = "the body does not begin with a line break and the boundary";
    EXPECT_EQ(problemOf(body.substr(2)), begin);
    EXPECT_EQ(problemOf(body, form + replaced(boundary, "0", "1")), begin);
    const std::string disposition = "the part's disposition is not that of a file named \"file\"";
    EXPECT_EQ(problemOf(replaced(body, "; name", ";  name")), disposition);
    EXPECT_EQ(problemOf(replaced(body, "\"file\"", "\"data\"")), disposition);
    EXPECT_EQ(problemOf(replaced(body, "Content-Disposition", "content-disposition")), disposition);
    EXPECT_EQ(problemOf(uploadBody("content", "two\r\nlines")), "the part's file name has no end");
    const std::string type =
        "the file name is not followed by the content type application/octet-stream alone";
    EXPECT_EQ(problemOf(replaced(body, "octet-stream", "zip")), type);
    EXPECT_EQ(problemOf(replaced(body, "octet-stream\r\n", "octet-stream\n")), type);
    const std::string more = "what follows the archive is not the closing boundary alone";
    EXPECT_EQ(problemOf(body + "x"), more);
    EXPECT_EQ(problemOf(body.substr(0, body.size() - 2)), more);
    EXPECT_EQ(problemOf(replaced(body, "content\r\n--", "content\r\n--" + boundary + "\r\nmore\r\n--")),
              more);
}

TEST(LogId, ComesFromTheArchiveName) {
    EXPECT_EQ(logIdFromFileName("lumaMacLog_id_abc.zip"), "id");
    for (const char *other : {"lumaMacLog_id.zip", "lumaMacLog_id_abc.tar", "other_id_abc.zip", ""})
        EXPECT_EQ(logIdFromFileName(other), "");
}
