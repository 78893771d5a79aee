#pragma once

#include "diskhealth/SmartReport.h"

#include <QByteArray>

namespace velmox {

// The report as the command line's --json prints it: the report's fields in their order
// (`source` as its label text, `verdict` as the grade number or null), then `status`.
QByteArray smartReportJson(const SmartReport& report);

} // namespace velmox
