#include "tests/support/VelmoxProcess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace velmox;

TEST(PaletteCommand, PrintsTheRankingAsJsonAndSaysWhenNothingMatches) {
    const test::VelmoxRun ranked =
        test::runVelmox({"palette", "fan", "temp", "--json", "--limit", "2"});
    ASSERT_EQ(ranked.exitCode, 0) << ranked.err.toStdString();
    const QJsonArray rows = QJsonDocument::fromJson(ranked.out).array();
    ASSERT_EQ(rows.size(), 1) << ranked.out.toStdString();
    EXPECT_EQ(rows.at(0).toObject(), (QJsonObject{{"id", "page:fanTemp"},
                                                  {"title", "Fan & Temperature"},
                                                  {"section", "entries"},
                                                  {"score", 270}}));

    const test::VelmoxRun none = test::runVelmox({"palette", "zzzz"});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_EQ(none.out, "Nothing matches “zzzz”. Try another word, for example a page, a tab or a "
                        "command.\n");

    EXPECT_EQ(test::runVelmox({"palette", "--limit", "0"}).exitCode, 2);
}
