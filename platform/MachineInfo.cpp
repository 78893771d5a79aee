#include "platform/MachineInfo.h"

namespace velmox {

QString processorInfoText(const QString& brand, int performanceCores, int efficiencyCores,
                          int physicalCores) {
    const QString name =
        brand.trimmed().isEmpty() ? QStringLiteral("Unknown processor") : brand.simplified();
    if (performanceCores > 0 && efficiencyCores > 0)
        return QStringLiteral("%1 (%2 performance + %3 efficiency)")
            .arg(name)
            .arg(performanceCores)
            .arg(efficiencyCores);
    if (physicalCores > 0)
        return QStringLiteral("%1 (%2 %3)")
            .arg(name)
            .arg(physicalCores)
            .arg(physicalCores == 1 ? QStringLiteral("core") : QStringLiteral("cores"));
    return name;
}

} // namespace velmox
