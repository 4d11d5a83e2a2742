// SPDX-License-Identifier: Apache-2.0
#include "siblings/coords/EarthOrientation.h"

#include <atomic>
#include <cmath>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <erfa.h>
#include <erfam.h>

#include "siblings/include/ForkHold.h"
#include "siblings/include/ObsFamily.h"
#include "siblings/include/Services.h"
#include "siblings/services/SettingsFile.h"

namespace family {
namespace {

constexpr double kMjdOfDs50 = 33281;
constexpr std::string_view kHeader = "mjd,dut1_s,xp_arcsec,yp_arcsec,lod_s";
/// UT1-UTC drifts by a few milliseconds a day; more is a step of UTC.
constexpr double kMinStepS = 0.02;

/// UT1-UTC is kept below a second and the pole within 0.6"; days are some milliseconds too long. More is another unit.
bool isPlausible(const EarthOrientation& earth) {
    return std::abs(earth.dut1S) <= 2 && std::abs(earth.xpArcsec) <= 2 && std::abs(earth.ypArcsec) <= 2 &&
           std::abs(earth.lodS) <= 0.1;
}
constexpr const char* kImplausible =
    "UT1-UTC is at most 2 s, the pole within 2 arcseconds, the excess of a day at most 0.1 s";

/// Values at 0h UTC of consecutive days; a single day stands for all times.
struct Table {
    double firstMjd = 0;
    std::vector<EarthOrientation> days{EarthOrientation{}};
};

using TablePointer = std::shared_ptr<const Table>;

constinit std::mutex tableMutex;

/// Guarded by `tableMutex`; a table never changes. Never destroyed: other threads may convert while the process ends.
TablePointer& currentTable = *new TablePointer(std::make_shared<Table>());

[[maybe_unused]] const int forkHandled = holdAtForks<tableMutex>();

/// Changed after the table, so that who sees a new one with an old number computes again.
std::atomic<std::uint32_t> tableVersion{0};

void replaceTable(TablePointer table) {
    const std::lock_guard lock(tableMutex);
    currentTable.swap(table);
    tableVersion.fetch_add(1, std::memory_order_release);
}

TablePointer tableInForce() {
    const std::lock_guard lock(tableMutex);
    return currentTable;
}

/// TAI-UTC, 0 when it is not known.
double taiMinusUtcS(double mjd, double fraction) {
    int year = 0, month = 0, day = 0;
    double ofDay = 0, seconds = 0;
    if (eraJd2cal(ERFA_DJM0, mjd, &year, &month, &day, &ofDay) != 0 ||
        eraDat(year, month, day, fraction, &seconds) < 0) {
        return 0;
    }
    return seconds;
}

/// The step of UT1-UTC at the end of a day over which it changes by `change`, so that what remains is the drift.
double stepS(double mjd, double change) {
    if (std::abs(change) < kMinStepS) { return 0; }
    // Before 1972 steps were of 0.05 and 0.1 s; a leap second may be later than the known ones.
    const double known = taiMinusUtcS(mjd + 1, 0) - taiMinusUtcS(mjd, 1);
    return known + std::round(change - known);
}

EarthOrientation between(const EarthOrientation& a, const EarthOrientation& b, double mjd, double fraction) {
    const auto at = [fraction](double from, double to) { return from + fraction * (to - from); };
    return {at(a.dut1S, b.dut1S - stepS(mjd, b.dut1S - a.dut1S)), at(a.xpArcsec, b.xpArcsec),
            at(a.ypArcsec, b.ypArcsec), at(a.lodS, b.lodS)};
}

/// What is wrong with a line, or null.
const char* addDay(std::span<const std::string_view> fields, Table& table) {
    double mjd = 0;
    EarthOrientation day;
    if (!readsetting(fields[0], mjd) || !readsetting(fields[1], day.dut1S) || !readsetting(fields[2], day.xpArcsec) ||
        !readsetting(fields[3], day.ypArcsec) || !readsetting(fields[4], day.lodS)) {
        return "a number is missing or malformed";
    }
    if (!isPlausible(day)) { return kImplausible; }
    if (mjd != std::floor(mjd) || std::abs(mjd) > 1e6) {
        return "the modified Julian date must be a whole number of days";
    }
    if (!table.days.empty() && mjd != table.firstMjd + static_cast<double>(table.days.size())) {
        return "the day must follow that of the line before";
    }
    if (table.days.empty()) { table.firstMjd = mjd; }
    table.days.push_back(day);
    return nullptr;
}

bool loadOrientation(std::string_view name) {
    constexpr std::string_view operation = "FamilyLoadEarthOrientation";
    const auto table = std::make_shared<Table>();
    table->days.clear();
    if (!readsettingsfile(operation, name, kHeader, BadLines::GiveUp,
                          [&](std::span<const std::string_view> fields) { return addDay(fields, *table); })) {
        return false;
    }
    if (table->days.empty()) {
        tracelogerror(std::string(operation) + ": There is no day in file " + std::string(name));
        return false;
    }
    replaceTable(table);
    return true;
}

}  // namespace

EarthOrientation earthorientation(double ds50) {
    const TablePointer table = tableInForce();
    const std::vector<EarthOrientation>& days = table->days;
    const double whole = std::floor(ds50), sinceFirst = whole + kMjdOfDs50 - table->firstMjd;
    if (!(sinceFirst >= 0)) { return days.front(); }
    if (sinceFirst >= static_cast<double>(days.size() - 1)) { return days.back(); }
    const auto day = static_cast<std::size_t>(sinceFirst);
    return between(days[day], days[day + 1], whole + kMjdOfDs50, ds50 - whole);
}

std::uint32_t earthorientationversion() { return tableVersion.load(std::memory_order_acquire); }

}  // namespace family

using namespace family;

int32_t FamilySetEarthOrientation(double dut1_s, double xp_arcsec, double yp_arcsec, double lod_s) {
    try {
        const EarthOrientation earth{dut1_s, xp_arcsec, yp_arcsec, lod_s};
        if (!isPlausible(earth)) {
            tracelogerror(std::string("FamilySetEarthOrientation: ") + kImplausible);
            return 2;
        }
        const auto table = std::make_shared<Table>();
        table->days.front() = earth;
        replaceTable(table);
        return 0;
    } catch (...) {
        tracelogerror("FamilySetEarthOrientation: Out of memory");
        return 2;
    }
}

int32_t FamilyLoadEarthOrientation(const char* fileName) {
    if (fileName == nullptr) {
        tracelogerror("FamilyLoadEarthOrientation: no file name");
        return 2;
    }
    try {
        return loadOrientation(chararrtostr(fileName)) ? 0 : 2;
    } catch (...) {
        tracelogerror("FamilyLoadEarthOrientation: Out of memory");
        return 2;
    }
}
