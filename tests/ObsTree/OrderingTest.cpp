// SPDX-License-Identifier: Apache-2.0
#include "Obs/ObsTree/Ordering.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <random>
#include <tuple>

#include "ObsDllExports.h"
#include "tests/StoreCheck.h"

namespace obs::test {

namespace {

using Before = std::function<bool(const ObsRecord&, const ObsRecord&)>;

/// The orders as a reader of the header would write them.
Before beforeIn(int code) {
    const auto by = [](auto fieldsOf) -> Before {
        return [=](const ObsRecord& a, const ObsRecord& b) { return fieldsOf(a) < fieldsOf(b); };
    };
    switch (code) {
        case 1: return by([](const ObsRecord& r) { return std::tie(r.obsTime, r.senNum, r.obsType, r.elOrDec); });
        case 2: return by([](const ObsRecord& r) { return std::tie(r.obsTime, r.elOrDec); });
        case 3:
            return by([](const ObsRecord& r) { return std::tie(r.obsTime, r.senNum, r.obsType, r.elOrDec, r.satNum); });
        case 4: return by([](const ObsRecord& r) { return std::tie(r.senNum, r.satNum, r.obsTime, r.elOrDec); });
        case 5: return by([](const ObsRecord& r) { return std::tie(r.senNum, r.obsTime, r.elOrDec); });
        case 6:
            return by([](const ObsRecord& r) { return std::tie(r.senNum, r.satNum, r.obsType, r.obsTime, r.elOrDec); });
        case 7: return by([](const ObsRecord& r) { return std::tie(r.satNum, r.senNum, r.obsType, r.elOrDec); });
        case 8: return by([](const ObsRecord& r) { return std::tie(r.indicator1); });  // set to the order of adding
        case 10: return by([](const ObsRecord& r) { return std::tie(r.satNum, r.senNum, r.obsTime); });
        default: return [](const ObsRecord&, const ObsRecord&) { return false; };
    }
}

struct Entry {
    std::int64_t key;
    ObsRecord rec;
};

/// What the records of a store are like; `inTurn` has them nearly in order of time, as decks are.
enum class Kind { fewValues, oddTypes, inTurn };

std::vector<Entry> fillStore(Kind kind) {
    obsemptytree();
    std::mt19937 random(11);
    const auto pick = [&](int n) { return static_cast<std::int32_t>(random() % static_cast<unsigned>(n)); };
    std::vector<Entry> entries;
    for (int i = 0; i < 1500; ++i) {
        ObsRecord rec;  // few values each, so that every field decides somewhere and whole ties occur
        rec.satNum = pick(4) - 1;
        rec.senNum = pick(4) - 1;
        rec.obsType = kind == Kind::oddTypes ? (pick(5) - 2) * 300 : pick(20);
        rec.obsTime = kind == Kind::inTurn ? 20000 + (i + pick(3)) / 4
                      : pick(3) == 0       ? 0.1 * pick(4) - 0.2
                                           : 20000 + 1e-10 * pick(3);
        rec.elOrDec = pick(3) == 0 ? (pick(2) == 0 ? -0.0 : 0.0) : pick(3) - 1.5;
        rec.indicator1 = i;
        std::int64_t key = pick(1'000'000'000);
        if (add(key, rec, i % 3) != kStatusDuplicate) entries.push_back({key, rec});
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.key < b.key; });
    return entries;
}

/// By the list that must have room for all, and by the one that tells how much there would be.
void expectKeys(std::int32_t code, std::optional<std::int32_t> gid, const std::vector<std::int64_t>& expected) {
    const auto size = static_cast<std::int32_t>(expected.size());
    std::vector<std::int64_t> keys(expected.size() + 1, -5), whole = expected;
    std::int32_t count = 0;
    obsgettreekeys(count, keys.data(), code, gid);
    whole.push_back(-5);  // nothing is written further
    EXPECT_EQ(std::pair(count, keys), std::pair(size, whole)) << "code " << code << (gid ? " group" : "");
    for (const std::int32_t room : {0, 7, size, size + 1}) {
        std::vector<std::int64_t> fitting(expected.begin(), expected.begin() + std::min(room, size));
        fitting.resize(whole.size(), -5);
        keys.assign(whole.size(), -5);
        EXPECT_EQ(ObsListKeys(code, gid.has_value(), gid.value_or(9), room, keys.data(), &count), room < size ? 2 : 0);
        EXPECT_EQ(std::pair(count, keys), std::pair(size, fitting));
    }
}

}  // namespace

TEST(Ordering, allOrdersMatchAStableSort) {
    std::vector<std::int32_t> codes{-13, INT32_MAX, INT32_MIN};
    for (std::int32_t code = -10; code <= 11; ++code) codes.push_back(code);
    for (const Kind kind : {Kind::fewValues, Kind::oddTypes, Kind::inTurn}) {
        const std::vector<Entry> entries = fillStore(kind);
        for (const std::int32_t code : codes) {
            const auto magnitude = std::abs(std::int64_t{code});
            const Before before = beforeIn(magnitude > 10 ? 0 : static_cast<int>(magnitude));
            std::vector<Entry> sorted = entries;
            std::stable_sort(sorted.begin(), sorted.end(),
                             [&](const Entry& a, const Entry& b) { return before(a.rec, b.rec); });
            if (code > 0 && code != kTreeOrder) std::reverse(sorted.begin(), sorted.end());
            std::vector<std::int64_t> all, ofGroup;
            for (const Entry& entry : sorted) {
                all.push_back(entry.key);
                if (entry.rec.indicator1 % 3 == 1) ofGroup.push_back(entry.key);
            }
            expectKeys(code, std::nullopt, all);
            expectKeys(code, 1, ofGroup);
        }
    }
    obsemptytree();
}

TEST(Ordering, givesTheSpanOfTimesAndStandsNumbersThatAreNone) {
    obsemptytree();
    double earliest = -1, latest = -1;
    std::int64_t keys[3] = {-5, -5, -5};
    EXPECT_EQ(obssort(-1, keys, std::nullopt, &earliest, &latest), 0);
    EXPECT_EQ(keys[0], -5);
    EXPECT_EQ(earliest, -1);
    std::int64_t key = 1;
    for (const double time : {30.0, 10.0, 20.0}) {
        ObsRecord rec = rangeRecord(1, time);
        rec.elOrDec = std::numeric_limits<double>::quiet_NaN();
        add(key, rec);
        ++key;
    }
    EXPECT_EQ(obssort(-2, keys, std::nullopt, &earliest, &latest), 3);
    EXPECT_EQ(std::vector(keys, keys + 3), (std::vector<std::int64_t>{2, 3, 1}));
    EXPECT_EQ(earliest, 10.0);
    EXPECT_EQ(latest, 30.0);
    obsemptytree();
}

}  // namespace obs::test
