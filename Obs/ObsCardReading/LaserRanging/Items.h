// SPDX-License-Identifier: Apache-2.0
/// Items of laser-ranging lines: splitting, missing values, numbers with a reason when they are refused.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "Obs/CardLayouts/Crd.h"
#include "Obs/CardLayouts/Refusal.h"

namespace obs {

/// The items of a line, the record id first. An item beyond the line is empty.
class CrdItems {
public:
    CrdItems() = default;

    /// Splits a line at its blanks, tabs and stray carriage returns and keeps the first `most` items.
    CrdItems(std::string_view line, std::size_t most);

    std::string_view operator[](std::size_t item) const {
        return item < count_ ? std::string_view(items_[item].text, items_[item].length) : std::string_view();
    }
    std::size_t count() const { return count_; }
    std::string_view id() const { return (*this)[0]; }
    void add(std::string_view item) { items_[count_++] = {item.data(), item.size()}; }

private:
    /// A view without a value to begin with: most lines have few items, and there are millions of lines.
    struct Item {
        const char* text;
        std::size_t length;
    };
    std::array<Item, crd::kMaxItems> items_;
    std::size_t count_ = 0;
};

/// The items of a header: those in the columns of version 1, if that is the version or splitting makes no sense, and
/// the numbers stand by themselves in those columns (a name may hold a blank, or touch the next item); else the split
/// ones, as files claim version 1 that have the layout of version 2.
CrdItems headerItems(std::string_view line, crd::Header header, int version);

/// Whether an item stands for no value: nothing, "na", "-na", any spelling of -1, or asterisks.
bool isMissing(std::string_view item);

/// A number in [low, high). Refused by record and name when it is missing, no number or outside.
MaybeRefusal readItem(const CrdItems& items, std::size_t item, std::string_view name, double low, double high,
                      double& value);

/// A whole number from low to high, by the same rules.
MaybeRefusal readItem(const CrdItems& items, std::size_t item, std::string_view name, std::int32_t low,
                      std::int32_t high, std::int32_t& value);

}  // namespace obs
