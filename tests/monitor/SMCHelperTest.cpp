#include "monitor/SMCHelper.h"

#include "tests/monitor/SimulatedSmc.h"

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

TEST(SMCHelper, ReadsARecordedIntelMacAndKeepsOnlyPlausibleValues) {
    SimulatedSmc smc = SimulatedSmc::fromFile(QStringLiteral("intel-Mac-031B6874CF7F642A.smc"));
    SMCHelper helper(smc.opener(), nullptr);

    const QMap<QString, double> expected = {{"TA0P", 29.25},  {"TC0E", 58.5},  {"TC0F", 59.25},
                                            {"TC0P", 46.25},  {"TC0c", 51.0},  {"TL2p", 53.0},
                                            {"TL3p", 28.5},   {"TM0P", 35.5},  {"F0Ac", 2000.0},
                                            {"F0Mn", 1200.0}, {"F0Mx", 2700.0}};
    EXPECT_EQ(byName(helper.readAllSensors()), expected);
    // Enumeration keeps readable "T" keys only (TH0F's key information fails) and adds
    // the one fan that FNum announces.
    EXPECT_EQ(helper.temperatureKeys(),
              QStringList({"TA0P", "TC0E", "TC0F", "TC0J", "TC0L", "TC0P", "TC0T", "TC0c", "TH0o",
                           "TL0V", "TL2p", "TL3p", "TM0P", "Tb0P", "Tp2F"}));
    EXPECT_EQ(helper.fanKeys(), QStringList({"F0Ac", "F0Mn", "F0Mx"}));
    EXPECT_EQ(helper.readTemperature(QStringLiteral("TC0P")), 46.25);
}

TEST(SMCHelper, CachesKeyInfoEnumeratesOnceAndNeverAsksABadKeyAgain) {
    SimulatedSmc smc = SimulatedSmc::fromFile(QStringLiteral("intel-Mac-031B6874CF7F642A.smc"));
    SMCHelper helper(smc.opener(), nullptr);

    const auto first = helper.readAllSensors();
    const int keyInfoAfterFirst = smc.calls().keyInfo;
    EXPECT_EQ(smc.calls().keyAtIndex, 23);
    EXPECT_EQ(smc.calls().keyInfoByKey.at("TH0F"), 1);

    EXPECT_EQ(helper.readAllSensors(), first);
    EXPECT_EQ(helper.readTemperature(QStringLiteral("TH0F")), -1.0);
    EXPECT_EQ(smc.calls().keyInfo, keyInfoAfterFirst) << "every key's information is cached";
    EXPECT_EQ(smc.calls().keyAtIndex, 23) << "keys are enumerated once";
    EXPECT_EQ(smc.calls().keyInfoByKey.at("TH0F"), 1) << "a bad key is not asked again";
    EXPECT_EQ(smc.calls().readByKey.at("TC0P"), 2);
    EXPECT_EQ(smc.calls().opens, 1);
}

TEST(SMCHelper, MalformedKeysFailWithoutADriverCall) {
    SimulatedSmc smc = SimulatedSmc::fromFile(QStringLiteral("intel-Mac-031B6874CF7F642A.smc"));
    SMCHelper helper(smc.opener(), nullptr);

    EXPECT_EQ(helper.readKey(QStringLiteral("TC0")), std::nullopt);
    EXPECT_EQ(helper.readKey(QString(4, QChar(0))), std::nullopt);
    EXPECT_EQ(smc.calls().keyInfo + smc.calls().read, 0);
    EXPECT_EQ(helper.readKey(QStringLiteral("QILA")), 1.25);
    EXPECT_EQ(helper.readKey(QStringLiteral("TH0o")), std::nullopt) << "hex_ is not a number";
}

TEST(SMCHelper, ReadsFloatKeysOfAnAppleSiliconTableWithoutFans) {
    SimulatedSmc smc = SimulatedSmc::fromFile(QStringLiteral("apple-silicon-notebook.smc"));
    SMCHelper helper(smc.opener(), nullptr);

    const QMap<QString, double> expected = {{"Ta08", 31.5}, {"Tg05", 38.25}, {"Tg0D", 39.75},
                                            {"Tp01", 44.5}, {"Tp05", 46.5},  {"Tp09", 45.0},
                                            {"Ts0P", 29.0}};
    EXPECT_EQ(byName(helper.readAllSensors()), expected) << "NaN and infinity are left out";
    EXPECT_TRUE(helper.fanKeys().isEmpty()) << "FNum 0 means no fans";
}

