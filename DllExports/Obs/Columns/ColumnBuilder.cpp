// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/Columns/ColumnBuilder.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <utility>

#include "siblings/include/Sensors.h"

namespace obs {

namespace {

constexpr std::string_view formatOf(ColumnForm form) {
    switch (form) {
        case ColumnForm::int32: return "i";
        case ColumnForm::int64: return "l";
        case ColumnForm::real: return "g";
        case ColumnForm::time: return "tsu:UTC";
        case ColumnForm::text: return "c";  // the index
        case ColumnForm::list: return "+l";
    }
    return "n";
}

/// The types that carry a column, as they are on cards.
std::string typeList(std::uint32_t types) {
    std::string list;
    for (std::int32_t type = 0; type < 20; ++type)
        if ((types >> type & 1u) != 0) list.append(list.empty() ? "" : ",").append(typeText(type));
    return list;
}

OwnedSchema columnSchema(const ColumnDef& def) {
    SchemaNotes notes;
    if (!def.unit.empty()) notes.emplace_back("unit", def.unit);
    if (def.types != 0 && def.types != fieldlist::kAll.bits()) notes.emplace_back("types", typeList(def.types));
    std::vector<OwnedSchema> items;
    if (def.form == ColumnForm::list) items.push_back(makeSchema("g", "item", true));
    return makeSchema(formatOf(def.form), def.name, true, notes, std::move(items),
                      def.form == ColumnForm::text ? makeSchema("u", "", false) : OwnedSchema());
}

/// What a stream holds. Only what makes batches as they are asked for can fail by more than want of memory.
struct StreamState {
    std::vector<const ColumnDef*> defs;
    SchemaNotes notes;
    std::function<OwnedArray()> next;  ///< its `release` is null when there is none
    int failed = 0;                    ///< for good, with an error number
    std::string error = "Out of memory.";
};

StreamState& stateOf(ArrowArrayStream* stream) { return *static_cast<StreamState*>(stream->private_data); }

int getSchema(ArrowArrayStream* stream, ArrowSchema* out) {
    out->release = nullptr;
    try {
        const StreamState& state = stateOf(stream);
        std::vector<OwnedSchema> columns;
        for (const ColumnDef* def : state.defs) columns.push_back(columnSchema(*def));
        *out = makeSchema("+s", "", false, state.notes, std::move(columns)).take();
        return 0;
    } catch (...) { return ENOMEM; }
}

int getNext(ArrowArrayStream* stream, ArrowArray* out) {
    *out = ArrowArray{};
    StreamState& state = stateOf(stream);
    if (state.failed != 0) return state.failed;
    try {
        *out = state.next().take();
        return 0;
    } catch (const std::length_error& error) {
        state.error = error.what();
        return state.failed = EINVAL;
    } catch (...) { return state.failed = ENOMEM; }
}

const char* lastError(ArrowArrayStream* stream) { return stateOf(stream).error.c_str(); }

void releaseStream(ArrowArrayStream* stream) {
    delete &stateOf(stream);
    stream->release = nullptr;
}

/// Eight flags, each 0 or 1, as bits, the first one lowest.
std::uint8_t packed(const std::uint8_t* flags) {
    if constexpr (std::endian::native == std::endian::little) {
        constexpr std::uint64_t kFlagToBit = 0x0102040810204080;  // brings each flag to its place in the highest byte
        std::uint64_t eight = 0;
        std::memcpy(&eight, flags, sizeof eight);
        return static_cast<std::uint8_t>(eight * kFlagToBit >> 56);
    } else {
        unsigned bits = 0;
        for (unsigned i = 0; i < 8; ++i) bits |= unsigned{flags[i]} << i;
        return static_cast<std::uint8_t>(bits);
    }
}

/// Sets bits from `first` on; those before it are set already, those after it 0.
void setBits(std::uint8_t* bits, std::size_t first, const BlockFlags& flags, std::size_t count) {
    std::size_t i = 0;
    if (first % 8 == 0) {
        for (; i + 8 <= count; i += 8) { bits[(first + i) / 8] = packed(&flags[i]); }
    }
    for (; i < count; ++i) bits[(first + i) / 8] |= static_cast<std::uint8_t>(flags[i] << (first + i) % 8);
}

}  // namespace

std::int8_t TextDictionary::indexOfText(std::string text) {
    constexpr std::size_t kMost = std::size_t{std::numeric_limits<std::int8_t>::max()} + 1;
    if (texts_.size() == kMost)
        throw std::length_error(
            "Types, other characters or files: more than 128 different ones do not fit into a column.");
    texts_.push_back(std::move(text));
    return static_cast<std::int8_t>(texts_.size() - 1);
}

std::int8_t TextDictionary::indexOf(std::int32_t number, const std::string& text) {
    const auto known = others_.find(number);
    return known != others_.end() ? known->second : others_[number] = indexOfText(text);
}

std::int8_t TextDictionary::indexOfOther(std::int32_t code, TextOf textOf) {
    if (code >= 0 && code < kQuick) return quick_[static_cast<std::size_t>(code)] = indexOfText(textOf(code));
    const auto known = others_.find(code);
    if (known != others_.end()) return known->second;
    return others_[code] = indexOfText(textOf(code));
}

void ColumnBuilder::appendRaw(const void* values, std::size_t size, const BlockFlags& given, std::size_t count) {
    std::size_t valid = 0;
    for (std::size_t i = 0; i < count; ++i) valid += given[i];
    const std::size_t end = rows_ + count;
    if (valid != 0 || values_) {
        values_.ensure(std::max(expected_, end) * size);
        std::memcpy(values_.as() + rows_ * size, values, count * size);
    }
    const bool isMixed = nulls_ + count - valid != 0 && nulls_ + count - valid != end;
    if (isMixed) {
        const bool isNew = !validity_;
        validity_.ensure((std::max(expected_, end) + 7) / 8);
        auto* const bits = validity_.as<std::uint8_t>();
        if (isNew && nulls_ == 0) {  // until now all were given
            std::memset(bits, 0xFF, rows_ / 8);
            bits[rows_ / 8] = static_cast<std::uint8_t>((1u << rows_ % 8) - 1);
        }
        setBits(bits, rows_, given, count);
    }
    rows_ = end;
    nulls_ += count - valid;
}

void ColumnBuilder::appendList(const std::vector<double>* values) {
    if (!items_) items_ = std::make_unique<ColumnBuilder>();
    const std::size_t count = values != nullptr ? values->size() : 0;
    for (std::size_t from = 0; from < count; from += kBlockRows) {
        BlockFlags given;
        const std::size_t some = std::min(kBlockRows, count - from);
        for (std::size_t i = 0; i < some; ++i) given[i] = !std::isnan((*values)[from + i]);
        nanCount += std::count(given.begin(), given.begin() + static_cast<std::ptrdiff_t>(some), 0);
        items_->appendRaw(values->data() + from, sizeof(double), given, some);
    }
    if (items_->rows() > std::size_t{std::numeric_limits<std::int32_t>::max()})
        throw std::length_error("The sigmas of a batch are too many.");
    if (values != nullptr || values_) {
        values_.ensure((std::max(expected_, rows_ + 1) + 1) * sizeof(std::int32_t));
        validity_.ensure((std::max(expected_, rows_ + 1) + 7) / 8);
        values_.as<std::int32_t>()[rows_ + 1] = static_cast<std::int32_t>(items_->rows());
        validity_.as<std::uint8_t>()[rows_ / 8] |= static_cast<std::uint8_t>((values != nullptr) << rows_ % 8);
    }
    ++rows_;
    nulls_ += values == nullptr;
}

ColumnPart ColumnBuilder::finish(ColumnForm form, const std::shared_ptr<const void>& zeros) {
    ColumnPart part;
    part.nulls = static_cast<std::int64_t>(nulls_);
    const bool allNull = nulls_ == rows_;
    part.buffers.push_back(allNull ? zeros : nulls_ == 0 ? nullptr : validity_.share());
    part.buffers.push_back(allNull ? zeros : values_.share());
    if (form == ColumnForm::list) {
        const std::size_t items = items_ ? items_->rows() : 0;
        ColumnPart inner = items != 0 ? items_->finish(ColumnForm::real, zeros) : ColumnPart{0, {nullptr, zeros}, {}};
        part.children.push_back(makeArray(static_cast<std::int64_t>(items), inner.nulls, std::move(inner.buffers)));
    }
    validity_ = {};
    values_ = {};
    items_.reset();
    rows_ = nulls_ = 0;
    return part;
}

TableBuilder::TableBuilder(std::vector<const ColumnDef*> columns, std::size_t batchRows, bool hasGroups,
                           const std::string& fileName, std::vector<std::string> files)
    : defs_(std::move(columns)), builders_(defs_.size()), batchRows_(batchRows) {
    block_->hasGroups = hasGroups;
    block_->hasFile = !fileName.empty();
    block_->files = std::move(files);
    for (std::size_t i = 0; i < defs_.size(); ++i) {
        TextDictionary& dictionary = builders_[i].dictionary;
        if (defs_[i]->name == "type")
            for (const std::int32_t type : kTypesWithCharacter) dictionary.indexOf(type, typeText);
        if (defs_[i]->name == "sec_class")
            for (const char secClass : kClasses) dictionary.indexOf(secClass, characterText);
        if (defs_[i]->name == "file" && !fileName.empty()) dictionary.indexOfText(fileName);
    }
}

std::uint8_t TableBuilder::needs() const {
    std::uint8_t needs = 0;
    for (const ColumnDef* def : defs_) needs |= def->needs;
    return needs;
}

/// Fills the columns from the block, which then has room for what the batch still takes.
void TableBuilder::flush() {
    if (block_->count != 0) {
        if (rowsInBatch_ == 0) {
            const std::size_t left = expected_ > rowsBefore_ ? expected_ - rowsBefore_ : 0;
            for (ColumnBuilder& builder : builders_) builder.begin(std::min(batchRows_, left));
        }
        for (std::size_t i = 0; i < block_->count; ++i) block_->typeBits[i] = typeBit(block_->common[i]->obsType);
        for (std::size_t i = 0; i < defs_.size(); ++i) defs_[i]->put(*block_, builders_[i]);
        rowsInBatch_ += block_->count;
        block_->count = 0;
        if (rowsInBatch_ == batchRows_) endBatch();
    }
    blockRoom_ = std::min(kBlockRows, batchRows_ - rowsInBatch_);
}

void TableBuilder::endBatch() {
    std::size_t mostRows = 0;
    for (const ColumnBuilder& builder : builders_) mostRows = std::max(mostRows, builder.mostRows());
    if (mostRows > zeroRows_) {
        // Enough for validity bits, for values of 8 bytes and for the offsets of lists that hold nothing.
        Buffer zeros;
        zeros.ensure((mostRows + 1) * sizeof(double));
        zeros_ = zeros.share();
        zeroRows_ = mostRows;
    }
    Batch batch{static_cast<std::int64_t>(rowsInBatch_), {}};
    batch.parts.reserve(defs_.size());
    for (std::size_t i = 0; i < defs_.size(); ++i) batch.parts.push_back(builders_[i].finish(defs_[i]->form, zeros_));
    batches_.push_back(std::move(batch));
    rowsBefore_ += rowsInBatch_;
    rowsInBatch_ = 0;
}

std::vector<TextBuffers> TableBuilder::dictionaries() const {
    std::vector<TextBuffers> all;
    for (const ColumnBuilder& builder : builders_) all.push_back(makeTextBuffers(builder.dictionary.texts()));
    return all;
}

OwnedArray TableBuilder::arrayOf(Batch& batch, const std::vector<TextBuffers>& dictionaries) const {
    std::vector<OwnedArray> columns;
    for (std::size_t i = 0; i < defs_.size(); ++i) {
        ColumnPart& part = batch.parts[i];
        OwnedArray dictionary;
        if (defs_[i]->form == ColumnForm::text)
            dictionary = makeArray(dictionaries[i].count, 0, dictionaries[i].buffers);
        columns.push_back(makeArray(batch.rows, part.nulls, std::move(part.buffers), std::move(part.children),
                                    std::move(dictionary)));
    }
    return makeArray(batch.rows, 0, {nullptr}, std::move(columns));
}

OwnedArray TableBuilder::takeBatch() {
    flush();
    if (rowsInBatch_ != 0) endBatch();
    OwnedArray array;
    if (!batches_.empty()) array = arrayOf(batches_.front(), dictionaries());
    batches_.clear();
    return array;
}

ArrowArrayStream TableBuilder::finish() {
    flush();
    if (rowsInBatch_ != 0) endBatch();
    std::int64_t nanCount = 0;
    for (const ColumnBuilder& builder : builders_) nanCount += builder.nanCount;
    const std::vector<TextBuffers> texts = dictionaries();
    auto arrays = std::make_shared<std::vector<OwnedArray>>();
    for (Batch& batch : batches_) arrays->push_back(arrayOf(batch, texts));
    const auto next = [arrays, i = std::size_t{0}]() mutable {
        return i < arrays->size() ? std::move((*arrays)[i++]) : OwnedArray();
    };
    auto state = std::make_unique<StreamState>(StreamState{defs_, {{"nan_count", std::to_string(nanCount)}}, next});
    return {getSchema, getNext, lastError, releaseStream, state.release()};
}

ArrowArrayStream TableBuilder::streamOf(TableBuilder builder, Fill fill) {
    auto state = std::make_unique<StreamState>();
    state->defs = builder.defs_;
    auto shared = std::make_shared<TableBuilder>(std::move(builder));
    state->next = [shared, fill = std::move(fill)] {
        fill(*shared);
        return shared->takeBatch();
    };
    return {getSchema, getNext, lastError, releaseStream, state.release()};
}

}  // namespace obs
