#include "network/BlockChainFiles.h"
#include "network/FirewallAddresses.h"
#include "network/PfAnchor.h"
#include "tests/network/BlockRules.h"

#include <gtest/gtest.h>

using namespace velmox;

using test::rules;

TEST(FirewallRules, AddressesAreSplitByFamilyOnceEach) {
    QList<BlockRule> list =
        rules({"10.0.0.1", "2001:db8::/32", "example.com", "10.0.0.1/8", "192.0.2.9"});
    list.append(list.first()); // the same address twice, e.g. typed as a URL too
    list[4].enabled = false;
    EXPECT_EQ(firewallAddresses(list),
              (FirewallAddresses{{"10.0.0.1", "10.0.0.0/8"}, {"2001:db8::/32"}}));
}

// Resolved addresses join the sets; the ones that would cut the machine off from itself, or
// that the hosts file itself answers for a blocked name, do not.
TEST(FirewallRules, ResolvedAddressesOfDomainRulesJoinTheSets) {
    const QList<BlockRule> list = rules({"198.51.100.1", "example.com", "off.example"});
    QStringList asked;
    const HostResolver resolver = [&](const QString& host) -> QStringList {
        asked << host;
        if (host == "example.com")
            return {"198.51.100.1", "0.0.0.0", "::", "127.0.0.1", "::1", "2001:DB8::5"};
        if (host == "www.example.com")
            return {"203.0.113.7"};
        return {};
    };
    EXPECT_EQ(firewallAddresses(list, resolver),
              (FirewallAddresses{{"198.51.100.1", "203.0.113.7"}, {"2001:db8::5"}}));
    EXPECT_EQ(asked,
              (QStringList{"example.com", "www.example.com", "off.example", "www.off.example"}));
}

TEST(PfAnchor, RuleFileBlocksEachAddressBothWays) {
    EXPECT_EQ(PfAnchor::ruleFile({{"10.0.0.0/8"}, {"2001:db8::1"}}),
              "# Velmox blocker - generated, do not edit\n"
              "block drop quick inet from any to 10.0.0.0/8\n"
              "block drop quick inet from 10.0.0.0/8 to any\n"
              "block drop quick inet6 from any to 2001:db8::1\n"
              "block drop quick inet6 from 2001:db8::1 to any\n");
    EXPECT_EQ(PfAnchor::ruleFile({}), "# Velmox blocker - generated, do not edit\n");
}

// The chain stops at the first failing step and only a run that reached its end prints the
// marker. Paths with quotes stay one word.
TEST(PfAnchor, ApplyChainRunsEveryStepInOrderAndEndsWithTheMarker) {
    const QString chain = PfAnchor::applyChain({"/tmp/it's/hosts", "/tmp/it's/rules"});
    const QStringList steps = chain.split(" && ");
    EXPECT_EQ(steps, (QStringList{
                         "/bin/cp '/tmp/it'\\''s/hosts' /private/etc/hosts",
                         "/usr/sbin/chown root:wheel /private/etc/hosts",
                         "/bin/chmod 644 /private/etc/hosts",
                         "(/sbin/pfctl -a com.apple/250.BrisktideBlocker -F rules >/dev/null "
                         "2>&1 || true)",
                         "/usr/sbin/chown root:wheel '/tmp/it'\\''s/rules'",
                         "/bin/chmod 600 '/tmp/it'\\''s/rules'",
                         "/sbin/pfctl -a com.apple/250.VelmoxBlocker -f '/tmp/it'\\''s/rules'",
                         "(/sbin/pfctl -e >/dev/null 2>&1 || true)",
                         "(/usr/bin/dscacheutil -flushcache; /usr/bin/killall -HUP mDNSResponder; "
                         "true)",
                         "/bin/echo TK_BLOCKER_OK"}));
}
