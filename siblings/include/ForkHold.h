// SPDX-License-Identifier: Apache-2.0
/// Mutexes that are held for a moment only, and a fork of the process.
#pragma once

#include <pthread.h>

namespace family {

/// Has every fork wait for a mutex of static storage, so that the child finds what it guards whole and the mutex free.
/// For mutexes under which nothing is waited for and no other mutex is taken. Called once, when the library is loaded;
/// returns what pthread_atfork does.
template <auto& mutex>
int holdAtForks() {
    const auto release = [] { mutex.unlock(); };
    return pthread_atfork([] { mutex.lock(); }, release, release);
}

}  // namespace family
