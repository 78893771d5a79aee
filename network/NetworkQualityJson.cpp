#include "network/NetworkQualityJson.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>

namespace velmox {

namespace {

std::optional<double> figure(const QJsonObject& summary, const char* key) {
    const QJsonValue value = summary.value(QLatin1String(key));
    if (!value.isDouble())
        return std::nullopt;
    const double number = value.toDouble();
    if (!std::isfinite(number) || number < 0)
        return std::nullopt;
    return number;
}

} // namespace

Result<SpeedTestSummary> parseNetworkQualitySummary(QByteArrayView output) {
    const QJsonDocument document = QJsonDocument::fromJson(output.toByteArray());
    if (!document.isObject())
        return failure(QStringLiteral("Failed to parse test results."));
    const QJsonObject summary = document.object();
    const QJsonValue errorCode = summary.value(QStringLiteral("error_code"));
    if (!errorCode.isUndefined() && !errorCode.isNull()) {
        const QString domain = summary.value(QStringLiteral("error_domain")).toString();
        const QString code = errorCode.isDouble() ? QString::number(errorCode.toInteger())
                                                  : errorCode.toVariant().toString();
        return failure(QStringLiteral("The test did not finish (%1 error %2). Check your "
                                      "internet connection.")
                           .arg(domain.isEmpty() ? QStringLiteral("network") : domain, code));
    }
    return SpeedTestSummary{figure(summary, "dl_throughput"), figure(summary, "ul_throughput"),
                            figure(summary, "base_rtt")};
}

} // namespace velmox
