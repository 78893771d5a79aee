#include "app/pages/StorageUnreadableSheet.h"

#include "tests/app/MacWords.h"
#include "tests/storagepage/StoragePageFixture.h"

#include <QPushButton>
#include <QTreeView>

using namespace velmox;
using namespace velmox::test;

namespace {

// A folder only root may open; the permissions come back afterwards so the temporary home
// can be removed.
struct StorageUnreadableSheetTest : StoragePageFixture {
    QString locked = root + "/locked";

    StorageUnreadableSheetTest() {
        writeFile(locked + "/secret.bin", 1000);
        ::chmod(QFile::encodeName(locked).constData(), 0);
    }
    ~StorageUnreadableSheetTest() override { ::chmod(QFile::encodeName(locked).constData(), 0755); }
};

TEST_F(StorageUnreadableSheetTest, TheLockedFolderIsMarkedAndDoubleClickShowsWhyAndWhose) {
    ASSERT_NE(::geteuid(), 0u) << "run as a plain account, or every folder is readable";
    auto page = makePage();
    ASSERT_NO_FATAL_FAILURE(scan(*page, root));
    EXPECT_EQ(page->job()->unreadableCount(), 1);
    const StorageChildModel& model = *page->model();
    const int row = rowNamed(model, "locked");
    EXPECT_EQ(cell(model, row, StorageChildModel::kind), "Unreadable folder");
    EXPECT_EQ(cell(model, row, StorageChildModel::share), "") << "its contents are not counted";

    // The folder is the user's own: they can change its permissions, no administrator needed.
    emit page->list()->activated(model.index(row, 0));
    StorageUnreadableSheet* sheet = page->findChild<StorageUnreadableSheet*>();
    ASSERT_NE(sheet, nullptr);
    EXPECT_TRUE(sheet->isVisible());
    EXPECT_TRUE(sheet->explanationText().contains("chmod"))
        << sheet->explanationText().toStdString();
    ASSERT_EQ(sheet->folders().size(), 1);
    const UnreadableFolderInfo& info = sheet->folders().first();
    EXPECT_EQ(info.path, locked);
    EXPECT_EQ(info.reason.label(), "Your folder's permissions");
    EXPECT_EQ(info.owner, "user velmox-test-user, permissions 000");
    EXPECT_TRUE(sheet->readBlockedButton()->isEnabled());
    sheet->close();

    // Opened again after the folder became readable, it says so.
    ::chmod(QFile::encodeName(locked).constData(), 0755);
    sheet = page->openUnreadableSheet();
    ASSERT_EQ(sheet->folders().size(), 1);
    EXPECT_EQ(sheet->folders().first().reason.label(), "Readable now (rescan)");
    sheet->close();
}

TEST_F(StorageUnreadableSheetTest, ReadBlockedFoldersRunsTheAdministratorPassAndShowsItsAnswer) {
    auto page = makePage();
    ASSERT_NO_FATAL_FAILURE(scan(*page, root));
    StorageUnreadableSheet* sheet = page->openUnreadableSheet();
    ASSERT_NE(sheet, nullptr);
    sheet->readBlockedButton()->click();
    EXPECT_FALSE(sheet->readBlockedButton()->isEnabled()) << "one pass at a time";
    ASSERT_TRUE(waitFor([&] { return !page->job()->awaitingProtected(); }));

    // The runner was asked for the protected scan of this very executable; its refusal is
    // shown on the sheet and on the page, and the scan keeps its result.
    ASSERT_EQ(privilegedLines.size(), 1);
    EXPECT_TRUE(privilegedLines.first().contains("--protected-scan"))
        << privilegedLines.first().toStdString();
    const auto& outcome = page->job()->protectedScan().outcome;
    ASSERT_TRUE(outcome.has_value());
    EXPECT_FALSE(outcome->success);
    // A sentence of Velmox's own that says what to do, not the tool's words alone.
    EXPECT_TRUE(outcome->message.startsWith("The protected folders could not be read because no "
                                            "administrator password prompt can be shown"))
        << outcome->message.toStdString();
    EXPECT_EQ(sheet->statusText(), outcome->message);
    EXPECT_EQ(page->messageText(), outcome->message);
    EXPECT_TRUE(sheet->readBlockedButton()->isEnabled());
    EXPECT_EQ(page->job()->unreadableCount(), 1);

    // The answer does not stay on the page: another pass takes it away while it runs, and the
    // user can close it.
    sheet->readBlockedButton()->click();
    ASSERT_TRUE(page->job()->awaitingProtected());
    EXPECT_EQ(page->messageText(), "");
    ASSERT_TRUE(waitFor([&] { return !page->job()->awaitingProtected(); }));
    EXPECT_EQ(page->messageText(), outcome->message);
    sheet->close();
    auto* dismiss = page->findChild<QPushButton*>("dismissMessage");
    ASSERT_NE(dismiss, nullptr);
    dismiss->click();
    EXPECT_EQ(page->messageText(), "");
}

TEST(UnreadableReasonTest, WhatLinuxScansGiveIsSaidInLinuxWords) {
#ifdef Q_OS_MACOS
    GTEST_SKIP() << "the Mac's own words are right there";
#endif
    using Kind = UnreadableReason::Kind;
    for (const UnreadableReason reason :
         {UnreadableReason::fromOpenError(EACCES), UnreadableReason::fromOpenError(EIO),
          UnreadableReason{Kind::ownPermissions, 0}, UnreadableReason{Kind::readableNow, 0},
          UnreadableReason{Kind::gone, 0}}) {
        EXPECT_EQ(macWordIn(reason.label()), "") << reason.label().toStdString();
        EXPECT_EQ(macWordIn(reason.explanation()), "") << reason.explanation().toStdString();
    }
}

} // namespace
