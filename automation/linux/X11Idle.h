#pragma once

#include <optional>

namespace velmox {

// Seconds since the last keyboard or mouse input of the X11 display named by DISPLAY, from its
// screen saver extension; none without a display or the extension. Asks the X server and
// waits for its answer (a local round trip).
//
// One connection to the display stays open for the life of the process: X servers count a
// client connecting or leaving as activity, so a fresh connection per reading would reset the
// very time it reads. The first call opens it; any thread.
std::optional<double> x11IdleSeconds();

} // namespace velmox
