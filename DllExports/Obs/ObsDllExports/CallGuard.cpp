// SPDX-License-Identifier: Apache-2.0
#include "DllExports/Obs/ObsDllExports/CallGuard.h"

#include <algorithm>
#include <new>
#include <string>

#include "Obs/ObsTree/Store.h"

namespace obs {

void logFailure(std::string_view name, std::string_view reason) noexcept {
    try {
        family::tracelogerror(std::string(name).append(": ").append(reason));
    } catch (...) {  // no memory for the message
        char text[64];
        const std::size_t length = name.copy(text, sizeof text / 2);
        constexpr std::string_view kOutOfMemory = ": Out of memory.";
        family::tracelogerror({text, length + kOutOfMemory.copy(text + length, kOutOfMemory.size())});
    }
}

void logException(std::string_view name) noexcept {
    try {
        throw;
    } catch (const std::bad_alloc&) { logFailure(name, "Out of memory."); } catch (const std::exception& error) {
        logFailure(name, error.what());
    } catch (...) { logFailure(name, "Unknown failure."); }
}

bool refuseNull(std::string_view name, std::initializer_list<const void*> pointers) noexcept {
    if (std::find(pointers.begin(), pointers.end(), nullptr) == pointers.end()) return false;
    logFailure(name, "A null pointer was given where a text, an array or a result is due.");
    return true;
}

bool refuseCount(std::string_view name, std::int32_t count, std::initializer_list<const void*> arrays) noexcept {
    if (count >= 0) return count > 0 && refuseNull(name, arrays);
    logFailure(name, "The count must not be negative.");
    return true;
}

bool refuseLength(std::string_view name, std::int64_t length) noexcept {
    if (length >= 0) return false;
    logFailure(name, "The length must not be negative.");
    return true;
}

std::int32_t UnknownKeys::status(std::string_view name, std::size_t asked) const {
    if (count == 0) return kStatusOk;
    logFailure(name, "Unable to locate " + std::to_string(count) + " of " + std::to_string(asked) +
                         " obsKeys in the OBS binary tree, the first being " + keyText(first) + ".");
    return kStatusRefused;
}

void RefusedKeys::note(std::int64_t key, const Refusal& why) {
    if (count++ == 0) first = keyText(key) + ": " + why.message();
}

std::int32_t RefusedKeys::status(std::string_view name, std::size_t asked) const {
    if (count == 0) return kStatusOk;
    logFailure(name, std::to_string(count) + " of " + std::to_string(asked) +
                         " observations are refused, the first being that with obsKey " + first);
    return kStatusRefused;
}

std::string_view trimmedText(const char* text) {
    const std::string_view view = family::chararrtostr(text);
    return view.substr(std::min(view.find_first_not_of(' '), view.size()));
}

}  // namespace obs
