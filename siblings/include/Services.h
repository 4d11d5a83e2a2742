// SPDX-License-Identifier: Apache-2.0
/// What Obs asks of the common services library: the trace log, files, text and
/// number helpers, real comparisons, key-mode switches. Nothing else of that
/// library may be used from inside Obs.
///
/// Threads: every function may be called from any thread, except that one
/// open file (`Unit`) must be used by one thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "siblings/include/Export.h"

namespace family {

// --- Trace log ---------------------------------------------------------------

/// Writes a failure to the trace log and keeps it as the calling thread's last error.
/// A NUL inside the message is shown as a blank.
FAMILY_API void tracelogerror(std::string_view message);

/// How many failures the calling thread has written to the trace log: whether a call that failed has said why.
FAMILY_API std::uint64_t tracelogerrorcount();

/// Writes an information line to the trace log.
FAMILY_API void traceloginfo(std::string_view message);

/// True when an information line would reach anyone (a file or a callback).
/// Lets a caller that has millions of lines skip building them.
FAMILY_API bool traceloginfowanted();

/// Keeps the calling thread's messages back while one of these lives; then they are written in their order. For work
/// that others wait for, since whoever receives messages may be slow or may want in.
class FAMILY_API MessageHold {
public:
    MessageHold();
    ~MessageHold();
    MessageHold(const MessageHold&) = delete;
    MessageHold& operator=(const MessageHold&) = delete;
};

struct Message {
    std::int32_t severity;  ///< 0 information, 1 error
    std::string text;
};

/// Collects the calling thread's messages while one of these lives, for another thread to say. Where nobody listens
/// the last error alone is kept.
class FAMILY_API MessageCapture {
public:
    explicit MessageCapture(std::vector<Message>& messages);
    ~MessageCapture();
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

private:
    std::vector<Message>* const before_;
};

/// Writes messages to the trace log as the calling thread's own.
FAMILY_API void saymessages(const std::vector<Message>& messages);

// --- Files -------------------------------------------------------------------

class OpenFile;
using Unit = OpenFile*;  ///< an open file; null is "unit 0", no file
inline constexpr Unit kNoUnit = nullptr;

inline constexpr std::int32_t kOpenReplace = 0;  ///< create, or replace once completely written
inline constexpr std::int32_t kOpenRead = 1;
inline constexpr std::int32_t kOpenAppend = 2;  ///< append, or create; an unfinished last line is ended first

/// Opens a file. Returns 0, or the system's error number after logging the
/// reason and the name of the file, or of the folder that it lies in; `unit` is then `kNoUnit`. Only regular files can
/// be read (a loader reads a file twice); a terminal, pipe or device can be written.
FAMILY_API std::int32_t fileopen(std::string_view name, std::int32_t mode, Unit& unit);

/// Closes a file and forgets the unit. What was written is on the disk when this returns 0. A file opened with
/// `kOpenReplace` takes the place of the old one now, unless a write failed: the old one then stays. After a failed
/// write a file opened with `kOpenAppend` is cut back to its former length.
/// Returns 0, or the error number of the first failure (which was logged); the file is in its place and complete
/// when its folder alone could not be flushed.
FAMILY_API std::int32_t fileclose(Unit& unit);

/// Closes a file opened for writing and forgets what was written, as after a failed write.
FAMILY_API void filediscard(Unit& unit);

/// Reads up to `size` bytes. Returns their number, 0 at the end, -1 on a failure
/// (which is not logged: the reading operation words its own message).
FAMILY_API std::int64_t fileread(Unit unit, char* buffer, std::size_t size);

/// Writes all bytes. False after a failure, which is logged once with the reason.
FAMILY_API bool filewrite(Unit unit, const char* bytes, std::size_t size);

/// Goes to a byte position counted from the start. False when the file cannot.
FAMILY_API bool fileseek(Unit unit, std::int64_t position);

/// Bytes that a file open for reading holds, -1 when unknown.
FAMILY_API std::int64_t filesize(Unit unit);

/// True when the file's base name is "fort." and digits: such a name stands for a
/// runtime's default file, which input must not come from.
FAMILY_API bool existfortdotfileunit(Unit unit);

/// True when the name is that of an existing regular file. Logs nothing.
FAMILY_API bool fileexists(std::string_view name);

// --- Keyword lines: KEYWORD, blanks and at most one '=', value -----------------

/// The value of a keyword line, trimmed; a value in double quotes loses them.
FAMILY_API std::string getinputfilename(std::string_view keywordLine);

/// The integer value of a keyword line; 0 when there is none.
FAMILY_API std::int32_t inputstrtoint(std::string_view keywordLine);

// --- Text and numbers --------------------------------------------------------

inline constexpr std::size_t kTextLength = 512;  ///< characters of every exchanged text

/// The text of an exchanged array: ends at a NUL or after 512 characters, without
/// trailing blanks. A view into the array; nothing is read past a NUL.
FAMILY_API std::string_view chararrtostr(const char* array);

/// Fills all 512 characters: the text, cut at 512, then blanks. No terminator.
FAMILY_API void strtochararr(std::string_view text, char* array);

/// Text to real: blanks ignored anywhere, E or D exponents, never the locale.
/// Malformed text gives 0; out of range gives the largest real, or 0 when too small.
FAMILY_API double strtoreal(std::string_view text);

/// As `strtoreal`, and says whether the text was a number (a blank text is, and gives 0;
/// a lone sign or point is not). `impliedDecimals` divides a number written without a point.
FAMILY_API bool readreal(std::string_view text, int impliedDecimals, double& value);

/// Text to integer by the same rules; "1.5" gives 1; out of range saturates.
FAMILY_API std::int32_t strtoint(std::string_view text);

/// ASCII upper case, in place.
FAMILY_API void touppercase(char* text, std::size_t length);

/// Removes the blanks of a CSV line; a field of blanks becomes an empty one. Throws std::bad_alloc.
FAMILY_API std::string compresscsvline(std::string_view line);

/// Five-column satellite number: digits, or a letter worth 10-33 (no I, O; either
/// case) and four digits. Blanks are ignored; blank or malformed text gives 0.
FAMILY_API std::int32_t alpha5tonum(std::string_view text);

/// As `alpha5tonum`, and says whether the text was blank or well formed.
FAMILY_API bool readalpha5(std::string_view text, std::int32_t& number);

/// The five columns of a satellite number, zero-filled; "*****" below 0 or above 339999.
FAMILY_API void numtoalpha5(std::int32_t number, char text[5]);

/// Seven columns HHMMSSs of an angle, reduced to 0-360 degrees; rounded to a tenth of
/// a second, 24 h being 0 h. "*******" for an angle that is not finite.
FAMILY_API void degtohhmmsss_str(double degrees, char text[7]);

/// Equal within 4 units in the last place of the larger; 0.0 equals only 0.0 (and -0.0).
FAMILY_API bool eqr(double a, double b);
FAMILY_API bool neqr(double a, double b);

// --- Key modes of the whole family ---------------------------------------------

FAMILY_API std::int32_t useallkeymode();  ///< nonzero: the family's mode rules every library
FAMILY_API std::int32_t allkeymodeget();  ///< that mode; 1 is address keys
FAMILY_API std::int32_t dupkeymodeget();  ///< nonzero: a duplicate is accepted silently

/// The next key to try after a collision: the same nine leading digits (time of year)
/// and ten digits from 3,400,000,000 up drawn from a fixed hash of the key and of what tells
/// the observation from others, so that many with one key do not all follow one chain. Never
/// the key itself; always a field key. Keys below 0 or above the field keys give -1.
FAMILY_API std::int64_t nextsatkey(std::int64_t key, std::uint64_t fingerprint);

/// Product, version, build date and platform in one line.
FAMILY_API std::string getsoftwareinfo(std::string_view libraryTag, std::string_view version,
                                       std::string_view buildDate);

}  // namespace family
