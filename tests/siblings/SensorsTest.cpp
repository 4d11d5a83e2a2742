#include "siblings/include/Sensors.h"

#include <cctype>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>

#include <unistd.h>

#include <gtest/gtest.h>

#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"

namespace family {
namespace {

TEST(ObsTypeCharacters, BothWays) {
    const std::string characters = "0123456789PV R    MO";
    for (int type = -1; type <= 20; ++type) {
        const char expected = type >= 0 && type < 20 ? characters[static_cast<std::size_t>(type)] : ' ';
        EXPECT_EQ(obstypeinttochar(type), expected) << type;
    }
    for (int code = 0; code < 256; ++code) {
        const auto character = static_cast<char>(code);
        const auto upper = static_cast<char>(std::isalpha(code) ? std::toupper(code) : code);
        const std::size_t type = upper == ' ' ? std::string::npos : characters.find(upper);
        EXPECT_EQ(obstypechartoint(character), type == std::string::npos ? -1 : static_cast<int>(type))
            << code;
    }
}

class SensorsTest : public testing::Test {
protected:
    void TearDown() override {
        FamilyRemoveSensors();
        std::filesystem::remove(file_);
    }

    int load(const std::string& content) {
        std::ofstream(file_, std::ios::binary) << content;
        return FamilyLoadSensors(file_.c_str());
    }

    static std::string lastError() {
        char text[512];
        FamilyGetLastError(text);
        return std::string(chararrtostr(text));
    }

    std::string file_ =
        std::filesystem::temp_directory_path() / ("sensors." + std::to_string(::getpid()) + ".csv");
};

const std::string kHeader = "number,description,latitude_deg,longitude_deg,height_m\n";

TEST_F(SensorsTest, BuiltInSitesAreAlwaysKnown) {
    EXPECT_EQ(FamilyAddSensor(1002, "another name", 1, 2, 3), 0);
    EXPECT_EQ(desctokey("CDE_ESP"), 1002);
    EXPECT_EQ(desctokey("another name"), 1002);
    FamilyRemoveSensors();
    EXPECT_EQ(desctokey("another name"), -1);
    EXPECT_EQ(desctokey("CCH_ESP                 "), 1001);
    EXPECT_EQ(desctokey("CTU_ESP"), 1003);
    EXPECT_EQ(desctokey("cch_esp"), -1);
    EXPECT_EQ(desctokey("   "), -1);
}

TEST_F(SensorsTest, AddAndGet) {
    EXPECT_EQ(FamilyAddSensor(329, "A description of more than 24 columns", -30.5, 210.25, -12), 0);
    SensorData sensor;
    ASSERT_EQ(getsendata(329, sensor), 0);
    EXPECT_EQ(std::string(sensor.description, 24), "A description of more th");
    EXPECT_EQ(desctokey("A description of more than 24 columns"), 329);

    char description[512];
    double latitude = 0, longitude = 0, height = 0;
    ASSERT_EQ(FamilyGetSensor(329, description, &latitude, &longitude, &height), 0);
    EXPECT_EQ(chararrtostr(description), "A description of more th");
    EXPECT_EQ(std::tuple(latitude, longitude, height), std::tuple(-30.5, 210.25, -12.0));
    EXPECT_EQ(FamilyGetSensor(330, description, &latitude, &longitude, &height), 2);
    EXPECT_EQ(lastError(), "getsendata: Sensor 330 is not known");
    EXPECT_EQ(FamilyGetSensor(329, description, nullptr, &longitude, &height), 2);
}

TEST_F(SensorsTest, RefusedValues) {
    for (const auto& [number, latitude, longitude, height] : {std::tuple{-1, 0.0, 0.0, 0.0},
                                                              {1, 90.001, 0.0, 0.0},
                                                              {1, 0.0, -180.001, 0.0},
                                                              {1, 0.0, 0.0, HUGE_VAL},
                                                              {1, std::nan(""), 0.0, 0.0}}) {
        EXPECT_EQ(FamilyAddSensor(number, "x", latitude, longitude, height), 2)
            << latitude << ' ' << longitude;
    }
    EXPECT_EQ(FamilyAddSensor(1, nullptr, 0, 0, 0), 2);
    SensorData sensor;
    EXPECT_EQ(getsendata(1, sensor), 2);
}

TEST_F(SensorsTest, LoadsAFile) {
    EXPECT_EQ(load("Number, Description, Latitude_deg, Longitude_deg, Height_m\r\n"
                   "7090, Yarragadee ,-29.0464,115.3467,244\r\n\r\n7840,Herstmonceux,50.8674,.3361,75.4"),
              0);
    SensorData sensor;
    ASSERT_EQ(getsendata(7090, sensor), 0);
    EXPECT_EQ(std::string(sensor.description, 24), "Yarragadee              ");
    EXPECT_EQ(std::tuple(sensor.latitudeDeg, sensor.longitudeDeg, sensor.heightM),
              std::tuple(-29.0464, 115.3467, 244.0));
    EXPECT_EQ(desctokey("Herstmonceux"), 7840);
}

TEST_F(SensorsTest, LeavesBadLinesOut) {
    for (const char* line :
         {"7.5,half,0,0,0", "x,letter,0,0,0", ",none,0,0,0", "7,latitude,91,0,0", "7,few,0,0",
          "7,many,0,0,0,0", "7,words,0,east,0", "7,empty,0,,0", "7,infinite,0,0,inf"}) {
        EXPECT_EQ(load(kHeader + "5,good,0,0,0\n" + line + "\n6,also good,0,0,0\n"), 2) << line;
        EXPECT_EQ(lastError().find("FamilyLoadSensors: Bad line 3 of file " + file_), 0U) << lastError();
        SensorData sensor;
        EXPECT_EQ(getsendata(5, sensor) + getsendata(6, sensor), 0) << line;
        EXPECT_EQ(getsendata(7, sensor), 2) << line;
        FamilyRemoveSensors();
    }
}

TEST_F(SensorsTest, RefusesOtherFiles) {
    EXPECT_EQ(load("7090,Yarragadee,-29.0464,115.3467,244\n"), 2);
    EXPECT_EQ(FamilyLoadSensors("/nowhere/at/all.csv"), 2);
    EXPECT_EQ(FamilyLoadSensors("/"), 2);
    EXPECT_EQ(FamilyLoadSensors(nullptr), 2);
}

}  // namespace
}  // namespace family
