#include "siblings/include/Time.h"

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace family {
namespace {

std::string toText14(double ds50) {
    char text[14];
    ds50todate14(ds50, text);
    return {text, sizeof text};
}

std::string toText15(double ds50) {
    char text[15];
    ds50todate15(ds50, text);
    return {text, sizeof text};
}

constexpr double kMillisecond = 1.0 / 86400000;

TEST(Dtgtods50, KnownDates) {
    const struct {
        const char* text;
        double ds50;
    } cases[] = {
        {"57001000000.000", 2558},     // Julian date 2435839.5
        {"00001120000.000", 18263.5},  // Julian date 2451545.0, the epoch J2000
        {"00366000000.000", 18628},    // 2000 is a leap year
        {"56366235959.999", 39083 - kMillisecond},
        {"99365000000.000", 18262},
    };
    for (const auto& [text, ds50] : cases) {
        EXPECT_DOUBLE_EQ(dtgtods50(text), ds50) << text;
    }
}

TEST(Dtgtods50, RefusesWhatIsNoDate) {
    for (const char* text :
         {"", "               ", "00001120000.00", "00001120000.0000", "00001120000,000", "0000112000 .000",
          "00000120000.000", "01366120000.000", "00367120000.000", "00001240000.000", "00001126000.000",
          "00001120060.000", "000o1120000.000", "-0001120000.000", "00001120000.00:"}) {
        EXPECT_EQ(dtgtods50(text), 0) << text;
    }
}

TEST(Ds50todate, TextComesBackForEveryMillisecond) {
    std::mt19937_64 random(20260101);
    const auto check = [](int year, int day, int millis) {
        char text[24];
        const int seconds = millis / 1000;
        std::snprintf(text, sizeof text, "%02d%03d%02d%02d%02d.%03d", year % 100, day, seconds / 3600,
                      seconds / 60 % 60, seconds % 60, millis % 1000);
        const double ds50 = dtgtods50(text);
        ASSERT_EQ(toText15(ds50), text);
        ASSERT_EQ(toText14(ds50), std::string(text).erase(11, 1));
        ASSERT_EQ(ds50, tcomps2utc(year, day, seconds / 3600, seconds / 60 % 60,
                                   (seconds % 60 * 1000 + millis % 1000) / 1000.0));
    };
    for (int year = 1957; year <= 2056; ++year) {
        const int lastDay = mmdd2jul(year, 12, 31);
        for (const int day : {1, 59, 60, 61, lastDay - 1, lastDay}) {
            for (const int millis : {0, 1, 43200000, 86399999}) {
                check(year, day, millis);
            }
        }
        for (int i = 0; i < 1000; ++i) {
            check(year, 1 + static_cast<int>(random() % 365), static_cast<int>(random() % 86400000));
        }
    }
}

TEST(Ds50todate, RoundsTheWholeTimeBeforeSplitting) {
    const double newYear = tcomps2utc(2025, 1, 0, 0, 0);
    EXPECT_EQ(toText15(newYear - 0.4 * kMillisecond), "25001000000.000");
    EXPECT_EQ(toText15(newYear - 0.6 * kMillisecond), "24366235959.999");
    EXPECT_EQ(toText14(tcomps2utc(2024, 60, 11, 59, 59.9996)), "24060120000000");
}

TEST(Ds50todate, TwoDigitsEnd) {
    const double first = tcomps2utc(1957, 1, 0, 0, 0), end = tcomps2utc(2057, 1, 0, 0, 0);
    EXPECT_EQ(toText14(first - 0.4 * kMillisecond), "57001000000000");
    EXPECT_EQ(toText14(end - 0.6 * kMillisecond), "56366235959999");
    for (const double ds50 :
         {first - kMillisecond, end - 0.4 * kMillisecond, end, 0.0, -1e300, 1e300, HUGE_VAL, std::nan("")}) {
        EXPECT_EQ(toText14(ds50), "**************") << ds50;
        EXPECT_EQ(toText15(ds50), "***************") << ds50;
    }
}

TEST(Fyklok, AgreesWithACountThroughTheYears) {
    double firstOfYear = tcomps2utc(1, 1, 0, 0, 0);
    EXPECT_EQ(firstOfYear, 1721425.5 - 2433281.5);  // Julian date of 1 January of year 1
    for (int year = 1; year <= 9999; ++year) {
        const double length = mmdd2jul(year, 2, 29) != 0 ? 366 : 365;
        for (const double day : {1.0, 1.5, length, length + 0.5, std::nextafter(length + 1, 0)}) {
            const double ds50 = firstOfYear + day - 1;
            double dayOfYear = 0;
            std::int32_t found = 0;
            fyklok(ds50, dayOfYear, found);
            const bool roundedUp = ds50 == firstOfYear + length;
            ASSERT_EQ(found, roundedUp ? (year == 9999 ? 0 : year + 1) : year) << ds50;
            if (!roundedUp) {
                ASSERT_EQ(dayOfYear, ds50 - (firstOfYear - 1)) << ds50;
            }
        }
        firstOfYear += length;
    }
}

TEST(Fyklok, OutOfRange) {
    for (const double ds50 :
         {tcomps2utc(1, 1, 0, 0, 0) - 0.001, tcomps2utc(10000, 1, 0, 0, 0), 1e300, -HUGE_VAL, std::nan("")}) {
        double dayOfYear = 0;
        std::int32_t year = 1;
        fyklok(ds50, dayOfYear, year);
        EXPECT_TRUE(std::isnan(dayOfYear)) << ds50;
        EXPECT_EQ(year, 0) << ds50;
    }
}

TEST(Dyklok, RoundsToTheDigitsAsked) {
    const struct {
        double seconds;
        int decimals;
        int day, hour, minute;
        double rounded;
    } cases[] = {
        {59.9999996, 6, 101, 0, 0, 0},
        {59.9999994, 6, 100, 23, 59, 59.999999},
        {59.50001, 0, 101, 0, 0, 0},
        {59.4, 0, 100, 23, 59, 59},
        {12.345678, 6, 100, 23, 59, 12.345678},
        {12.345678, 3, 100, 23, 59, 12.346},
        {59.99, 1, 101, 0, 0, 0},
        {12.6, -3, 100, 23, 59, 13},
    };
    for (const auto& c : cases) {
        std::int32_t year = 0, day = 0, hour = 0, minute = 0;
        double seconds = 0;
        dyklok(tcomps2utc(2026, 100, 23, 59, c.seconds), c.decimals, year, day, hour, minute, seconds);
        EXPECT_EQ(std::tuple(year, day, hour, minute), std::tuple(2026, c.day, c.hour, c.minute))
            << c.seconds;
        EXPECT_EQ(seconds, c.rounded) << c.seconds << " to " << c.decimals;
    }
    std::int32_t year = 1, other = 1;
    double seconds = 1;
    dyklok(1e10, 3, year, other, other, other, seconds);
    EXPECT_EQ(year, 0);
}

TEST(Jul2mmdd, EveryDayAndBack) {
    for (const int year : {1, 1900, 2000, 2023, 2024, 9999}) {
        const int days = mmdd2jul(year, 12, 31);
        for (int day = 1; day <= days; ++day) {
            std::int32_t month = 0, dayOfMonth = 0;
            jul2mmdd(year, day, month, dayOfMonth);
            ASSERT_EQ(mmdd2jul(year, month, dayOfMonth), day) << year;
        }
    }
    EXPECT_EQ(mmdd2jul(2024, 12, 31), 366);
    EXPECT_EQ(mmdd2jul(1900, 12, 31), 365);
    EXPECT_EQ(mmdd2jul(2024, 3, 1), 61);
    for (const auto& [year, month, day] : {std::tuple{2023, 2, 29},
                                           {2023, 13, 1},
                                           {2023, 0, 1},
                                           {2023, 4, 31},
                                           {2023, 1, 0},
                                           {0, 1, 1},
                                           {10000, 1, 1}}) {
        EXPECT_EQ(mmdd2jul(year, month, day), 0) << year << ' ' << month << ' ' << day;
    }
    std::int32_t month = 1, day = 1;
    jul2mmdd(2023, 366, month, day);
    EXPECT_EQ(month, 0);
}

}  // namespace
}  // namespace family
