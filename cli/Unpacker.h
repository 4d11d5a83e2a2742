// SPDX-License-Identifier: Apache-2.0
/// @file
/// Packed data as a stream: pieces go in, what they unpack to comes out.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace obstool {

class Unpacker {
public:
    /// Takes unpacked bytes; false ends it.
    using Sink = std::function<bool(std::string_view bytes)>;

    virtual ~Unpacker() = default;

    /// Unpacks the next piece. False when the sink wants no more, or what is packed is wrong: problem() then.
    virtual bool take(std::string_view packed, const Sink& sink) = 0;

    /// To be called after the last piece. What was unpacked before a problem is good, or as good as it gets.
    const std::string& problem();

protected:
    virtual bool isComplete() const = 0;
    virtual std::string_view name() const = 0;

    /// False.
    bool refuse(std::string_view what, std::string_view why);

private:
    std::string problem_;
};

/// For gzip and zstd, by the first bytes of the data; null for what is not packed so.
std::unique_ptr<Unpacker> makeUnpacker(std::string_view head);

/// Bytes that makeUnpacker wants to see, if there are as many.
inline constexpr std::size_t kPackedMark = 4;

}  // namespace obstool
