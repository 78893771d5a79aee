#include "app/PopoverHeight.h"

#include <algorithm>
#include <cmath>

namespace velmox {

double PopoverHeight::applied(double wanted, std::optional<double> availableScreenHeight) {
    const double height = std::max(kMinimum, wanted);
    if (!availableScreenHeight)
        return std::clamp(height, kMinimum, kMaximumWithoutScreen);
    return std::min(height, *availableScreenHeight - kScreenMargin);
}

bool PopoverHeight::needsResize(double current, double next) {
    return std::abs(next - current) > kResizeThreshold;
}

} // namespace velmox
