// SPDX-License-Identifier: Apache-2.0
/// File-descriptor helpers that the files and the trace log share. Results are 0 or an
/// error number; nothing here logs.
#pragma once

#include <cstddef>
#include <string>

namespace family {

/// Opens for appending, creating the file; never waits for the other end of a pipe.
int openForAppend(const std::string& name, int& descriptor);

bool isRegularFile(int descriptor);

/// Writes everything, over interruptions and short writes. Unless the file is a regular one,
/// a pipe whose reader has gone gives EPIPE without its signal reaching the application.
int writeAll(int descriptor, const char* bytes, std::size_t size, bool regular);

}  // namespace family
