// SPDX-License-Identifier: Apache-2.0
#include "FileForm.h"

#include <algorithm>
#include <fstream>

#include "Formats.h"
#include "Text.h"

namespace obstool {

namespace {

constexpr std::size_t kLookedAt = 1 << 16;

std::string headOf(const Input& input) {
    if (input.isText()) return std::string(input.text().substr(0, kLookedAt));
    std::string head(kLookedAt, '\0');
    std::ifstream file(input.path(), std::ios::binary);
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

std::string encodingOf(std::string_view head) {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (head.empty()) return {};
    const bool isAscii =
        std::all_of(head.begin(), head.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (isAscii) return "ASCII";
    if (!isUtf8(head)) return "8 bits, not UTF-8";
    return head.starts_with(kMark) ? "UTF-8 with mark" : "UTF-8";
}

std::string lineEndsOf(std::string_view head) {
    const auto ends = std::count(head.begin(), head.end(), '\n');
    std::ptrdiff_t withReturn = 0;
    for (std::size_t at = head.find("\r\n"); at != std::string_view::npos; at = head.find("\r\n", at + 2)) ++withReturn;
    const std::size_t firstReturn = std::min(head.find('\r'), head.size());
    if (ends == 0) return firstReturn + 1 < head.size() ? kReturnsAlone : "none";
    return withReturn == 0 ? "LF" : withReturn == ends ? "CR LF" : "LF, CR LF";
}

}  // namespace

FileForm formOf(const Input& input, std::int32_t formats) {
    const std::string head = headOf(input);
    FileForm form{{}, encodingOf(head), lineEndsOf(head)};
    for (const Format& format : obstool::formats()) {
        const bool isThere = (formats >> format.number & 1) != 0;
        if (isThere && (form.formats.empty() || form.formats.back() != format.name))
            form.formats.push_back(format.name);
    }
    return form;
}

}  // namespace obstool
