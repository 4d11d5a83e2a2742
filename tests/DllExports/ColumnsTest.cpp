// SPDX-License-Identifier: Apache-2.0
// Columns out of the store, into it, and read from text, as a consumer of the Arrow C interface sees them.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <random>

#include "DllExports/Obs/Columns/ArrowNodes.h"
#include "DllExports/Obs/Columns/ColumnList.h"
#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "tests/CaseFile.h"
#include "tests/ExportTest.h"

namespace obs::test {

namespace {

/// What a consumer takes: the schema, and the batches until the end.
struct Taken {
    OwnedSchema schema;
    std::vector<OwnedArray> batches;

    explicit Taken(ArrowArrayStream given) {
        Owner<ArrowArrayStream> stream(given);
        EXPECT_EQ(stream->get_schema(&*stream, &*schema), 0);
        for (;;) {
            OwnedArray batch;
            EXPECT_EQ(stream->get_next(&*stream, &*batch), 0);
            if (batch->release == nullptr) break;
            EXPECT_GT(batch->length, 0) << "an empty batch";
            batches.push_back(std::move(batch));
        }
    }
    std::int64_t column(const std::string& name) {
        for (std::int64_t i = 0; i < schema->n_children; ++i)
            if (schema->children[i]->name == name) return i;
        ADD_FAILURE() << "no column " << name;
        return 0;
    }
    /// A value as a text, "null" for none.
    std::string at(const std::string& name, std::int64_t row, std::int64_t batch = 0) {
        const std::int64_t i = column(name);
        const ArrowArray& array = *batches[static_cast<std::size_t>(batch)]->children[i];
        const auto* const bits = static_cast<const std::uint8_t*>(array.buffers[0]);
        if (array.null_count > 0 && (bits[row / 8] >> row % 8 & 1) == 0) return "null";
        const void* const values = array.buffers[1];
        const std::string format = schema->children[i]->format;
        if (format == "g") return std::to_string(static_cast<const double*>(values)[row]);
        if (format == "i") return std::to_string(static_cast<const std::int32_t*>(values)[row]);
        if (format != "c") return std::to_string(static_cast<const std::int64_t*>(values)[row]);
        return word(*array.dictionary, static_cast<const std::int8_t*>(values)[row]);
    }
    static std::string word(const ArrowArray& texts, std::int64_t i) {
        const auto* const offsets = static_cast<const std::int32_t*>(texts.buffers[1]);
        return {static_cast<const char*>(texts.buffers[2]) + offsets[i],
                static_cast<const char*>(texts.buffers[2]) + offsets[i + 1]};
    }
};

ArrowArrayStream exported(std::vector<const char*> columns = {}, std::int32_t batchRows = 0, std::int32_t order = 8) {
    ArrowArrayStream stream;
    EXPECT_EQ(ObsExportArrow(-1, nullptr, -order, columns.data(), static_cast<std::int32_t>(columns.size()), batchRows,
                             &stream),
              0);
    return stream;
}

/// A record with a value everywhere, of all bits that are a finite number.
class RandomRecords {
public:
    ObsRecord make(std::int32_t type) {
        ObsRecord rec;
        if (chance()) rec.csvData.create();
        if (chance()) rec.biases.create();
        if (chance()) rec.rfData.create();
        if (chance()) rec.extraValues.create().values.assign(chance() ? 6 : 21, real());
        forEachField([&](auto field) {
            if constexpr (!field.facts.column.empty() && field.facts.form != FieldForm::list) {
                auto* const value = field.find(rec);
                if (value == nullptr || chance()) return;
                if constexpr (field.isReal) *value = real();
                else
                    *value = static_cast<std::remove_reference_t<decltype(*value)>>(field.isCharacter ? random_() % 90
                                                                                                      : random_());
            }
        });
        rec.satNum = 1 + static_cast<std::int32_t>(random_() % 90000);
        rec.senNum = 211;
        rec.obsTime = 27000 + static_cast<double>(random_()) * 1e-7;
        rec.obsType = type;
        return rec;
    }

private:
    bool chance() { return random_() % 2 == 0; }
    double real() {
        const auto value = std::bit_cast<double>(std::uint64_t{random_()} << 32 | random_());
        return !std::isfinite(value) ? -0.0 : value;
    }
    std::mt19937 random_{7};
};

/// All of a record, bit by bit.
std::string bitsOf(const ObsRecord& rec) {
    std::string all;
    forEachField([&](auto field) {
        if constexpr (!field.facts.column.empty() && field.facts.form != FieldForm::list) {
            const auto* const value = field.find(rec);
            all.append(std::string(field.facts.name) + (value == nullptr ? " -" : " "));
            if (value != nullptr) all.append(reinterpret_cast<const char*>(value), sizeof *value);
        }
    });
    if (rec.extraValues)
        all.append(reinterpret_cast<const char*>(rec.extraValues->values.data()), rec.extraValues->values.size() * 8);
    return all;
}

std::vector<std::string> storedBits() {
    std::vector<std::int64_t> keys(static_cast<std::size_t>(ObsGetCount()));
    ObsGetLoaded(-8, keys.data());
    std::vector<std::string> all;
    for (const std::int64_t key : keys) {
        ObsRecord rec;
        EXPECT_TRUE(obsfindrec(key, rec));
        all.push_back(bitsOf(rec));
    }
    return all;
}

/// A column to be imported: its name and format, and its bytes; null where the bits say so.
struct Fed {
    std::string name, format;
    std::string values;
    std::uint8_t valid = 0xFF;
    std::vector<std::string> words = {};  ///< of a dictionary
    std::string bytes = {};               ///< of texts, the values being offsets
};

template <class Value>
std::string raw(std::initializer_list<Value> values) {
    return {reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(Value)};
}

std::shared_ptr<const void> shared(const std::string& bytes) {
    Buffer buffer;
    buffer.ensure(bytes.size() + 1);
    bytes.copy(buffer.as(), bytes.size());
    return buffer.share();
}

/// A stream of one batch of two rows, which begins with the second of three.
ArrowArrayStream feed(const std::vector<Fed>& columns) {
    struct State {
        std::vector<Fed> columns;
        bool done = false;
    };
    ArrowArrayStream stream{};
    stream.private_data = new State{columns};
    stream.get_schema = [](ArrowArrayStream* self, ArrowSchema* out) {
        std::vector<OwnedSchema> children;
        for (const Fed& fed : static_cast<State*>(self->private_data)->columns)
            children.push_back(makeSchema(fed.format, fed.name, true, {}, {},
                                          fed.words.empty() ? OwnedSchema() : makeSchema("u", "", true)));
        *out = makeSchema("+s", "", false, {}, std::move(children)).take();
        return 0;
    };
    stream.get_next = [](ArrowArrayStream* self, ArrowArray* out) {
        auto& state = *static_cast<State*>(self->private_data);
        std::vector<OwnedArray> children;
        for (const Fed& fed : state.columns) {
            SharedBytes buffers{shared(std::string(1, static_cast<char>(fed.valid))), shared(fed.values)};
            if (fed.format == "u" || fed.format == "U") buffers.push_back(shared(fed.bytes));
            OwnedArray dictionary;
            if (!fed.words.empty()) {
                TextBuffers words = makeTextBuffers(fed.words);
                dictionary = makeArray(words.count, 0, words.buffers);
            }
            children.push_back(makeArray(3, -1, buffers, {}, std::move(dictionary)));
        }
        *out = state.done ? ArrowArray{} : makeArray(2, 0, {nullptr}, std::move(children)).take();
        out->offset = 1;
        state.done = true;
        return 0;
    };
    stream.get_last_error = [](ArrowArrayStream*) -> const char* { return "none"; };
    stream.release = [](ArrowArrayStream* self) {
        delete static_cast<State*>(self->private_data);
        self->release = nullptr;
    };
    return stream;
}

}  // namespace

class Columns : public ExportTest {
protected:
    std::int32_t import(ArrowArrayStream stream, bool naiveIsUtc = false, std::int32_t gid = 0) {
        log_.errors.clear();
        const std::int32_t status = ObsImportArrow(&stream, naiveIsUtc, gid, counts_, 2, keys_);
        EXPECT_EQ(stream.release, nullptr);
        return status;
    }
    std::int64_t counts_[OBS_ARROW_COUNTS], keys_[2];
};

TEST_F(Columns, roundTripIsBitForBit) {
    RandomRecords random;
    for (int i = 0; i < 300; ++i) {
        ASSERT_GT(AddObOnly(random.make(i % 23 - 1), i % 3), 0);
        ObsRecord zeros = random.make(i % 23 - 1);
        static_cast<RareFields&>(zeros) = {};
        zeros.range = zeros.rangeRate = zeros.elOrDec = zeros.azOrRa = 0;
        ASSERT_GT(AddObOnly(zeros), 0);
    }
    const std::vector<std::string> before = storedBits();
    for (const std::int32_t mode : {0, 1}) {
        for (const std::int32_t batchRows : {0, 1, 77, 128}) {
            ArrowArrayStream stream = exported({}, batchRows);  // outlives what it was made of
            SetObsKeyMode(mode);
            ObsRemoveAll();
            ASSERT_EQ(import(stream), 0) << testing::PrintToString(log_.errors);
            EXPECT_EQ(counts_[OBS_ARROW_ADDED], 600);
            EXPECT_EQ(storedBits(), before) << batchRows;
            EXPECT_EQ(ObsGetCountGID(2), 100);
        }
    }
    SetObsKeyMode(0);
}

// What is not measured is null unless it holds something; each batch has the one dictionary; streams can be had again.
TEST_F(Columns, nullsAndBatches) {
    EXPECT_TRUE(Taken(exported()).batches.empty());
    const auto add = [](std::int32_t type, double el, double range) {
        ObsRecord rec;
        rec.satNum = 5;
        rec.senNum = type;
        rec.obsTime = 27000.25;
        rec.obsType = type;
        rec.elOrDec = el;
        rec.range = range;
        rec.secClass = type == 6 ? '\xE9' : 'S';
        ASSERT_GT(AddObOnly(rec, 4), 0);
    };
    add(1, 0, 0);
    add(5, 7, 3);
    add(6, -0.0, 0);
    add(18, 1, std::nan(""));
    for (int again = 0; again < 2; ++again) {
        Taken taken(
            exported({"type", "elevation", "declination", "range_km", "sec_class", "group", "time", "bias_1"}, 3));
        ASSERT_EQ(taken.batches.size(), 2u);
        EXPECT_EQ(taken.batches[1]->length, 1);
        EXPECT_EQ(std::memcmp(taken.schema->metadata + 4,
                              "\x09\0\0\0nan_count\x01\0\0\0"
                              "1",
                              18),
                  0);
        std::string all;
        for (std::int64_t row = 0; row < 4; ++row) {
            for (const char* name : {"type", "elevation", "declination", "range_km", "sec_class"})
                all += taken.at(name, row % 3, row / 3) + " ";
            EXPECT_EQ(taken.at("group", row % 3, row / 3), "4");
            EXPECT_EQ(taken.at("bias_1", row % 3, row / 3), "null");
            EXPECT_EQ(taken.at("time", row % 3, row / 3), std::to_string((27000 - 7306) * 86400000000 + 21600000000));
        }
        EXPECT_EQ(all,
                  "1 0.000000 null null S 5 null 7.000000 3.000000 S 6 -0.000000 null 0.000000 \xC3\xA9 "
                  "M 1.000000 null null S ");
        for (auto& batch : taken.batches) EXPECT_EQ(batch->children[4]->dictionary->length, 4);
        // A child may be moved out, and its parent released.
        OwnedArray child(*taken.batches[0]->children[0]);
        taken.batches[0]->children[0]->release = nullptr;
        taken.batches.clear();
        EXPECT_EQ(Taken::word(*child->dictionary, 14), "O");
    }
    std::vector<std::int64_t> keys(4);
    ObsGetLoaded(9, keys.data());
    const std::int64_t two[] = {keys[3], keys[0]};
    const char* const column = "key";
    ArrowArrayStream stream;
    ASSERT_EQ(ObsExportArrow(2, two, 0, &column, 1, 0, &stream), 0);
    EXPECT_EQ(Taken(stream).at("key", 0), std::to_string(keys[3]));
}

// What lists hold may be more than the rows, and all null.
TEST_F(Columns, listsOfNullsHaveRoomForAll) {
    ObsRecord rec;
    rec.satNum = 5;
    rec.senNum = 1;
    rec.obsTime = 27000.25;
    rec.extraValues.create().values.assign(kMostSigmas, std::nan(""));
    ASSERT_GT(AddObOnly(rec, 0), 0);
    Taken taken(exported({"sigma"}, 1));
    ASSERT_EQ(taken.batches.size(), 1u);
    const ArrowArray& items = *taken.batches[0]->children[0]->children[0];
    ASSERT_EQ(items.length, kMostSigmas);
    EXPECT_EQ(items.null_count, kMostSigmas);
    const auto* const values = static_cast<const double*>(items.buffers[1]);
    EXPECT_TRUE(std::all_of(values, values + items.length, [](double value) { return value == 0; }));
}

// As stored: the rows of the order of insertion, each batch as of when it is asked for; what fails goes on to fail.
TEST_F(Columns, asStoredBatchByBatch) {
    RandomRecords random;
    std::vector<std::int64_t> keys;
    for (int i = 0; i < 300; ++i) keys.push_back(AddObOnly(random.make(i % 20), i % 3));
    for (const std::size_t gone : {0u, 7u, 299u}) ASSERT_EQ(ObsRemove(keys[gone]), 0);
    std::vector<const char*> names;
    for (const ColumnDef& def : columnList())
        if (def.form != ColumnForm::list && !def.isOfText) names.push_back(def.name.data());
    const auto asStored = [&](std::int32_t batchRows) {
        ArrowArrayStream stream;
        EXPECT_EQ(ObsExportArrow(-1, nullptr, OBS_ORDER_STORED, names.data(), static_cast<std::int32_t>(names.size()),
                                 batchRows, &stream),
                  0);
        return stream;
    };
    Taken sorted(exported(names));
    for (const std::int32_t batchRows : {0, 1, 64, 297}) {
        Taken stored(asStored(batchRows));
        std::int64_t rows = 0;
        for (std::size_t batch = 0; batch < stored.batches.size(); ++batch)
            for (std::int64_t i = 0; i < stored.batches[batch]->length; ++i, ++rows)
                for (const char* name : names)
                    ASSERT_EQ(stored.at(name, i, static_cast<std::int64_t>(batch)), sorted.at(name, rows)) << name;
        EXPECT_EQ(rows, 297) << batchRows;
    }
    Owner<ArrowArrayStream> stream(asStored(290));
    OwnedArray first, second, third;
    ASSERT_EQ(stream->get_next(&*stream, &*first), 0);
    for (int type = 1000; type < 1200; ++type) AddObOnly(random.make(type));
    EXPECT_EQ(stream->get_next(&*stream, &*second), EINVAL);
    ObsRemoveAll();
    EXPECT_EQ(stream->get_next(&*stream, &*second), EINVAL);
    EXPECT_NE(std::strstr(stream->get_last_error(&*stream), "128"), nullptr);
    EXPECT_EQ(first->length, 290);
    EXPECT_TRUE(Taken(asStored(0)).batches.empty());
}

/// Every form in which values may come, and what is refused: a column beside satellite and time, the message, or the
/// field's value in the record of the first row (the second of the column).
TEST_F(Columns, formsThatAreTakenAndRefused) {
    const Fed sat{"sat_num", "i", raw<std::int32_t>({0, 5, 6})}, ds50{"ds50", "g", raw<double>({0, 27000.5, 27000.75})};
    constexpr std::int64_t kDay = 19694;  // 27000 in days since 1970
    struct Try {
        std::vector<Fed> columns;
        std::string message;
        double value;
        double ObsRecord::*field;
    };
    const Try cases[] = {
        {{sat, ds50, {"range_km", "f", raw<float>({1, 2.5F, 3})}}, "", 2.5, &ObsRecord::range},
        {{sat, ds50, {"range_km", "l", raw<std::int64_t>({1, -2, 3})}}, "", -2, &ObsRecord::range},
        {{sat, ds50, {"range_km", "g", raw<double>({1, std::nan(""), 3})}}, "", 0, &ObsRecord::range},
        {{sat, ds50, {"range_km", "g", raw<double>({1, 2, 3}), 0xFD}}, "", 0, &ObsRecord::range},
        {{{"sat_num", "g", raw<double>({1, 2, 3})}, ds50}, "", 27000.5, &ObsRecord::obsTime},
        {{sat,
          ds50,
          {"type", "u", raw<std::int32_t>({0, 0, 1, 2}), 0xFF, {}, "18"},
          {"elevation", "g", raw<double>({1, 2, 3})}},
         "",
         2,
         &ObsRecord::elOrDec},
        {{sat,
          ds50,
          {"type", "U", raw<std::int64_t>({0, 0, 1, 2}), 0xFF, {}, "55"},
          {"declination", "g", raw<double>({1, 2, 3})}},
         "",
         2,
         &ObsRecord::elOrDec},
        {{sat,
          ds50,
          {"type", "S", raw<std::uint16_t>({0, 1, 1}), 0xFF, {"x", "9"}},
          {"declination", "g", raw<double>({1, 2, 3})}},
         "",
         2,
         &ObsRecord::elOrDec},
        {{sat, ds50, {"type", "c", raw<std::int8_t>({0, 18, 18})}}, "", 27000.5, &ObsRecord::obsTime},
        {{sat, ds50, {"file", "b", "x"}, {"key", "u", "x"}}, "", 27000.5, &ObsRecord::obsTime},
        {{sat, {"time", "tss:Europe/Berlin", raw<std::int64_t>({0, kDay * 86400 + 43200, kDay * 86400})}},
         "",
         27000.5,
         &ObsRecord::obsTime},
        {{sat, {"time", "tsm:UTC", raw<std::int64_t>({0, kDay * 86400000, kDay})}}, "", 27000, &ObsRecord::obsTime},
        {{sat, {"time", "tsn:UTC", raw<std::int64_t>({0, kDay * 86400000000000, 1000})}},
         "",
         27000,
         &ObsRecord::obsTime},
        {{sat, ds50, {"time", "tsu:UTC", raw<std::int64_t>({0, kDay * 86400000000 + 43200000001, 0}), 0xFB}},
         "",
         27000.5,
         &ObsRecord::obsTime},
        // Columns
        {{sat, ds50, {"rang", "g", raw<double>({1, 2, 3})}},
         "Column rang: There is no column of this name.",
         0,
         nullptr},
        {{sat, sat, ds50}, "Column sat_num: It occurs twice.", 0, nullptr},
        {{sat, ds50, {"range_km", "u", raw<std::int32_t>({0, 0, 0, 0})}},
         "Column range_km: It cannot be taken from",
         0,
         nullptr},
        {{sat, ds50, {"type", "b", "x"}},
         "Column type: It cannot be taken from values of the format \"b\".",
         0,
         nullptr},
        {{sat, {"time", "l", raw<std::int64_t>({0, 1, 2})}}, "Column time: It cannot be taken", 0, nullptr},
        {{sat, {"time", "tsu:", raw<std::int64_t>({0, 1, 2})}}, "Column time: Its times have no time zone", 0, nullptr},
        // Rows
        {{sat, ds50, {"time", "tsu:UTC", raw<std::int64_t>({0, kDay * 86400000000 + 43200000002, 0}), 0xFB}},
         "Column time, row 0: it differs from ds50 by more than 1 us.",
         0,
         nullptr},
        {{sat, {"time", "tsn:UTC", raw<std::int64_t>({0, 1, 1000})}},
         "Column time, row 0: the time is finer",
         0,
         nullptr},
        {{sat, {"time", "tss:UTC", raw<std::int64_t>({0, INT64_MAX / 10, 1000})}},
         "Column time, row 0: the time is too",
         0,
         nullptr},
        {{sat, ds50, {"sen_num", "l", raw<std::int64_t>({0, 1L << 31, 1})}},
         "Column sen_num, row 0: the number is too",
         0,
         nullptr},
        {{sat, ds50, {"sen_num", "g", raw<double>({0, 1.5, 1})}},
         "Column sen_num, row 0: the number is not whole",
         0,
         nullptr},
        {{sat, ds50, {"range_km", "l", raw<std::int64_t>({0, (1L << 53) + 1, 1})}},
         "Column range_km, row 0: the number is",
         0,
         nullptr},
        {{sat, ds50, {"type", "c", raw<std::int8_t>({0, 1, 0}), 0xFF, {"1", "x"}}},
         "Column type, row 0: the text",
         0,
         nullptr},
        {{sat, ds50, {"type", "c", raw<std::int8_t>({0, 2, 0}), 0xFF, {"1", "x"}}},
         "Column type, row 0: the index",
         0,
         nullptr},
        {{sat, ds50, {"type", "L", raw<std::uint64_t>({0, 1UL << 63, 0}), 0xFF, {"1", "x"}}},
         "Column type, row 0: the index",
         0,
         nullptr},
        {{{"sat_num", "i", raw<std::int32_t>({0, 5, 6}), 0xFD}, ds50},
         "Columns sat_num, sen_num and ds50, row 0: they",
         0,
         nullptr},
        {{sat, {"ds50", "g", raw<double>({0, 27000.5, 1}), 0xFD}},
         "Columns ds50 and time, row 0: there is no time.",
         0,
         nullptr},
    };
    for (const Try& one : cases) {
        ObsRemoveAll();
        const std::string& message = one.message;
        SCOPED_TRACE(one.columns.back().name + " " + one.columns.back().format + " " + message);
        EXPECT_EQ(import(feed(one.columns), false, 9), message.empty() ? 0 : 2) << testing::PrintToString(log_.errors);
        const bool isRow = message.find(", row 0: ") != std::string::npos;
        EXPECT_EQ(ObsGetCount(), message.empty() ? 2 : isRow ? 1 : 0);
        EXPECT_EQ(ObsGetCountGID(9), ObsGetCount());
        EXPECT_EQ(counts_[OBS_ARROW_REFUSED], isRow);
        if (!message.empty()) {
            ASSERT_EQ(log_.errors.size(), isRow ? 2u : 1u) << testing::PrintToString(log_.errors);
            EXPECT_EQ(log_.errors[0].substr(0, 16 + message.size()), "ObsImportArrow: " + message);
        }
        ObsRecord rec;
        if (one.field == nullptr) continue;
        EXPECT_TRUE(obsfindrec(keys_[0], rec));
        EXPECT_EQ(rec.*one.field, one.value);
    }
    ObsRemoveAll();
    const Fed naive{"time", "tsu:", raw<std::int64_t>({0, kDay * 86400000000, 1})};
    EXPECT_EQ(import(feed({sat, naive}), true), 0);
    EXPECT_EQ(import(feed({sat, naive}), true), 0) << "duplicates are no failure";
    EXPECT_EQ(counts_[OBS_ARROW_DUPLICATES], 2);
    EXPECT_EQ(keys_[1], 0);
}

TEST_F(Columns, rowsOfStrangersAreSelected) {
    const Fed type{"type", "c", raw<std::int8_t>({0, 0, 0}), 0xFF, {"3"}};
    const Fed rate{"range_rate_km_s", "f", raw<float>({0, 1, 1}), 0xFD}, other{"colour", "+q", ""};
    const Fed sat{"sat_num", "g", raw<double>({0, 5, 6.5})};
    const struct {
        const char* text;
        std::vector<Fed> columns;
        std::int64_t room;
        const char* says;                                   ///< or "", when row 1 alone meets the text
    } cases[] = {{"rate=0:2", {other, rate, type}, 2, ""},  // a null meets neither this ...
                 {"rate!=7", {type, rate}, 2, ""},          // ... nor that
                 {"rate!=7", {rate}, 2, "Column type: The stream does not have it."},
                 {"rate!=7", {type, rate}, 1, "There is room for 1 rows, and there are more."},
                 {"sat=5", {other, sat}, 2, "Column sat_num, row 1: the number is not whole"},
                 {"sat=5", {sat, sat}, 2, "Column sat_num: It occurs twice."}};
    for (const auto& [text, columns, room, says] : cases) {
        log_.errors.clear();
        ArrowArrayStream stream = feed(columns);
        std::int8_t mask[2] = {9, 9};
        std::int64_t rows = 9;
        const bool isGood = *says == '\0';
        EXPECT_EQ(ObsSelectRows(text, &stream, room, mask, &rows), isGood ? 0 : 2) << text;
        EXPECT_EQ(stream.release, nullptr);
        EXPECT_EQ(rows, isGood ? 2 : 0);
        if (isGood) EXPECT_TRUE(mask[0] == 0 && mask[1] == 1) << text;
        else EXPECT_EQ(log_.errors.at(0).find(std::string("ObsSelectRows: ") + says), 0u) << log_.errors[0];
    }
}

TEST_F(Columns, schemasThatLackWhatIsDueAreRefused) {
    static ArrowSchema schema, child;
    static ArrowSchema* children[1];
    const auto release = [](ArrowSchema* self) { self->release = nullptr; };
    for (const std::string lack : {"nothing", "child", "children", "format", "child's format", "release"}) {
        child = schema = {};
        child.format = lack == "child's format" ? nullptr : "g";
        child.name = "ds50";
        child.release = release;
        children[0] = lack == "child" ? nullptr : &child;
        schema.format = lack == "format" ? nullptr : "+s";
        schema.n_children = 1;
        schema.children = lack == "children" ? nullptr : children;
        schema.release = lack == "release" ? nullptr : +release;
        ArrowArrayStream stream = feed({});
        stream.get_schema = [](ArrowArrayStream*, ArrowSchema* out) {
            *out = schema;
            return 0;
        };
        stream.get_next = [](ArrowArrayStream*, ArrowArray* out) {
            *out = {};
            return 0;
        };
        EXPECT_EQ(import(stream), lack == "nothing" ? 0 : 2) << lack;
    }
}

TEST_F(Columns, textIsReadWithoutTheStore) {
    const std::string card = readCases(OBS_TEST_DATA "/b3/b3.cases")[0].card;
    const std::string text =
        "* comment\n" + card + "\n" + card.substr(0, 33) + "X" + card.substr(34) + "\n" + card + "\n";
    const char* const columns[] = {"key", "line", "file", "group", "sat_num"};
    ObsReadState state{};
    state.size = sizeof state;
    state.rotateToDate = 1;
    int bad = 0;
    ArrowArrayStream stream;
    ASSERT_EQ(ObsReadArrow(
                  text.data(), static_cast<std::int64_t>(text.size()), &state, "a.txt", columns, 5, 1,
                  [](std::int32_t kind, std::int64_t, std::int64_t, const char*, void* user) {
                      *static_cast<int*>(user) += kind == OBS_LINE_BAD;
                  },
                  &bad, &stream),
              0);
    EXPECT_EQ(ObsGetCount(), 0);
    EXPECT_EQ(state.lines, 4);
    EXPECT_EQ(bad, 1);
    const std::int64_t key = ObsAddFrB3Card(card.c_str());
    Taken taken(stream);
    ASSERT_EQ(taken.batches.size(), 2u) << "a duplicate is a row as well";
    for (std::int64_t batch = 0; batch < 2; ++batch) {
        EXPECT_EQ(taken.at("key", 0, batch), std::to_string(key));
        EXPECT_EQ(taken.at("line", 0, batch), batch == 0 ? "2" : "4");
        EXPECT_EQ(taken.at("file", 0, batch), "a.txt");
        EXPECT_EQ(taken.at("group", 0, batch), "null");
        EXPECT_EQ(taken.at("sat_num", 0, batch), std::to_string(SatNumFrObsKey(key)));
    }
}

}  // namespace obs::test
