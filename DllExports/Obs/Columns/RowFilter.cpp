// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/Columns/RowFilter.h"

#include <algorithm>
#include <bitset>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "DllExports/Obs/Columns/StreamRows.h"
#include "Obs/ObsTypes/SecClass.h"

namespace obs {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::int32_t kLastType = 19;

static_assert(kBlockRows <= SlotBlock::kMax);

/// What says whether an observation meets a criterion; blank where there is no more.
struct Asked {
    Criterion criterion;
    std::array<std::string_view, 3> columns;
};
constexpr std::array kAsked{
    Asked{Criterion::time, {"ds50"}},
    Asked{Criterion::satellite, {"sat_num"}},
    Asked{Criterion::sensor, {"sen_num"}},
    Asked{Criterion::elevation, {"type", "elevation", "declination"}},
    Asked{Criterion::azimuth, {"type", "azimuth", "right_ascension"}},
    Asked{Criterion::range, {"type", "range_km"}},
    Asked{Criterion::rangeRate, {"type", "range_rate_km_s"}},
    Asked{Criterion::type, {"type"}},
    Asked{Criterion::classification, {"sec_class"}},
    Asked{Criterion::group, {"group"}},
    Asked{Criterion::indicator1, {"indicator1"}},
    Asked{Criterion::indicator2, {"indicator2"}},
    Asked{Criterion::file, {"file"}},
    Asked{Criterion::line, {"line"}},
};
static_assert(kAsked.size() == kCriterionCount);

/// A quantity that was "not a number" is null in a column, and meets as little as before.
void withoutValues(ObsRecord& rec) {
    rec.elOrDec = rec.azOrRa = rec.range = rec.rangeRate = std::numeric_limits<double>::quiet_NaN();
}

/// The values whose texts are from one to another, of those from `first` to `last`.
template <class TextOf, class ValueOf>
std::vector<double> valuesBetween(std::int32_t first, std::int32_t last, std::string_view low, std::string_view high,
                                  const TextOf& textOf, const ValueOf& valueOf) {
    std::vector<double> ends;
    for (std::int32_t number = first; number <= last; ++number) {
        const std::string text = textOf(number);
        if (low.compare(text) <= 0 && high.compare(text) >= 0)
            ends.insert(ends.end(), 2, static_cast<double>(valueOf(number)));
    }
    return ends;
}

std::vector<double> typesBetween(std::string_view low, std::string_view high) {
    std::int32_t only = 0;
    if (low == high && typeFrom(low, only)) return std::vector<double>(2, only);
    std::vector<double> ends = valuesBetween(0, kLastType, low, high, typeText, [](std::int32_t type) { return type; });
    // Types that nobody knows are numbers, and these are anywhere between texts.
    ends.insert(ends.end(), {-kInfinity, -1, kLastType + 1, kInfinity});
    return ends;
}

std::vector<double> classesBetween(std::string_view low, std::string_view high) {
    return valuesBetween(0, std::numeric_limits<unsigned char>::max(), low, high, characterText,
                         [](std::int32_t letter) { return upperClass(static_cast<char>(letter)); });
}

}  // namespace

std::vector<std::string_view> columnsOf(const ObsSelection& selection) {
    std::bitset<kCriterionCount> isAsked;
    for (std::size_t i = 0; i < selection.testCount; ++i)
        isAsked.set(static_cast<std::size_t>(selection.tests[i].criterion));
    std::vector<std::string_view> names;
    for (const ColumnDef& def : columnList()) {
        const bool isNeeded = std::any_of(kAsked.begin(), kAsked.end(), [&](const Asked& asked) {
            return isAsked.test(static_cast<std::size_t>(asked.criterion)) &&
                   std::find(asked.columns.begin(), asked.columns.end(), def.name) != asked.columns.end();
        });
        if (isNeeded) names.push_back(def.name);
    }
    return names;
}

std::int64_t selectRows(ArrowArrayStream& stream, const RowSelection& selectionFor, std::int64_t room,
                        std::int8_t* mask) {
    std::size_t knownFiles = 0;
    ObsSelection selection = selectionFor({});
    const std::vector<std::string_view> wanted = columnsOf(selection);
    StreamRows rows(stream, {.wanted = &wanted, .prepare = withoutValues});
    const auto block = std::make_unique<RecordBlock>();
    std::int64_t count = 0;
    for (; rows.next(); count += static_cast<std::int64_t>(rows.count())) {
        if (rows.number(rows.count()) > room)
            throw ColumnRefusal("There is room for " + std::to_string(room) + " rows, and there are more.");
        if (rows.files().size() != knownFiles) {
            selection = selectionFor(rows.files());
            knownFiles = rows.files().size();
        }
        block->count = rows.count();
        for (std::size_t i = 0; i < block->count; ++i) {
            if (rows.isFaulty(i)) throw ColumnRefusal(rows.faultOf(i));
            block->records[i] = &rows.row(i).rec;
            block->groups[i] = rows.row(i).gid;
            block->origins[i] = {rows.row(i).file, rows.row(i).line};
        }
        const SlotBlock::Set met = selectedOf(*block, selection);
        for (std::size_t i = 0; i < block->count; ++i) mask[rows.number(i)] = SlotBlock::has(met, i) ? 1 : 0;
    }
    return count;
}

SelectionBox boxOf(const KnownValues& known) {
    SelectionBox box;
    const auto know = [&](Criterion criterion, std::vector<double> ends) {
        box.ends[static_cast<std::size_t>(criterion)] = std::move(ends);
        box.isKnown[static_cast<std::size_t>(criterion)] = true;
    };
    constexpr std::array kNumbered{Criterion::time, Criterion::satellite, Criterion::sensor};
    static_assert(kNumbered.size() == KnownValues::kNumbers);
    for (std::size_t i = 0; i < kNumbered.size(); ++i) know(kNumbered[i], {known.numbers[i][0], known.numbers[i][1]});
    const auto& [types, classes] = known.texts;
    if (types[0] && types[1]) know(Criterion::type, typesBetween(*types[0], *types[1]));
    if (classes[0] && classes[1]) know(Criterion::classification, classesBetween(*classes[0], *classes[1]));
    return box;
}

}  // namespace obs
