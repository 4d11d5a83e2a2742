// SPDX-License-Identifier: Apache-2.0
#include "ColumnScan.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "Text.h"

namespace obstool {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// The code of the character that a text is; that of a blank where it is none.
unsigned char codeOf(std::string_view text) {
    if (text.size() == 1) return static_cast<unsigned char>(text[0]);
    // The characters of one byte from 0x80 on are two bytes of UTF-8.
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const bool isShort = text.size() == 2 && byte(0) >= 0xC2 && byte(0) <= 0xC3;
    return static_cast<unsigned char>(isShort ? (byte(0) & 3) << 6 | (byte(1) & 0x3F) : ' ');
}

bool hasBit(const std::uint8_t* bits, std::size_t i) { return (bits[i / 8] >> i % 8 & 1) != 0; }

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
    const auto take = [&](const auto& from) {
        for (std::size_t i = 0; i < rows(); ++i) values[i] = static_cast<double>(from[i]);
    };
    values.resize(rows());
    switch (formats_[column]) {
        case 'i': take(wholes(column)); break;
        case 'l': take(keys(column)); break;
        case 'g': take(reals(column)); break;
        default: take(codes(column)); break;
    }
    const std::uint8_t* const bits = given(column);
    if (bits == nullptr) return;
    // A choice of two values costs less than a branch on bits that nobody can guess.
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double choice[2] = {kNone, values[i]};
        values[i] = choice[bits[i / 8] >> i % 8 & 1];
    }
}

CodeColumn ColumnScan::codes(std::size_t column) const {
    CodeColumn codes;
    codes.indices_ = indices(column);
    const std::vector<std::string> all = texts(column);
    std::transform(all.begin(), all.end(), codes.codes_.begin(), codeOf);
    return codes;
}

std::vector<std::string> ColumnScan::texts(std::size_t column) const {
    const ArrowArray& array = *batch_.children[column]->dictionary;
    const auto* const ends = static_cast<const std::int32_t*>(array.buffers[1]);
    const auto* const bytes = static_cast<const char*>(array.buffers[2]);
    std::vector<std::string> texts;
    for (std::int64_t i = 0; i < array.length; ++i) texts.emplace_back(bytes + ends[i], bytes + ends[i + 1]);
    return texts;
}

double ColumnScan::real(std::size_t column, std::size_t row) const {
    const std::uint8_t* const bits = given(column);
    return bits == nullptr || hasBit(bits, row) ? reals(column)[row] : kNone;
}

}  // namespace obstool
