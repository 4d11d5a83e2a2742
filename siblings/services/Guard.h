// SPDX-License-Identifier: Apache-2.0
/// Keeps exceptions (memory running out, a user's callback) inside the library.
#pragma once

#include <utility>

namespace family {

template <class Result, class Body>
Result guarded(Result onFailure, Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (...) { return onFailure; }
}

template <class Body>
void guarded(Body&& body) noexcept {
    try {
        std::forward<Body>(body)();
    } catch (...) {
        return;  // NOTE: the caller has nowhere to hear of it, and the log itself may be what failed
    }
}

}  // namespace family
