// SPDX-License-Identifier: Apache-2.0
// Fields by index, loose fields and arrays, through the exported functions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <set>
#include <string>

#include "tests/ExportTest.h"

namespace obs::test {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// A key for an array of the type, with values that tell the elements apart.
std::array<double, 64> arrayOf(std::int32_t type) {
    std::array<double, 64> array{};
    const double plain[] = {2,    25544, 211,   27000.5,      12.25, 200.5, 1500.25, 1.5,
                            0.25, -0.5,  0.125, double(type), 3,     4,     7,       8};
    std::copy(std::begin(plain), std::end(plain), array.begin());
    for (std::size_t i = 16; i <= 21; ++i) array[i] = 100.0 + double(i);
    return array;
}

std::string field(std::int64_t key, std::int32_t index) {
    Text text("was here");
    EXPECT_EQ(ObsGetField(key, index, text), 0) << index;
    EXPECT_NE(text.chars[0], ' ') << "left-adjusted";
    return text.trimmed();
}

/// The stored form of an array.
std::array<double, 64> roundTrip(const std::array<double, 64>& in) {
    std::array<double, 64> out;
    out.fill(-9);
    const std::int64_t key = ObsAddFrArray(in.data());
    EXPECT_GT(key, 0);
    EXPECT_EQ(ObsDataToArray(key, out.data()), 0);
    EXPECT_EQ(ObsRemove(key), 0);
    return out;
}

}  // namespace

class FieldCalls : public ExportTest {};

TEST_F(FieldCalls, everyIndexIsSetAndReadBack) {
    const std::map<std::string, std::pair<std::string, std::string>> texts{
        {"obsType", {"v", "V"}},
        {"A1", {"Xyz", "X"}},
        {"I1", {"7", "7"}},
        {"F35.15", {"  -12.5", "-12.500000000000000"}}};
    auto array = arrayOf(8);
    array[40] = 7;
    array[23] = 1;
    for (const bool withCsv : {true, false}) {
        if (!withCsv) array[40] = array[23] = 0;
        const std::int64_t key = ObsAddFrArray(array.data());
        ASSERT_GT(key, 0) << log_.errors.back();
        for (std::int32_t index = 1; index <= 37; ++index) {
            Text name, unit, form, before, after;
            ASSERT_EQ(ObsGetFieldInfo(index, name, unit, form), 0);
            const auto text = texts.find(texts.contains(name.trimmed()) ? name.trimmed() : form.trimmed());
            const auto [given, expected] =
                text == texts.end() ? std::pair<std::string, std::string>("123456789", "123456789") : text->second;
            ASSERT_EQ(ObsGetField(key, index, before), 0);
            const bool isKey = index >= 2 && index <= 4;
            log_.errors.clear();
            EXPECT_EQ(ObsSetField(key, index, Text(given)), isKey ? 2 : 0) << index;
            EXPECT_EQ(log_.errors.size(), isKey);
            const char* keyParts[] = {"satellite number", "sensor number", "time"};
            for (const std::string& error : log_.errors)
                EXPECT_EQ(error, std::string("ObsSetField: Error! Update to observation's ") + keyParts[index - 2] +
                                     " field is not allowed");
            ASSERT_EQ(ObsGetField(key, index, after), 0);
            EXPECT_EQ(after.trimmed(), isKey ? before.trimmed() : index >= 25 && !withCsv ? "" : expected) << index;
            double real = 0;
            EXPECT_EQ(ObsGetFieldReals(1, &key, index, &real), 0);
            const bool isNumber = form.trimmed() != "A1" && after.trimmed() != "";
            EXPECT_EQ(real, isNumber ? std::stod(after.trimmed()) : real) << index;
        }
        EXPECT_EQ(std::pair(field(key, 5), field(key, 7)), std::pair(field(key, 6), field(key, 8)));
        EXPECT_EQ(ObsRemove(key), 0);
    }
}

