/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 *  What applications call of the libraries beside Obs: the trace log, key modes,
 *  sensors and Earth orientation. Plain C.
 *
 *  Texts in are read to a NUL or 512 characters; texts out are exactly 512 characters,
 *  blank-padded, without terminator. Results are 0, or 2 for a refused value unless said
 *  otherwise; each refusal leaves a message. A null pointer where text or a result is due is refused with 2.
 *  All functions may be called from any thread; make settings before threads run beside each other. */
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
 *  @param[in] fileName name of the file, made if there is none.
 *  @return 0, or 2 when the file cannot be opened (the log then stays as it was). */
OBS_FAMILY_API int32_t FamilyOpenLog(const char* fileName);

/** Writes out and closes the log file, if any. */
OBS_FAMILY_API void FamilyCloseLog(void);

/** Hands every message to a function, besides the log file; a null function ends this.
 *  Waits for a call under way in another thread: after the return the former function is
 *  not called any more, and what `user` pointed to may go.
 *  @param[in] f severity 0 information, 1 error; the text ends with a NUL and is valid
 *           during the call only. Called on the thread that logs, one message at a time;
 *           a message that the function causes itself reaches the log file only.
 *  @param[in] user handed to `f` unchanged. */
OBS_FAMILY_API void FamilySetLogCallback(void (*f)(int32_t severity, const char* text, void* user), void* user);

/* --- files being written (libObsServices) --- */

/** Addition. Gives up the files that are being written: temporary files are removed, and files that are appended to
 *  cut back to their former length. For a handler of signals that end the program: it may be called there, at any
 *  moment, and a save that went on after it would fail or add to the file that was cut back. Of more than 16 files
 *  at a time some are left. */
OBS_FAMILY_API void FamilyGiveUpFiles(void);

/* --- key modes (libObsServices); 0 at start --- */

/** Sets one key mode for all libraries of the family, or leaves each its own.
 *  @param[in] useAll nonzero: `mode` takes precedence over that of each library.
 *  @param[in] mode 0 field keys, 1 address keys.
 *  @return 0, or 2 for another mode, which changes nothing. */
OBS_FAMILY_API int32_t FamilySetAllKeyMode(int32_t useAll, int32_t mode);

/** What becomes of duplicates.
 *  @param[in] mode 0 they are refused with a message; 1 they are accepted silently: they count as loaded, the store
 *             keeps the earlier observation, and the function that adds returns the key made of time, satellite and
 *             sensor.
 *  @return 0, or 2 for another mode, which changes nothing. */
OBS_FAMILY_API int32_t FamilySetDupKeyMode(int32_t mode);

/* --- sensors (libObsSensors); degrees, longitude east, metres above WGS84 --- */

/** Adds the sensors of a CSV file with the header
 *  `number,description,latitude_deg,longitude_deg,height_m`. A sensor that is there
 *  already is replaced. A bad line is logged with its number and left out.
 *  @param[in] fileName name of the file.
 *  @return 0, or 2 when the file cannot be read, its header is wrong or a line was bad. */
OBS_FAMILY_API int32_t FamilyLoadSensors(const char* fileName);

/** Adds or replaces one sensor.
 *  @param[in] number 0 or more.
 *  @param[in] description up to 24 characters; the rest is cut off.
 *  @param[in] latitudeDeg geodetic, -90 to 90 degrees.
 *  @param[in] longitudeDeg east, -180 to 360 degrees.
 *  @param[in] heightM metres above WGS84.
 *  @return 0, or 2 for a value out of range, which changes nothing. */
OBS_FAMILY_API int32_t FamilyAddSensor(int32_t number, const char* description, double latitudeDeg, double longitudeDeg,
                                       double heightM);

/** The place of a sensor. The three built-in RF sites give zeros until FamilyAddSensor or FamilyLoadSensors sets their
 *  places.
 *  @param[in]  number of the sensor.
 *  @param[out] description 512 characters.
 *  @param[out] latitudeDeg geodetic, degrees.
 *  @param[out] longitudeDeg east, degrees, as it was given.
 *  @param[out] heightM metres above WGS84.
 *  @return 0, or 2 when there is no such sensor (the outputs are then zero and blank). */
OBS_FAMILY_API int32_t FamilyGetSensor(int32_t number, char description[512], double* latitudeDeg, double* longitudeDeg,
                                       double* heightM);

/** The numbers of all sensors, in their order.
 *  @param[in]  room how many `numbers` has room for, 0 or more; with 0 it may be null.
 *  @param[out] numbers the first `room`, or all if there are fewer.
 *  @param[out] count how many there are, whether or not they fit.
 *  @return 0, or 2 when there are more than room, for a negative room or a null pointer (each logged). */
OBS_FAMILY_API int32_t FamilyListSensors(int32_t room, int32_t* numbers, int32_t* count);

/** Forgets all sensors but the three built-in RF sites 1001-1003. */
OBS_FAMILY_API void FamilyRemoveSensors(void);

/* --- Earth orientation (libObsCoords); zeros at start --- */

/** One set of values for all times; takes the place of a file's.
 *  @param[in] dut1_s UT1-UTC, seconds, at most 2 either way.
 *  @param[in] xp_arcsec,yp_arcsec polar motion, arcseconds, at most 2 either way.
 *  @param[in] lod_s excess length of day, seconds, at most 0.1 either way.
 *  @return 0, or 2 for a value beyond these bounds, which changes nothing. */
OBS_FAMILY_API int32_t FamilySetEarthOrientation(double dut1_s, double xp_arcsec, double yp_arcsec, double lod_s);

/** Daily values from a CSV file with the header `mjd,dut1_s,xp_arcsec,yp_arcsec,lod_s`, one line for each
 *  day (modified Julian date of 0h UTC, a whole number), the days without gaps. Linear between days, a leap
 *  second stays a step; before the first and after the last day the nearest day's values hold.
 *  Takes the place of what was set before.
 *  @param[in] fileName name of the file.
 *  @return 0, or 2 when the file cannot be read, its header is wrong, it holds no day or a line is bad
 *          (named by its number); the former values then stay. */
OBS_FAMILY_API int32_t FamilyLoadEarthOrientation(const char* fileName);

#ifdef __cplusplus
}
#endif

#endif
