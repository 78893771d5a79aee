#pragma once

#include "diskhealth/SmartReport.h"
#include "services/Result.h"

#include <QByteArray>

namespace velmox {

// Reads the JSON that `smartctl -a -j` prints into a report holding the drive's own values
// (no grades yet). Pure: any bytes in, a report or a whole-sentence failure out. Output that is
// JSON but carries no S.M.A.R.T. values (the device could not be opened, its type is unknown)
// gives a report without detailed values whose messages say why.
Result<SmartReport> parseSmartctlJson(const QByteArray& bytes);

} // namespace velmox