// Columns against the fields by index; what a type does not carry is null unless it holds something.
TEST_F(FieldCalls, columnsAreTheFields) {
    auto array = arrayOf(9);
    array[12] = 3;
    const std::int64_t key = ObsAddFrArray(array.data());
    ASSERT_GT(key, 0);
    std::int32_t facts[4] = {1, 0, 0, 0};
    std::set<std::string> given;
    for (std::int32_t column = 0; column < facts[OBS_COLUMN_COUNT]; ++column) {
        Text name, unit;
        ASSERT_EQ(ObsGetColumnInfo(column, name, unit, facts), 0);
        double value = 0, byIndex = 0;
        ASSERT_EQ(ObsGetColumnReals(1, &key, column, &value), 0);
        if (!std::isnan(value)) given.insert(name.trimmed());
        if (facts[OBS_COLUMN_INDEX] == 0 || std::isnan(value)) continue;
        ASSERT_EQ(ObsGetFieldReals(1, &key, facts[OBS_COLUMN_INDEX], &byIndex), 0);
        EXPECT_EQ(value, byIndex) << name.trimmed();
    }
    for (const char* name : {"sec_class", "sat_num", "ds50", "declination", "right_ascension", "type", "indicator1",
                             "sen_pos_z", "equinox"})
        EXPECT_TRUE(given.contains(name)) << name;
    for (const char* name : {"elevation", "azimuth", "sat_pos_x", "csv_real1", "bias_1", "rf_snr"})
        EXPECT_FALSE(given.contains(name)) << name;

    auto ofNoType = arrayOf(-1);
    ofNoType[2] = ofNoType[6] = 0;
    const std::int64_t other = ObsAddFrArray(ofNoType.data());
    for (const auto& [column, isGiven] : {std::pair(2, true), std::pair(8, false)}) {
        double value = 0;
        EXPECT_EQ(ObsGetColumnReals(1, &other, column, &value), 0);
        EXPECT_EQ(value == 0, isGiven) << column;
    }
}

TEST_F(FieldCalls, editFormsAreExact) {
    const std::int64_t key = ObsAddFrArray(arrayOf(6).data());
    // clang-format off
    const std::tuple<std::int32_t, const char*, const char*> cases[] = {
        {9, "1000", "1000.000000000000000"}, {9, "0.1", "0.100000000000000"}, {9, "2.5D-16", "0.000000000000000"},
        {9, "7.5e-16", "0.000000000000001"},  // 7.5e-16 is above three quarters of the last digit
        {9, "0.3", "0.300000000000000"},      // 0.299999999999999988897...
        {9, "1234567.0009999999", "1234567.000999999931082"}, {9, "1e300", "***********************************"},
        {9, "-123456789012345678", "-123456789012345680.000000000000000"},
        {9, "1234567890123456789", "1234567890123456768.000000000000000"},
        {9, "-1234567890123456789", "***********************************"},
        {9, "", "0.000000000000000"}, {9, "12 34", "1234.000000000000000"}, {9, "1.2.3", "0.000000000000000"},
        {15, "10", "*"}, {16, "-1", "*"}, {16, "9", "9"}, {17, "1234567890", "*********"},
        {17, "-123456789", "*********"}, {18, "99999999999", "*********"}, {1, "", ""},
    };
    // clang-format on
    for (const auto& [index, given, shown] : cases) {
        Text text;
        EXPECT_EQ(ObsSetField(key, index, given), 0);
        EXPECT_EQ(ObsGetField(key, index, text), 0);
        EXPECT_EQ(text.trimmed(), shown) << given;
    }
    for (const char* bad : {"", "x", "???"}) {
        EXPECT_EQ(ObsSetField(key, 14, bad), 2) << bad;
        EXPECT_EQ(field(key, 14), "6");
    }
    for (const std::int32_t index : {0, 38, -1, std::numeric_limits<std::int32_t>::min()}) {
        Text text("was here");
        EXPECT_EQ(ObsGetField(key, index, text), 0);
        EXPECT_EQ(text.trimmed(), "");
        EXPECT_EQ(ObsSetField(key, index, std::string(512, '*').c_str()), 0);
        double real = 5;
        EXPECT_EQ(ObsGetFieldReals(1, &key, index, &real), 2);
        EXPECT_EQ(real, 5);
    }
    log_.errors.clear();
    Text text("was here");
    EXPECT_EQ(ObsGetField(12345, 9, text), 2);
    EXPECT_EQ(text.trimmed(), "");
    EXPECT_EQ(ObsSetField(12345, 2, "9"), 2);
    EXPECT_EQ(log_.errors, (std::vector<std::string>{
                               "ObsGetAllFields: Unable to locate obsKey               12345 in the OBS binary tree.",
                               "ObsSetField: Unable to locate obsKey               12345 in the OBS binary tree."}));
}

