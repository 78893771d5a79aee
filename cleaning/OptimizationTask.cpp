#include "cleaning/OptimizationTask.h"

#include <QJsonArray>
#include <array>
#include <utility>

namespace velmox {

namespace {

template <typename Enum, std::size_t N>
QString rawOf(const std::array<std::pair<Enum, const char*>, N>& table, Enum value) {
    for (const auto& [candidate, raw] : table)
        if (candidate == value)
            return QString::fromUtf8(raw);
    return {};
}

template <typename Enum, std::size_t N>
std::optional<Enum> fromRaw(const std::array<std::pair<Enum, const char*>, N>& table,
                            const QString& raw) {
    for (const auto& [candidate, text] : table)
        if (raw == QLatin1String(text))
            return candidate;
    return std::nullopt;
}

constexpr std::array<std::pair<TaskCategory, const char*>, 6> kCategories{{
    {TaskCategory::systemCleanup, "System Cleanup"},
    {TaskCategory::privacySecurity, "Privacy & Security"},
    {TaskCategory::performanceSuite, "Performance Suite"},
    {TaskCategory::network, "Network"},
    {TaskCategory::maintenance, "Maintenance"},
    {TaskCategory::appManagement, "App Management"},
}};

constexpr std::array<std::pair<ImpactLevel, const char*>, 3> kImpacts{{
    {ImpactLevel::safe, "Safe"},
    {ImpactLevel::moderate, "Moderate"},
    {ImpactLevel::highImpact, "High Impact"},
}};

constexpr std::array<std::pair<TaskWork, const char*>, 3> kWorks{{
    {TaskWork::shellScript, "shellScript"},
    {TaskWork::moveToTrash, "moveToTrash"},
    {TaskWork::endHungProcesses, "endHungProcesses"},
}};

} // namespace

const QList<TaskCategory>& allTaskCategories() {
    static const QList<TaskCategory> categories = [] {
        QList<TaskCategory> list;
        for (const auto& entry : kCategories)
            list.append(entry.first);
        return list;
    }();
    return categories;
}

QString rawValue(TaskCategory category) {
    return rawOf(kCategories, category);
}

QString rawValue(ImpactLevel level) {
    return rawOf(kImpacts, level);
}

QString rawValue(TaskWork work) {
    return rawOf(kWorks, work);
}

std::optional<TaskCategory> taskCategoryFromRaw(const QString& raw) {
    return fromRaw(kCategories, raw);
}

std::optional<ImpactLevel> impactLevelFromRaw(const QString& raw) {
    return fromRaw(kImpacts, raw);
}

QJsonObject toJson(const OptimizationTask& task) {
    return {
        {QStringLiteral("id"), task.id.toString(QUuid::WithoutBraces)},
        {QStringLiteral("title"), task.title},
        {QStringLiteral("description"), task.description},
        {QStringLiteral("category"), rawValue(task.category)},
        {QStringLiteral("shellScript"), task.shellScript},
        {QStringLiteral("requiresSudo"), task.requiresSudo},
        {QStringLiteral("impactLevel"), rawValue(task.impactLevel)},
        {QStringLiteral("pathsToMeasure"), QJsonArray::fromStringList(task.pathsToMeasure)},
        {QStringLiteral("includeInSmartScan"), task.includeInSmartScan},
        {QStringLiteral("work"), rawValue(task.work)},
        {QStringLiteral("deletesPermanently"), task.deletesPermanently()},
    };
}

} // namespace velmox
