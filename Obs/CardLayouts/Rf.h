/// RF lines (differential range and range rate).
#pragma once

#include <string_view>

namespace obs::rf {

/// The first line of an RF file, a comment to the loader. NOTE: the single blank before "fdoa_dot" is its
/// established form.
inline constexpr std::string_view kHeaderLine =
    "# date  drange  drange_sigma  drange_rate  drange_rate_sigma  site1  delay1  site2  delay2  norad  rf  "
    "processtime  snr  flags fdoa_dot  reserved";
static_assert(kHeaderLine.size() == 145);

}  // namespace obs::rf
