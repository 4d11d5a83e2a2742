// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsStates/States.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <fstream>
#include <sstream>
#include <vector>

#include "DllExports/Obs/ObsDllVarsUtils/ArrayForm.h"
#include "Obs/ObsStates/Type7.h"
#include "ObsDllExports.h"
#include "tests/TestLog.h"

namespace obs::test {

namespace {

constexpr std::int32_t kSensor = 500, kUnknownSensor = 999;
constexpr double kTime = 27029.5;
using Array = std::array<double, 64>;

/// What always holds: rows of the mask are numbers, all else is 0, and an empty mask is a failure.
Array checked(std::int32_t status, const Array& states, const std::string& where) {
    Array valid{states[0]};
    for (std::size_t bit = 0; bit < kStateBlocks.size(); ++bit)
        if ((static_cast<unsigned>(valid[0]) >> bit & 1u) != 0)
            std::copy_n(&states[kStateBlocks[bit].first], kStateBlocks[bit].count, &valid[kStateBlocks[bit].first]);
    EXPECT_EQ(states, valid) << where;
    for (const double real : valid) EXPECT_TRUE(std::isfinite(real)) << where;
    for (const int angle : {OBS_STATES_AZ_EL, OBS_STATES_RA_DEC})
        EXPECT_TRUE(states[static_cast<std::size_t>(angle)] >= 0 && states[static_cast<std::size_t>(angle)] < 360)
            << where;
    EXPECT_EQ(status, valid[0] == 0 ? 2 : 0) << where;
    return states;
}

Array statesOf(const Array& obsArr, const std::string& where = "") {
    Array states;
    states.fill(-7);
    const std::int32_t status = ObsDataToStates(obsArr.data(), states.data());
    return checked(status, states, where);
}

Array statesAt(std::int64_t key, double time, const std::string& where = "") {
    Array states;
    const std::int32_t status = ObsGetStates(key, states.data(), time);
    return checked(status, states, where);
}

/// An observation with every element that any type uses.
Array fullArray(int type) {
    Array a{1, 12345, kSensor, kTime, 40, 120, 1500, -2.5, 0.25, -0.5, 0, static_cast<double>(type)};
    const double vectors[] = {-3000, 5500.5, 4200.25, -4.5, -5.25, 3.5};
    std::copy(std::begin(vectors), std::end(vectors), a.begin() + 16);
    return a;
}

}  // namespace

class StatesOf : public testing::Test {
protected:
    void SetUp() override {
        ObsRemoveAll();
        FamilyAddSensor(kSensor, "TEST", 35.25, 95.5, 1234.5);
    }
    void TearDown() override {
        ObsRemoveAll();
        FamilyRemoveSensors();
        FamilySetEarthOrientation(0, 0, 0, 0);
    }
    TestLog log_;
};

// The file says where its numbers come from, and how near they are to come.
TEST_F(StatesOf, observationsOfTheFixture) {
    std::ifstream file(OBS_FIXTURES "/states.csv");
    Array states{};
    int expected = 0;
    for (std::string line, name; std::getline(file, line);) {
        std::vector<std::string> words;
        std::istringstream text(line);
        for (std::string word; std::getline(text, word, ',');) words.push_back(word);
        const auto real = [&](std::size_t i) { return std::strtod(words.at(i).c_str(), nullptr); };
        if (words[0] == "earth") {
            FamilySetEarthOrientation(real(1), real(2), real(3), real(4));
        } else if (words[0] == "sensor") {
            FamilyAddSensor(static_cast<std::int32_t>(real(1)), "FIXTURE", real(2), real(3), real(4));
        } else if (words[0] == "observation") {
            Array obsArr{};
            for (std::size_t i = 2; i + 1 < words.size(); i += 2) obsArr[std::stoul(words[i])] = real(i + 1);
            states = statesOf(obsArr, name = words[1]);
        } else {
            for (std::size_t i = 4; i < words.size(); ++i, ++expected)
                EXPECT_NEAR(states[std::stoul(words[1]) + i - 4], real(i), real(2)) << name << ": " << line;
        }
    }
    EXPECT_GT(expected, 190);
}

TEST_F(StatesOf, theMeasuredStaysAsItIs) {
    for (const double azimuth : {241.1029, 359.9999, 0.0}) {
        Array obsArr = fullArray(2);
        obsArr[5] = azimuth;
        const Array states = statesOf(obsArr);
        EXPECT_EQ(states[OBS_STATES_AZ_EL], azimuth);
        obsArr[6] = 1e-9;  // at arm's length the direction is still that of the angles
        EXPECT_NEAR(statesOf(obsArr)[OBS_STATES_RA_DEC + 1], states[OBS_STATES_RA_DEC + 1], 1e-9);
    }
}

TEST_F(StatesOf, whatATypeDetermines) {
    const auto bit = [](StateBit block) { return 1u << block; };
    const unsigned time = bit(kTimeBlock), azEl = bit(kAzElBlock), raDec = bit(kRaDecBlock), range = bit(kRangeBlock),
                   rate = bit(kRangeRateBlock), moving = bit(kSenVelBlock), angles = azEl | raDec,
                   sensor = time | bit(kSenPosBlock) | moving | bit(kSenGeodeticBlock),
                   position = bit(kSatPosBlock) | bit(kSatPosJ2000Block) | bit(kSatGeodeticBlock),
                   velocity = bit(kSatVelBlock) | bit(kSatVelJ2000Block), placed = sensor | angles | range | position,
                   all = placed | rate | velocity;
    struct {
        int type;
        std::vector<std::size_t> changed;  ///< elements
        double to;
        unsigned mask;
    } const cases[] = {
        // clang-format off
        {0, {}, 0, sensor | rate}, {1, {}, 0, sensor | angles}, {2, {}, 0, placed}, {3, {}, 0, placed | rate},
        {4, {}, 0, all}, {5, {}, 0, sensor | angles}, {6, {}, 0, sensor | range}, {7, {}, 0, all}, {8, {}, 0, placed},
        {9, {}, 0, placed}, {10, {}, 0, placed}, {11, {}, 0, all}, {13, {}, 0, sensor},
        {3, {2}, kUnknownSensor, time | azEl | range | rate}, {5, {2}, kUnknownSensor, time | raDec},
        {8, {2}, kUnknownSensor, placed}, {11, {2}, kUnknownSensor, time | position | velocity},
        {13, {2}, kUnknownSensor, 0}, {-1, {}, 0, sensor},
        // clang-format on
        {2, {2}, 1001, time | azEl | range},  // its place is not known
        // what is as good as not there
        // clang-format off
        {2, {6}, 0, sensor | angles}, {3, {6}, -1, sensor | angles | rate}, {4, {4}, 90.001, sensor | range | rate},
        {9, {19, 20, 21}, 0, placed & ~moving}, {9, {16, 17, 18}, 0, time | raDec | range},
        {11, {16, 17, 18}, 0, sensor | velocity}, {11, {19, 20, 21}, 0, placed},
        // clang-format on
    };
    for (const auto& c : cases) {
        Array obsArr = fullArray(c.type);
        for (const std::size_t element : c.changed) obsArr[element] = c.to;
        const std::string where = std::to_string(&c - cases) + ", type " + std::to_string(c.type);
        EXPECT_EQ(statesOf(obsArr, where)[0], c.mask) << where;
    }
    for (const int type : {8, 9, 18, 19}) {  // their own sensor, whatever the library has under its number
        Array obsArr = fullArray(type);
        const Array states = statesOf(obsArr);
        EXPECT_EQ(std::vector(&states[OBS_STATES_SEN_POS], &states[OBS_STATES_SEN_POS + 3]),
                  std::vector(&obsArr[16], &obsArr[19]));
        obsArr[2] = kUnknownSensor;
        EXPECT_EQ(statesOf(obsArr), states) << type;
    }
    ASSERT_EQ(log_.errors.size(), 1u);
    EXPECT_EQ(log_.errors[0], "ObsDataToStates: The observation determines nothing (type 13, sensor 999).");
}

// A record that keeps another equinox is rotated as an array is.
TEST_F(StatesOf, anotherEquinox) {
    Array five = fullArray(5), states;
    five[22] = 2;
    EXPECT_FALSE(obsrec2states(obsarr2obsrec(five.data(), 0), 0, states.data()));
    EXPECT_EQ(states, statesOf(five));
}

// From a type 4 to its state, to the type 7 of that state, and back.
TEST_F(StatesOf, type7IsTheInverseOfType4) {
    const Array four = fullArray(4), states = statesOf(four);
    ObsRecord rec;
    rec.senNum = kSensor;
    rec.obsTime = kTime;
    std::copy_n(&states[OBS_STATES_SAT_POS], 3, rec.senPos.begin());
    std::copy_n(&states[OBS_STATES_SAT_VEL], 3, rec.senVel.begin());
    ObsRecord back = rec;
    ASSERT_FALSE(convertType7(back));
    const double values[] = {back.elOrDec, back.azOrRa, back.range, back.rangeRate, back.elRate, back.azRate};
    for (std::size_t i = 0; i < std::size(values); ++i) EXPECT_NEAR(values[i], four[4 + i], 1e-9) << 4 + i;
    EXPECT_EQ(back.obsType, 4);
    EXPECT_EQ(std::pair(back.senPos, back.senVel), std::pair(Vector3{}, Vector3{}));
    rec.senVel = {};
    EXPECT_EQ(convertType7(rec)->message(), "ReadTTY2Lines: A type 7 observation needs a position and a velocity.");
}

TEST_F(StatesOf, otherTimesNeedAVelocity) {
    constexpr double kLater = kTime + 0.03125;
    const std::int64_t moving = ObsAddFrArray(fullArray(11).data()), still = ObsAddFrArray(fullArray(2).data());
    const Array own = statesAt(moving, 0), moved = statesAt(moving, kLater);
    EXPECT_GT(std::fabs(moved[OBS_STATES_SAT_POS] - own[OBS_STATES_SAT_POS]), 1000);
    EXPECT_GT(std::fabs(moved[OBS_STATES_SEN_POS] - own[OBS_STATES_SEN_POS]), 100);
    Array then = fullArray(11);  // the state of that time as an observation, and back to this time
    then[3] = kLater;
    std::copy_n(&moved[OBS_STATES_SAT_POS], 6, then.begin() + 16);
    const Array again = statesAt(ObsAddFrArray(then.data()), kTime);
    for (std::size_t i = 0; i < again.size(); ++i) EXPECT_NEAR(again[i], own[i], 1e-7) << "element " << i;

    EXPECT_NE(statesAt(still, kTime)[0], 0) << "its own time";
    struct {
        std::int64_t key;
        double time;
        const char* message;
    } const refused[] = {
        {still, kLater, "ObsGetStates: The observation has no position and velocity to be moved to another time."},
        {moving, 1e9, "ObsGetStates: The time is not within the years 1 to 9999."},
        {moving, std::nan(""), "ObsGetStates: The time is not within the years 1 to 9999."},
        {77, 0, "ObsGetStates: Unable to locate obsKey                  77 in the OBS binary tree."},
    };
    for (const auto& c : refused) {
        EXPECT_EQ(statesAt(c.key, c.time)[0], 0);
        EXPECT_EQ(log_.errors.back(), c.message);
    }
    EXPECT_EQ(ObsGetStates(moving, nullptr, 0), 2);
    EXPECT_EQ(ObsDataToStates(nullptr, then.data()), 2);
    EXPECT_EQ(ObsDataToStates(then.data(), nullptr), 2);
    EXPECT_EQ(log_.errors.size(), 7u);
}

// One call gives what many give, in whatever order times come, and beside a change of the Earth's orientation.
TEST_F(StatesOf, manyAsOneByOne) {
    std::vector<std::int64_t> keys;
    for (const int type : {1, 2, 5, 11, 4, 7, 8, 9})
        for (const double later : {0.0, 1e-3, 0.0}) {
            Array obsArr = fullArray(type);
            obsArr[3] += later;
            obsArr[1] += static_cast<double>(keys.size());
            keys.push_back(ObsAddFrArray(obsArr.data()));
        }
    keys.insert(keys.begin() + 5, 77);
    std::vector<double> states(64 * keys.size());
    std::vector<std::int32_t> statuses(keys.size());
    for (const double dut1 : {0.0, 0.5})
        for (const double time : {0.0, kTime + 1}) {
            EXPECT_EQ(FamilySetEarthOrientation(dut1, 0, 0, 0), 0);
            EXPECT_EQ(ObsGetStatesMany(static_cast<std::int32_t>(keys.size()), keys.data(), time, states.data(),
                                       statuses.data()),
                      2);
            EXPECT_EQ(log_.errors.back(),
                      "ObsGetStatesMany: Unable to locate 1 of 25 obsKeys in the OBS binary tree, "
                      "the first being                  77.");
            for (std::size_t i = 0; i < keys.size(); ++i) {
                FamilySetEarthOrientation(0.25, 0, 0, 0);  // so that nothing is there from the call above
                statesAt(keys[i], kTime + 0.5);
                FamilySetEarthOrientation(dut1, 0, 0, 0);
                const Array one = statesAt(keys[i], time);
                EXPECT_TRUE(std::equal(one.begin(), one.end(), &states[64 * i])) << i << " " << time;
                EXPECT_EQ(statuses[i], one[0] == 0 ? 2 : 0) << i;
            }
        }
    FamilySetEarthOrientation(0, 0, 0, 0);
}

// Whatever an array holds: numbers where the mask says so, zeros elsewhere.
TEST_F(StatesOf, anyNumbers) {
    for (int type = -1; type <= 20; ++type)
        for (std::size_t element = 0; element < 23; ++element)
            for (const double value : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, -1.7e308, -1e-20, -1.0, 0.0, 1e9}) {
                Array obsArr = fullArray(type);
                obsArr[element] = value;
                const std::string where =
                    "type " + std::to_string(type) + ", " + std::to_string(element) + " " + std::to_string(value);
                statesOf(obsArr, where);
                char line1[512], line2[512];
                for (const std::int32_t format : {0, 1, 2}) ObsArrToLines(obsArr.data(), format, line1, line2);
                obsArr[40] = 7;
                const std::int64_t key = ObsAddFrArray(obsArr.data());
                if (key > 0) statesAt(key, kTime + 400000, where);
                ObsRemoveAll();
            }
}

TEST(StatesHeader, printsTheTable) {
    std::ostringstream header;
    header << std::ifstream(OBS_TEST_DATA "/../../DllExports/Obs/ObsDllExports/ObsDllExports.h").rdbuf();
    for (const StateBlock& block : kStateBlocks) {
        char elements[16], row[128];
        const std::size_t last = block.first + block.count - 1;
        std::snprintf(elements, sizeof elements, block.count > 1 ? "%zu-%zu" : "%zu", block.first, last);
        std::snprintf(row, sizeof row, " *  | %-8s | %-3td | %-38s | %-19s |\n", elements, &block - kStateBlocks.data(),
                      block.holds.data(), block.unit.data());
        EXPECT_NE(header.str().find(row), std::string::npos) << row;
    }
}

}  // namespace obs::test
