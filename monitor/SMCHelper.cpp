#include "monitor/SMCHelper.h"

#include "monitor/SmcValueDecoder.h"
#include "platform/NamedSensorSource.h"
#include "services/Clock.h"

namespace velmox {

namespace {

constexpr std::uint32_t maximumDataSize = 32;
constexpr std::uint32_t keyCountLimit = 10000;
constexpr int maximumFans = 8;
constexpr int assumedFans = 3;

std::optional<SmcParamRecord> callDriver(SmcConnection& connection, const SmcParamRecord& input) {
    SmcParamRecord::Bytes output{};
    if (connection.callStructMethod(input.encode(), output) != 0)
        return std::nullopt;
    SmcParamRecord record = SmcParamRecord::decode(output);
    if (record.result != 0)
        return std::nullopt;
    return record;
}

bool isFourCharacterKey(std::uint32_t code) {
    for (int shift = 0; shift < 32; shift += 8)
        if (((code >> shift) & 0xff) == 0)
            return false;
    return true;
}

} // namespace

SMCHelper::SMCHelper(SmcConnectionOpener opener, std::unique_ptr<NamedSensorReader> named)
    : opener_(std::move(opener)), named_(std::move(named)) {}

SMCHelper& SMCHelper::shared() {
    static SMCHelper helper(
        systemSmcConnectionOpener(),
        std::make_unique<NamedSensorReader>(systemNamedSensorSource(), SystemClock::shared()));
    return helper;
}

const QStringList& SMCHelper::fallbackTemperatureKeys() {
    static const QStringList keys =
        QStringLiteral(
            "TC0P TC0D TC0E TC0F TC0H TC0C TC0c TCXC TCAD TC1C TC2C TC3C TC4C TC5C TC6C TC7C TC8C "
            "TC9C TC1c TC2c TC3c TCGC TCSA TG0P TG0D TG1D TG0H TG0p TG0d Tp01 Tp05 Tp09 Tp0D Tp0H "
            "Tp0L Tp0P Tp0T Tp0X Tp0b Tp0f Tp0j Tp0V Tp0Y Tp0e Tp1h Tp1t Tp1p Tp1l Te05 Te09 Te0H "
            "Te0L Te0P Te0S Tf04 Tf09 Tf0A Tf0B Tf0D Tf0E Tf44 Tf49 Tf4A Tf4B Tf4D Tf4E Tg05 Tg0D "
            "Tg0L Tg0T Tg0f Tg0j Tg0G Tg0H Tg0K Tg0d Tg0e Tg0k Tg1U Tg1k Tf14 Tf18 Tf19 Tf1A Tf24 "
            "Tf28 Tf29 Tf2A TH0A TH0B TH0C TH1A TH1B TH1C TH2A TH0a TH0b TH0c TH0x TM0P TM1P TM2P "
            "TM3P TM0S TM1S Ta0P Ta1P TA0P TA1P TB0T TB1T TB2T TW0P")
            .split(QLatin1Char(' '));
    return keys;
}

SmcConnection* SMCHelper::connectionLocked() {
    if (!connection_ && opener_)
        connection_ = opener_();
    return connection_.get();
}

std::optional<SMCHelper::KeyInfo> SMCHelper::keyInfoLocked(SmcConnection& connection,
                                                           std::uint32_t code) {
    if (const auto cached = keyInfoCache_.constFind(code); cached != keyInfoCache_.cend())
        return *cached;
    SmcParamRecord input;
    input.key = code;
    input.command = SmcParamRecord::keyInfo;
    const auto output = callDriver(connection, input);
    if (!output) {
        badKeys_.insert(code);
        return std::nullopt;
    }
    const KeyInfo info{output->dataSize, output->dataType};
    keyInfoCache_.insert(code, info);
    return info;
}

std::optional<double> SMCHelper::readKeyLocked(SmcConnection& connection, const QString& key) {
    const auto code = smcFourCharCode(key);
    if (!code || badKeys_.contains(*code))
        return std::nullopt;
    const auto info = keyInfoLocked(connection, *code);
    if (!info || info->dataSize < 1 || info->dataSize > maximumDataSize)
        return std::nullopt;
    SmcParamRecord input;
    input.key = *code;
    input.dataSize = info->dataSize;
    input.command = SmcParamRecord::readKey;
    const auto output = callDriver(connection, input);
    if (!output)
        return std::nullopt;
    return decodeSmcValue(info->dataType, std::span(output->bytes.data(), info->dataSize));
}

void SMCHelper::enumerateKeysLocked(SmcConnection& connection) {
    temperatureKeys_.clear();
    fanKeys_.clear();
    const auto count = readKeyLocked(connection, QStringLiteral("#KEY"));
    if (count && *count > 0 && *count < keyCountLimit) {
        for (std::uint32_t index = 0; index < std::uint32_t(*count); ++index) {
            SmcParamRecord input;
            input.command = SmcParamRecord::keyAtIndex;
            input.data32 = index;
            const auto output = callDriver(connection, input);
            if (!output || !isFourCharacterKey(output->key))
                continue;
            const QString key = smcFourCharString(output->key);
            if (key.startsWith(QLatin1Char('T')) && keyInfoLocked(connection, output->key))
                temperatureKeys_.append(key);
        }
    }
    if (temperatureKeys_.isEmpty())
        temperatureKeys_ = fallbackTemperatureKeys();

    const auto fanCount = readKeyLocked(connection, QStringLiteral("FNum"));
    const int fans =
        fanCount && *fanCount >= 0 && *fanCount <= maximumFans ? int(*fanCount) : assumedFans;
    for (int fan = 0; fan < fans; ++fan)
        for (const char* suffix : {"Ac", "Mn", "Mx"})
            fanKeys_.append(QStringLiteral("F%1%2").arg(fan).arg(QLatin1String(suffix)));
    enumerated_ = true;
}

std::optional<double> SMCHelper::readKey(const QString& key) {
    QMutexLocker locker(&smcLock_);
    SmcConnection* connection = connectionLocked();
    if (!connection)
        return std::nullopt;
    return readKeyLocked(*connection, key);
}

double SMCHelper::readTemperature(const QString& key) {
    return readKey(key).value_or(-1.0);
}

QList<SensorReading> SMCHelper::readNamedSensors() {
    return named_ ? named_->read() : QList<SensorReading>{};
}

QList<SensorReading> SMCHelper::readAllSensors() {
    QList<SensorReading> readings = readNamedSensors();
    QMutexLocker locker(&smcLock_);
    SmcConnection* connection = connectionLocked();
    if (!connection)
        return readings;
    if (!enumerated_)
        enumerateKeysLocked(*connection);

    int successfulReads = 0;
    const auto readKeys = [&](const QStringList& keys, SensorKind kind) {
        for (const QString& key : keys) {
            const auto value = readKeyLocked(*connection, key);
            if (!value)
                continue;
            ++successfulReads;
            if (isPlausibleReading(kind, *value))
                appendSensorReading(readings, {key, *value, kind});
        }
    };
    readKeys(temperatureKeys_, SensorKind::temperature);
    readKeys(fanKeys_, SensorKind::fan);
    const bool hadKeys = !temperatureKeys_.isEmpty() || !fanKeys_.isEmpty();
    if (successfulReads == 0 && hadKeys) {
        connection_.reset();
        badKeys_.clear();
    }
    return readings;
}

void SMCHelper::resetConnection() {
    QMutexLocker locker(&smcLock_);
    connection_.reset();
    badKeys_.clear();
}

bool SMCHelper::hasConnection() {
    QMutexLocker locker(&smcLock_);
    return connectionLocked() != nullptr;
}

QStringList SMCHelper::temperatureKeys() {
    QMutexLocker locker(&smcLock_);
    return temperatureKeys_;
}

QStringList SMCHelper::fanKeys() {
    QMutexLocker locker(&smcLock_);
    return fanKeys_;
}

} // namespace velmox
