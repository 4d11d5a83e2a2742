// SPDX-License-Identifier: Apache-2.0
#include "ColumnScan.h"

#include <algorithm>
#include <array>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "Text.h"

namespace obstool {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

template <class Value>
void toReals(const ArrowArray& array, std::vector<double>& values) {
    const auto* const from = static_cast<const Value*>(array.buffers[1]) + array.offset;
    std::transform(from, from + array.length, values.begin(), [](Value value) { return static_cast<double>(value); });
}

/// The code of the character that a text is; that of a blank where it is none.
double codeOf(std::string_view text) {
    if (text.size() == 1) return static_cast<unsigned char>(text[0]);
    // The characters of one byte from 0x80 on are two bytes of UTF-8.
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    return text.size() == 2 && byte(0) >= 0xC2 && byte(0) <= 0xC3 ? (byte(0) & 3) << 6 | (byte(1) & 0x3F) : ' ';
}

/// What a dictionary of characters refers to.
void codesToReals(const ArrowArray& array, std::vector<double>& values) {
    std::array<double, 128> codes{};
    const ArrowArray& texts = *array.dictionary;
    const auto* const ends = static_cast<const std::int32_t*>(texts.buffers[1]);
    const auto* const bytes = static_cast<const char*>(texts.buffers[2]);
    for (std::size_t i = 0; i < static_cast<std::size_t>(texts.length); ++i)
        codes[i] = codeOf({bytes + ends[i], static_cast<std::size_t>(ends[i + 1] - ends[i])});
    const auto* const from = static_cast<const std::int8_t*>(array.buffers[1]) + array.offset;
    std::transform(from, from + array.length, values.begin(),
                   [&](std::int8_t index) { return codes[static_cast<std::size_t>(index) & 127]; });
}

void leaveNulls(const ArrowArray& array, std::vector<double>& values) {
    const auto* const bits = static_cast<const std::uint8_t*>(array.buffers[0]);
    if (array.null_count == 0 || bits == nullptr) return;
    // A choice of two values costs less than a branch on bits that nobody can guess.
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::size_t at = i + static_cast<std::size_t>(array.offset);
        const double choice[2] = {kNone, values[i]};
        values[i] = choice[bits[at / 8] >> at % 8 & 1];
    }
}

}  // namespace

ColumnScan::ColumnScan(std::int32_t order, std::vector<const char*> columns) : columns_(std::move(columns)) {
    constexpr std::int32_t kAll = -1, kRows = 4096;  // which the processor keeps at hand
    start(kAll, nullptr, order, kRows);
}

ColumnScan::ColumnScan(std::span<const std::int64_t> keys, std::vector<const char*> columns)
    : columns_(std::move(columns)) {
    const auto count = static_cast<std::int32_t>(keys.size());
    start(count, keys.data(), 0, std::max(count, 1));
}

ColumnScan::~ColumnScan() { clear(); }

void ColumnScan::clear() {
    if (batch_.release != nullptr) batch_.release(&batch_);
    if (stream_.release != nullptr) stream_.release(&stream_);
}

void ColumnScan::fail() {
    const std::string why = lastError();
    clear();
    throw std::runtime_error(why);
}

void ColumnScan::start(std::int32_t count, const std::int64_t* keys, std::int32_t order, std::int32_t batchRows) {
    const auto columns = static_cast<std::int32_t>(columns_.size());
    if (ObsExportArrow(count, keys, order, columns_.data(), columns, batchRows, &stream_) != 0) fail();
    ArrowSchema schema{};
    if (stream_.get_schema(&stream_, &schema) != 0) fail();
    for (std::int64_t i = 0; i < schema.n_children; ++i) formats_.push_back(schema.children[i]->format[0]);
    schema.release(&schema);
}

bool ColumnScan::next() {
    if (batch_.release != nullptr) batch_.release(&batch_);
    batch_ = ArrowArray{};
    if (stream_.get_next(&stream_, &batch_) != 0) {
        const std::string why = stream_.get_last_error(&stream_);
        clear();
        throw std::runtime_error(why);
    }
    return batch_.release != nullptr;
}

void ColumnScan::values(std::size_t column, std::vector<double>& values) const {
    const ArrowArray& array = *batch_.children[column];
    values.resize(rows());
    if (array.null_count == array.length) {
        std::fill(values.begin(), values.end(), kNone);
        return;
    }
    switch (formats_[column]) {
        case 'i': toReals<std::int32_t>(array, values); break;
        case 'l': toReals<std::int64_t>(array, values); break;
        case 'g': toReals<double>(array, values); break;
        default: codesToReals(array, values); break;
    }
    leaveNulls(array, values);
}

const std::int64_t* ColumnScan::keys(std::size_t column) const {
    const ArrowArray& array = *batch_.children[column];
    return static_cast<const std::int64_t*>(array.buffers[1]) + array.offset;
}

}  // namespace obstool
