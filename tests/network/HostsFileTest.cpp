#include "network/HostsFile.h"

#include "tests/network/BlockRules.h"

#include <gtest/gtest.h>

using namespace velmox;

using test::rules;

TEST(HostsFile, TheBlockListsEveryNameOfEnabledDomainRulesInOrder) {
    QList<BlockRule> list = rules({"example.com", "10.0.0.1", "news.example.org", "ads.example"});
    list[3].enabled = false;
    EXPECT_EQ(HostsFile::managedBlock(list),
              "# BEGIN Velmox Blocker (managed by Velmox - do not edit)\n"
              "0.0.0.0 example.com\n:: example.com\n"
              "0.0.0.0 www.example.com\n:: www.example.com\n"
              "0.0.0.0 news.example.org\n:: news.example.org\n"
              "# END Velmox Blocker\n");
    EXPECT_EQ(HostsFile::blockedNameCount(list), 3);
}

// The user's lines, a block another program manages, odd line ends and a missing final line
// feed all come through repeated applies unchanged; only the managed blocks change.
TEST(HostsFile, EveryByteOutsideTheMarkersIsKeptAcrossApplies) {
    const QByteArray before = "127.0.0.1\tlocalhost\r\n# my notes\n\n";
    const QByteArray foreign =
        "# BEGIN Other Blocker\n0.0.0.0 other.example\n# END Other Blocker\n";
    const QByteArray after = "192.168.1.2 nas # no final line feed";
    const QByteArray user = before + foreign + after;

    const QByteArray once = HostsFile::rewrite(user, rules({"example.com"}), true);
    EXPECT_EQ(once, user + '\n' + HostsFile::managedBlock(rules({"example.com"})));
    const QByteArray twice = HostsFile::rewrite(once, rules({"b.example", "c.example"}), true);
    EXPECT_EQ(twice, user + '\n' + HostsFile::managedBlock(rules({"b.example", "c.example"})));
    EXPECT_EQ(HostsFile::rewrite(twice, {}, false), user + '\n');

    // A block in the middle is rebuilt where it stood.
    const QByteArray middle = before + HostsFile::managedBlock(rules({"a.example"})) + after;
    EXPECT_EQ(HostsFile::rewrite(middle, rules({"z.example"}), true),
              before + HostsFile::managedBlock(rules({"z.example"})) + after);
    EXPECT_EQ(HostsFile::rewrite("", rules({}), true), HostsFile::managedBlock({}));
}

TEST(HostsFile, OldAndBrokenBlocksAreRemovedWithoutTakingUserLines) {
    const QByteArray old = "1.1.1.1 one\n"
                           "# BEGIN Brisk Tide Blocker (managed by Brisk Tide - do not edit)\n"
                           "0.0.0.0 old.example\n"
                           "# END Brisk Tide Blocker\n"
                           "2.2.2.2 two\n";
    EXPECT_EQ(HostsFile::rewrite(old, rules({"new.example"}), true),
              "1.1.1.1 one\n" + HostsFile::managedBlock(rules({"new.example"})) + "2.2.2.2 two\n");

    // A begin marker whose end was deleted by hand, and an end marker left on its own: the
    // markers go, the user's lines stay, and the next apply finds exactly one block.
    const QByteArray broken = "1.1.1.1 one\r\n# BEGIN Velmox Blocker (managed by Velmox - do not "
                              "edit)\r\n3.3.3.3 three\n# END Brisk Tide Blocker\n4.4.4.4 four";
    const QByteArray fixed = HostsFile::rewrite(broken, rules({"x.example"}), true);
    EXPECT_EQ(fixed, "1.1.1.1 one\r\n" + HostsFile::managedBlock(rules({"x.example"})) +
                         "3.3.3.3 three\n4.4.4.4 four");
    EXPECT_EQ(HostsFile::rewrite(fixed, rules({"x.example"}), true), fixed);
}
