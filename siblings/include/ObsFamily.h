/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 *  What applications call of the libraries beside Obs: the trace log, key modes,
 *  sensors and Earth orientation. Plain C.
 *
 *  Texts in are read to a NUL or 512 characters; texts out are exactly 512 characters,
 *  blank-padded, without terminator. Results are 0, or 2 for a refused value unless said
 *  otherwise. A null pointer where text or a result is due is refused with 2.
 *  All functions may be called from any thread; settings belong before concurrent use. */
#ifndef OBS_FAMILY_H
#define OBS_FAMILY_H

#include <stdint.h>

#if defined(__GNUC__)
#define OBS_FAMILY_API __attribute__((visibility("default")))
#else
#define OBS_FAMILY_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* --- trace log and last error (libObsServices) --- */

/** The last error message of the calling thread; blank when none.
 *  @param[out] text 512 characters.
 *  @return 0 when there is none, else 1; 2 for a null pointer. */
OBS_FAMILY_API int32_t FamilyGetLastError(char text[512]);

/** Forgets the calling thread's last error. */
OBS_FAMILY_API void FamilyClearLastError(void);

/** Appends errors and information lines to a file from now on.
 *  @return 0, or 2 when the file cannot be opened (the log then stays as it was). */
OBS_FAMILY_API int32_t FamilyOpenLog(const char *fileName);

/** Writes out and closes the log file, if any. */
OBS_FAMILY_API void FamilyCloseLog(void);

/** Hands every message to a function, besides the log file; a null function ends this.
 *  Waits for a call under way in another thread: after the return the former function is
 *  not called any more, and what `user` pointed to may go.
 *  @param f severity 0 information, 1 error; the text ends with a NUL and is valid
 *           during the call only. Called on the thread that logs, one message at a time;
 *           a message that the function causes itself reaches the log file only. */
OBS_FAMILY_API void FamilySetLogCallback(void (*f)(int32_t severity, const char *text, void *user), void *user);

/* --- files being written (libObsServices) --- */

/** Addition. Gives up the files that are being written: temporary files are removed, and files that are appended to
 *  cut back to their former length. For a handler of signals that end the program: it may be called there, at any
 *  moment, and a save that went on after it would fail or add to the file that was cut back. Of more than 16 files
 *  at a time some are left. */
OBS_FAMILY_API void FamilyGiveUpFiles(void);

/* --- key modes (libObsServices); 0 at start --- */

/** @param useAll nonzero: `mode` rules every library of the family.
 *  @param mode 0 field keys, 1 address keys. */
OBS_FAMILY_API int32_t FamilySetAllKeyMode(int32_t useAll, int32_t mode);

/** @param mode 0 duplicates are refused with a message; 1 they are accepted silently: they count as loaded, the store
 *         keeps the earlier observation, and the function that adds returns the key made of time, satellite and sensor. */
OBS_FAMILY_API int32_t FamilySetDupKeyMode(int32_t mode);

/* --- sensors (libObsSensors); degrees, longitude east, metres above WGS84 --- */

/** Adds the sensors of a CSV file with the header
 *  `number,description,latitude_deg,longitude_deg,height_m`. A sensor that is there
 *  already is replaced. A bad line is logged with its number and left out.
 *  @return 0, or 2 when the file cannot be read, its header is wrong or a line was bad. */
OBS_FAMILY_API int32_t FamilyLoadSensors(const char *fileName);

/** Adds or replaces one sensor; latitude -90 to 90, longitude -180 to 360. */
OBS_FAMILY_API int32_t FamilyAddSensor(int32_t number, const char *description, double latitudeDeg,
                                       double longitudeDeg, double heightM);

/** The three built-in RF sites give zeros until FamilyAddSensor or FamilyLoadSensors tells their places.
 *  @param[out] description 512 characters. */
OBS_FAMILY_API int32_t FamilyGetSensor(int32_t number, char description[512], double *latitudeDeg,
                                       double *longitudeDeg, double *heightM);

/** Forgets all sensors but the three built-in RF sites 1001-1003. */
OBS_FAMILY_API void FamilyRemoveSensors(void);

/* --- Earth orientation (libObsCoords); zeros at start --- */

/** One set of values for all times; takes the place of a file's.
 *  @param dut1_s UT1-UTC; @param xp_arcsec @param yp_arcsec polar motion;
 *  @param lod_s excess length of day. At most 2 s, 2 arcseconds and 0.1 s. */
OBS_FAMILY_API int32_t FamilySetEarthOrientation(double dut1_s, double xp_arcsec, double yp_arcsec, double lod_s);

/** Daily values from a CSV file with the header `mjd,dut1_s,xp_arcsec,yp_arcsec,lod_s`, one line for each
 *  day (modified Julian date of 0h UTC, a whole number), the days without gaps. Linear between days, a leap
 *  second stays a step; before the first and after the last day the nearest day's values hold.
 *  Takes the place of what was set before.
 *  @return 0, or 2 when the file cannot be read, its header is wrong, it holds no day or a line is bad
 *          (named by its number); the former values then stay. */
OBS_FAMILY_API int32_t FamilyLoadEarthOrientation(const char *fileName);

#ifdef __cplusplus
}
#endif

#endif
