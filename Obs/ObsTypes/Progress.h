// SPDX-License-Identifier: Apache-2.0
/// How far a load or a save has come, told to whoever wants to know and may cancel it.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>

namespace obs {

/// Other than 0 cancels.
using ProgressReport = std::int32_t (*)(std::int64_t done, std::int64_t total, void* user);

/// Thrown out of the work that was cancelled.
struct Cancelled : std::exception {
    const char* what() const noexcept override { return "The progress callback has cancelled it."; }
};

/// The progress of one call. Without a report everything here costs one test. Nothing of it may be called where a lock
/// is held, but `isDue`.
class Progress {
public:
    /// Tells the report that is set now.
    Progress();

    bool isWanted() const { return report_ != nullptr; }

    /// More to be done than was known.
    void expect(std::int64_t more) { total_ += more; }

    void advance(std::int64_t more) { done_ += more; }

    /// Whether enough time has passed since the last report.
    bool isDue() const { return isWanted() && isTime(); }

    /// Throws Cancelled.
    void tellIfDue() {
        if (isDue()) tell();
    }

    /// Tells that all is done. Throws Cancelled.
    void finish();

private:
    using Clock = std::chrono::steady_clock;

    bool isTime() const;
    void tell();

    ProgressReport report_;
    void* user_;
    std::int64_t done_ = 0, total_ = 0;
    Clock::time_point last_;
};

/// For the loads and saves that begin from now on; null ends the reports.
void setProgressReport(ProgressReport report, void* user);

}  // namespace obs
