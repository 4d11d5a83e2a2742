#include "Obs/FormatObs/Tty.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <random>
#include <regex>
#include <set>
#include <sstream>

#include "Obs/CardLayouts/Tty.h"
#include "Obs/ObsCardReading/Classify.h"
#include "Obs/ObsCardReading/Tty.h"
#include "Obs/ObsCardReading/TtyYear.h"

namespace obs::test {

namespace {

struct Message {
    std::string card1 = std::string(CardWriter::kCapacity, '?');
    std::string card2 = card1;
};

Message written(const ObsRecord& rec) {
    Message message;
    CreateTTYObs(rec, message.card1.data(), message.card2.data());
    return message;
}

std::string trimmed(const std::string& text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

ObsRecord plainRecord(std::int32_t type) {
    ObsRecord rec;
    rec.satNum = 12345;
    rec.senNum = 211;
    rec.obsType = type;
    rec.indicator1 = 1;
    rec.obsTime = 27029.5;
    rec.elOrDec = -12.5;
    rec.azOrRa = -90;
    rec.range = 12345.67;
    rec.rangeRate = -1.23456;
    rec.elRate = 0.1234;
    rec.azRate = -0.1234;
    rec.rangeAccel = 0;
    rec.equinoxInd = 2;
    rec.senPos = {123.45678, -7000, 0};
    rec.senVel = {1.234567, -0.01234567, 0};
    rec.satPos = {7000.1234565, -1, 0};
    return rec;
}

std::string columns(const std::string& card, Columns which) {
    return card.substr(which.offset(), which.width());
}

std::string textOf(Columns columns) {
    return std::to_string(columns.first) + "-" + std::to_string(columns.last);
}

std::string textOf(ObsTypeSet types) {
    std::string text;
    for (std::int32_t type = 0; type < 20; ++type)
        if (types.has(type)) text.append(text.empty() ? "" : ", ").append(std::to_string(type));
    return text;
}

/// The page's rows of record fields, columns | width | types | decimals | field.
std::multiset<std::string> rowsOf(const std::string& page) {
    static const std::regex line(R"(\| (\d+-\d+ \| \d+ \|)[^|]*(\| [^|]* \| \d* ?\|) `((?!k[A-Z])\w+)(\[\d\])?` \|)");
    std::multiset<std::string> rows;
    for (auto at = std::sregex_iterator(page.begin(), page.end(), line); at != std::sregex_iterator(); ++at)
        rows.insert((*at)[1].str() + (*at)[2].str() + (*at)[3].str());
    return rows;
}

std::multiset<std::string> rowsOfTheCode() {
    const std::pair<double ObsRecord::*, const char*> names[] = {
        {&ObsRecord::elOrDec, "elOrDec"}, {&ObsRecord::azOrRa, "azOrRa"}, {&ObsRecord::range, "range"},
        {&ObsRecord::rangeRate, "rangeRate"}, {&ObsRecord::elRate, "elRate"}, {&ObsRecord::azRate, "azRate"},
        {&ObsRecord::rangeAccel, "rangeAccel"}};
    std::multiset<std::string> rows;
    const auto add = [&](Columns columns, ObsTypeSet types, int decimals, const std::string& name) {
        const std::string digits = decimals == 0 ? "" : std::to_string(decimals) + " ";
        const std::string width = std::to_string(columns.width());
        rows.insert(textOf(columns) + " | " + width + " || " + textOf(types) + " | " + digits + "|" + name);
    };
    const auto addTable = [&](const auto& table) {
        for (const tty::Measurement& field : table)
            for (const auto& [member, name] : names)
                if (member == field.value) add(field.columns, field.carriedBy, field.decimals, name);
    };
    addTable(tty::kOnCard1);
    addTable(tty::kOnCard2);
    for (const Columns& columns : tty::kSatPosOnCard1) add(columns, tty::kSatPosTypes, tty::kSatPosDecimals, "satPos");
    for (const tty::Vector& vector : tty::kVectorsOnCard2)
        for (const Columns& columns : vector.columns)
            add(columns, vector.carriedBy, 0, vector.value == &ObsRecord::senPos ? "senPos" : "senVel");
    return rows;
}

}  // namespace

TEST(TtyPage, printsTheColumnsOfTheCode) {
    std::ifstream file(OBS_TEST_DATA "/../../docs/formats/tty.md");
    std::stringstream page;
    page << file.rdbuf();
    EXPECT_EQ(rowsOf(page.str()), rowsOfTheCode());
    const auto checkMarks = [&](const auto& table) {
        for (const tty::EndMarkColumns& mark : table) {
            const std::string words = textOf(mark.columns) + " (type " + textOf(mark.carriedBy) + ")";
            EXPECT_NE(page.str().find(words), std::string::npos) << words;
        }
    };
    checkMarks(tty::kEndMarksOnCard1);
    checkMarks(tty::kEndMarksOnCard2);
}

TEST(TtyWriter, messageOfEachType) {
    struct {
        std::int32_t type;
        const char* card1;
        const char* card2;
    } const cases[] = {
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
        {12, "))U   1 21112345", "001120000000"},
        {-1, "))U   1 21112345", "001120000000"},
    };
    for (const auto& c : cases) {
        const Message message = written(plainRecord(c.type));
        EXPECT_EQ(trimmed(message.card1), c.card1) << c.type;
        EXPECT_EQ(trimmed(message.card2), c.card2) << c.type;
    }
}

TEST(TtyWriter, headAndTimeThatDoNotFit) {
    struct {
        std::int32_t ObsRecord::*field;
        std::int32_t value;
        Columns where;
        const char* text;
    } const cases[] = {
        {&ObsRecord::senNum, 1000, tty::kSenNum, "***"},         {&ObsRecord::senNum, -1, tty::kSenNum, "***"},
        {&ObsRecord::senNum, 7, tty::kSenNum, "007"},            {&ObsRecord::indicator1, 10, tty::kIndicator1, "*"},
        {&ObsRecord::satNum, 339999, tty::kSatNum, "Z9999"},     {&ObsRecord::satNum, 340000, tty::kSatNum, "*****"},
    };
    for (const auto& c : cases) {
        ObsRecord rec = plainRecord(1);
        rec.*c.field = c.value;
        EXPECT_EQ(columns(written(rec).card1, c.where), c.text);
    }
    ObsRecord rec = plainRecord(1);
    rec.secClass = '\n';
    rec.obsTime = 0;
    EXPECT_EQ(columns(written(rec).card1, tty::kSecClass), "*");
    EXPECT_EQ(columns(written(rec).card1, tty::kTimeOnCard1), "************");
    rec.obsType = 9;
    rec.equinoxInd = 10;
    EXPECT_EQ(columns(written(rec).card2, tty::kEquinoxIndOnCard2), "*");
}

TEST(TtyWriter, signedNumbersAndAzimuths) {
    const double infinity = std::numeric_limits<double>::infinity();
    struct {
        double value;
        const char* elevation;
        const char* azimuth;
        const char* rangeRate;
    } const cases[] = {
        {0, "0000000", "0000000", "00000000"},          {-0.0, "0000000", "0000000", "00000000"},
        {-12.5, "1125000", "3475000", "11250000"},      {99.99996, "0******", "1000000", "09999996"},
        {-99.99994, "1999999", "2600001", "19999994"},  {-400, "1******", "*******", "1*******"},
        {1000, "0******", "*******", "0*******"},       {infinity, "0******", "*******", "0*******"},
        {-infinity, "1******", "*******", "1*******"},  {std::nan(""), "0******", "*******", "0*******"},
        {-0.00001, "1000000", "3600000", "10000001"},   {0.03125, "0000313", "0000313", "00003125"},
    };
    for (const auto& c : cases) {
        ObsRecord rec = plainRecord(3);
        rec.elOrDec = rec.azOrRa = rec.rangeRate = c.value;
        const std::string card = written(rec).card1;
        EXPECT_EQ(columns(card, {29, 35}), c.elevation) << c.value;
        EXPECT_EQ(columns(card, {37, 43}), c.azimuth) << c.value;
        EXPECT_EQ(columns(card, {54, 61}), c.rangeRate) << c.value;
    }
}

TEST(TtyWriter, ranges) {
    const double infinity = std::numeric_limits<double>::infinity();
    struct {
        double range;
        const char* text;
        const char* type6;
    } const cases[] = {
        {0, "00000000", "000000000"},          {-5, "00000000", "000000000"},
        {9e-6, "00000000", "000000000"},       {1e-5, "00000010", "000000010"},
        {12.34567, "12345670", "012345670"},   {123.45678, "12345681", "123456780"},
        {9.9999999, "10000000", "010000000"},  {99.999999, "10000001", "100000000"},
        {9999999, "99999995", "999999904"},    {20000000, "99999995", "200000005"},
        {1e8, "99999995", "999999995"},        {infinity, "99999995", "999999995"},
        {std::nan(""), "********", "*********"},
        // rounded to its digits first, then to units of 10^-5 km
        {0.12345496, "00123460", "000123450"},
    };
    for (const auto& c : cases) {
        ObsRecord rec = plainRecord(2);
        rec.range = c.range;
        EXPECT_EQ(columns(written(rec).card1, {45, 52}), c.text) << c.range;
        rec.obsType = 6;
        EXPECT_EQ(columns(written(rec).card1, {29, 37}), c.type6) << c.range;
    }
}

// The exponent is one character: that of its last digit, three further on.
TEST(TtyWriter, positionAndVelocityComponents) {
    struct {
        double value;
        const char* position;
        const char* velocity;
    } const cases[] = {
        {1.234567, "0123456704", "012345674"},         {-0.01234567, "1123456704", "112345674"},
        {0, "0000000003", "000000003"},                {-0.0, "0000000003", "000000003"},
        {123456.785, "0123456799", "012345689"},       {1234567, "012345670:", "01234567:"},
        {123456789, "012345679<", "01234568<"},        {1e9, "0100000003", "010000003"},
        {9.99999999, "0100000005", "010000005"},       {16384.0625, "0163840638", "016384068"},
        {0.000244140625, "0244140636", "024414066"},   {0.00048828125, "0488281256", "048828136"},
        {1e-300, "010000000<", "01000000<"},           {-1e300, "1100000004", "110000004"},
        {std::numeric_limits<double>::infinity(), "0*********", "0********"},
    };
    for (const auto& c : cases) {
        ObsRecord rec = plainRecord(7);
        rec.senPos[1] = rec.senVel[1] = c.value;
        const std::string card = written(rec).card2;
        EXPECT_EQ(columns(card, {23, 32}), c.position) << c.value;
        EXPECT_EQ(columns(card, {52, 60}), c.velocity) << c.value;
    }
}

TEST(TtyWriter, satellitePositions) {
    struct {
        double km;
        const char* text;
    } const cases[] = {{999999.9999994, "999999999999"}, {999999.9999996, "************"}, {1e6, "************"},
                       {-99999.9999994, "-99999999999"}, {-99999.9999996, "************"}, {-1e-7, "           0"},
                       {0.6e-6, "           1"},         {1e300, "************"},          {0.0078125, "        7813"}};
    for (const auto& c : cases) {
        ObsRecord rec = plainRecord(10);
        rec.satPos[2] = c.km;
        EXPECT_EQ(columns(written(rec).card1, {53, 64}), c.text) << c.km;
    }
}

// Whatever a message can hold comes back from it: the fields within half a digit, the cards themselves exactly.
TEST(TtyWriter, messagesComeBack) {
    SetTTYYear(2024);
    std::mt19937_64 random(3);
    const auto uniform = [&](double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(random);
    };
    constexpr double kHalfAngleDigit = 0.5e-4, kHalfRaDigit = 0.05 * 15 / 3600, kHalfRateDigit = 0.5e-5,
                     kHalfMillisecond = 0.5e-3 / 86400, kHalfVectorDigit = 0.5e-6, kNoise = 1e-9;
    for (int round = 0; round < 4000; ++round) {
        static constexpr std::int32_t kTypes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 18, 19};
        ObsRecord rec = plainRecord(kTypes[random() % std::size(kTypes)]);
        const std::int32_t type = rec.obsType;
        rec.obsTime = uniform(27029, 27395);
        rec.elOrDec = uniform(-99.99, 99.99);
        rec.azOrRa = uniform(0, 359.99);
        rec.range = std::pow(10.0, uniform(-4, 6.9));
        rec.rangeRate = uniform(-99, 99);
        rec.elRate = uniform(-9.9, 9.9);
        // exponents of 0 to 6 keep their sign and their digit
        for (double& x : rec.senPos) x = std::pow(10.0, uniform(-0.99, 5.9)) * (random() % 2 == 0 ? 1 : -1);
        for (double& x : rec.senVel) x = std::pow(10.0, uniform(-0.99, 5.9)) * (random() % 2 == 0 ? 1 : -1);
        const Message message = written(rec);
        ASSERT_EQ(ObsCardType(message.card1), LineClass::tty);
        ObsRecord back;
        back.rotateToDate = 0;
        const MaybeRefusal refusal = ReadTTYFrLines(message.card1, message.card2, back);
        ASSERT_FALSE(refusal) << refusal->message();
        const std::string cards = message.card1 + "\n" + message.card2;
        EXPECT_EQ(back.obsType, type) << cards;
        EXPECT_EQ(back.satNum, rec.satNum);
        EXPECT_EQ(back.indicator2, 9);
        EXPECT_EQ(back.equinoxInd, type == 9 || type == 19 ? 2 : 0) << cards;
        EXPECT_NEAR(back.obsTime, rec.obsTime, kHalfMillisecond + kNoise) << cards;
        if (kAngleTypes.has(type)) {
            EXPECT_NEAR(back.elOrDec, rec.elOrDec, kHalfAngleDigit + kNoise) << cards;
            const double half = ObsHasRaDec(type) ? kHalfRaDigit : kHalfAngleDigit;
            EXPECT_NEAR(back.azOrRa, rec.azOrRa, half + kNoise) << cards;
        }
        const bool hasRange = tty::kRangeWrittenTypes.has(type);
        // rounded twice: to its digits and to units of 10^-5 km
        EXPECT_NEAR(back.range, hasRange ? rec.range : 0, 0.5e-6 * rec.range + 0.5e-5 + kNoise) << cards;
        EXPECT_NEAR(back.rangeRate, ObsHasRangeRate(type) ? rec.rangeRate : 0, kHalfRateDigit + kNoise) << cards;
        EXPECT_NEAR(back.elRate, type == 4 ? rec.elRate : 0, kHalfAngleDigit + kNoise) << cards;
        for (std::size_t i = 0; i < 3 && (type == 7 || kSensorPositionTypes.has(type)); ++i)
            EXPECT_NEAR(back.senPos[i], rec.senPos[i], kHalfVectorDigit * std::fabs(rec.senPos[i])) << cards;
        for (std::size_t i = 0; i < 3 && type == 7; ++i)
            EXPECT_NEAR(back.senVel[i], rec.senVel[i], kHalfVectorDigit * std::fabs(rec.senVel[i])) << cards;
        const Message again = written(back);
        EXPECT_EQ(again.card1 + "\n" + again.card2, cards);
    }
    SetTTYYear(0);
}

// Positions have their time on the card where the reader does not look for it.
TEST(TtyWriter, positionsDoNotComeBack) {
    SetTTYYear(2024);
    const Message message = written(plainRecord(10));
    ObsRecord back;
    const MaybeRefusal refusal = ReadTTYFrLines(message.card1, message.card2, back);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->message().substr(0, 32), "ReadTTY2Lines: Bad TTY card #2 (");
    SetTTYYear(0);
}

}  // namespace obs::test
