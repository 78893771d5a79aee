#pragma once

#include <optional>

namespace velmox {

// The tray popover's height rule.
struct PopoverHeight {
    static constexpr double kMinimum = 120;
    static constexpr double kScreenMargin = 40;
    static constexpr double kMaximumWithoutScreen = 760;
    static constexpr double kResizeThreshold = 0.5;

    // max(120, wanted), limited to the screen's available height minus 40; with no screen,
    // 120...760.
    static double applied(double wanted, std::optional<double> availableScreenHeight);
    // Small changes are ignored so that the popover does not jitter.
    static bool needsResize(double current, double next);
};

} // namespace velmox
