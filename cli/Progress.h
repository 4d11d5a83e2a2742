// SPDX-License-Identifier: Apache-2.0
/// @file
/// How far a load, a save or a copy of input is, on a terminal, and the interrupt that ends a load.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace obstool {

/// Ends the command with the status of an interrupted one.
struct Interrupted {};

/// For the handler of an interrupt: whether a load is under way, which will now end by itself.
bool interruptLoad();

/// While one of these lives, the library's loads and saves, or the copy that it is told of, show a line on standard
/// error once they have taken a second, if that is a terminal. It is wiped off at the end.
class Progress {
public:
    enum class Of { load, save, copy };

    /// @param name as shown; as long as this.
    Progress(Of what, std::string_view name, bool quiet);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Throws Interrupted when an interrupt came before, in time to cancel the load or not.
    void endLoad();

    /// Of a copy. @param total 0 when it is not known
    void tell(std::int64_t done, std::int64_t total);

private:
    using Clock = std::chrono::steady_clock;

    static std::int32_t onProgress(std::int64_t done, std::int64_t total, void* self);
    void show(std::int64_t done, std::int64_t total);
    std::string lineOf(std::int64_t done, std::int64_t total, double seconds) const;

    Of what_;
    std::string_view name_;
    bool isSilent_;
    bool isShown_ = false;
    Clock::time_point start_ = Clock::now(), told_ = start_;
};

}  // namespace obstool