TEST_F(FieldCalls, addingFromFields) {
    const double array[64] = {};
    const double pos[3] = {1, 2, 3}, vel[3] = {4, 5, 6};
    const auto add = [&](char type, std::int32_t sat, std::int32_t alt2, double range, double rate,
                         const double* sigmas) {
        return ObsAddFrFields('S', sat, 211, 27000.5, 10, 20, range, rate, 0, 0, 0, type, 1, 2, 0, alt2, pos, vel,
                              sigmas);
    };
    AllFields f;
    std::int64_t key = add('9', 5, 0, 500, 2, array);
    ASSERT_EQ(f.get(key), 0);
    EXPECT_EQ(f.type, 'O') << "9 with a range";
    EXPECT_EQ(f.pos[2], 3);
    EXPECT_EQ(f.vel[0], 4);
    key = add('5', 6, 0, 0, 2, array);
    ASSERT_EQ(f.get(key), 0);
    EXPECT_EQ(f.rate, 0);
    EXPECT_NEAR(f.el, 10, 0.2);
    EXPECT_NE(f.el, 10) << "rotated to date";
    key = add('6', 0, 77, 500, 0, array);
    EXPECT_EQ(key, ObsFieldsToObsKey(77, 211, 27000.5));
    EXPECT_TRUE(log_.errors.empty()) << log_.errors.front();
    for (const double bad : {4.0, 1.5, -1.0, std::nan(""), kInfinity}) EXPECT_EQ(add('5', 7, 0, 0, bad, array), -1);
    EXPECT_EQ(log_.errors,
              std::vector<std::string>(5, "AddFrFields: Invalid equinox indicator. Its valid range is from 0 to 3."));

    for (const int count : {6, 7, 21, 5, 8}) {
        double sigmas[64] = {};
        sigmas[40] = count + 0.9;
        sigmas[40 + count] = 5;
        std::int64_t kept = 0;
        ObsAddFrFieldsML('U', 9, 211, 27000.5 + count, 1, 2, 3, 0, 0, 0, 0, '6', 0, 0, 0, 0, pos, vel, sigmas, &kept);
        double out[64];
        ASSERT_EQ(ObsDataToArray(kept, out), 0);
        const bool taken = count == 6 || count == 7 || count == 21;
        EXPECT_EQ(out[40], taken ? count : 0);
        EXPECT_EQ(out[40 + count], taken ? 5 : 0);
    }
}

TEST_F(FieldCalls, updateKeepsKeyAndParts) {
    auto array = arrayOf(8);
    array[40] = 6;
    array[41] = 0.5;
    const std::int64_t key = ObsAddFrArray(array.data());
    const double pos[3] = {7, 8, 9}, vel[3] = {};
    const auto update = [&](std::int64_t which, char type, double rate) {
        return ObsUpdateFrFields(which, 'C', 11, 22, 33, rate, 0, 0, 0, type, 5, 6, 0, 0, pos, vel);
    };
    ASSERT_EQ(update(key, 'P', 0), 0);
    EXPECT_EQ(field(key, 22), "7.000000000000000");
    EXPECT_EQ(field(key, 19), "0.000000000000000") << "not used by the new type";
    EXPECT_EQ(field(key, 2), "25544");
    EXPECT_EQ(ObsDataToArray(key, array.data()), 0);
    EXPECT_EQ(array[41], 0.5);
    EXPECT_EQ(update(key, '8', 0), 0);
    EXPECT_EQ(field(key, 14), "M");
    const std::int64_t seven = ObsAddFrArray(arrayOf(7).data());
    EXPECT_EQ(update(seven, '7', 0), 0);
    EXPECT_EQ(field(seven, 19), "116.000000000000000") << "cannot be given, so it stays";
    EXPECT_EQ(update(key, '9', 7), 2);
    EXPECT_EQ(update(1, '9', 7), 2);
    EXPECT_EQ(log_.errors,
              (std::vector<std::string>{
                  "ObsUpdateFrFields: Invalid equinox indicator. Its valid range is 0 to 3.",
                  "ObsGetAllFields: Unable to locate obsKey                   1 in the OBS binary tree."}));
}

TEST_F(FieldCalls, arraysComeBackByTheirTypesRules) {
    for (const std::int32_t type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 13, 18, 19}) {
        const auto in = arrayOf(type);
        auto expected = in;
        if (type != 4) expected[8] = expected[9] = 0;
        if (type == 18 || type == 19) expected[11] = type - 10;
        const bool hasPosition = type >= 7 && type != 13;
        const bool hasVelocity = type == 7 || type == 10 || type == 11;
        for (std::size_t i = 16; i <= 18; ++i) expected[i] = hasPosition ? in[i] : 0;
        for (std::size_t i = 19; i <= 21; ++i) expected[i] = hasVelocity ? in[i] : 0;
        EXPECT_EQ(roundTrip(in), expected) << "type " << type;
    }
}

