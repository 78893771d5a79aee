#include "palette/PaletteAutomation.h"

namespace velmox {

bool runAutomationEntry(AutomationEngine& engine, const PaletteEntry& entry,
                        AutomationEngine::Completion done) {
    const QString kind = paletteKind(entry.id);
    const QString key = paletteKey(entry.id);
    if (kind == QLatin1String("automation")) {
        engine.run(key, QStringLiteral("manual"), entry.title, std::move(done));
    } else if (entry.id.startsWith(chainPrefix)) {
        // A routine deleted since the list was made is reported by the engine.
        engine.run(entry.id, QStringLiteral("manual"), entry.title, std::move(done));
    } else if (kind == QLatin1String("profile")) {
        const QList<AutomationProfile> profiles = engine.profiles();
        const auto profile = std::find_if(profiles.begin(), profiles.end(),
                                          [&key](const auto& each) { return each.id == key; });
        if (profile == profiles.end())
            return false;
        engine.runProfile(*profile, std::move(done));
    } else {
        return false;
    }
    return true;
}

} // namespace velmox
