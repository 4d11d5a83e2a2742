// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/Columns/StreamRows.h"

#include <algorithm>
#include <limits>

namespace obs {

namespace {

/// Insertion numbers, which are 32 bits.
constexpr std::int64_t kMostRows = std::numeric_limits<std::int32_t>::max();

template <class Child>
bool haveAll(Child* const* children, std::int64_t count) {
    return count == 0 || (children != nullptr && std::find(children, children + count, nullptr) == children + count);
}

bool isNullRow(const ArrowArray& batch, std::int64_t at) {
    if (batch.null_count == 0 || batch.n_buffers < 1 || batch.buffers == nullptr || batch.buffers[0] == nullptr)
        return false;
    return (unsigned{static_cast<const std::uint8_t*>(batch.buffers[0])[at / 8]} >> at % 8 & 1u) == 0;
}

constexpr const char* kNullRow = "it is null as a whole";

}  // namespace

StreamRows::StreamRows(ArrowArrayStream& stream, const StreamOptions& options) : stream_(stream), options_(options) {
    OwnedSchema schema;
    if (stream.get_schema(&stream, &*schema) != 0) fail();
    takeSchema(*schema);
}

void StreamRows::fail() {
    const char* const why = stream_.get_last_error(&stream_);
    throw ColumnRefusal(std::string("The stream fails: ") + (why != nullptr ? why : "it does not say why") + ".");
}

void StreamRows::takeSchema(const ArrowSchema& schema) {
    const bool isStruct = schema.release != nullptr && schema.format != nullptr &&
                          std::string_view(schema.format) == "+s" && schema.n_children >= 0;
    if (!isStruct || !haveAll(schema.children, schema.n_children))
        throw ColumnRefusal("The stream does not hold columns.");
    children_ = schema.n_children;
    for (std::int64_t i = 0; i < children_; ++i) {
        const ArrowSchema& child = *schema.children[i];
        const std::string name = child.name != nullptr ? child.name : "";
        const auto* const wanted = options_.wanted;
        if (wanted != nullptr && std::find(wanted->begin(), wanted->end(), name) == wanted->end()) continue;
        const ColumnDef* const def = findColumn(name);
        if (def == nullptr) throw ColumnRefusal("Column " + name + ": There is no column of this name.");
        if (wanted == nullptr && def->isOfText) continue;
        sources_.push_back({ColumnReader(*def, child, options_.naiveIsUtc), i});
    }
    // In the order of the list: what a column does with its values may depend on those before it.
    const auto defOf = [](const Source& source) { return &source.reader.def(); };
    std::sort(sources_.begin(), sources_.end(), [&](const Source& a, const Source& b) { return defOf(a) < defOf(b); });
    const auto twice = std::adjacent_find(sources_.begin(), sources_.end(),
                                          [&](const Source& a, const Source& b) { return defOf(a) == defOf(b); });
    if (twice != sources_.end())
        throw ColumnRefusal("Column " + std::string(defOf(*twice)->name) + ": It occurs twice.");
    if (options_.wanted != nullptr) refuseMissing();
}

void StreamRows::refuseMissing() const {
    for (const std::string_view name : *options_.wanted)
        if (std::none_of(sources_.begin(), sources_.end(),
                         [&](const Source& source) { return source.reader.def().name == name; }))
            throw ColumnRefusal("Column " + std::string(name) + ": The stream does not have it.");
}

bool StreamRows::nextBatch() {
    batch_ = {};
    if (stream_.get_next(&stream_, &*batch_) != 0) fail();
    const ArrowArray& batch = *batch_;
    if (batch.release == nullptr) return false;
    const bool isPossible =
        batch.n_children == children_ && batch.length >= 0 && batch.offset >= 0 && haveAll(batch.children, children_);
    if (!isPossible) throw ColumnRefusal("A batch is not what the schema says.");
    if (batch.length > kMostRows - rows_ || batch.offset > std::numeric_limits<std::int64_t>::max() / 2)
        throw ColumnRefusal("The stream has more rows than there can be observations.");
    at_ = batch.offset;
    end_ = batch.offset + batch.length;
    for (Source& source : sources_) source.reader.begin(*batch.children[source.child], end_);
    return true;
}

bool StreamRows::next() {
    while (at_ == end_)
        if (!nextBatch()) return false;
    block_->count = static_cast<std::size_t>(std::min<std::int64_t>(kBlockRows, end_ - at_));
    takeBlock();
    first_ = rows_;
    at_ += static_cast<std::int64_t>(block_->count);
    rows_ += static_cast<std::int64_t>(block_->count);
    return true;
}

void StreamRows::takeBlock() {
    for (std::size_t i = 0; i < block_->count; ++i) {
        ColumnRow& row = block_->rows[i];
        resetobsrecord(row.rec);
        row.rec.obsTime = std::numeric_limits<double>::quiet_NaN();  // until it is known
        if (options_.prepare != nullptr) options_.prepare(row.rec);
        row.gid = options_.gid;
        row.file = -1;
        row.line = 0;
    }
    in_->count = block_->count;
    blamed_.fill(nullptr);
    in_->faults.fill(nullptr);
    for (const Source& source : sources_) {
        if (source.reader.isIdle()) continue;
        source.reader.read(at_, *in_);
        source.reader.def().take(*in_, *block_);
        for (std::size_t i = 0; i < block_->count; ++i)
            if (in_->faults[i] != nullptr && blamed_[i] == nullptr) blamed_[i] = &source.reader.def();
    }
    for (std::size_t i = 0; i < block_->count; ++i)
        if (isNullRow(*batch_, at_ + static_cast<std::int64_t>(i))) {
            blamed_[i] = nullptr;
            in_->faults[i] = kNullRow;
        }
}

std::string StreamRows::faultOf(std::size_t i) const {
    const std::string where = blamed_[i] != nullptr ? "Column " + std::string(blamed_[i]->name) + ", row " : "Row ";
    return where + std::to_string(number(i)) + ": " + in_->faults[i] + ".";
}

}  // namespace obs
