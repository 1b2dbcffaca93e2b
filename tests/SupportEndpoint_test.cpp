// The documented support side, and the shipped program that sends to it.
#include "test_support/SupportEndpoint.h"
#include "tests/SilentRun.h"

#include <QCryptographicHash>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

class DocumentedEndpoint : public SilentRun {
protected:
    DocumentedEndpoint() {
        // There the port is nobody else's.
        if (canEnter(enterLoopbackNetwork))
            enterLoopbackNetwork();
        install();
    }

    ProgramOptions sendingTo(const SupportEndpoint &endpoint) const {
        bundle.setText("LumamonSupportHost", endpoint.host());
        return programWith("SSL_CERT_FILE", endpoint.certificateFile());
    }
    static std::string status(const std::string &code, const std::string &text) {
        return "INFO: Status Code: " + code + "\nINFO: Response Data: " + text;
    }
    // What curl gets for sending this body, or this file.
    static std::string answerTo(const SupportEndpoint &endpoint, const std::vector<std::string> &request) {
        ProgramOptions curl{.program = "/usr/bin/curl",
                            .arguments = {"-q", "-s", "--cacert", endpoint.certificateFile(), "-w",
                                          "%{http_code}",
                                          "https://" + endpoint.host() + "/cr-apip-7.0.0/mac/log"}};
        curl.arguments.insert(curl.arguments.end(), request.begin(), request.end());
        ProgramRun running(curl);
        EXPECT_EQ(running.waitForEnd(), exited(0)) << running.standardError();
        return running.standardOutput();
    }
};

} // namespace

TEST_F(DocumentedEndpoint, StoresAnArchiveUnderItsLogIdOnceHoweverOftenItComes) {
    const SupportEndpoint endpoint;
    run(sendingTo(endpoint));
    EXPECT_THAT(uploadLog(), testing::StartsWith(status("200", "Received LOGID.")));
    EXPECT_FALSE(fs::exists(runFolder()));
    const fs::path folder = endpoint.archives() / logId();
    const FileTree stored = treeOf(folder);
    ASSERT_EQ(stored.size(), 1U);
    const fs::path archive = folder / stored.begin()->first;
    EXPECT_EQ(archive.filename(),
              QCryptographicHash::hash(readFile(archive), QCryptographicHash::Sha256).toHex().toStdString() +
                  ".zip");
    EXPECT_EQ(readArchive(archive).count("Lumadoc/DetailedInfo.json"), 1U);

    const std::string boundary = "00000000-0000-4000-8000-00000000000A";
    const auto send = [&](const std::string &name, const QByteArray &bytes, const char *end = "--\r\n") {
        const std::string head = "\r\n--" + boundary +
                                 "\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + name +
                                 "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
        const fs::path body = home.path() / "body";
        writeFile(body, head.c_str() + bytes + ("\r\n--" + boundary + end).c_str());
        return answerTo(endpoint, {"-H", "Content-Type: multipart/form-data; boundary=" + boundary,
                                   "--data-binary", "@" + body.native()});
    };
    const std::string name = "lumaMacLog_" + logId() + "_cef.zip";
    EXPECT_EQ(send(name, readFile(archive)), "Received " + logId() + ".200");
    EXPECT_EQ(treeOf(folder), stored);
    // Another archive with the same Log ID replaces nothing.
    EXPECT_EQ(send(name, "another"), "Received " + logId() + ".200");
    EXPECT_EQ(treeOf(folder).size(), 2U);
    EXPECT_EQ(readArchive(archive).count("Lumadoc/DetailedInfo.json"), 1U);

    const std::string refused = "This is not an archive of Lumadoc Diagnostics.400";
    for (const char *const wrong : {"lumaMacLog_../../x_cef.zip", "other.zip", ""})
        EXPECT_EQ(send(wrong, "bytes"), refused) << wrong;
    EXPECT_EQ(send(name, "bytes", "\r\n"), refused);
    EXPECT_EQ(answerTo(endpoint, {"-X", "POST"}), refused) << "without a body there is no file";
    // Nor can a client name a file of the service's.
    EXPECT_EQ(answerTo(endpoint, {"--data", "x", "-H", "X-Body-File: /nowhere"}), refused);
    EXPECT_THAT(answerTo(endpoint, {}), testing::EndsWith("403"));
    EXPECT_EQ(treeOf(endpoint.archives()).size(), 3U);
    EXPECT_TRUE(fs::is_empty(endpoint.incoming()));
}

TEST_F(DocumentedEndpoint, RefusesWhatIsTooLargeAndWhatItCannotStore) {
    const std::string failed =
        uploadErrors(1, "com.brennic.LumadocDiagnostics.upload", "Internal Server Error.");
    const SupportEndpoint small("1k");
    run(sendingTo(small));
    EXPECT_THAT(uploadLog(), testing::StartsWith("INFO: Status Code: 413\n"));
    EXPECT_THAT(uploadLog(), testing::EndsWith(failed));
    expectArchiveComplete();

    const SupportEndpoint endpoint;
    fs::remove(endpoint.archives());
    writeFile(endpoint.archives(), "in the way");
    run(sendingTo(endpoint));
    EXPECT_EQ(uploadLog(), status("500", "The archive could not be stored.") + "\n" + failed);
    expectArchiveComplete();
}
