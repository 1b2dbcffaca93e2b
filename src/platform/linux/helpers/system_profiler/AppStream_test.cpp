#include "platform/linux/helpers/system_profiler/AppStream.h"

#include "platform/linux/helpers/system_profiler/TestMachine.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

using Reasons = std::map<std::string, std::string>;

Component componentIn(const QByteArray &bytes) {
    QString problem;
    const auto component = parseComponent(bytes, problem);
    EXPECT_TRUE(component) << problem.toStdString();
    return component.value_or(Component{});
}

std::string problemOf(const QByteArray &bytes) {
    QString problem;
    EXPECT_FALSE(parseComponent(bytes, problem));
    return problem.toStdString();
}

TEST(AppStream, TellsEntriesNewestVersionAndDeveloper) {
    const Component component = componentIn(
        "<?xml version=\"1.0\"?><component type=\"desktop-application\"><id>org.x.Viewer</id>"
        "<name>Viewer</name><developer_name xml:lang=\"de\">Werk</developer_name>"
        "<developer_name> The X Team </developer_name><description><p>Text <em>more</em></p></description>"
        "<launchable type=\"desktop-id\">viewer.desktop</launchable>"
        "<launchable type=\"service\">viewer.service</launchable>"
        "<releases><release version=\"2.1\" date=\"2026-01-01\"><description/></release>"
        "<release version=\"2.0\"/></releases></component>");
    EXPECT_EQ(component.entries, (std::vector<std::string>{"org.x.Viewer.desktop", "viewer.desktop"}));
    EXPECT_EQ(component.version, QStringLiteral("2.1"));
    EXPECT_EQ(component.developer, QStringLiteral("The X Team"));
}

TEST(AppStream, ReadsTheNewFormOfTheDeveloper) {
    const Component component =
        componentIn("<component><id>a</id><developer id=\"x\"><name xml:lang=\"de\">Werk"
                    "</name><name>The X Team</name></developer></component>");
    EXPECT_EQ(component.developer, QStringLiteral("The X Team"));
}

TEST(AppStream, ReadsTheOldFormOfAFile) {
    EXPECT_EQ(componentIn("<application><id type=\"desktop\">a.desktop</id></application>").entries,
              (std::vector<std::string>{"a.desktop"}));
}

TEST(AppStream, TakesNoNameFromWithinOtherElements) {
    const Component component =
        componentIn("<component><provides><id>b</id></provides><id>a</id><custom><releases><release "
                    "version=\"9\"/></releases></custom></component>");
    EXPECT_EQ(component.entries, (std::vector<std::string>{"a.desktop"}));
    EXPECT_EQ(component.version, QString());
}

TEST(AppStream, IsNotReadFromOtherFiles) {
    EXPECT_EQ(problemOf("<html/>"), "no AppStream component");
    EXPECT_EQ(problemOf(""), "not well-formed XML in line 1");
    EXPECT_EQ(problemOf("<component>\n<id>a</id>\n<b>"), "not well-formed XML in line 3");
    EXPECT_EQ(problemOf(QByteArray("\0\1\2", 3)), "not well-formed XML in line 1");
}

TEST(AppStream, IsNotExhaustedByItsInput) {
    QByteArray deep = "<component><id>a</id>";
    for (int i = 0; i < 200'000; ++i)
        deep += "<a>";
    EXPECT_EQ(problemOf(deep), "not well-formed XML in line 1");
    QByteArray bomb = "<!DOCTYPE c [<!ENTITY a0 \"aaaaaaaaaa\">";
    for (int i = 1; i < 12; ++i) {
        const QByteArray before = "&a" + QByteArray::number(i - 1) + ";";
        bomb += "<!ENTITY a" + QByteArray::number(i) + " \"" + before.repeated(10) + "\">";
    }
    EXPECT_EQ(problemOf(bomb + "]><component><id>&a11;</id></component>"), "not well-formed XML in line 1");
}

TEST(AppStream, WithATagOfManyAttributesIsNotRead) {
    QByteArray attributes;
    for (int i = 0; i < 100'000; ++i)
        attributes += " a" + QByteArray::number(i) + "=\"\"";
    EXPECT_EQ(problemOf("<component><a" + attributes + "/></component>"), "a tag or a text that is too long");
    EXPECT_EQ(problemOf("<component><a" + attributes), "a tag or a text that is too long");
    const QByteArray tag = "<a" + attributes.left(attributes.lastIndexOf(' ', 8'000)) + "/>";
    EXPECT_EQ(componentIn("<component>" + tag.repeated(100) + "<id>a</id></component>").entries.size(), 1U);
    EXPECT_EQ(
        componentIn("<component><p>" + QByteArray(8'000, 'x') + "</p><id>a</id></component>").entries.size(),
        1U);
}

// Each of the entries costs a small part of the report's memory, however many a file names.
TEST(AppStream, WithManyEntriesIsNotRead) {
    const test_support::ScratchFolder folder;
    const auto fileNaming = [](int count) {
        QByteArray bytes = "<component>";
        for (int i = 0; i < count; ++i)
            bytes += "<id>" + QByteArray::number(i) + "</id>";
        return bytes + "<releases><release version=\"1\"/></releases></component>";
    };
    test_support::writeFile(folder.path() / "a.xml", fileNaming(100'000));
    test_support::writeFile(folder.path() / "b.xml", fileNaming(64));
    NotRead notRead;
    AppStreamBudget budget;
    const auto found = componentsIn({folder.path()}, notRead, budget);
    EXPECT_EQ(reasonsBelow(folder.path(), notRead),
              (Reasons{{"a.xml", "names more than 64 desktop entries"}}));
    ASSERT_EQ(found.size(), 64U);
    for (const auto &[entry, component] : found) {
        EXPECT_EQ(component.version, QStringLiteral("1"));
        EXPECT_TRUE(component.entries.empty()) << entry;
    }
}

TEST(AppStream, OfAnEarlierFileCounts) {
    const test_support::ScratchFolder folder;
    const auto write = [&](const fs::path &name, const QByteArray &version) {
        test_support::writeFile(folder.path() / name, "<component><id>a</id><releases><release version=\"" +
                                                          version + "\"/></releases></component>");
    };
    write("first/b.xml", "1");
    write("second/a.xml", "2");
    write("second/c.txt", "3");
    NotRead notRead;
    AppStreamBudget budget;
    const auto found = componentsIn(
        {folder.path() / "none", folder.path() / "first", folder.path() / "second"}, notRead, budget);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.at("a.desktop").version, QStringLiteral("1"));
    EXPECT_EQ(reasonsBelow(folder.path(), notRead), Reasons());
}

TEST(AppStream, ThatCannotBeReadIsNoted) {
    const test_support::ScratchFolder folder;
    test_support::writeFile(folder.path() / "a.xml", "<component>");
    test_support::writeFile(folder.path() / "b.xml", QByteArray((2 << 20) + 1, ' '));
    fs::create_symlink("nowhere", folder.path() / "c.xml");
    test_support::writeFile(folder.path() / "d.xml", "<component></component>");
    NotRead notRead;
    AppStreamBudget budget{.remainingBytes = 20};
    componentsIn({folder.path()}, notRead, budget);
    EXPECT_EQ(reasonsBelow(folder.path(), notRead),
              (Reasons{{"a.xml", "not well-formed XML in line 1"},
                       {"b.xml", "File too large"},
                       {"c.xml", "No such file or directory"},
                       {"d.xml", "comes after too many bytes of such files"}}));
}

} // namespace

} // namespace system_profiler
