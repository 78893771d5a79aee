#include "monitor/SMCHelper.h"

#include "tests/monitor/SimulatedSmc.h"

#include <bit>
#include <gtest/gtest.h>

namespace velmox {
namespace {

using test::SimulatedSmc;

QMap<QString, double> byName(const QList<SensorReading>& readings) {
    QMap<QString, double> map;
    for (const SensorReading& reading : readings)
        map.insert(reading.name, reading.value);
    return map;
}

SimulatedSmc macBookPro() {
    return SimulatedSmc::fromFile(QStringLiteral("MacBookPro11-1.smc"));
}

TEST(SMCHelper, ReadsARecordedIntelMacAndKeepsOnlyPlausibleValues) {
    SimulatedSmc smc = macBookPro();
    SMCHelper helper(smc.opener(), nullptr);

    // TH0C and TW0P hold the SMC's -127 for "no sensor", TH0F a negative reading.
    const QMap<QString, double> expected = {
        {"TA0P", 39.125}, {"TB0T", 32.09765625}, {"TC0E", 59.53515625}, {"TC0F", 60.94140625},
        {"TC0P", 54.0},   {"TCFC", 32.0},        {"TCXC", 59.890625},   {"TH0A", 38.125},
        {"TM0P", 45.625}, {"Ts0P", 29.8125},     {"F0Ac", 1298.0},      {"F0Mn", 1299.0},
        {"F0Mx", 6199.0}};
    EXPECT_EQ(byName(helper.readAllSensors()), expected);
    EXPECT_EQ(helper.temperatureKeys(),
              QStringList({"TA0P", "TB0T", "TC0E", "TC0F", "TC0P", "TCFC", "TCXC", "TH0A", "TH0C",
                           "TH0F", "TM0P", "TW0P", "Ts0P"}));
    EXPECT_EQ(helper.fanKeys(), QStringList({"F0Ac", "F0Mn", "F0Mx"}));
    EXPECT_EQ(helper.readTemperature(QStringLiteral("TH0C")), -127.0);
}

TEST(SMCHelper, CachesKeyInfoEnumeratesOnceAndNeverAsksABadKeyAgain) {
    SimulatedSmc smc = macBookPro();
    SMCHelper helper(smc.opener(), nullptr);

    const auto first = helper.readAllSensors();
    const int keyInfoAfterFirst = smc.calls().keyInfo;
    EXPECT_EQ(smc.calls().keyAtIndex, 24);
    // This Mac has no TG0P, so the SMC answers "key not found".
    EXPECT_EQ(helper.readTemperature(QStringLiteral("TG0P")), -1.0);

    EXPECT_EQ(helper.readAllSensors(), first);
    EXPECT_EQ(helper.readTemperature(QStringLiteral("TG0P")), -1.0);
    EXPECT_EQ(smc.calls().keyInfo, keyInfoAfterFirst + 1) << "every key's information is cached";
    EXPECT_EQ(smc.calls().keyAtIndex, 24) << "keys are enumerated once";
    EXPECT_EQ(smc.calls().keyInfoByKey.at("TG0P"), 1) << "a bad key is not asked again";
    EXPECT_EQ(smc.calls().readByKey.count("TG0P"), 0u);
    EXPECT_EQ(smc.calls().readByKey.at("TC0P"), 2);
    EXPECT_EQ(smc.calls().opens, 1);
}

TEST(SMCHelper, MalformedKeysAndAMissingSmcFailWithoutADriverCall) {
    SimulatedSmc smc = macBookPro();
    SMCHelper helper(smc.opener(), nullptr);
    for (const QString& key :
         {QStringLiteral("TC0"), QString(4, QChar(0)), QStringLiteral("TC0PX")})
        EXPECT_EQ(helper.readKey(key), std::nullopt) << key.toStdString();
    EXPECT_EQ(smc.calls().keyInfo + smc.calls().read, 0);

    SMCHelper none([] { return std::unique_ptr<SmcConnection>(); }, nullptr);
    EXPECT_EQ(none.readTemperature(QStringLiteral("TC0P")), -1.0);
    EXPECT_TRUE(none.readAllSensors().isEmpty());
}

TEST(SMCHelper, AFanlessMacHasNoFanKeysAndSkipsAKeyTheSmcWillNotRead) {
    SimulatedSmc smc = SimulatedSmc::fromFile(QStringLiteral("MacBook10-1.smc"));
    SMCHelper helper(smc.opener(), nullptr);

    const QMap<QString, double> expected = {{"TA0V", 23.25390625},
                                            {"TB0T", 32.09765625},
                                            {"TC0P", 42.4375},
                                            {"TsHS", 2.0},
                                            {"TsTH", 3.0}};
    EXPECT_EQ(byName(helper.readAllSensors()), expected);
    EXPECT_TRUE(helper.fanKeys().isEmpty()) << "FNum 0 means no fans";
    EXPECT_TRUE(helper.temperatureKeys().contains(QStringLiteral("TA35")))
        << "its key information reads; only its value does not";
    EXPECT_EQ(smc.calls().readByKey.at("TA35"), 1);
    EXPECT_EQ(helper.readKey(QStringLiteral("VD0R")), double(std::bit_cast<float>(0x41a07deeu)));
}

TEST(SMCHelper, FallsBackToTheFixedKeyListAndThreeFansWhenTheSmcWillNotSay) {
    SimulatedSmc smc = macBookPro();
    smc.removeKey(QStringLiteral("#KEY"));
    smc.setBytes(QStringLiteral("FNum"), QByteArray::fromHex("09")); // 9 fans: not believable
    SMCHelper helper(smc.opener(), nullptr);

    const auto readings = byName(helper.readAllSensors());
    EXPECT_EQ(helper.temperatureKeys(), SMCHelper::fallbackTemperatureKeys());
    EXPECT_EQ(helper.fanKeys(), QStringList({"F0Ac", "F0Mn", "F0Mx", "F1Ac", "F1Mn", "F1Mx", "F2Ac",
                                             "F2Mn", "F2Mx"}));
    EXPECT_EQ(smc.calls().keyAtIndex, 0);
    // Fallback keys this Mac has still read; TCFC and Ts0P are not on the list.
    EXPECT_EQ(readings.value(QStringLiteral("TC0P")), 54.0);
    EXPECT_EQ(readings.value(QStringLiteral("TA0P")), 39.125);
    EXPECT_EQ(readings.value(QStringLiteral("F0Ac")), 1298.0);
    EXPECT_FALSE(readings.contains(QStringLiteral("TCFC")));
    EXPECT_FALSE(readings.contains(QStringLiteral("Ts0P")));

    // Up to eight fans are believed.
    SimulatedSmc eight = macBookPro();
    eight.setBytes(QStringLiteral("FNum"), QByteArray::fromHex("08"));
    SMCHelper withEight(eight.opener(), nullptr);
    withEight.readAllSensors();
    EXPECT_EQ(withEight.fanKeys().size(), 24);
}

TEST(SMCHelper, DropsTemperaturesAndFanSpeedsAtTheFilterEdges) {
    // Values built on the filters' edges; no recorded Mac happens to sit there.
    SimulatedSmc smc = SimulatedSmc::fromTable(
        QStringLiteral("[#KEY] [ui32] 4 00000009\n"
                       "[FNum] [ui8 ] 1 02\n"
                       "[F0Ac] [fpe2] 2 0000\n"    // 0 RPM: a stopped fan, kept
                       "[F0Mn] [fpe2] 2 ea60\n"    // 15000 RPM: dropped
                       "[F0Mx] [fpe2] 2 ea5f\n"    // 14999.75 RPM: kept
                       "[TA0P] [sp78] 2 0080\n"    // 0.5: dropped
                       "[TA1P] [sp78] 2 0081\n"    // just above 0.5: kept
                       "[TC0P] [sp78] 2 7d00\n"    // 125.0: dropped
                       "[TC0D] [sp78] 2 7cff\n")); // just below 125: kept
    SMCHelper helper(smc.opener(), nullptr);

    const auto readings = byName(helper.readAllSensors());
    EXPECT_EQ(readings.keys(), QStringList({"F0Ac", "F0Mx", "TA1P", "TC0D"}));
    EXPECT_EQ(readings.value(QStringLiteral("F0Ac")), 0.0);
    EXPECT_EQ(readings.value(QStringLiteral("TA1P")), 0.50390625);
}

TEST(SMCHelper, AFruitlessRoundResetsTheConnectionAndForgetsBadKeys) {
    SimulatedSmc smc = macBookPro();
    SMCHelper helper(smc.opener(), nullptr);
    const auto healthy = helper.readAllSensors();
    ASSERT_FALSE(healthy.isEmpty());
    EXPECT_EQ(helper.readTemperature(QStringLiteral("TG0P")), -1.0);

    smc.setDead(true);
    EXPECT_TRUE(helper.readAllSensors().isEmpty());
    EXPECT_EQ(smc.calls().opens, 1);

    smc.setDead(false);
    EXPECT_EQ(helper.readAllSensors(), healthy);
    EXPECT_EQ(smc.calls().opens, 2) << "the next round opens a fresh connection";
    EXPECT_EQ(helper.readTemperature(QStringLiteral("TG0P")), -1.0);
    EXPECT_EQ(smc.calls().keyInfoByKey.at("TG0P"), 2) << "bad keys are retried after a reset";
}

} // namespace
} // namespace velmox