TEST_F(FieldCalls, sharedElementsOfArrays) {
    auto in = arrayOf(6);
    in[35] = 5;
    in[39] = 6;
    EXPECT_EQ(roundTrip(in)[35], 5) << "the third bias";
    in[40] = 7;
    EXPECT_EQ(roundTrip(in)[40], 0) << "element 35 alone makes no CSV data";
    in[33] = 2.9;
    auto out = roundTrip(in);
    EXPECT_EQ(out[40], 7);
    EXPECT_EQ(out[33], 2) << "an integer now";
    EXPECT_EQ(out[35], 0) << "R";
    EXPECT_EQ(out[39], 0) << "no biases beside CSV data";
    in[35] = 1;
    in[47] = 0.25;
    out = roundTrip(in);
    EXPECT_EQ(out[35], 1);
    EXPECT_EQ(out[47], 0.25) << "CSV data and seven sigmas";
}

TEST_F(FieldCalls, arraysBecomeLinesAsTheyAre) {
    auto in = arrayOf(5);
    in[22] = 2;
    Text line1, line2;
    ASSERT_EQ(ObsArrToLines(in.data(), 0, line1, line2), 0);
    EXPECT_EQ(line1.trimmed().substr(74, 2), "52") << "the array's own equinox";
    EXPECT_EQ(roundTrip(in)[22], 0) << "rotated to date when stored";
    EXPECT_EQ(ObsArrToLines(in.data(), 3, line1, line2), 2);
    EXPECT_EQ(line1.trimmed() + line2.trimmed(), "");
}

TEST_F(FieldCalls, manyInOneCallEqualOneByOne) {
    std::vector<double> arrays;
    for (int i = 0; i < 3000; ++i) {
        auto array = arrayOf(i % 7);
        array[3] += (i % 1000) / 1e3;
        array[1] = i % 50 == 0 ? 0 : 5;  // some name no satellite
        if (i % 50 == 0) array[14] = array[15] = 0;
        arrays.insert(arrays.end(), array.begin(), array.end());
    }
    std::vector<std::int64_t> single, many(3000), stored(3000);
    for (std::size_t i = 0; i < 3000; ++i) single.push_back(ObsAddFrArray(&arrays[64 * i]));
    ObsGetLoaded(8, stored.data());
    std::vector<std::string> messages = log_.errors;
    // Many in one call leave a message of their own only where nothing else was said.
    std::erase(messages, "ObsAddFrArray: No satellite number, or a number or time that makes no key.");
    ASSERT_EQ(messages.size() + 60, log_.errors.size());
    messages.push_back("ObsAddFrArrays: No satellite number, or a number or time that makes no key.");
    ObsRemoveAll();
    log_.errors.clear();
    EXPECT_EQ(ObsAddFrArrays(3000, arrays.data(), many.data()), 2);
    EXPECT_EQ(many, single);
    EXPECT_EQ(log_.errors, messages);
    std::vector<std::int64_t> again(3000);
    ObsGetLoaded(8, again.data());
    EXPECT_EQ(again, stored);

    std::vector<double> back(64 * 3000), one(64), values(3000);
    EXPECT_EQ(ObsDataToArrays(3000, many.data(), back.data()), 2);
    EXPECT_EQ(log_.errors.back(),
              "ObsDataToArrays: Unable to locate 60 of 3000 obsKeys in the OBS binary tree, "
              "the first being                  -1.");
    EXPECT_EQ(ObsGetFieldReals(3000, many.data(), 4, values.data()), 2);
    for (std::size_t i = 0; i < 3000; ++i) {
        EXPECT_EQ(ObsDataToArray(many[i], one.data()), many[i] < 0 ? 2 : 0);
        EXPECT_TRUE(std::equal(one.begin(), one.end(), back.begin() + static_cast<std::ptrdiff_t>(64 * i))) << i;
        EXPECT_TRUE(many[i] < 0 ? std::isnan(values[i]) : values[i] == one[3]) << i;
    }
    EXPECT_EQ(ObsAddFrArrays(-1, arrays.data(), many.data()), 2);
    EXPECT_EQ(ObsAddFrArrays(0, nullptr, nullptr), 0);
    EXPECT_EQ(ObsDataToArrays(1, nullptr, back.data()), 2);
}

