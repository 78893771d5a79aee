#include "StoragePageFixture.h"
#include "app/ExclusionListEditor.h"
#include "app/StatusReporter.h"
#include "app/StorageSettingsPane.h"
#include "app/pages/StorageExclusionsSheet.h"
#include "services/Settings.h"
#include "storage/ScanExclusions.h"

#include <QColor>
#include <QGuiApplication>
#include <QListWidget>
#include <QPalette>
#include <QPushButton>
#include <QTemporaryDir>

using namespace velmox;
using namespace velmox::test;

namespace {

struct StorageExclusionsTest : StoragePageFixture {
    QTemporaryDir dir;
    Settings settings{dir.path() + QStringLiteral("/config/Velmox.conf")};
};

} // namespace

TEST_F(StorageExclusionsTest, SettingsListSavesEachChangeAndRefusesBadOnesWithAReason) {
    StorageSettingsPane pane(settings);
    ExclusionListEditor& editor = *pane.exclusions();
    EXPECT_TRUE(editor.addPattern(QStringLiteral("*.iso")));
    EXPECT_TRUE(editor.addPattern(root + QStringLiteral("/big/")));
    EXPECT_EQ(ScanExclusionSettings::global(settings),
              (QStringList{QStringLiteral("*.iso"), root + QStringLiteral("/big")}));

    for (const QString& bad :
         {QStringLiteral("../up"), QStringLiteral(" "), QStringLiteral("./*.iso")}) {
        EXPECT_FALSE(editor.addPattern(bad)) << bad.toStdString();
        EXPECT_FALSE(editor.reporter()->isSuccess());
        EXPECT_FALSE(editor.reporter()->message().isEmpty());
    }
    EXPECT_EQ(editor.list()->count(), 2);

    editor.list()->item(0)->setSelected(true);
    EXPECT_TRUE(editor.removeButton()->isEnabled());
    editor.removeButton()->click();
    EXPECT_EQ(ScanExclusionSettings::global(settings), QStringList{root + QStringLiteral("/big")});

    // A settings file that cannot be written loses nothing and says why.
    const QString folder = dir.path() + QStringLiteral("/config");
    ASSERT_TRUE(QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner));
    EXPECT_FALSE(editor.addPattern(QStringLiteral("*.tmp")));
    EXPECT_EQ(editor.patterns(), QStringList{root + QStringLiteral("/big")});
    EXPECT_FALSE(editor.reporter()->message().isEmpty());
    ASSERT_TRUE(
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    EXPECT_EQ(ScanExclusionSettings::global(settings), QStringList{root + QStringLiteral("/big")});
}

TEST_F(StorageExclusionsTest, PageSkipsTheScopesAndTheGlobalExclusionsAndGreysThem) {
    ASSERT_TRUE(ScanExclusionSettings::setGlobal(settings, {QStringLiteral("*.img")}));
    center.setExclusionSource([this](const ScanScope& scope) {
        return ScanExclusionSettings::patternsFor(settings, scope);
    });
    StorageManagerPage page(center, navigation, {}, &settings);
    page.resize(1000, 640);
    page.setScope(StorageManagerPage::folderScope(root));
    StorageExclusionsSheet* sheet = page.openExclusionsSheet();
    ASSERT_NE(sheet, nullptr);
    EXPECT_TRUE(sheet->editor()->addPattern(QStringLiteral("big")));
    sheet->close();
    // Another scope keeps its own list.
    EXPECT_TRUE(
        ScanExclusionSettings::forScope(settings, StorageManagerPage::folderScope(root + "/big"))
            .isEmpty());

    page.startScan();
    ASSERT_TRUE(waitFor([&] { return page.job()->state() == ScanJob::State::finished; }));
    const FileTree& tree = *page.job()->tree();
    EXPECT_EQ(tree.exclusions, (QStringList{QStringLiteral("*.img"), QStringLiteral("big")}));
    int64_t files = 0; // medium.bin and small.txt alone
    for (int32_t node = 1; node < tree.size(); ++node)
        files += tree.hasFlag(node, NodeFlag::directory) ? 0 : tree.logical(node);
    EXPECT_EQ(files, 150'010);
    const StorageChildModel& model = *page.model();
    for (const char* name : {"big", "sparse.img"}) {
        const int row = rowNamed(model, QString::fromLatin1(name));
        ASSERT_GE(row, 0) << name;
        EXPECT_EQ(cell(model, row, StorageChildModel::size), QStringLiteral("Excluded"));
        EXPECT_TRUE(cell(model, row, StorageChildModel::share).isEmpty());
        EXPECT_EQ(model.data(model.index(row, StorageChildModel::name), Qt::ForegroundRole)
                      .value<QColor>(),
                  QGuiApplication::palette().color(QPalette::Disabled, QPalette::Text));
    }
    EXPECT_EQ(cell(model, 0, StorageChildModel::name), QStringLiteral("medium.bin"));
}
