// SPDX-License-Identifier: Apache-2.0
#include "siblings/include/Time.h"

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace family {
namespace {

std::string toText(double ds50) {
    char text[15];
    ds50todate15(ds50, text);
    return {text, sizeof text};
}

constexpr double kMillisecond = 1.0 / 86400000;

TEST(Dtgtods50, KnownDatesAndWhatIsNone) {
    const std::pair<const char*, double> cases[] = {
        {"57001000000.000", 2558},     // Julian date 2435839.5
        {"00001120000.000", 18263.5},  // Julian date 2451545.0, the epoch J2000
        // clang-format off
        {"56366235959.999", 39083 - kMillisecond}, {"00001120000.00", 0}, {"00001120000,000", 0},
        {"0000112000 .000", 0}, {"00000120000.000", 0}, {"01366120000.000", 0}, {"00001240000.000", 0},
        {"00001126000.000", 0},
        // clang-format on
        {"00001120060.000", 0}};
    for (const auto& [text, ds50] : cases) { EXPECT_DOUBLE_EQ(dtgtods50(text), ds50) << text; }
}

TEST(Tcomps2utc, DatesThatExistAlone) {
    const std::tuple<int, int, int, int, double> none[] = {
        {1899, 365, 0, 0, 0},         {3000, 1, 0, 0, 0},   {24, 1, 0, 0, 0},           {2024, 0, 0, 0, 0},
        {2023, 366, 0, 0, 0},         {2024, 367, 0, 0, 0}, {2024, 1, 24, 0, 0},        {2024, 1, -1, 0, 0},
        {2024, 1, 0, 60, 0},          {2024, 1, 0, -1, 0},  {2024, 1, 0, 0, 86400.001}, {2024, 1, 0, 0, -86400.001},
        {2024, 1, 0, 0, std::nan("")}};
    for (const auto& date : none) {
        EXPECT_EQ(std::apply(tcomps2utc, date), 0) << std::get<0>(date) << ' ' << std::get<1>(date);
    }
    for (const auto& date : {std::tuple{1900, 1, 0, 0, 0.0},
                             {2024, 366, 23, 59, 59.999},
                             {2999, 365, 23, 59, 60.},
                             {1950, 1, 0, 0, -1.5}}) {
        EXPECT_EQ(std::apply(tcomps2utc, date), std::apply(parts2utc, date)) << std::get<0>(date);
    }
}

TEST(Ds50todate, TextComesBack) {
    std::mt19937_64 random(20260101);
    for (int i = 0; i < 100000; ++i) {
        const int year = 1957 + i % 100;
        const int day = i < 100 ? mmdd2jul(year, 12, 31) : 1 + static_cast<int>(random() % 365);
        const int millis = i < 100 ? 86399999 : static_cast<int>(random() % 86400000);
        const int hour = millis / 3600000, minute = millis / 60000 % 60;
        char text[24], shorter[14];
        std::snprintf(text, sizeof text, "%02d%03d%02d%02d%02d.%03d", year % 100, day, hour, minute, millis / 1000 % 60,
                      millis % 1000);
        const double ds50 = tcomps2utc(year, day, hour, minute, millis % 60000 / 1000.0);
        ASSERT_EQ(dtgtods50(text), ds50);
        ASSERT_EQ(toText(ds50), text);
        ds50todate14(ds50, shorter);
        ASSERT_EQ(std::string(shorter, 14), std::string(text).erase(11, 1));
    }
}

TEST(Ds50todate, RoundsTheWholeTimeWithinTwoDigitYears) {
    const double newYear = tcomps2utc(2025, 1, 0, 0, 0), end = tcomps2utc(2057, 1, 0, 0, 0);
    EXPECT_EQ(toText(newYear - 0.4 * kMillisecond), "25001000000.000");
    EXPECT_EQ(toText(newYear - 0.6 * kMillisecond), "24366235959.999");
    for (const double ds50 : {2557.99, end - 0.4 * kMillisecond, 1e300, std::nan("")}) {
        EXPECT_EQ(toText(ds50), "***************") << ds50;
    }
}

TEST(Fyklok, AgreesWithACountThroughTheYears) {
    double firstOfYear = parts2utc(1, 1, 0, 0, 0), dayOfYear = 0;
    std::int32_t found = 0;
    EXPECT_EQ(firstOfYear, 1721425.5 - 2433281.5);  // Julian date of 1 January of year 1
    for (int year = 1; year <= 9999; ++year) {
        const double length = mmdd2jul(year, 2, 29) != 0 ? 366 : 365;
        for (const double day : {1.0, 1.5, length, length + 0.5}) {
            fyklok(firstOfYear + day - 1, dayOfYear, found);
            ASSERT_EQ(std::tuple(found, dayOfYear), std::tuple(year, day));
        }
        firstOfYear += length;
    }
    for (const double ds50 : {parts2utc(1, 1, 0, 0, 0) - 0.001, firstOfYear, 1e300, std::nan("")}) {
        fyklok(ds50, dayOfYear, found);
        EXPECT_TRUE(std::isnan(dayOfYear) && found == 0) << ds50;
    }
}

TEST(Dyklok, RoundsToTheDigitsAsked) {
    const std::tuple<double, int, std::tuple<int, int, int, double>> cases[] = {
        {59.9999996, 6, {101, 0, 0, 0}},
        {59.9999994, 6, {100, 23, 59, 59.999999}},
        {59.50001, 0, {101, 0, 0, 0}},
        {12.345678, 3, {100, 23, 59, 12.346}}};
    for (const auto& [exact, decimals, expected] : cases) {
        std::int32_t year = 0, day = 0, hour = 0, minute = 0;
        double seconds = 0;
        dyklok(tcomps2utc(2026, 100, 23, 59, exact), decimals, year, day, hour, minute, seconds);
        EXPECT_EQ(std::tuple(day, hour, minute, seconds), expected) << exact << " to " << decimals;
    }
}

TEST(Jul2mmdd, EveryDayAndBack) {
    for (const auto& [year, days] : {std::pair{1900, 365}, {2000, 366}, {2023, 365}, {2024, 366}}) {
        std::int32_t month = 0, dayOfMonth = 0;
        for (int day = 1; day <= days; ++day) {
            jul2mmdd(year, day, month, dayOfMonth);
            ASSERT_EQ(mmdd2jul(year, month, dayOfMonth), day) << year;
        }
        EXPECT_EQ(std::pair(month, dayOfMonth), std::pair(12, 31)) << year;
        jul2mmdd(year, days + 1, month, dayOfMonth);
        EXPECT_EQ(month, 0) << year;
    }
    EXPECT_EQ(mmdd2jul(2024, 3, 1), 61);
    EXPECT_TRUE(mmdd2jul(2023, 2, 29) == 0 && mmdd2jul(2023, 13, 1) == 0 && mmdd2jul(2023, 1, 0) == 0);
}

}  // namespace
}  // namespace family