TEST_F(FieldCalls, typesAndFormatsTellWhatTheyCarry) {
    constexpr std::size_t kElevation = 4, kAzimuth = 5, kRange = 6, kRangeRate = 7, kElRate = 8, kPosition = 16,
                          kVelocity = 19;
    const struct {
        std::int32_t type;
        char character;
        const char* name;
        std::map<std::size_t, std::int32_t> carried;
    } types[] = {
        {0, '0', "range rate", {{kElevation, 0}, {kRangeRate, 10}}},
        {4, '4', "azimuth, elevation, range and their rates", {{kElevation, 5}, {kAzimuth, 7}, {kElRate, 11}}},
        {9,
         '9',
         "right ascension, declination from a sensor in space",
         {{kElevation, 6}, {kAzimuth, 8}, {kRange, 0}, {kPosition, 19}}},
        {11, 'V', "satellite position and velocity", {{kPosition, 22}, {kVelocity, -1}, {63, 0}, {40, -1}}},
        {12, ' ', "", {{kElevation, 0}, {1, 2}}},
    };
    for (const auto& one : types) {
        char character = '?';
        Text name("was here");
        std::int32_t carried[64];
        ASSERT_EQ(ObsGetTypeInfo(one.type, &character, name, carried), 0);
        EXPECT_EQ(character, one.character);
        EXPECT_EQ(name.trimmed(), one.name);
        for (const auto& [element, index] : one.carried) EXPECT_EQ(carried[element], index) << one.name << element;
    }
    // A value comes back from its card within half the last digit that is told, and not always within a tenth of it.
    for (const std::int32_t format : {OBS_FORMAT_B3, OBS_FORMAT_TTY, OBS_FORMAT_CSV}) {
        Text name, description;
        std::int32_t facts[16];
        ASSERT_EQ(ObsGetFormatInfo(format, name, description, facts), 0);
        EXPECT_EQ(facts[OBS_FORMAT_SAVE_FORM], format);
        ObsSetTTYYear(2023);
        for (const std::int32_t type : {0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11, 18, 19}) {
            if ((facts[OBS_FORMAT_TYPES] >> type & 1) == 0) continue;
            auto array = arrayOf(type);
            for (std::size_t i = 3; i <= 10; ++i) array[i] += 1e-3 / 7;
            if (type != 4) array[8] = array[9] = 0;  // the array form takes them for type 4 alone
            if (type == 8 || type == 9) array[6] = 0;
            if (type >= 18) array[11] = type - 10;
            double units[64], back[64];
            std::int32_t digits[64];
            ASSERT_EQ(ObsGetFormatPrecision(format, type, units, digits), 0);
            Text line1, line2;
            ASSERT_EQ(ObsArrToLines(array.data(), format, line1, line2), 0);
            EXPECT_EQ(line2.trimmed().empty(), facts[OBS_FORMAT_MOST_LINES] == 1 || (type < 7 && type != 4));
            ASSERT_EQ(ObsParse(line1, line2, back), 0) << format << " type " << type;
            for (std::size_t i = 1; i <= 21; ++i) {
                const double most = std::max(
                    units[i],
                    digits[i] == 0 ? 0 : std::pow(10, 1 + std::floor(std::log10(std::fabs(array[i]))) - digits[i]));
                if (units[i] < 0)
                    EXPECT_TRUE(back[i] == 0 || i >= 12) << format << " type " << type << " element " << i;
                else
                    EXPECT_LE(std::fabs(back[i] - array[i]), 0.51 * most + 1e-11)
                        << format << " type " << type << " element " << i;
            }
        }
    }
    Text name("was here"), description("was here");
    std::int32_t numbers[64] = {9};
    double units[64] = {9};
    char character = '?';
    for (const std::int32_t other : {-1, 20}) {
        EXPECT_EQ(ObsGetTypeInfo(other, &character, name, numbers), 2);
        EXPECT_EQ(ObsGetFormatPrecision(0, other, units, numbers), 2);
        EXPECT_EQ(ObsGetFormatInfo(other, name, description, numbers), 2);
        EXPECT_EQ(name.trimmed() + description.trimmed(), "");
        EXPECT_EQ(units[0] + numbers[0], 0);
    }
    EXPECT_EQ(ObsGetFormatInfo(0, nullptr, description, numbers), 2);
}

}  // namespace obs::test
