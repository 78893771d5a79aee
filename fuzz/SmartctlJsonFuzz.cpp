// Feeds arbitrary bytes to the smartctl JSON reader and grades whatever it accepts, so that the
// analyzer and the --json writer see every shape of report the reader can produce.

#include "diskhealth/NvmeHealthLog.h"
#include "diskhealth/SmartAnalyzer.h"
#include "diskhealth/SmartReportJson.h"
#include "diskhealth/SmartctlJson.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes =
        QByteArray::fromRawData(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (velmox::Result<velmox::SmartReport> report = velmox::parseSmartctlJson(bytes)) {
        velmox::SmartAnalyzer::grade(*report);
        (void)velmox::smartReportJson(*report);
    }
    // The first 512 bytes double as an NVMe health log page.
    if (size >= velmox::NvmeHealthLog::kSize)
        if (const auto health =
                velmox::NvmeHealthLog::decode(bytes.left(velmox::NvmeHealthLog::kSize))) {
            velmox::SmartReport direct = velmox::NvmeHealthLog::report(*health);
            velmox::SmartAnalyzer::grade(direct);
        }
    return 0;
}
