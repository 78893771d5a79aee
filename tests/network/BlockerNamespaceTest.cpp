#include "network/HostsFile.h"
#include "platform/PlatformPaths.h"
#include "services/Settings.h"
#include "tests/support/VelmoxProcess.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace velmox;
using namespace velmox::test;

// The blocker for real: nft rules in the kernel, the resolver reading the hosts file, TCP
// connections, all inside a private network and mount namespace of each case.

namespace {

const QByteArray kUserHosts = "127.0.0.1\tlocalhost\n# kept by hand\n192.0.2.50 printer\n";

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>");
}

void writeAll(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

VelmoxRun cli(const QStringList& args) {
    return runVelmox(args);
}

// One namespace with `hostsFile` mounted over /etc/hosts, loopback up with one more IPv4 and
// IPv6 address (name lookups that ask which families are configured skip a machine with
// loopback alone), running `script` in bash. The script can call `velmox ...` and `probe`,
// which listens on 127.0.0.2 and prints "connected" or "no connection" for a connect that
// gets two seconds.
struct NamespaceWorld {
    QTemporaryDir folder;
    QString hosts = folder.filePath("hosts");

    NamespaceWorld() { writeAll(hosts, kUserHosts); }

    QString run(const QString& script) {
        static const QString setup = QStringLiteral(R"sh(
set -e
mount --bind "$HOSTS" /etc/hosts
ip link set lo up
ip addr add 192.0.2.1/32 dev lo
ip addr add 2001:db8::99/128 dev lo
set +e
velmox() { "$VELMOX" "$@" 2>&1; echo "exit $?"; }
probe() {
    python3 -c '
import socket
server = socket.socket(); server.bind(("127.0.0.2", 0)); server.listen()
client = socket.socket(); client.settimeout(2)
try:
    client.connect(server.getsockname()); print("connected")
except OSError:
    print("no connection")'
}
)sh");
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOSTS", hosts);
        environment.insert("VELMOX", VELMOX_BINARY);
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start("/usr/bin/unshare", {"--net", "--mount", "/bin/bash", "-c", setup + script});
        process.closeWriteChannel();
        if (!process.waitForFinished(120000))
            process.kill();
        return QString::fromUtf8(process.readAll());
    }
};

bool canMakeNamespaces() {
    return ::geteuid() == 0 && QProcess::execute("/usr/bin/unshare", {"--net", "--mount", "true"}) == 0 &&
           QFileInfo::exists("/usr/sbin/nft");
}

// Every case starts with an empty list and no backups.
class BlockCommand : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(Settings().remove(BlockerKeys::kRules));
        QDir(PlatformPaths::appDataFolder() + "/HostsBackups").removeRecursively();
    }
};

QJsonArray backups() {
    return QJsonDocument::fromJson(cli({"block", "backups", "--json"}).out).array();
}

} // namespace