TEST(SMCHelper, FallsBackToTheFixedKeyListAndThreeFansWhenTheSmcWillNotSay) {
    SimulatedSmc smc = SimulatedSmc::fromFile(QStringLiteral("intel-Mac-031B6874CF7F642A.smc"));
    smc.removeKey(QStringLiteral("#KEY"));
    smc.setBytes(QStringLiteral("FNum"), QByteArray::fromHex("0c")); // 12 fans: not believable
    SMCHelper helper(smc.opener(), nullptr);

    const auto readings = byName(helper.readAllSensors());
    EXPECT_EQ(helper.temperatureKeys(), SMCHelper::fallbackTemperatureKeys());
    EXPECT_EQ(helper.temperatureKeys().size(), 113);
    EXPECT_EQ(helper.temperatureKeys().first(), QStringLiteral("TC0P"));
    EXPECT_EQ(helper.temperatureKeys().last(), QStringLiteral("TW0P"));
    EXPECT_EQ(helper.fanKeys(), QStringList({"F0Ac", "F0Mn", "F0Mx", "F1Ac", "F1Mn", "F1Mx", "F2Ac",
                                             "F2Mn", "F2Mx"}));
    EXPECT_EQ(smc.calls().keyAtIndex, 0);
    // Fallback keys this Mac has still read; TC0P and TA0P are on the list.
    EXPECT_EQ(readings.value(QStringLiteral("TC0P")), 46.25);
    EXPECT_EQ(readings.value(QStringLiteral("TA0P")), 29.25);
    EXPECT_FALSE(readings.contains(QStringLiteral("TL2p")));
}

TEST(SMCHelper, FNumFromZeroToEightIsBelieved) {
    for (const auto& [hex, fans] : {std::pair{"00", 0}, std::pair{"08", 8}, std::pair{"09", 3}}) {
        SimulatedSmc smc = SimulatedSmc::fromFile(QStringLiteral("intel-Mac-031B6874CF7F642A.smc"));
        smc.setBytes(QStringLiteral("FNum"), QByteArray::fromHex(hex));
        SMCHelper helper(smc.opener(), nullptr);
        helper.readAllSensors();
        EXPECT_EQ(helper.fanKeys().size(), fans * 3) << "FNum " << hex;
    }
}

TEST(SMCHelper, DropsTemperaturesAndFanSpeedsAtTheFilterEdges) {
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
    SimulatedSmc smc = SimulatedSmc::fromFile(QStringLiteral("intel-Mac-031B6874CF7F642A.smc"));
    SMCHelper helper(smc.opener(), nullptr);
    const auto healthy = helper.readAllSensors();
    ASSERT_FALSE(healthy.isEmpty());

    smc.setDead(true);
    EXPECT_TRUE(helper.readAllSensors().isEmpty());
    EXPECT_EQ(smc.calls().opens, 1);

    smc.setDead(false);
    EXPECT_EQ(helper.readAllSensors(), healthy);
    EXPECT_EQ(smc.calls().opens, 2) << "the next round opens a fresh connection";
    EXPECT_EQ(helper.readTemperature(QStringLiteral("TH0F")), -1.0);
    EXPECT_EQ(smc.calls().keyInfoByKey.at("TH0F"), 2) << "bad keys are retried after a reset";
}

TEST(SMCHelper, WithoutAnSmcOnlyNamedSensorsAreRead) {
    SMCHelper none([] { return std::unique_ptr<SmcConnection>(); }, nullptr);
    EXPECT_EQ(none.readTemperature(QStringLiteral("TC0P")), -1.0);
    EXPECT_TRUE(none.readAllSensors().isEmpty());
    EXPECT_FALSE(none.hasConnection());
}

} // namespace
} // namespace velmox
