// SPDX-License-Identifier: Apache-2.0
#include "Obs/FormatObs/Tty.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "Obs/CardLayouts/Tty.h"
#include "Obs/ObsCardReading/Cards/Tty.h"
#include "Obs/ObsCardReading/Loading/Classify.h"
#include "tests/RecordFields.h"

namespace obs::test {

namespace {

struct Message {
    std::string card1 = std::string(CardWriter::kCapacity, '?');
    std::string card2 = card1;
};

Message written(const ObsRecord& rec) {
    Message message;
    CardLines lines{{message.card1.data(), message.card2.data()}, {}};
    EXPECT_FALSE(CreateTTYObs(rec, lines));
    for (std::string* card : {&message.card1, &message.card2}) card->resize(card->find_last_not_of(' ') + 1);
    return message;
}

ObsRecord fullRecord(std::int32_t type) {
    ObsRecord rec = plainRecord(type);
    rec.indicator1 = 1;
    rec.elOrDec = -12.5;
    rec.azOrRa = -90;
    rec.range = 12345.67;
    rec.rangeRate = -1.23456;
    rec.elRate = 0.1234;
    rec.azRate = -0.1234;
    rec.equinoxInd = 2;
    rec.senPos = {123.45678, -7000, 0};
    rec.senVel = {1.234567, -0.01234567, 0};
    rec.satPos = {7000.1234565, -1, 0};
    return rec;
}

}  // namespace

TEST(TtyWriter, messageOfEachType) {
    const std::tuple<std::int32_t, const char*, const char*> cases[] = {
        {0, "))U   102111234500112000000010123456  $$", ""},
        {1, "))U   11211123450011200000001125000 2700000  $$", ""},
        {2, "))U   12211123450011200000001125000 2700000 12345673  $$", ""},
        {3, "))U   13211123450011200000001125000 2700000 12345673 10123456  $$", ""},
        {5, "))U   15211123450011200000001125000 1800000 0 $$", ""},
        {6, "))U   1621112345001120000000123456702  $$", ""},
        {10, "))U   1P21112345001120000000  7000123457    -1000000           0", ""},
        {11, "))U   1V21112345001120000000  7000123457    -1000000           0", ""},
        {4, "))U   1421112345", "0011200000001125000 2700000 12345673 10123456 001234 101234 000000  $$"},
        {7, "))U   1721112345", "001120000000012345678617000000070000000003012345674112345674000000003$$"},
        {8, "))U   1821112345", "0011200000001125000 2700000           012345678617000000070000000003  $$"},
        {18, "))U   1821112345", "0011200000001125000 2700000 12345673  012345678617000000070000000003  $$"},
        {9, "))U   1921112345", "0011200000001125000 1800000 2         012345678617000000070000000003  $$"},
        {19, "))U   1921112345", "0011200000001125000 1800000 212345673 012345678617000000070000000003  $$"},
        {13, "))U   1R21112345", "001120000000"},
        {-1, "))U   1 21112345", "001120000000"},
    };
    for (const auto& [type, card1, card2] : cases) {
        const Message message = written(fullRecord(type));
        EXPECT_EQ(message.card1, card1) << type;
        EXPECT_EQ(message.card2, card2) << type;
    }
    ObsRecord rec = fullRecord(13);
    rec.secClass = '\n';
    rec.indicator1 = 10;
    rec.senNum = 1000;  // all digits count, where a B3 card drops the thousands
    for (const auto& [satNum, card] : {std::pair{339999, "))*   *R***Z9999"}, {340000, "))*   *R********"}}) {
        rec.satNum = satNum;
        EXPECT_EQ(written(rec).card1, card);
    }
    rec.obsTime = 0;
    rec.obsType = 9;
    rec.equinoxInd = 10;
    EXPECT_EQ(written(rec).card2.substr(0, 12), "************");
    EXPECT_EQ(written(rec).card2[28], '*');
}

TEST(TtyWriter, valuesInTheirColumns) {
    const struct {
        std::int32_t type;
        const char* field;
        Columns columns;
        const char* texts;
    } cases[] = {
        // clang-format off
        {3, "elOrDec", {29, 35}, "0=0000000 -0.0=0000000 -12.5=1125000 -0.00001=1000000 0.03125=0000313 -99.99994=1999999 "
                                 "99.99996=0****** -inf=1****** nan=0******"},
        {3, "azOrRa", {37, 43}, "-90=2700000 -0.00001=3600000 0.03125=0000313 1000=*******"},
        {3, "rangeRate", {54, 61}, "-12.5=11250000 99.99996=09999996 -400=1*******"},
        // A range is rounded to its digits first, then to units of 10^-5 km.
        {2, "range", {45, 52}, "0=00000000 -5=00000000 9e-6=00000000 1e-5=00000010 0.12345496=00123460 9.9999999=10000000 "
                               "12.34567=12345670 99.999999=10000001 123.45678=12345681 9999999=99999995 "
                               "9876543=98765435 20000000=99999995 inf=99999995 nan=********"},
        {6, "range", {29, 37}, "9e-6=000000000 0.12345496=000123450 9.9999999=010000000 123.45678=123456780 "
                               "99.999999=100000000 20000000=200000005 98765432=987654325 1e8=999999995"},
        // The exponent is one character: that of its last digit, three further on.
        {7, "senPosY", {23, 32}, "-0.01234567=1123456704 -0.0=0000000003 9.99999999=0100000005 1e9=0100000003 "
                                 "1234567=012345670: 16384.0625=0163840638 -1e300=1100000004 inf=0*********"},
        {7, "senVelY", {52, 60}, "1.234567=012345674 -0.01234567=112345674 123456789=01234568<"},
        {10, "satPosZ", {53, 64}, "-1e-7=~~~~~~~~~~~0 999999.9999994=999999999999 1e6=************ "
                                  "-99999.9999994=-99999999999 -99999.9999996=************"},
        // clang-format on
    };
    for (const auto& c : cases)
        for (const auto& [value, text] : valuesIn(c.texts)) {
            ObsRecord rec = fullRecord(c.type);
            realIn(rec, c.field) = value;
            const Message message = written(rec);
            const CardText card = message.card2.empty() ? message.card1 : message.card2;
            EXPECT_EQ(card.at(c.columns), text) << c.type << " " << value;
        }
}

// What is read from a message gives it again. The digits are the tables' business.
TEST(TtyWriter, messagesComeBack) {
    const ReadSettings settings{.ttyYear = 2024};
    std::mt19937_64 random(3);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    for (int round = 0; round < 4000; ++round) {
        static constexpr std::int32_t kTypes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 18, 19};
        ObsRecord rec = fullRecord(kTypes[random() % std::size(kTypes)]);
        const std::int32_t type = rec.obsType;
        rec.obsTime = uniform(27029, 27395);
        rec.elOrDec = uniform(-99.99, 99.99);
        rec.azOrRa = uniform(0, 359.99);
        rec.range = std::pow(10.0, uniform(-4, 6.9));
        rec.rangeRate = uniform(-99, 99);
        for (double* rate : {&rec.elRate, &rec.azRate, &rec.rangeAccel}) *rate = uniform(-9.9, 9.9);
        // exponents of 0 to 6 keep their sign and their digit
        for (Vector3* vector : {&rec.senPos, &rec.senVel})
            for (double& x : *vector) x = std::pow(10.0, uniform(-0.99, 5.9)) * (random() % 2 == 0 ? 1 : -1);
        const Message message = written(rec);
        ASSERT_EQ(ObsCardType(message.card1), LineClass::tty);
        ObsRecord back;
        back.rotateToDate = 0;
        const MaybeRefusal refusal = ReadTTYFrLines(message.card1, message.card2, settings, back);
        ASSERT_FALSE(refusal) << refusal->message();
        const std::string cards = message.card1 + "\n" + message.card2;
        EXPECT_EQ(back.obsType, type) << cards;
        EXPECT_NEAR(back.obsTime, rec.obsTime, 1e-3 / 86400) << cards;
        EXPECT_NEAR(back.range, kRangeTypes.has(type) ? rec.range : 0, 1e-6 * rec.range + 1e-5) << cards;
        const Message again = written(back);
        EXPECT_EQ(again.card1 + "\n" + again.card2, cards);
    }
    // Positions have their time on the card where the reader does not look for it.
    ObsRecord back;
    const Message position = written(fullRecord(10));
    EXPECT_TRUE(ReadTTYFrLines(position.card1, position.card2, settings, back));
}

}  // namespace obs::test
