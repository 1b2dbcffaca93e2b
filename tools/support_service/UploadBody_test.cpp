// The upload format, and what departs from it.
#include "UploadBody.h"

#include "Sha256.h"
#include "TestClient.h"

#include <gtest/gtest.h>

namespace support_service::test {

namespace {

/// What is wrong with this body; empty when nothing is.
std::string problemOf(const std::string &body, const std::string &type = contentType) {
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
    for (const std::string &content :
         {std::string(), std::string("\r\n"), std::string("a\0b", 3), std::string("\r\n--"),
          "--" + boundary + "--\r\n", someBytes(100'000)}) {
        const std::string body = uploadBody(content, "some name.zip");
        std::string problem;
        const auto upload = parseUploadBody(contentType, body, problem);
        ASSERT_TRUE(upload) << problem;
        EXPECT_EQ(upload->fileName, "some name.zip");
        EXPECT_TRUE(upload->content == content);
        EXPECT_TRUE(upload->complete);
    }
}

TEST(UploadBody, IsIncompleteAtEveryPlaceWhereItBreaksOff) {
    const std::string whole = uploadBody("content");
    const std::size_t headSize = whole.find("content");
    for (std::size_t size = 0; size < whole.size(); ++size) {
        std::string problem;
        const auto upload = parseUploadBody(contentType, whole.substr(0, size), problem);
        if (size < headSize)
            EXPECT_FALSE(upload) << size;
        else
            EXPECT_FALSE(upload && upload->complete) << size;
    }
}

TEST(UploadBody, IsHeldToItsFormat) {
    const std::string body = uploadBody("content");
    EXPECT_EQ(problemOf(body), "");
    EXPECT_EQ(problemOf(body, "text/plain"), "the content type is not multipart form data with a boundary");
    EXPECT_EQ(problemOf(body, "multipart/form-data; boundary=\"" + boundary + "\""),
              "the boundary is not a UUID in upper case");
    EXPECT_EQ(problemOf(body, "multipart/form-data; boundary=0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0"),
              "the boundary is not a UUID in upper case");
    EXPECT_EQ(problemOf(body.substr(2)), "the body does not begin with a line break and the boundary");
    EXPECT_EQ(problemOf(body, "multipart/form-data; boundary=1F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0"),
              "the body does not begin with a line break and the boundary");
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

TEST(LogId, StandsInTheArchiveName) {
    EXPECT_EQ(logIdFromFileName(archiveName), "3b1f8a3e-55f0-4ad0-8d5c-3a1f1f3f9d55");
    EXPECT_EQ(logIdFromFileName("lumaMacLog_id_abc.zip"), "id");
    EXPECT_EQ(logIdFromFileName("lumaMacLog_id.zip"), "");
    EXPECT_EQ(logIdFromFileName("lumaMacLog_id_abc.tar"), "");
    EXPECT_EQ(logIdFromFileName("other_id_abc.zip"), "");
    EXPECT_EQ(logIdFromFileName(""), "");
}

TEST(Sha256, IsTheStandardOne) {
    EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

} // namespace support_service::test
