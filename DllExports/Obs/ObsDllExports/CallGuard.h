// SPDX-License-Identifier: Apache-2.0
/// The frame of every exported call: the caller's texts and pointers in, one service, texts out, and no
/// exception past the boundary.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <string>
#include <string_view>

#include "DllExports/Obs/ObsDllExports/ObsDllExports.h"
#include "Obs/CardLayouts/Columns.h"
#include "Obs/CardLayouts/Refusal.h"
#include "Obs/ObsCardReading/Loading/AddObs.h"
#include "siblings/include/Services.h"

namespace obs {

/// Logs "name: reason"; never throws.
void logFailure(std::string_view name, std::string_view reason) noexcept;

/// Logs what a call was left by; to be called in a handler.
void logException(std::string_view name) noexcept;

/// True, and logged, when one of the pointers is null.
bool refuseNull(std::string_view name, std::initializer_list<const void*> pointers) noexcept;

/// The same for a negative count, and for null pointers to arrays unless they hold nothing.
bool refuseCount(std::string_view name, std::int32_t count, std::initializer_list<const void*> arrays) noexcept;

/// The same for a negative length of a text.
bool refuseLength(std::string_view name, std::int64_t length) noexcept;

/// Counts the unknown among many keys, for one message about all of them.
struct UnknownKeys {
    std::size_t count = 0;
    std::int64_t first = 0;

    void note(std::int64_t key) {
        if (count++ == 0) first = key;
    }
    /// 0, or 2 after the message.
    std::int32_t status(std::string_view name, std::size_t asked) const;
};

/// Counts what many keys were refused for, for one message about all of them.
struct RefusedKeys {
    std::size_t count = 0;
    std::string first;  ///< key and reason

    void note(std::int64_t key, const Refusal& why);
    /// 0, or 2 after the message.
    std::int32_t status(std::string_view name, std::size_t asked) const;
};

/// Whether a result says failure: a status, and the key of what was added.
constexpr bool isFailure(std::int32_t status) { return status != 0; }
constexpr bool isFailure(std::int64_t key) { return key <= 0; }

constexpr std::string_view unsaidReason(std::int32_t) { return "The call could not do its work."; }
constexpr std::string_view unsaidReason(std::int64_t) { return kNoKeyReason; }

/// Runs the body of a call; an exception is logged and gives the failure value. No call fails without a message: one
/// that left none gets `unsaid`.
template <class Result, class Body>
Result guarded(std::string_view name, Result failure, Body&& body,
               std::string_view unsaid = unsaidReason(Result{})) noexcept {
    const std::uint64_t messages = family::tracelogerrorcount();
    try {
        const Result result = body();
        if (isFailure(result) && family::tracelogerrorcount() == messages) logFailure(name, unsaid);
        return result;
    } catch (...) {
        logException(name);
        return failure;
    }
}

/// A caller's text, without the blanks around it (file names) or after it (cards, whose columns count).
std::string_view trimmedText(const char* text);
inline CardText cardText(const char* text) { return CardText(family::chararrtostr(text)); }

}  // namespace obs
