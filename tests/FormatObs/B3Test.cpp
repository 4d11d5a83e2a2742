// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/B3.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "Obs/CardLayouts/B3.h"
#include "Obs/FormatObs/CardFields.h"
#include "Obs/FormatObs/Named.h"
#include "Obs/ObsCardReading/Cards/B3.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "Obs/ObsCardReading/Named.h"
#include "tests/RecordFields.h"

namespace obs::test {

namespace {

std::string overpunched(double value, int nInt, int nDec) {
    std::string text(static_cast<std::size_t>(nInt + nDec), '?');
    GetOverpunchStr(value, nInt, nDec, text.data());
    return text;
}

std::string rangeText(double range, bool type6) {
    std::string text(type6 ? 9 : 8, '?');
    type6 ? GetRangeStrType6(text.data(), range) : GetRangeStr(text.data(), range);
    return text;
}

std::string written(const ObsRecord& rec) {
    std::string text(CardWriter::kCapacity, '?');
    CardLines lines{{text.data(), nullptr}, {}};
    EXPECT_FALSE(CreateB3Obs(rec, lines));
    return text;
}

std::string columns(const ObsRecord& rec, Columns which) { return written(rec).substr(which.offset(), which.width()); }

}  // namespace

TEST(CardFields, signedFields) {
    // halves away from zero, decided on the exact value: 0.00005 is a little above, 1.00105 a little below a half
    const std::tuple<int, int, const char*> cases[] = {
        {2, 4,
         "-12.3456=J23456 -5.1234=-51234 5.1234=051234 12.3456=123456 -0.1234=-01234 -99.99994=R99999 0=000000 "
         "-0.00004=-00000 99.99996=****** -100=****** nan=******"},
        {1, 4, "-0.1234=-1234 -1.1234=J1234 -inf=***** 0.03125=00313 -0.03125=-0313 0.00005=00001 1.00105=10010"},
        {2, 5, "inf=*******"}};
    for (const auto& [nInt, nDec, texts] : cases)
        for (const auto& [value, text] : valuesIn(texts)) EXPECT_EQ(overpunched(value, nInt, nDec), text) << value;
}

TEST(CardFields, rangesAndPositions) {
    for (const auto& [value, text] :
         valuesIn("12345.67=12345673 12.3456=12345600 0=00000000 1e8=99999995 9e-6=00000000 "
                  "1e-5=00000010 9999999=99999995 9876543=98765435 99.999999=10000001 -5=00000000 1234567.8=12345685 "
                  "inf=99999995 "
                  "nan=********"))
        EXPECT_EQ(rangeText(value, false), text) << value;
    for (const auto& [value, text] : valuesIn("12345.67=123456702 12.3456=012345600 0=000000000 1e8=999999995 "
                                              "9e-6=000000000 1e-5=000000010 9999999=999999904 98765432=987654325 "
                                              "99.999999=100000000 -5=000000000 1234567.8=123456784 "
                                              "inf=999999995 nan=*********"))
        EXPECT_EQ(rangeText(value, true), text) << value;
    for (const auto& [value, expected] : valuesIn("123.456=+00123456 -123.456=-00123456 0=~~~~~~~~~ -0.0=~~~~~~~~~ "
                                                  "99999.999=+99999999 1e5=********* -0.0004=-00000000")) {
        std::string text(9, '?');
        GetPosStr(text.data(), value);
        EXPECT_EQ(text, expected) << value;
    }
}

TEST(B3Writer, headAndTail) {
    ObsRecord rec = plainRecord(1);
    rec.azOrRa = -0.0001;
    rec.elOrDec = -12.3456;
    rec.indicator1 = 7;
    rec.altSatNum1 = 100001;
    rec.altSatNum2 = 340000;
    EXPECT_EQ(written(rec).substr(0, 90),
              "U1234521124001120000000J23456 3599999                                     1 7  0A0001*****");
    struct {
        std::int32_t ObsRecord::*field;
        std::int32_t value;
        Columns where;
        const char* text;
    } const cases[] = {
        {&ObsRecord::senNum, 1234, b3::kSenNum, "234"},     {&ObsRecord::senNum, -1, b3::kSenNum, "***"},
        {&ObsRecord::indicator1, 10, b3::kIndicator1, "*"}, {&ObsRecord::indicator2, 9, b3::kIndicator2, " "},
        {&ObsRecord::indicator2, -1, b3::kIndicator2, "*"}, {&ObsRecord::equinoxInd, 2, b3::kEquinoxInd, " "},
        {&ObsRecord::obsType, 18, b3::kObsType, "8"},       {&ObsRecord::obsType, 19, b3::kObsType, "9"},
        {&ObsRecord::obsType, 7, b3::kObsType, " "},        {&ObsRecord::obsType, 16, b3::kAltSatNum1, "     "},
    };
    for (const auto& c : cases) {
        ObsRecord changed = rec;
        changed.*c.field = c.value;
        EXPECT_EQ(columns(changed, c.where), c.text);
    }
    ObsRecord raDec = plainRecord(5);
    raDec.equinoxInd = 3;
    EXPECT_EQ(columns(raDec, b3::kEquinoxInd), "3");
    raDec.secClass = '\n';
    EXPECT_EQ(columns(raDec, b3::kSecClass), "*");
}

TEST(B3Writer, spaceSensorsWithoutRangeHaveNoExponent) {
    ObsRecord rec = plainRecord(18);
    EXPECT_EQ(written(rec).substr(38, 8), "0000000 ");
    rec.senPos = {123.456, 0, -7000};
    EXPECT_EQ(written(rec).substr(46, 27), "+00123456         -07000000");
}

TEST(B3Writer, eciCards) {
    ObsRecord rec = plainRecord(11);
    rec.satPos = {6378.135, -1, 1e20};
    rec.satVel = {7.5, -0.000000001, 0};
    EXPECT_EQ(
        written(rec).substr(23, 103),
        "      6378.135000        -1.000000*****************V      7.500000000     -0.000000001      0.000000000");
    rec.satPos = {0.0078125, -0.0234375, 2.5};  // exact halves go away from zero
    rec.satVel = {0.0009765625, 0.0029296875, 0};
    const std::string halves = written(rec);
    EXPECT_EQ(halves.substr(23, 51), "         0.007813        -0.023438         2.500000");
    EXPECT_EQ(halves.substr(75, 34), "      0.000976563      0.002929688");
    ObsRecord back;
    EXPECT_FALSE(ReadB3(halves, back));
    EXPECT_TRUE(ReadB3(std::string_view(halves).substr(0, 115), back)) << "cut before the last number";
    rec.obsType = 10;
    rec.satPos = {6378.135, -1, 0};
    const std::string card = written(rec).substr(0, 90);
    EXPECT_EQ(card.substr(23, 24), "  1.00000000 -0.00015679");
    EXPECT_EQ(card[74], 'P');
    EXPECT_TRUE(IsB3Format_PV("U" + std::string(28, ' ') + "1" + std::string(44, ' ') + "P"));
}

// Whatever a card can hold comes back from it: the fields within half a digit, the card itself exactly.
TEST(B3Writer, cardsComeBack) {
    std::mt19937_64 random(3);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    constexpr double kHalfAngleDigit = 0.5e-4, kHalfRaDigit = 0.05 * 15 / 3600, kHalfRateDigit = 0.5e-5,
                     kHalfMillisecond = 0.5e-3 / 86400, kHalfMetre = 0.5e-3, kNoise = 1e-9;
    for (int round = 0; round < 4000; ++round) {
        static constexpr std::int32_t kTypes[] = {0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 18, 19};
        ObsRecord rec = plainRecord(kTypes[random() % std::size(kTypes)]);
        const std::int32_t type = rec.obsType;
        rec.obsTime = uniform(2557, 39000);
        if (kAngleTypes.has(type)) {
            rec.elOrDec = uniform(-99.99, 99.99);
            rec.azOrRa = uniform(0, 359.99);
        }
        if (ObsHasRange(type)) rec.range = std::pow(10.0, uniform(-4, 6.9));
        if (ObsHasRangeRate(type)) rec.rangeRate = uniform(-99, 99);
        if (type == 4) rec.elRate = uniform(-9.9, 9.9);
        if (kSensorPositionTypes.has(type)) rec.senPos = {uniform(-9e4, 9e4), 0, uniform(-1, -0.001)};
        if (type == 10) rec.satPos = {uniform(-6e5, 6e5), 0, uniform(-1e-4, 1e-4)};
        if (type == 11) rec.satPos = {0, uniform(-9e5, 9e5), uniform(-1e-6, 1e-6)};
        if (type == 11) rec.satVel = {uniform(-99, 99), 0, -1e-9};
        const std::string card = written(rec);
        ASSERT_EQ(ObsCardType(card), LineClass::b3) << card;
        ObsRecord back;
        const MaybeRefusal refusal = ReadB3(card, back);
        ASSERT_FALSE(refusal) << refusal->message();
        EXPECT_EQ(back.obsType, type) << card;
        EXPECT_NEAR(back.obsTime, rec.obsTime, kHalfMillisecond + kNoise) << card;
        EXPECT_NEAR(back.elOrDec, rec.elOrDec, kHalfAngleDigit + kNoise) << card;
        EXPECT_NEAR(back.azOrRa, rec.azOrRa, (ObsHasRaDec(type) ? kHalfRaDigit : kHalfAngleDigit) + kNoise) << card;
        EXPECT_NEAR(back.range, rec.range, std::max(0.5e-6 * rec.range, 0.5e-5) + kNoise) << card;
        EXPECT_NEAR(back.rangeRate, rec.rangeRate, kHalfRateDigit + kNoise) << card;
        EXPECT_NEAR(back.elRate, rec.elRate, kHalfAngleDigit + kNoise) << card;
        EXPECT_NEAR(back.senPos[0], rec.senPos[0], kHalfMetre + kNoise) << card;
        const double halfEciDigit = type == 10 ? 0.5e-8 * 6378.135 : 0.5e-6;
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(back.satPos[i], rec.satPos[i], halfEciDigit + kNoise) << card;
            EXPECT_NEAR(back.satVel[i], rec.satVel[i], kNoise) << card;
        }
        EXPECT_EQ(written(back), card);
    }
}

}  // namespace obs::test
