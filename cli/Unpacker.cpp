// SPDX-License-Identifier: Apache-2.0
#include "Unpacker.h"

#include <cstddef>
#include <new>
#include <vector>

#include <fmt/format.h>

#ifdef OBSTOOL_UNPACKS
#include <zlib.h>
#include <zstd.h>
#endif

namespace obstool {

const std::string& Unpacker::problem() {
    if (problem_.empty() && !isComplete()) refuse("end too early", "");
    return problem_;
}

bool Unpacker::refuse(std::string_view what, std::string_view why) {
    problem_ = fmt::format("the {} data {}{}{}{}", name(), what, why.empty() ? "" : " (", why, why.empty() ? "" : ")");
    return false;
}

namespace {

using namespace std::string_view_literals;

#ifdef OBSTOOL_UNPACKS

constexpr std::string_view kGzipMark = "\x1f\x8b"sv, kZstdMark = "\x28\xB5\x2F\xFD"sv;
/// Any of sixteen in the place of its first byte.
constexpr std::string_view kZstdSkipped = "\x2A\x4D\x18"sv;

bool isZstd(std::string_view head) {
    return head.starts_with(kZstdMark) ||
           (head.size() > 3 && (head[0] & '\xF0') == '\x50' && head.substr(1).starts_with(kZstdSkipped));
}

constexpr std::size_t kBlock = 1 << 18;

/// Members one after another, as from files that were packed alone and then joined. Zeros may fill up the end.
class Gzip final : public Unpacker {
public:
    Gzip() {
        constexpr int kLargestWindow = 15, kWithGzipHeader = 16;
        if (::inflateInit2(&stream_, kLargestWindow + kWithGzipHeader) != Z_OK) throw std::bad_alloc();
    }
    ~Gzip() override { ::inflateEnd(&stream_); }
    Gzip(const Gzip&) = delete;
    Gzip& operator=(const Gzip&) = delete;

    bool take(std::string_view packed, const Sink& sink) override {
        // NOTE: zlib does not write to its input.
        stream_.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(packed.data()));
        stream_.avail_in = static_cast<uInt>(packed.size());
        while (stream_.avail_in > 0) {
            if (isBetween_ && members_ > 0 && *stream_.next_in == 0) {
                ++stream_.next_in;
                --stream_.avail_in;
            } else if (!takeOfMember(sink)) {
                return false;
            }
        }
        return true;
    }

private:
    bool takeOfMember(const Sink& sink) {
        isBetween_ = false;
        do {
            stream_.next_out = reinterpret_cast<Bytef*>(block_.data());
            stream_.avail_out = static_cast<uInt>(block_.size());
            const int status = ::inflate(&stream_, Z_NO_FLUSH);
            if (!sink({block_.data(), block_.size() - stream_.avail_out})) return false;
            if (status == Z_STREAM_END) {
                ++members_;
                isBetween_ = true;
                ::inflateReset(&stream_);
                return true;
            }
            if (status == Z_MEM_ERROR) throw std::bad_alloc();
            if (status != Z_OK && status != Z_BUF_ERROR) {
                const bool isOther = members_ > 0 && stream_.total_out == 0;
                return refuse(isOther ? "are followed by something else" : "are damaged",
                              stream_.msg != nullptr ? stream_.msg : "");
            }
        } while (stream_.avail_in > 0 || stream_.avail_out == 0);
        return true;
    }

    bool isComplete() const override { return isBetween_; }
    std::string_view name() const override { return "gzip"; }

    z_stream stream_{};
    std::vector<char> block_ = std::vector<char>(kBlock);
    int members_ = 0;
    bool isBetween_ = false;
};

/// Frames one after another.
class Zstd final : public Unpacker {
public:
    Zstd() : stream_(::ZSTD_createDStream(), ::ZSTD_freeDStream) {
        if (stream_ == nullptr) throw std::bad_alloc();
    }

    bool take(std::string_view packed, const Sink& sink) override {
        ZSTD_inBuffer in{packed.data(), packed.size(), 0};
        bool isFull = false;
        while (in.pos < in.size || isFull) {
            ZSTD_outBuffer block{block_.data(), block_.size(), 0};
            left_ = ::ZSTD_decompressStream(stream_.get(), &block, &in);
            if (!sink({block_.data(), block.pos})) return false;
            if (::ZSTD_isError(left_)) return refuse("are damaged", ::ZSTD_getErrorName(left_));
            isFull = block.pos == block.size && left_ > 0;
        }
        return true;
    }

private:
    bool isComplete() const override { return left_ == 0; }
    std::string_view name() const override { return "zstd"; }

    std::unique_ptr<ZSTD_DStream, decltype(&::ZSTD_freeDStream)> stream_;
    std::vector<char> block_ = std::vector<char>(kBlock);
    std::size_t left_ = 1;  ///< 0 at the end of a frame
};

#endif

}  // namespace

std::unique_ptr<Unpacker> makeUnpacker(std::string_view head) {
#ifdef OBSTOOL_UNPACKS
    if (head.starts_with(kGzipMark)) return std::make_unique<Gzip>();
    if (isZstd(head)) return std::make_unique<Zstd>();
#else
    static_cast<void>(head);
#endif
    return nullptr;
}

}  // namespace obstool
