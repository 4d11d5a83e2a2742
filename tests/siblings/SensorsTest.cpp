// SPDX-License-Identifier: Apache-2.0
#include "siblings/include/Sensors.h"

#include <array>
#include <cmath>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

#include "siblings/include/Services.h"
#include "tests/Files.h"
#include "tests/TestLog.h"

namespace family {
namespace {

TEST(ObsTypeCharacters, BothWays) {
    const std::string characters = "0123456789PV R    MO";
    int type = 0;
    for (const char character : characters) {
        EXPECT_EQ(obstypeinttochar(type), character) << type;
        EXPECT_EQ(obstypechartoint(character), character == ' ' ? -1 : type) << type;
        ++type;
    }
    EXPECT_TRUE(obstypeinttochar(20) == ' ' && obstypechartoint('m') == 18 && obstypechartoint('Q') == -1);
}

class SensorsTest : public testing::Test {
protected:
    void TearDown() override { FamilyRemoveSensors(); }

    int load(const std::string& content) { return FamilyLoadSensors(folder_.write("sensors.csv", content).c_str()); }

    const obs::test::TempFolder folder_;
    const std::string file_ = folder_ / "sensors.csv";
};

TEST_F(SensorsTest, AddGetAndRemove) {
    EXPECT_EQ(FamilyAddSensor(1002, "A description of more than 24 columns", -30.5, 210.25, -12), 0);
    char description[512];
    double latitude = 0, longitude = 0, height = 0;
    ASSERT_EQ(FamilyGetSensor(1002, description, &latitude, &longitude, &height), 0);
    EXPECT_EQ(chararrtostr(description), "A description of more th");
    EXPECT_EQ(std::tuple(latitude, longitude, height), std::tuple(-30.5, 210.25, -12.0));
    EXPECT_EQ(desctokey("A description of more than 24 columns"), 1002);
    EXPECT_EQ(desctokey("CDE_ESP      "), 1002);  // the built-in site is still known
    EXPECT_EQ(FamilyAddSensor(7, "x", 0, 0, 0), 0);
    int32_t numbers[4], count = 0;
    EXPECT_EQ(FamilyListSensors(2, numbers, &count), 2);
    EXPECT_EQ(FamilyListSensors(count, numbers, &count), 0);
    EXPECT_EQ(std::vector<int32_t>(numbers, numbers + count), (std::vector<int32_t>{7, 1001, 1002, 1003}));
    FamilyRemoveSensors();
    EXPECT_EQ(desctokey("A description of more than 24 columns"), -1);
    EXPECT_EQ(FamilyGetSensor(330, description, &latitude, &longitude, &height), 2);
    for (const auto& [number, badLatitude, badLongitude] :
         {std::tuple{-1, 0.0, 0.0}, {1, 90.001, 0.0}, {1, 0.0, -180.001}, {1, std::nan(""), 0.0}}) {
        EXPECT_EQ(FamilyAddSensor(number, "x", badLatitude, badLongitude, 0), 2) << badLatitude;
    }
}

TEST_F(SensorsTest, LoadsAFile) {
    EXPECT_EQ(load("Number, Description, Latitude_deg, Longitude_deg, Height_m\r\n"
                   "7090, Yarragadee ,-29.0464,115.3467,244\r\n\r\n7840,Herstmonceux,50.8674,.3361,75.4"),
              0);
    SensorData sensor;
    EXPECT_EQ(desctokey("Yarragadee"), 7090);
    ASSERT_EQ(getsendata(7090, sensor), 0);
    EXPECT_EQ(std::tuple(sensor.latitudeDeg, sensor.longitudeDeg, sensor.heightM),
              std::tuple(-29.0464, 115.3467, 244.0));
    EXPECT_EQ(desctokey("Herstmonceux"), 7840);
    EXPECT_EQ(load("7090,Yarragadee,-29.0464,115.3467,244\n"), 2);  // no header
    EXPECT_EQ(FamilyLoadSensors("/nowhere/at/all.csv"), 2);
}

TEST_F(SensorsTest, LeavesBadLinesOut) {
    for (const char* line : {"7.5,half,0,0,0", ",none,0,0,0", "7,latitude,91,0,0", "7,few,0,0", "7,many,0,0,0,0",
                             "7,words,0,east,0", "7,empty,0,,0"}) {
        EXPECT_EQ(load("number,description,latitude_deg,longitude_deg,height_m\n5,good,0,0,0\n" + std::string(line) +
                       "\n6,also good,0,0,0\n"),
                  2)
            << line;
        EXPECT_TRUE(lastError().starts_with("FamilyLoadSensors: Bad line 3 of file " + file_)) << line;
        SensorData sensor;
        EXPECT_EQ(getsendata(5, sensor) + getsendata(6, sensor), 0) << line;
        EXPECT_EQ(getsendata(7, sensor), 2) << line;
        FamilyRemoveSensors();
    }
}

/// Earth-fixed coordinates on WGS84, m.
std::array<double, 3> earthFixed(const SensorData& sensor) {
    constexpr double kRadiusM = 6378137, kFlattening = 1 / 298.257223563, kDegree = M_PI / 180;
    constexpr double kE2 = kFlattening * (2 - kFlattening);
    const double latitude = sensor.latitudeDeg * kDegree, longitude = sensor.longitudeDeg * kDegree;
    const double n = kRadiusM / std::sqrt(1 - kE2 * std::sin(latitude) * std::sin(latitude));
    const double equatorial = (n + sensor.heightM) * std::cos(latitude);
    return {equatorial * std::cos(longitude), equatorial * std::sin(longitude),
            (n * (1 - kE2) + sensor.heightM) * std::sin(latitude)};
}

// Positions and velocities (m, m/year) at 2015.0 as SLRF2020 gives them; the file is for 2020.0. Station 7110 has
// four solutions, of which the last one counts.
TEST_F(SensorsTest, ShippedLaserStations) {
    constexpr double kYears = 1826 / 365.25, kOneMillimetre = 1e-3;
    struct {
        std::int32_t number;
        std::string_view description;
        std::array<double, 3> positionM, velocity;
    } const stations[] = {
        {18,
         "7090 Yarragadee MOBLAS-5",
         {-2389007.77005032, 5043329.48581405, -3078523.97088064},
         {-.0468239683, .00797007646, .0509599890}},
        {93,
         "7110 Monument P MOBLAS-4",
         {-2386278.76756282, -4802353.67239530, 3444881.84657152},
         {-.0307701148, .0254090034, .0139238319}},
    };
    ASSERT_EQ(FamilyLoadSensors(OBS_SHIPPED_DATA "/laser_stations.csv"), 0);
    for (const auto& station : stations) {
        SensorData sensor;
        ASSERT_TRUE(findsendata(station.number, sensor)) << station.number;
        EXPECT_EQ(desctokey(station.description), station.number);
        const std::array<double, 3> found = earthFixed(sensor);
        for (std::size_t i = 0; i < 3; ++i)
            EXPECT_NEAR(found[i], station.positionM[i] + station.velocity[i] * kYears, kOneMillimetre);
    }
    SensorData sensor;
    EXPECT_FALSE(findsendata(92345, sensor));
}

}  // namespace
}  // namespace family
