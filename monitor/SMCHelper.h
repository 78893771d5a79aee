#pragma once

#include "monitor/NamedSensorReader.h"
#include "platform/SmcConnection.h"

#include <QHash>
#include <QMutex>
#include <QSet>
#include <QStringList>
#include <memory>
#include <optional>

namespace velmox {

// The one place that talks to the System Management Controller and to the named
// temperature sensors. Every SMC call runs under one lock, so callers on different
// threads are serialised; key information is cached and keys whose information cannot
// be read are never asked again until the connection is reset.
class SMCHelper {
public:
    struct KeyInfo {
        std::uint32_t dataSize = 0;
        std::uint32_t dataType = 0;
    };

    // `named` may be null (no named sensors).
    SMCHelper(SmcConnectionOpener opener, std::unique_ptr<NamedSensorReader> named);
    // The process-wide helper over this platform's back ends.
    static SMCHelper& shared();

    // Reads one key; absent when there is no SMC, the key is malformed or unknown, or its
    // bytes are not a number.
    std::optional<double> readKey(const QString& key);
    // readKey, or -1.0 when it fails.
    double readTemperature(const QString& key);
    // Named sensors, then every temperature key (0.5...125 degrees exclusive) and fan key
    // (0 up to 15000 RPM exclusive) that reads.
    QList<SensorReading> readAllSensors();
    QList<SensorReading> readNamedSensors();
    // Closes the connection and forgets the bad keys; the next call opens a fresh one.
    void resetConnection();

    bool hasConnection();
    QStringList temperatureKeys();
    QStringList fanKeys();

    static const QStringList& fallbackTemperatureKeys();

private:
    SmcConnection* connectionLocked();
    std::optional<double> readKeyLocked(SmcConnection& connection, const QString& key);
    std::optional<KeyInfo> keyInfoLocked(SmcConnection& connection, std::uint32_t code);
    void enumerateKeysLocked(SmcConnection& connection);

    QMutex smcLock_;
    SmcConnectionOpener opener_;
    std::unique_ptr<SmcConnection> connection_;
    QHash<std::uint32_t, KeyInfo> keyInfoCache_;
    QSet<std::uint32_t> badKeys_;
    QStringList temperatureKeys_;
    QStringList fanKeys_;
    bool enumerated_ = false;
    std::unique_ptr<NamedSensorReader> named_;
};

} // namespace velmox
