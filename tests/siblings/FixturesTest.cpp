// SPDX-License-Identifier: Apache-2.0
/// The coordinate library against other astronomy software: tables of tools/fixtures/make_coords.py.
/// The largest differences go into the test report (--gtest_output=xml) for docs/design/coordinates.md.
#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <limits>
#include <map>
#include <numbers>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

#include "siblings/coords/EarthOrientation.h"
#include "siblings/include/Constants.h"
#include "siblings/include/Coords.h"
#include "siblings/include/ObsFamily.h"

namespace family {
namespace {

constexpr double kDegree = std::numbers::pi / 180;
constexpr double kArcsec = kDegree / 3600;
constexpr double kMillimetre = 1e-6;  // km, and km/s
constexpr double kNanodegree = 1e-9;
/// What IAU 2006 precession, IAU 2000A nutation and the frame bias change in these years, in any direction.
constexpr double kNewerPrecession = 0.07 * kArcsec;
/// The equinox of newer precession alone, from the start of the year to J2000, over 40 years.
constexpr double kNewerEquinox = 0.13 * kArcsec;
/// FK4 to FK5 by the matrices of another paper: the two part by 0.13 milliarcseconds a year.
constexpr double kOtherFk4 = 0.011 * kArcsec;
/// The mean equinox moves along the equator, which others count into the sidereal rate, in rad/s.
constexpr double kMovingEquinox = 7.1e-12;
/// Until 1972 UTC lost up to 2.592 ms a day against TAI, from which astropy counts UT1 within a day.
constexpr double kElasticUtcS = 2.592e-3;
constexpr double kStart1972 = 8036;

struct Row {
    std::string source, kind;
    std::vector<double> numbers;
};

/// Source, kind of row and numbers.
std::vector<Row> rowsOf(const std::string& name) {
    std::ifstream file(OBS_FIXTURES "/" + name);
    std::string line, field;
    std::getline(file, line);
    std::vector<Row> rows;
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        Row row;
        std::getline(fields, row.source, ',');
        std::getline(fields, row.kind, ',');
        while (std::getline(fields, field, ',')) row.numbers.push_back(std::stod(field));
        rows.push_back(row);
    }
    if (rows.empty()) throw std::runtime_error("no rows in " + name);
    return rows;
}

struct Fixtures : testing::Test {
    ~Fixtures() override {
        for (const auto& [what, most] : worst) RecordProperty(what, testing::PrintToString(most));
        FamilySetEarthOrientation(0, 0, 0, 0);
    }
    void expectNear(const std::string& what, double difference, double tolerance) {
        worst[what] = std::max(worst[what], std::abs(difference));
        EXPECT_LE(std::abs(difference), tolerance) << what;
    }
    std::map<std::string, double> worst;
};

double distance(const double a[3], const double b[3]) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

std::array<double, 3> direction(double ra, double dec) {
    return {std::cos(dec) * std::cos(ra), std::cos(dec) * std::sin(ra), std::sin(dec)};
}

StateKm stateAt(const std::vector<double>& numbers, std::size_t at) {
    StateKm state;
    std::copy_n(&numbers[at], 3, state.posKm);
    std::copy_n(&numbers[at + 3], 3, state.velKms);
    return state;
}

TEST_F(Fixtures, Equinoxes) {
    const std::map<std::string, double> tolerance{{"erfa1", kNanodegree * kDegree},
                                                  {"erfa2", kNanodegree * kDegree},
                                                  {"skyfield2", kNewerPrecession},
                                                  {"astropy1", kNewerEquinox},
                                                  {"astropy3", kOtherFk4}};
    for (const Row& row : rowsOf("equinox.csv")) {
        const auto& n = row.numbers;
        double ra = n[1] * kDegree, dec = n[2] * kDegree;
        rotradec_eqnx2date(std::stoi(row.kind), n[0], dec, ra);
        const std::string what = row.source + row.kind;
        expectNear(what, distance(direction(ra, dec).data(), direction(n[3] * kDegree, n[4] * kDegree).data()),
                   tolerance.at(what));
    }
}

TEST_F(Fixtures, States) {
    for (const Row& row : rowsOf("frames.csv")) {
        const auto& n = row.numbers;
        ASSERT_EQ(FamilySetEarthOrientation(n[1], n[2], n[3], n[4]), 0);
        const bool fixed = row.kind == "itrs";
        const StateKm teme = stateAt(n, 5), wanted = stateAt(n, 11);
        StateKm got, back;
        (fixed ? temetoitrs : temetoj2000)(n[0], teme, got);
        (fixed ? itrstoteme : j2000toteme)(n[0], got, back);
        const double radius = std::hypot(teme.posKm[0], teme.posKm[1], teme.posKm[2]);
        const double speed = std::hypot(teme.velKms[0], teme.velKms[1], teme.velKms[2]);
        const bool elastic = row.source == "astropy" && n[0] < kStart1972;
        const double turned =
            fixed ? elastic * kElasticUtcS * earthrotationrads() : (row.source != "erfa") * kNewerPrecession;
        const std::string what = row.source + "_" + row.kind + (elastic && fixed ? "_before1972" : "");
        expectNear(what + "_km", distance(got.posKm, wanted.posKm), turned * radius + kMillimetre);
        expectNear(what + "_kms", distance(got.velKms, wanted.velKms),
                   turned * speed + (row.source != "erfa") * kMovingEquinox * radius + 0.1 * kMillimetre);
        expectNear("and_back_km", distance(back.posKm, teme.posKm), kMillimetre);
        expectNear("and_back_kms", distance(back.velKms, teme.velKms), kMillimetre);
    }
}

TEST_F(Fixtures, Geodetic) {
    for (const Row& row : rowsOf("geodetic.csv")) {
        const auto& n = row.numbers;
        const double lat = std::stod(row.kind) * kDegree;
        double itrs[3], latBack = 0, lon = 0, height = 0;
        geodetictoitrs(lat, n[0] * kDegree, n[1], itrs);
        expectNear(row.source + "_km", distance(itrs, &n[2]), kMillimetre);
        itrstogeodetic(&n[2], latBack, lon, height);
        geodetictoitrs(latBack, lon, height, itrs);
        expectNear("and_back_km", distance(itrs, &n[2]), kMillimetre);
    }
}

TEST_F(Fixtures, Horizon) {
    for (const Row& row : rowsOf("horizon.csv")) {
        const auto& n = row.numbers;
        const double lat = std::stod(row.kind) * kDegree, lon = n[0] * kDegree, height = n[1];
        const Horizon wanted{n[2] * kDegree, n[3] * kDegree, n[4], n[5] * kDegree, n[6] * kDegree, n[7]};
        const StateKm state = stateAt(n, 8);
        StateKm itrs;
        horizontoitrs(lat, lon, height, wanted, itrs);
        expectNear(row.source + "_km", distance(itrs.posKm, state.posKm), kMillimetre);
        expectNear(row.source + "_kms", distance(itrs.velKms, state.velKms), kMillimetre);
        Horizon got;
        itrstohorizon(lat, lon, height, state, got);
        expectNear(row.source + "_angle", std::remainder(got.azimuth - wanted.azimuth, 2 * std::numbers::pi),
                   kNanodegree * kDegree);
        expectNear(row.source + "_angle", got.elevation - wanted.elevation, kNanodegree * kDegree);
        expectNear(row.source + "_range", got.rangeKm - wanted.rangeKm, kMillimetre);
        expectNear(row.source + "_rate", got.azimuthRate - wanted.azimuthRate, kNanodegree * kDegree);
        expectNear(row.source + "_rate", got.elevationRate - wanted.elevationRate, kNanodegree * kDegree);
        expectNear(row.source + "_range_rate", got.rangeRateKms - wanted.rangeRateKms, kMillimetre);
    }
}

TEST_F(Fixtures, DailyEarthOrientation) {
    ASSERT_EQ(FamilyLoadEarthOrientation(OBS_FIXTURES "/orientation.csv"), 0);
    constexpr double kLastDigit = 1e-9;  // s and arcsec: below any published value
    for (const Row& row : rowsOf("orientation_values.csv")) {
        const EarthOrientation got = earthorientation(std::stod(row.kind));
        expectNear("dut1", got.dut1S - row.numbers[0], kLastDigit);
        expectNear("xp", got.xpArcsec - row.numbers[1], kLastDigit);
        expectNear("yp", got.ypArcsec - row.numbers[2], kLastDigit);
        expectNear("lod", got.lodS - row.numbers[3], kLastDigit);
    }
    EXPECT_EQ(earthorientation(0).dut1S, -0.4061);
    EXPECT_EQ(earthorientation(30000).dut1S, 0.5898);
}

TEST_F(Fixtures, TwoBodyMotion) {
    for (const Row& row : rowsOf("twobody.csv")) {
        const StateKm wanted = stateAt(row.numbers, 6);
        StateKm got;
        ASSERT_TRUE(twobodymotion(stateAt(row.numbers, 0), std::stod(row.kind), got)) << row.kind;
        // The last bit of the time, which the period carries, and 0.02 mm for all other rounding.
        const double speed = std::hypot(wanted.velKms[0], wanted.velKms[1], wanted.velKms[2]);
        const double lastBitKm = std::abs(std::stod(row.kind)) * speed * std::numeric_limits<double>::epsilon();
        expectNear("km", distance(got.posKm, wanted.posKm), lastBitKm + 0.02 * kMillimetre);
        expectNear("kms", distance(got.velKms, wanted.velKms), 1e-3 * kMillimetre);
    }
}

}  // namespace
}  // namespace family
