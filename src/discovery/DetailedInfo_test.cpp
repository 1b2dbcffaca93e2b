#include "discovery/DetailedInfo.h"

#include "discovery/RunState.h"
#include "platform/Account.h"
#include "platform/Network.h"
#include "test_support/Isolation.h"
#include "test_support/LoggedTest.h"
#include "test_support/ProgramRun.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

namespace fs = std::filesystem;
using namespace UtilityFunctions;
using test_support::readFile;
using testing::ElementsAre;

class RunRecord : public test_support::LoggedTest {
protected:
    // Saves the record, and expects it to hold this and the machine.
    void expectSaved(QByteArray json) {
        tempOutputURL = home.path();
        saveDetailedInfo();
        json.replace("MACHINE", getMachineHash().toLatin1());
        EXPECT_EQ(QJsonDocument::fromJson(readFile(home.path() / "DetailedInfo.json")),
                  QJsonDocument::fromJson(json));
    }
};

TEST_F(RunRecord, HoldsTheProductTheMachineAndThisProgram) {
    saveDetailedInfo();
    EXPECT_THAT(said(), ElementsAre("ERROR: tempOutputURL is nil"));
    // A run without a product.
    expectSaved(R"({"lumadoc_product": "", "lumadoc_version": "Trunk", "lumadoc_versionnumber": "",
                    "lumadoc_lumadocinstallpath": "", "diagnostics_silentapp": "False",
                    "diagnostics_machineid": "MACHINE", "diagnostics_version": "",
                    "diagnostics_component": ""})");
    lumadocOrPellix = QStringLiteral("Lumadoc");
    flavour = QStringLiteral("QZ");
    LumadocVersion = QStringLiteral("10.003.20112");
    LumadocInstalledUrlUsed = "/opt/Lumadoc.app";
    LumamonAppVersion = QStringLiteral("1.0.0");
    IsSilentMode = true;
    CommandLineArguments::componentName = QStringLiteral("editor \"core\"");
    expectSaved(R"({"lumadoc_product": "Lumadoc", "lumadoc_version": "QZ",
                    "lumadoc_versionnumber": "10.003.20112",
                    "lumadoc_lumadocinstallpath": "/opt/Lumadoc.app", "diagnostics_silentapp": "True",
                    "diagnostics_machineid": "MACHINE", "diagnostics_version": "1.0.0",
                    "diagnostics_component": "editor \"core\""})");
}

TEST(RunRecordCoding, IsCompactAndDecodesOnlyWithAllEightTexts) {
    DetailedInfo info;
    info.lumadoc_product = QStringLiteral("Pellix");
    info.diagnostics_component = QStringLiteral("ü/\\\"\n");
    EXPECT_EQ(DetailedInfo::decoded(info.encoded()), info);
    EXPECT_FALSE(info.encoded().contains('\n') || info.encoded().contains(": "));
    const QJsonObject whole = QJsonDocument::fromJson(info.encoded()).object();
    ASSERT_EQ(whole.size(), 8);
    for (const QString &key : whole.keys()) {
        QJsonObject object = whole;
        object.remove(key);
        EXPECT_FALSE(DetailedInfo::decoded(QJsonDocument(object).toJson())) << key.toStdString();
        object.insert(key, 1);
        EXPECT_FALSE(DetailedInfo::decoded(QJsonDocument(object).toJson())) << key.toStdString();
    }
    EXPECT_FALSE(DetailedInfo::decoded("no json"));
    EXPECT_EQ(DetailedInfo::codingKey(QStringLiteral("diagnostics_component")),
              DetailedInfo::CodingKeys::diagnostics_component);
    EXPECT_FALSE(DetailedInfo::codingKey(QStringLiteral("diagnostics_other")));
}

using TextFile = test_support::LoggedTest;

TEST_F(TextFile, IsReplacedForTheUserAloneWhereThereIsContentAndAPlace) {
    const fs::path file = home.path() / "record.json";
    CreateFile(file, QString());
    CreateFile(std::nullopt, QStringLiteral("text"));
    EXPECT_FALSE(fs::exists(file) || fs::exists(log));
    test_support::writeFile(file, "something longer than what comes");
    CreateFile(file, QStringLiteral("grüße"));
    EXPECT_EQ(readFile(file), QStringLiteral("grüße").toUtf8());
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0600));
    CreateFile(home.path() / "missing" / "record.json", QStringLiteral("text"));
    fs::create_directories(home.path() / "folder/inside");
    CreateFile(home.path() / "folder", QStringLiteral("text"));
    EXPECT_TRUE(fs::exists(home.path() / "folder/inside"));
    const std::string failed = "ERROR: Failed to create the file.";
    EXPECT_THAT(said(), ElementsAre("INFO: File created and content written successfully.", failed, failed));
}

TEST(MachineIdentity, IsTheFirstAddressAndTheUserHashedWithSha512) {
    const auto addresses = platform::hardwareAddresses().value();
    const QString user = platform::userName();
    const QString machine = (addresses.empty() ? QString() : addresses.front()) + u'_' + user;
    EXPECT_FALSE(user.isEmpty());
    EXPECT_EQ(getUnitMachineString(), machine);
    EXPECT_EQ(getMachineHash().toLatin1(),
              QCryptographicHash::hash(machine.toUtf8(), QCryptographicHash::Sha512).toHex());
    ASSERT_TRUE(test_support::canEnter(test_support::enterNoNetwork));
    const auto isUserAlone = [&] {
        test_support::enterNoNetwork();
        return getUnitMachineString() == u'_' + user ? 0 : 1;
    };
    EXPECT_EQ(test_support::statusInChild(isUserAlone), 0) << "no interface";
}

} // namespace