TEST_F(BlockCommand, ListChangesAreSavedAndRefusalsSayWhy) {
    EXPECT_EQ(cli({"block", "add", "https://Ads.Example.com/banner?id=1"}).exitCode, 0);
    EXPECT_EQ(cli({"block", "add", "10.9.8.7/8"}).exitCode, 0);
    const VelmoxRun twice = cli({"block", "add", "ads.example.com"});
    EXPECT_EQ(twice.exitCode, 1);
    EXPECT_EQ(twice.err, "“ads.example.com” is already in the list.\n");
    const VelmoxRun bad = cli({"block", "add", "999.1.1.1"});
    EXPECT_EQ(bad.exitCode, 1);
    EXPECT_EQ(bad.err, "“999.1.1.1” is not a valid IP address.\n");

    // A rule is found by what was typed or by its value.
    EXPECT_EQ(cli({"block", "disable", "https://Ads.Example.com/banner?id=1"}).exitCode, 0);
    const VelmoxRun listed = cli({"block", "list", "--json"});
    EXPECT_EQ(QJsonDocument::fromJson(listed.out).array(),
              (QJsonArray{QJsonObject{{"value", "ads.example.com"},
                                      {"kind", "domain"},
                                      {"source", "https://Ads.Example.com/banner?id=1"},
                                      {"enabled", false}},
                          QJsonObject{{"value", "10.0.0.0/8"},
                                      {"kind", "range"},
                                      {"source", "10.9.8.7/8"},
                                      {"enabled", true}}}));
    EXPECT_EQ(cli({"block", "remove", "10.0.0.0/8"}).exitCode, 0);
    const VelmoxRun missing = cli({"block", "enable", "10.0.0.0/8"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.err, "“10.0.0.0/8” is not in the block list.\n");
    EXPECT_EQ(cli({"block", "list"}).out,
              "ads.example.com  [domain, disabled]  from https://Ads.Example.com/banner?id=1\n");
    EXPECT_EQ(cli({"block", "frobnicate"}).exitCode, 2);
}

TEST_F(BlockCommand, ApplyBlocksNamesAndAddressesAndOffUndoesIt) {
    if (!canMakeNamespaces())
        GTEST_SKIP() << "Needs root, unshare and nft.";
    for (const char* rule : {"blocked.example", "127.0.0.2", "2001:db8:7::/48", "10.0.0.0/8"})
        ASSERT_EQ(cli({"block", "add", rule}).exitCode, 0);
    NamespaceWorld world;
    const VelmoxRun preview = cli({"block", "preview", "--hosts", world.hosts});
    EXPECT_EQ(preview.out,
              kUserHosts + HostsFile::managedBlock({*parseBlockInput("blocked.example")}));

    const QString out = world.run(R"sh(
echo "before: $(probe)"
velmox block apply
nft list table inet velmox_blocker
getent ahostsv4 blocked.example | head -n 1
getent ahostsv4 www.blocked.example | head -n 1
stat -c 'hosts %U:%G %a' /etc/hosts
echo "applied: $(probe)"
cp /etc/hosts "$HOSTS.applied"
velmox block off
nft list tables
echo "off: $(probe)"
)sh");
    EXPECT_TRUE(out.contains("before: connected\n")) << out.toStdString();
    EXPECT_TRUE(out.contains("Blocking is on: 2 names in the hosts file, 3 addresses in the "
                             "firewall.\nexit 0\n"))
        << out.toStdString();
    EXPECT_TRUE(out.contains("elements = { 10.0.0.0/8, 127.0.0.2 }")) << out.toStdString();
    EXPECT_TRUE(out.contains("elements = { 2001:db8:7::/48 }")) << out.toStdString();
    EXPECT_TRUE(out.contains(QRegularExpression("0\\.0\\.0\\.0 +STREAM blocked.example\n")))
        << out.toStdString();
    EXPECT_TRUE(out.contains(QRegularExpression("0\\.0\\.0\\.0 +STREAM www.blocked.example\n")))
        << out.toStdString();
    EXPECT_TRUE(out.contains("hosts root:root 644\n")) << out.toStdString();
    EXPECT_TRUE(out.contains("applied: no connection\n")) << out.toStdString();
    EXPECT_TRUE(out.contains("Nothing is blocked now.\nexit 0\n")) << out.toStdString();
    EXPECT_FALSE(out.contains("table inet velmox_blocker\n")) << out.toStdString();
    EXPECT_TRUE(out.contains("off: connected\n")) << out.toStdString();

    EXPECT_EQ(readAll(world.hosts + ".applied"), preview.out);
    EXPECT_EQ(readAll(world.hosts), kUserHosts);
    // Each write was preceded by a signed backup of what it replaced.
    const QJsonArray made = backups();
    ASSERT_EQ(made.size(), 2);
    EXPECT_TRUE(made.at(0)["signed"].toBool());
    EXPECT_EQ(readAll(made.at(0)["folder"].toString() + "/hosts.bak"), preview.out);
    EXPECT_EQ(readAll(made.at(1)["folder"].toString() + "/hosts.bak"), kUserHosts);
}

// The new hosts file cannot be written (a read-only mount): the apply fails with the chain's
// words, the switch stays as it was, and the hosts file and the table of the earlier apply
// are left exactly as they were.
TEST_F(BlockCommand, AFailingStepLeavesHostsAndFirewallAsTheyWere) {
    if (!canMakeNamespaces())
        GTEST_SKIP() << "Needs root, unshare and nft.";
    ASSERT_EQ(cli({"block", "add", "first.example"}).exitCode, 0);
    ASSERT_EQ(cli({"block", "add", "192.0.2.77"}).exitCode, 0);
    NamespaceWorld world;
    const QString out = world.run(R"sh(
velmox block apply
nft list ruleset >"$HOSTS.table-before"
cp /etc/hosts "$HOSTS.before"
velmox block add second.example >/dev/null
velmox block add 198.51.100.0/24 >/dev/null
mount -o remount,ro,bind /etc/hosts
velmox block apply
nft list ruleset | cmp -s - "$HOSTS.table-before" && echo "table unchanged"
cmp -s /etc/hosts "$HOSTS.before" && echo "hosts unchanged"
)sh");
    EXPECT_TRUE(out.contains("Blocking is on: 2 names in the hosts file, 1 address in the "
                             "firewall.\nexit 0\n"))
        << out.toStdString();
    EXPECT_TRUE(out.contains(QRegularExpression(
        "Could not apply the blocklist: .*Read-only file system.* Blocking was not turned on.\n"
        "exit 1\n",
        QRegularExpression::DotMatchesEverythingOption)))
        << out.toStdString();
    EXPECT_TRUE(out.contains("table unchanged\n")) << out.toStdString();
    EXPECT_TRUE(out.contains("hosts unchanged\n")) << out.toStdString();
}

TEST_F(BlockCommand, RestoreTakesOnlyWhatVerifiesOrWhatTheUserVouchesFor) {
    if (!canMakeNamespaces())
        GTEST_SKIP() << "Needs root, unshare and nft.";
    ASSERT_EQ(cli({"block", "add", "gone.example"}).exitCode, 0);
    NamespaceWorld world;
    world.run("velmox block apply");
    const QJsonArray made = backups();
    ASSERT_EQ(made.size(), 1);
    const QString name = made.at(0)["name"].toString();
    const QString folder = made.at(0)["folder"].toString();

    const QString restored = world.run("velmox block restore " + name);
    EXPECT_EQ(restored, "Restored the hosts file from " + name + ".\nexit 0\n");
    EXPECT_EQ(readAll(world.hosts), kUserHosts);

    writeAll(folder + "/hosts.bak", kUserHosts + "203.0.113.9 bank.example\n");
    EXPECT_EQ(world.run("velmox block restore " + name),
              "This backup was changed after it was made, so it was not restored.\nexit 1\n");
    ASSERT_TRUE(QFile::remove(folder + "/hosts.bak.sig"));
    EXPECT_EQ(world.run("velmox block restore " + name),
              "The restore was canceled: this backup could not be verified.\nexit 1\n");
    EXPECT_EQ(readAll(world.hosts), kUserHosts);
    EXPECT_EQ(world.run("velmox block restore " + name + " --yes"),
              "Restored the hosts file from " + name + ".\nexit 0\n");
    EXPECT_EQ(readAll(world.hosts), kUserHosts + "203.0.113.9 bank.example\n");
}
