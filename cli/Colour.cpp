// SPDX-License-Identifier: Apache-2.0
#include "Colour.h"

#include <unistd.h>

#include <cstdlib>

namespace obstool {

namespace {

std::string gWhen = "auto";

}  // namespace

void setColour(const std::string& when) { gWhen = when; }

bool isColoured(int descriptor) {
    if (gWhen != "auto") return gWhen == "always";
    const char* const none = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    const bool isDumb = terminal == nullptr || std::string_view(terminal) == "dumb";
    return (none == nullptr || *none == '\0') && !isDumb && ::isatty(descriptor) != 0;
}

std::string toned(std::string_view text, Tone tone, int descriptor) {
    static constexpr std::string_view kBegin[] = {"\x1b[1;31m", "\x1b[36m", "\x1b[1m"};
    constexpr std::string_view kEnd = "\x1b[0m";
    if (!isColoured(descriptor)) return std::string(text);
    return std::string(kBegin[static_cast<std::size_t>(tone)]).append(text).append(kEnd);
}

}  // namespace obstool
