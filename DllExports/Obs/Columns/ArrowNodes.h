// SPDX-License-Identifier: Apache-2.0
/// Memory, schemas and arrays as the Arrow C data interface hands them over: each node owns what it points to, and
/// frees it in its release callback.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "DllExports/Obs/ObsDllExports/ObsArrow.h"

namespace obs {

/// Bytes that grow, aligned to a cache line. New ones are zeros.
class Buffer {
public:
    /// Makes room for at least that many bytes. Throws std::bad_alloc.
    void ensure(std::size_t bytes);

    template <class Value = char>
    Value* as() const {
        return reinterpret_cast<Value*>(bytes_.get());
    }
    explicit operator bool() const { return bytes_ != nullptr; }

    /// The bytes, for an array to own; a real pointer also when there are none.
    std::shared_ptr<const void> share();

private:
    static constexpr std::align_val_t kAlignment{64};
    struct Free {
        void operator()(char* bytes) const { ::operator delete(bytes, kAlignment); }
    };
    std::unique_ptr<char, Free> bytes_;
    std::size_t room_ = 0;
};

/// A node, released with its owner unless it was moved out.
template <class Node>
class Owner {
public:
    Owner() = default;
    explicit Owner(Node node) : node_(node) {}
    Owner(Owner&& other) noexcept : node_(other.take()) {}
    Owner& operator=(Owner&& other) noexcept {
        std::swap(node_, other.node_);
        return *this;
    }
    ~Owner() {
        if (node_.release != nullptr) node_.release(&node_);
    }
    Node* operator->() { return &node_; }
    Node& operator*() { return node_; }
    Node take() {
        Node taken = node_;
        node_.release = nullptr;
        return taken;
    }

private:
    Node node_{};
};
using OwnedSchema = Owner<ArrowSchema>;
using OwnedArray = Owner<ArrowArray>;

using SharedBytes = std::vector<std::shared_ptr<const void>>;

/// An array that owns its buffers, children and dictionary. Throws std::bad_alloc.
OwnedArray makeArray(std::int64_t length, std::int64_t nullCount, SharedBytes buffers,
                     std::vector<OwnedArray> children = {}, OwnedArray dictionary = {});

/// Texts as the buffers of an array of strings without nulls, which any number of arrays may share.
struct TextBuffers {
    std::int64_t count;
    SharedBytes buffers;
};
TextBuffers makeTextBuffers(const std::vector<std::string>& texts);

/// Keys and values that a schema carries.
using SchemaNotes = std::vector<std::pair<std::string, std::string>>;

/// A schema that owns its texts, children and dictionary. Throws std::bad_alloc.
OwnedSchema makeSchema(std::string_view format, std::string_view name, bool nullable, const SchemaNotes& notes = {},
                       std::vector<OwnedSchema> children = {}, OwnedSchema dictionary = {});

}  // namespace obs
