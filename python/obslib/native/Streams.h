// SPDX-License-Identifier: Apache-2.0
/// @file
/// What calls with Arrow streams share: owners of the interface's structures, and names of columns.
#pragma once

#include <ObsArrow.h>

#include <memory>
#include <string>
#include <vector>

#include "Call.h"

namespace obslib {

inline constexpr const char* kStreamName = "arrow_array_stream";

/// One of the structures of the interface, released when its owner goes.
template <class Structure>
struct Released {
    Structure value{};
    Released() = default;
    ~Released() {
        if (value.release != nullptr) value.release(&value);
    }
    Released(const Released&) = delete;
    Released& operator=(const Released&) = delete;
};
using Stream = Released<ArrowArrayStream>;
using Schema = Released<ArrowSchema>;
using Batch = Released<ArrowArray>;

/// The names as the library takes them; they live as long as this does.
struct Names {
    explicit Names(std::vector<std::string> given) : texts(std::move(given)) {
        for (const std::string& text : texts)
            pointers.push_back(lineText(text).size() == text.size() ? text.c_str() : "");
    }
    [[nodiscard]] int32_t count() const { return static_cast<int32_t>(texts.size()); }
    std::vector<std::string> texts;
    std::vector<const char*> pointers;
};

inline nb::capsule toCapsule(std::unique_ptr<Stream> stream) {
    return {stream.release(), kStreamName, [](void* p) noexcept { delete static_cast<Stream*>(p); }};
}

}  // namespace obslib
