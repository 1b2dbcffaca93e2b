#include "discovery/DetailedInfo.h"

#include "discovery/MachineIdentity.h"
#include "discovery/RunState.h"
#include "test_support/LogReader.h"
#include "test_support/ScratchHome.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

namespace {

using namespace UtilityFunctions;
using test_support::logLines;

class DetailedInfoTest : public testing::Test {
protected:
    QJsonObject save() {
        tempOutputURL = home.path();
        saveDetailedInfo();
        return QJsonDocument::fromJson(test_support::readFile(home.path() / "DetailedInfo.json")).object();
    }

    test_support::ScratchHome home;
    std::filesystem::path log = test_support::startLog();
};

TEST_F(DetailedInfoTest, RecordsTheProductTheMachineAndThisProgram) {
    lumadocOrPellix = QStringLiteral("Lumadoc");
    flavour = QStringLiteral("QZ");
    LumadocVersion = QStringLiteral("10.003.20112");
    LumadocInstalledUrlUsed = "/opt/Lumadoc.app";
    LumamonAppVersion = QStringLiteral("1.0.0");
    IsSilentMode = true;
    CommandLineArguments::componentName = QStringLiteral("editor \"core\"");

    EXPECT_EQ(save(), (QJsonObject{
                          {QStringLiteral("lumadoc_product"), QStringLiteral("Lumadoc")},
                          {QStringLiteral("lumadoc_version"), QStringLiteral("QZ")},
                          {QStringLiteral("lumadoc_versionnumber"), QStringLiteral("10.003.20112")},
                          {QStringLiteral("lumadoc_lumadocinstallpath"), QStringLiteral("/opt/Lumadoc.app")},
                          {QStringLiteral("diagnostics_silentapp"), QStringLiteral("True")},
                          {QStringLiteral("diagnostics_machineid"), getMachineHash()},
                          {QStringLiteral("diagnostics_version"), QStringLiteral("1.0.0")},
                          {QStringLiteral("diagnostics_component"), QStringLiteral("editor \"core\"")},
                      }));
    EXPECT_EQ(logLines(log),
              QStringList{QStringLiteral("INFO: File created and content written successfully.")});
}

TEST_F(DetailedInfoTest, ARunWithoutAProductHasEmptyTexts) {
    const QJsonObject record = save();
    for (const char *key : {"lumadoc_product", "lumadoc_versionnumber", "lumadoc_lumadocinstallpath",
                            "diagnostics_version", "diagnostics_component"})
        EXPECT_EQ(record.value(QLatin1String(key)), QJsonValue(QString())) << key;
    EXPECT_EQ(record.value(QStringLiteral("lumadoc_version")), QJsonValue(QStringLiteral("Trunk")));
    EXPECT_EQ(record.value(QStringLiteral("diagnostics_silentapp")), QJsonValue(QStringLiteral("False")));
    EXPECT_EQ(record.size(), 8);
}

TEST_F(DetailedInfoTest, WithoutAnOutputFolderThereIsNoRecord) {
    saveDetailedInfo();
    EXPECT_EQ(logLines(log), QStringList{QStringLiteral("ERROR: tempOutputURL is nil")});
}

DetailedInfo sample() {
    DetailedInfo info;
    info.lumadoc_product = QStringLiteral("Pellix");
    info.diagnostics_component = QStringLiteral("ü/\\\"\n");
    return info;
}

TEST(DetailedInfoCoding, DecodesWhatItEncoded) {
    EXPECT_EQ(DetailedInfo::decoded(sample().encoded()), sample());
}

TEST(DetailedInfoCoding, IsCompact) {
    EXPECT_FALSE(sample().encoded().contains('\n'));
    EXPECT_FALSE(sample().encoded().contains(": "));
}

TEST(DetailedInfoCoding, AMissingKeyFails) {
    const QJsonObject whole = QJsonDocument::fromJson(sample().encoded()).object();
    for (const QString &key : whole.keys()) {
        QJsonObject object = whole;
        object.remove(key);
        EXPECT_FALSE(DetailedInfo::decoded(QJsonDocument(object).toJson())) << key.toStdString();
        object.insert(key, 1);
        EXPECT_FALSE(DetailedInfo::decoded(QJsonDocument(object).toJson())) << key.toStdString();
    }
    EXPECT_FALSE(DetailedInfo::decoded("no json"));
}

TEST(DetailedInfoCoding, KeysAreFoundByTheirText) {
    EXPECT_EQ(DetailedInfo::codingKey(QStringLiteral("lumadoc_product")),
              DetailedInfo::CodingKeys::lumadoc_product);
    EXPECT_EQ(DetailedInfo::codingKey(QStringLiteral("diagnostics_component")),
              DetailedInfo::CodingKeys::diagnostics_component);
    EXPECT_FALSE(DetailedInfo::codingKey(QStringLiteral("diagnostics_other")));
}

} // namespace
