// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/Columns/ArrowNodes.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace obs {

namespace {

/// What a node points to. Children are nodes of their own, which a consumer may move out before the parent is released.
template <class Node>
struct Belongings {
    Belongings() = default;
    Belongings(const Belongings&) = delete;
    Belongings& operator=(const Belongings&) = delete;
    ~Belongings() {
        for (Node& child : children)
            if (child.release != nullptr) child.release(&child);
        if (dictionary.release != nullptr) dictionary.release(&dictionary);
    }

    std::vector<Node> children;
    std::vector<Node*> places;
    Node dictionary{};
    // Of an array.
    SharedBytes shared;
    std::vector<const void*> buffers;
    // Of a schema.
    std::string format, name, metadata;
};

template <class Node>
void releaseNode(Node* node) {
    delete static_cast<Belongings<Node>*>(node->private_data);
    node->release = nullptr;
}

template <class Node>
std::unique_ptr<Belongings<Node>> belongings(std::vector<Owner<Node>>& children, Owner<Node>& dictionary) {
    auto own = std::make_unique<Belongings<Node>>();
    own->children.reserve(children.size());
    own->places.reserve(children.size());
    for (Owner<Node>& child : children) {
        own->children.push_back(child.take());
        own->places.push_back(&own->children.back());
    }
    own->dictionary = dictionary.take();
    return own;
}

template <class Node>
Owner<Node> handOver(Node node, std::unique_ptr<Belongings<Node>> own) {
    node.n_children = static_cast<std::int64_t>(own->children.size());
    node.children = own->places.data();
    node.dictionary = own->dictionary.release != nullptr ? &own->dictionary : nullptr;
    node.release = releaseNode<Node>;
    node.private_data = own.release();
    return Owner<Node>(node);
}

void appendLength(std::string& bytes, std::size_t length) {
    const auto number = static_cast<std::int32_t>(length);
    char raw[sizeof number];
    std::memcpy(raw, &number, sizeof number);
    bytes.append(raw, sizeof raw);
}

std::string encoded(const SchemaNotes& notes) {
    std::string bytes;
    appendLength(bytes, notes.size());
    for (const auto& [key, value] : notes) {
        appendLength(bytes, key.size());
        bytes += key;
        appendLength(bytes, value.size());
        bytes += value;
    }
    return bytes;
}

}  // namespace

void Buffer::ensure(std::size_t bytes) {
    if (bytes <= room_) return;
    const std::size_t room = (std::max(bytes, 2 * room_) + 63) / 64 * 64;
    std::unique_ptr<char, Free> more(static_cast<char*>(::operator new(room, kAlignment)));
    if (room_ != 0) std::memcpy(more.get(), bytes_.get(), room_);
    std::memset(more.get() + room_, 0, room - room_);
    bytes_ = std::move(more);
    room_ = room;
}

std::shared_ptr<const void> Buffer::share() {
    ensure(1);
    room_ = 0;
    return std::shared_ptr<char>(std::move(bytes_));
}

OwnedArray makeArray(std::int64_t length, std::int64_t nullCount, SharedBytes buffers, std::vector<OwnedArray> children,
                     OwnedArray dictionary) {
    auto own = belongings(children, dictionary);
    for (const auto& buffer : buffers) own->buffers.push_back(buffer.get());
    ArrowArray array{};
    own->shared = std::move(buffers);
    array.length = length;
    array.null_count = nullCount;
    array.n_buffers = static_cast<std::int64_t>(own->buffers.size());
    array.buffers = own->buffers.data();
    return handOver(array, std::move(own));
}

TextBuffers makeTextBuffers(const std::vector<std::string>& texts) {
    Buffer offsets, bytes;
    offsets.ensure((texts.size() + 1) * sizeof(std::int32_t));
    std::string all;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        all += texts[i];
        offsets.as<std::int32_t>()[i + 1] = static_cast<std::int32_t>(all.size());
    }
    bytes.ensure(all.size() + 1);
    all.copy(bytes.as(), all.size());
    return {static_cast<std::int64_t>(texts.size()), {nullptr, offsets.share(), bytes.share()}};
}

OwnedSchema makeSchema(std::string_view format, std::string_view name, bool nullable, const SchemaNotes& notes,
                       std::vector<OwnedSchema> children, OwnedSchema dictionary) {
    auto own = belongings(children, dictionary);
    own->format = format;
    own->name = name;
    own->metadata = encoded(notes);
    ArrowSchema schema{};
    schema.format = own->format.c_str();
    schema.name = own->name.c_str();
    schema.metadata = notes.empty() ? nullptr : own->metadata.data();
    schema.flags = nullable ? ARROW_FLAG_NULLABLE : 0;
    return handOver(schema, std::move(own));
}

}  // namespace obs
