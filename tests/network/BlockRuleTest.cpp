#include "network/BlockRule.h"
#include "services/Settings.h"

#include <gtest/gtest.h>

using namespace velmox;

TEST(BlockRule, TypedInputBecomesACanonicalRule) {
    struct Case {
        const char* typed;
        const char* value;
        BlockKind kind;
    };
    for (const Case& c : {
             Case{"  192.168.1.20 ", "192.168.1.20", BlockKind::ip},
             Case{"2001:DB8:0:0::1", "2001:db8::1", BlockKind::ip},
             Case{"10.1.2.3/8", "10.0.0.0/8", BlockKind::range},
             Case{"2001:db8:ffff::/32", "2001:db8::/32", BlockKind::range},
             Case{"Example.COM.", "example.com", BlockKind::domain},
             Case{"https://user@News.Example.com:8443/a/b?q=1#x", "news.example.com",
                  BlockKind::domain},
             Case{"example.org/some/page", "example.org", BlockKind::domain},
             Case{"tracker.example.net:8080", "tracker.example.net", BlockKind::domain},
             Case{"http://[2001:db8::7]/x", "2001:db8::7", BlockKind::ip},
             Case{"bücher.example", "xn--bcher-kva.example", BlockKind::domain},
         }) {
        const auto rule = parseBlockInput(QString::fromUtf8(c.typed));
        ASSERT_TRUE(rule) << c.typed << ": " << rule.error().toStdString();
        EXPECT_EQ(rule->value, QString::fromLatin1(c.value)) << c.typed;
        EXPECT_EQ(rule->kind, c.kind) << c.typed;
        EXPECT_EQ(rule->source, QString::fromUtf8(c.typed).trimmed());
    }
}

// Nothing that could break a hosts line or an nft script gets through.
TEST(BlockRule, BadInputIsRefusedWithASentence) {
    for (const char* typed : {"", "   ", "300.1.1.1", "10.0.0.0/33", "10.0.0.0/-1", "fe80::1%eth0",
                              "localhost", "exa mple.com", "example..com", "-bad.example",
                              "bad_name.example", "http:///nohost", "example.com\n1.2.3.4",
                              "a.b;flush", "1.2.3.4/8}", "1.2.3.4/"}) {
        const auto rule = parseBlockInput(QString::fromUtf8(typed));
        ASSERT_FALSE(rule) << typed << " became " << rule->value.toStdString();
        EXPECT_TRUE(rule.error().endsWith('.')) << rule.error().toStdString();
        EXPECT_TRUE(rule.error().at(0).isUpper() || rule.error().startsWith("“"))
            << rule.error().toStdString();
    }
}

TEST(BlockRule, RegistrableNamesGetTheirWwwVariant) {
    EXPECT_EQ(hostNamesFor("example.com"), (QStringList{"example.com", "www.example.com"}));
    EXPECT_EQ(hostNamesFor("shop.co.uk"), (QStringList{"shop.co.uk", "www.shop.co.uk"}));
    EXPECT_EQ(hostNamesFor("uni.ac.jp"), (QStringList{"uni.ac.jp", "www.uni.ac.jp"}));
    for (const char* single : {"www.example.com", "news.example.com", "shop.co.com",
                               "shop.xy.uk", "a.b.example.com", "www.co.uk"})
        EXPECT_EQ(hostNamesFor(single), QStringList{single});
}

// A hand-edited settings file cannot smuggle a value that input would have refused.
TEST(BlockRule, SavedListKeepsOnlyRulesThatReadBackAsThemselves) {
    Settings settings;
    const auto saved = changeBlockRules(settings, [](QList<BlockRule>& rules) -> Status {
        for (const char* typed : {"https://example.com/x", "10.0.0.0/8"})
            if (const Status added = addBlockRule(rules, *parseBlockInput(typed)); !added)
                return added;
        rules[1].enabled = false;
        return Done{};
    });
    ASSERT_TRUE(saved) << saved.error().toStdString();
    EXPECT_EQ(loadBlockRules(Settings()), *saved);

    const auto refused = changeBlockRules(settings, [](QList<BlockRule>& rules) {
        return addBlockRule(rules, *parseBlockInput("http://EXAMPLE.com"));
    });
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error(), "“example.com” is already in the list.");
    EXPECT_EQ(loadBlockRules(settings).size(), 2);

    const QByteArray tampered =
        R"([{"value":"evil.example\n0.0.0.0 bank.example","kind":"domain","source":"","enabled":true},
            {"value":"1.2.3.4 }; flush ruleset","kind":"ip","source":"","enabled":true},
            {"value":"example.com","kind":"ip","source":"","enabled":true},
            {"value":"10.1.0.0/16","kind":"range","source":"x","enabled":false},
            {"value":"2001:DB8:0::/48","kind":"range","source":"y","enabled":true},
            {"value":"good.example","kind":"weird"}])";
    EXPECT_EQ(decodeBlockRules(tampered),
              (QList<BlockRule>{{"10.1.0.0/16", BlockKind::range, "x", false},
                                {"2001:db8::/48", BlockKind::range, "y", true}}));
}
