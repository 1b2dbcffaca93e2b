#include "platform/linux/helpers/system_profiler/Snaps.h"

#include "platform/linux/helpers/system_profiler/TestMachine.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace system_profiler {

namespace {

constexpr auto snapFile = "name: viewer\n# version: 0\nversion: \"2.1-3\"\nsummary: 'a: b'\n"
                          "apps:\n"
                          "  helper:\n"
                          "    command: usr/bin/helper --quiet\n"
                          "    environment:\n"
                          "      command-of: x\n"
                          "  'main':\n"
                          "    command: usr/bin/viewer\n"
                          "    plugs: [home]\n"
                          "plugs:\n"
                          "  later:\n"
                          "    command: usr/bin/no\n";

class Snaps : public testing::Test {
protected:
    std::optional<Snap> snapAt(const fs::path &path, const QByteArray &mark = {}) {
        InstalledEntry entry;
        entry.path = path;
        entry.entry.snap = mark;
        return snapOf(entry, m_machine.places, m_notRead);
    }
    void write(const fs::path &name, const QByteArray &content) const {
        test_support::writeFile(m_machine.root() / name, content);
    }
    fs::path snapEntries() const { return m_machine.places.snapEntries; }

    TestMachine m_machine;
    NotRead m_notRead;
};

TEST_F(Snaps, SayTheirVersionAndPrograms) {
    const SnapFile file = parseSnapFile(snapFile);
    EXPECT_EQ(file.version, QStringLiteral("2.1-3"));
    EXPECT_EQ(file.commands,
              (std::map<std::string, std::string>{{"helper", "usr/bin/helper"}, {"main", "usr/bin/viewer"}}));
}

TEST_F(Snaps, WithRubbishInTheirFileSayNothing) {
    for (const QByteArray &bytes :
         {QByteArray(), QByteArray("\0:\1", 3), QByteArray(":::\n  :"), QByteArray("apps:\n:")})
        EXPECT_EQ(parseSnapFile(bytes).version, QString());
}

TEST_F(Snaps, AreToldByWhereTheirEntryStands) {
    write("snap/viewer/current/meta/snap.yaml", snapFile);
    const auto snap = snapAt(snapEntries() / "viewer_main.desktop");
    ASSERT_TRUE(snap);
    EXPECT_EQ(snap->name, QStringLiteral("viewer"));
    EXPECT_EQ(snap->version, QStringLiteral("2.1-3"));
    EXPECT_EQ(snap->location, m_machine.root() / "snap/viewer/current");
    EXPECT_EQ(snap->program, m_machine.root() / "snap/viewer/current/usr/bin/viewer");
    EXPECT_EQ(snap->publisher, QString());
    EXPECT_FALSE(snapAt(m_machine.systemEntries() / "viewer_main.desktop"));
}

TEST_F(Snaps, AreToldByTheMarkInTheirEntry) {
    EXPECT_EQ(snapAt(m_machine.userEntries() / "copy.desktop", "viewer")->name, QStringLiteral("viewer"));
    EXPECT_FALSE(snapAt(m_machine.userEntries() / "copy.desktop", "../viewer"));
}

TEST_F(Snaps, WithoutTheirFileAreNoted) {
    fs::create_directories(m_machine.root() / "snap/viewer/current");
    EXPECT_EQ(snapAt(snapEntries() / "viewer_main.desktop")->version, QString());
    EXPECT_EQ(reasonsBelow(m_machine.root(), m_notRead),
              (std::map<std::string, std::string>{
                  {"snap/viewer/current/meta/snap.yaml", "No such file or directory"}}));
}

TEST_F(Snaps, HaveThePublisherThatWasSignedForThem) {
    write("snapd/assertions/snap-declaration/16/id1/active",
          "type: snap-declaration\nsnap-name: other\npublisher-id: o1\n\nsignature\n");
    write("snapd/assertions/snap-declaration/16/id2/active.4",
          "type: snap-declaration\nsnap-name: viewer\npublisher-id: p1\n\nsnap-name: other\n");
    write("snapd/assertions/account/p1/active", "type: account\ndisplay-name: The X Team\n\nsignature\n");
    write("snapd/assertions/account/o1/active", "type: account\ndisplay-name: Other\n\n");
    EXPECT_EQ(snapAt(snapEntries() / "viewer_main.desktop")->publisher, QStringLiteral("The X Team"));
    EXPECT_EQ(snapAt(snapEntries() / "unsigned_main.desktop")->publisher, QString());
}

} // namespace

} // namespace system_profiler
