/* SPDX-License-Identifier: Apache-2.0 */
/** @file
 *  Obs: satellite tracking observations in memory. This header is the contract of
 *  the library libObs; everything else may change freely. Plain C.
 *
 *  Conventions, not repeated at each function:
 *
 *  - Keys. Every stored observation has a 64-bit key (`obsKey`); -1 means no key. Keys
 *    up to 3,170,880,000,000,000,000 are made of time of year, satellite and sensor;
 *    greater ones are handles (address-key mode). A key that this library did not give
 *    out is refused, never followed.
 *  - Text in: `const char*` to 512 characters, blank-padded; a NUL before that ends the
 *    text, so a C string serves too. Text out: exactly 512 characters, blank-padded,
 *    without terminator.
 *  - Units: days since 1950 UTC (1.0 is 1950 January 1, 00:00), degrees, km, km/s.
 *  - Groups: `gid` is the number of a group of observations, any integer; 0 is that of
 *    observations that are loaded or added without one.
 *  - Results: 0 success; 2 unknown key or refused input. Functions that add return
 *    the key under which the observation is stored, 0 for a refused duplicate, -1 when
 *    nothing was added. While duplicates are accepted silently (FamilySetDupKeyMode) the
 *    result for one is the key made of its time, satellite and sensor; where that key was
 *    taken when the equal observation came, it is another observation's.
 *  - Every failure is written to the trace log as "Operation: reason", the operation being the function or what it
 *    called, and kept as the calling thread's last error (FamilyGetLastError in ObsFamily.h). It leaves what was there.
 *    SatNumFrObsKey and SenNumFrObsKey alone stay silent.
 *  - A null pointer where a text, an array or a result is due is refused like any other bad input. What may be null
 *    says so.
 *  - Threads: any function may be called from any thread. Readers of the store run beside
 *    each other and wait only while it is being changed; changes follow one another.
 *    Loading and saving files, and the settings (key mode, TTY year, callbacks, corrections of laser ranges), must
 *    not be used from two threads at once; the selection criteria may. Where an array must have room for
 *    the keys that ObsGetCount counted, no thread may add observations between the two calls
 *    (ObsListKeys takes the room and has no such rule).
 *  - fork: the child may go on with a copy of the store. If another thread was changing the
 *    store at that moment, the child's is refused: every call that needs it fails with a
 *    message. A fork waits for no load or save.
 *
 *  F, the observation field list, in this order: secClass (classification, "U", "C" or "S"), satNum, senNum (numbers
 *  of satellite and sensor), obsTime (days since 1950 UTC), elOrDec (elevation or declination, degrees), azOrRa
 *  (azimuth or right ascension, degrees), range (km), rangeRate (km/s), elRate, azRate, rangeAccel (as the cards have
 *  them), obsType, indicator1, indicator2, altSatNum1, altSatNum2 (further satellite numbers, 0 none), pos[3] (km),
 *  vel[3] (km/s). `obsType` is the type's character (see Types). For types 5 and 9 the range-rate slot carries the
 *  equinox indicator (0-3). `pos` and `vel` are those of the sensor for types 8, 9, M and O, of the satellite for P
 *  and V, and ignored or zero for the others.
 *
 *  Types, by number and character, and what an observation of each holds besides satellite, sensor and time: 0 range
 *  rate; 1 azimuth and elevation; 2 these and range; 3 these and range rate; 4 these, their rates and the range's
 *  acceleration; 5 right ascension and declination; 6 range; 7 position and velocity of the satellite; 8 azimuth and
 *  elevation, 9 right ascension and declination from a sensor in space, with its position; 10 "P" position, 11 "V"
 *  position and velocity of the satellite (ECI); 13 "R" differences of an RF source between two sites; 16 range; 18
 *  "M" and 19 "O" as 8 and 9, with range.
 *
 *  "Addition." marks a function that goes beyond the interface that Obs shares with the libraries around it. */
#ifndef OBS_DLL_EXPORTS_H
#define OBS_DLL_EXPORTS_H

#include <stdint.h>

#include "ObsArrow.h"

#if defined(__GNUC__)
#define OBS_API __attribute__((visibility("default")))
#else
#define OBS_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* -------------------------------------------------------------- library ---- */

/** Addition. The version of this header; ObsGetInfo gives that of the library in use. */
#define OBS_VERSION_MAJOR 0
#define OBS_VERSION_MINOR 1
#define OBS_VERSION_PATCH 0
#define OBS_VERSION_STRING "0.1.0"

/** @defgroup ObsInit ObsInit
 *  Does nothing: the library is ready when it is loaded.
 *  @return 0. */
OBS_API int32_t ObsInit(void);

/** @defgroup ObsGetInfo ObsGetInfo
 *  Product, version, build date and platform.
 *  @param[out] info 512 characters. */
OBS_API void ObsGetInfo(char info[512]);

/** @defgroup ObsSetTTYYear ObsSetTTYYear
 *  Sets the year of TTY cards, which carry none. 0 (at start) means not set: every
 *  TTY card is then refused.
 *  Threads: before others read TTY cards.
 *  @param[in] year calendar year, not checked here; with one outside 1900-2999 every card is refused as well. */
OBS_API void ObsSetTTYYear(int32_t year);

/** @defgroup GetObsKeyMode GetObsKeyMode
 *  What new keys are made of.
 *  @return this library's key mode: 0 field keys (at start), 1 address keys. */
OBS_API int32_t GetObsKeyMode(void);

/** @defgroup SetObsKeyMode SetObsKeyMode
 *  Sets the key mode of observations added from now on; stored ones keep their keys.
 *  The family's mode (FamilySetAllKeyMode) takes precedence while it is switched on.
 *  Threads: before others add observations.
 *  @param[in] mode 0 field keys, 1 address keys.
 *  @return 0, or 2 for another mode. */
OBS_API int32_t SetObsKeyMode(int32_t mode);

/** @defgroup ObsSetLargePages ObsSetLargePages
 *  Addition. Whether memory that the store takes from now on may come in pages of 2 MiB, from 65,536 observations on
 *  and where the system has such pages. Loads and look-ups of millions are then faster as long as the system has them
 *  at hand, and loads slower when it has to make them first; nothing else differs.
 *  Threads: any.
 *  @param[in] isWanted 1, or 0 as at start.
 *  @return 0, or 2 for another number. */
OBS_API int32_t ObsSetLargePages(int32_t isWanted);

/** @defgroup ObsSetProgressCallback ObsSetProgressCallback
 *  Addition. Tells how far loads (ObsLoadFile..., ObsLoadSlrFile...) and saves (ObsSave...) of files have come, at most
 *  ten times a second and once when all is read or written, and lets them be cancelled. A cancelled call fails with a
 *  message, with status 2. What a cancelled load has stored is removed again, whatever other threads have added or
 *  removed meanwhile; the year, the selection criteria and the key mode are those before the call, and all counts of
 *  the load are 0. A cancelled save leaves the file as a failing write does; ObsGetSaveCounts gives zeros and the
 *  system's error number ECANCELED.
 *  While the callback runs the store is free. So a save of more than a tenth of a second gives way to threads that
 *  change observations: those that it has not written yet are written as they are then, not as all were at one moment.
 *  Threads: not during a load or save.
 *  @param[in] report called on the loading or saving thread with how much is done and how much there is: bytes of the
 *             file that is loaded and of the files that it includes, from when they are opened, or observations that
 *             are saved or left out. `done` never falls and in the last call is `total`, which may grow. It may call
 *             the library, but not load or save. A result other than 0 cancels. Null ends the reports.
 *  @param[in] user handed to `report` unchanged. */
OBS_API void ObsSetProgressCallback(int32_t (*report)(int64_t done, int64_t total, void* user), void* user);

/** @defgroup ObsSetThreads ObsSetThreads
 *  Addition. Sets how many threads a load (ObsLoadFile..., but not ObsLoadSlrFile...) or a save (ObsSaveFile...) may
 *  use, the calling one included. What is stored, written, counted, told and logged is the same with any number, in the
 *  same order; callbacks are called on the calling thread alone. Files below some hundred kilobytes are read and written
 *  by one thread, and so are limits of lines, laser ranges and what follows keyword lines. A callback that forks must
 *  not come back in the child.
 *  Threads: loads and saves that have begun keep their number.
 *  @param[in] number 1 (at start) the calling thread alone, up to 256; 0 as many as the process has cores, where the
 *             work is large enough to gain from them.
 *  @return 0, or 2 for another number. */
OBS_API int32_t ObsSetThreads(int32_t number);

/** @defgroup ObsGetThreads ObsGetThreads
 *  Addition. How many threads a load or a save may use.
 *  @return the number given to ObsSetThreads, 1 at start. */
OBS_API int32_t ObsGetThreads(void);

/* ----------------------------------------------------------------- keys ---- */

/** @defgroup ObsFieldsToObsKey ObsFieldsToObsKey
 *  The key of a satellite, sensor and time: T * 10^10 + (satNum mod 10^7) * 10^3 +
 *  (senNum mod 10^3), T being tenths of a second since the start of the year's day count.
 *  The year is not part of the key.
 *  @param[in] satNum,senNum numbers of satellite and sensor, 0 or more.
 *  @param[in] obsTime days since 1950 UTC.
 *  @return the key, or -1 for a negative number or a time that is not within the years 1 to 9999. */
OBS_API int64_t ObsFieldsToObsKey(int32_t satNum, int32_t senNum, double obsTime);

/** @defgroup ObsFieldsToObsKeyML ObsFieldsToObsKeyML
 *  As ObsFieldsToObsKey, the key also stored through the last argument.
 *  @param[in]  satNum,senNum numbers of satellite and sensor, 0 or more.
 *  @param[in]  obsTime days since 1950 UTC.
 *  @param[out] obsKey the result once more.
 *  @return as ObsFieldsToObsKey; -1 also for a null pointer. */
OBS_API int64_t ObsFieldsToObsKeyML(int32_t satNum, int32_t senNum, double obsTime, int64_t* obsKey);

/** @defgroup SatNumFrObsKey SatNumFrObsKey
 *  The satellite number of a stored observation.
 *  @param[in] obsKey key of a stored observation.
 *  @return the number, -1 when no stored observation has this key (not logged). */
OBS_API int32_t SatNumFrObsKey(int64_t obsKey);

/** @defgroup SenNumFrObsKey SenNumFrObsKey
 *  The sensor number of a stored observation.
 *  @param[in] obsKey key of a stored observation.
 *  @return the number, -1 when no stored observation has this key (not logged). */
OBS_API int32_t SenNumFrObsKey(int64_t obsKey);

/* -------------------------------------------------------------- loading ---- */

/** @defgroup ObsLoadFile ObsLoadFile
 *  Loads a file of observations and keyword lines (OBSFIL, TTY_YEAR, SELOB, SLROBS,
 *  VM_DMA_OBS_ON; "*" in column 1 is a comment). An SLROBS line names a file of laser ranges, or introduces CRD
 *  sessions that follow it in the file; what it brings in shows in the counts only. Bad lines are logged and left
 *  out; the counts are logged at the end ("Total observations = ...") and kept for ObsGetLoadCounts.
 *  Threads: not beside another load or save; other functions may run meanwhile.
 *  @param[in] fileName name of the file.
 *  @return the outcome of the last observation line (0 good or duplicate, 2 bad), or the
 *          system's error number when the file cannot be opened. */
OBS_API int32_t ObsLoadFile(const char* fileName);

/** @defgroup ObsLoadFileGID ObsLoadFileGID
 *  As ObsLoadFile; every observation added belongs to a group.
 *  Threads: as ObsLoadFile.
 *  @param[in] fileName name of the file.
 *  @param[in] gid group of the observations; 0 none.
 *  @return as ObsLoadFile. */
OBS_API int32_t ObsLoadFileGID(const char* fileName, int32_t gid);

/** What a load with options may do. All zeros but for the size is what ObsLoadFileGID does, other than that a
 *  laser-ranging header which no SLROBS line introduces is a bad line in either key mode. */
typedef struct ObsLoadOptions {
    int32_t size;          /* sizeof(ObsLoadOptions) */
    int32_t ttyYear;       /* year of TTY cards at the start: 0 that of ObsSetTTYYear, -1 none, else the year */
    int32_t settingsLines; /* TTY_YEAR, SELOB and VM_DMA_OBS_ON lines: 0 act and stay in force, 1 act in this load */
                           /* alone, 2 do nothing */
    int32_t includes;      /* files that OBSFIL and SLROBS lines name are read: 0 all, 1 those below the folder of */
                           /* the deck, links followed, 2 none */
    int64_t maxLines;      /* lines read, include files counted in; 0 any number, as with the limits below */
    int64_t maxBadTold;    /* bad lines that are reported one by one, in the log and by the callback */
    int64_t maxIncludes;   /* include files read */
} ObsLoadOptions;

/** @defgroup ObsLoadFileWith ObsLoadFileWith
 *  Addition. As ObsLoadFileGID, with limits, and without effects on later loads where the options say so. What the
 *  options keep out is logged.
 *  Threads: as ObsLoadFile.
 *  @param[in] fileName name of the file.
 *  @param[in] gid group of the observations; 0 none.
 *  @param[in] options see ObsLoadOptions; null for all zeros.
 *  @return as ObsLoadFile; 2 also for options of another size or out of range, and for more lines than allowed. */
OBS_API int32_t ObsLoadFileWith(const char* fileName, int32_t gid, const ObsLoadOptions* options);

/** @defgroup ObsKeepOrigins ObsKeepOrigins
 *  Addition. Whether the store keeps the file and line that loads bring observations from, for the criteria `file` and
 *  `line`, the columns of these names and ObsGetOrigin. At first it does not: that costs nothing. What is stored when
 *  this is called, and what other functions add, has no origin; an observation keeps its own until it is removed.
 *  Threads: not beside a load.
 *  @param[in] wanted 1 from now on, 0 no more.
 *  @return 0, or 2 for another number. */
OBS_API int32_t ObsKeepOrigins(int32_t wanted);

/** @defgroup ObsGetOrigin ObsGetOrigin
 *  Addition. The file and line from which a load brought an observation; of a message of two cards the first.
 *  @param[in]  obsKey key of a stored observation.
 *  @param[out] fileName 512 characters, the name under which the file was loaded; blank on failure.
 *  @param[out] line number of the line, from 1; 0 on failure.
 *  @return 0, or 2 for a null pointer, an unknown key, or an observation without an origin (logged). */
OBS_API int32_t ObsGetOrigin(int64_t obsKey, char fileName[512], int64_t* line);

/** @defgroup ObsLoadSlrFile ObsLoadSlrFile
 *  Addition. Loads a file of laser ranges: CRD sessions (version 1 or 2, full rate or normal points), blocks of the
 *  older 99999 and 88888 formats, or both. Each range is an observation of type 6 (one-way range in km, at the moment
 *  of reflection), or of type 2 with the pointing angles that the file gives for it. Nothing is corrected unless
 *  ObsSetSlrCorrections asks for it. A station must be in the number table or be a known sensor under its
 *  pad number. Counts, log lines and callback as for ObsLoadFile; see docs/formats/slr.md.
 *  Threads: as ObsLoadFile.
 *  @param[in] fileName name of the file.
 *  @return as ObsLoadFile. */
OBS_API int32_t ObsLoadSlrFile(const char* fileName);

/** @defgroup ObsLoadSlrFileGID ObsLoadSlrFileGID
 *  Addition. As ObsLoadSlrFile; every observation added belongs to a group.
 *  Threads: as ObsLoadFile.
 *  @param[in] fileName name of the file.
 *  @param[in] gid group of the observations; 0 none.
 *  @return as ObsLoadFile. */
OBS_API int32_t ObsLoadSlrFileGID(const char* fileName, int32_t gid);

/** @defgroup ObsLoadText ObsLoadText
 *  Addition. As ObsLoadFileWith, for a text that is in memory: unpacked, received, mapped. It is read where it is.
 *  Threads: as ObsLoadFile.
 *  @param[in] name what messages call the text; no file is opened under it. Files that the text names are looked for
 *             as if it were a file of this name.
 *  @param[in] bytes the text; need not end with a NUL.
 *  @param[in] length number of bytes, 0 or more.
 *  @param[in] gid group of the observations; 0 none.
 *  @param[in] options see ObsLoadOptions; null for all zeros.
 *  @return the outcome of the last observation line (0 good or duplicate, 2 bad); 2 also for a null pointer or a
 *          negative length, for options of another size or out of range, and for more lines than allowed. */
OBS_API int32_t ObsLoadText(const char* name, const char* bytes, int64_t length, int32_t gid,
                            const ObsLoadOptions* options);

/** @defgroup ObsLoadSlrText ObsLoadSlrText
 *  Addition. As ObsLoadSlrFileGID, for a text that is in memory.
 *  Threads: as ObsLoadFile.
 *  @param[in] name as ObsLoadText.
 *  @param[in] bytes the text; need not end with a NUL.
 *  @param[in] length number of bytes, 0 or more.
 *  @param[in] gid group of the observations; 0 none.
 *  @return as ObsLoadText. */
OBS_API int32_t ObsLoadSlrText(const char* name, const char* bytes, int64_t length, int32_t gid);

/** @defgroup ObsLoadCard ObsLoadCard
 *  Loads one line that is an observation by itself.
 *  @param[in] card B3, B3E, ECI, CSV or RF line, or a TTY card that needs no second one.
 *  @return 0 (also for a duplicate), or 2 for a bad line, a keyword line or an unrecognised one: nothing is stored,
 *          under field keys as under address keys. */
OBS_API int32_t ObsLoadCard(const char* card);

/** @defgroup ObsLoadTwoCards ObsLoadTwoCards
 *  Loads a TTY pair; any other observation line is taken from the first card.
 *  @param[in] card1 first card, or any line that ObsLoadCard takes.
 *  @param[in] card2 second card; blank where the first needs none.
 *  @return as ObsLoadCard. */
OBS_API int32_t ObsLoadTwoCards(const char* card1, const char* card2);

/** @defgroup ObsAddFrB3Card ObsAddFrB3Card
 *  Adds the observation of a B3 or B3E card (either case).
 *  @param[in] b3Card the card.
 *  @return the key, 0 for a refused duplicate, -1 for a bad card. */
OBS_API int64_t ObsAddFrB3Card(const char* b3Card);

/** @defgroup ObsAddFrB3CardML ObsAddFrB3CardML
 *  As ObsAddFrB3Card, the key handed back through the last argument.
 *  @param[in]  b3Card the card.
 *  @param[out] obsKey the key, 0 for a refused duplicate, -1 for a bad card. */
OBS_API void ObsAddFrB3CardML(const char* b3Card, int64_t* obsKey);

/** @defgroup ObsAddFrTTYCards ObsAddFrTTYCards
 *  Adds the observation of a TTY message; the TTY year must be set.
 *  @param[in] card1,card2 the cards; the second is blank for types that need none.
 *  @return the key, 0 for a refused duplicate, -1 for bad cards. */
OBS_API int64_t ObsAddFrTTYCards(const char* card1, const char* card2);

/** @defgroup ObsAddFrTTYCardsML ObsAddFrTTYCardsML
 *  As ObsAddFrTTYCards, the key handed back through the last argument.
 *  @param[in]  card1,card2 the cards; the second is blank for types that need none.
 *  @param[out] obsKey the key, 0 for a refused duplicate, -1 for a bad card. */
OBS_API void ObsAddFrTTYCardsML(const char* card1, const char* card2, int64_t* obsKey);

/** @defgroup ObsAddFrCsv ObsAddFrCsv
 *  Adds the observation of a CSV line.
 *  @param[in] csvLine the line.
 *  @return the key, 0 for a refused duplicate, -1 for a bad line. */
OBS_API int64_t ObsAddFrCsv(const char* csvLine);

/** @defgroup ObsAddFrCsvML ObsAddFrCsvML
 *  As ObsAddFrCsv, the key handed back through the last argument.
 *  @param[in]  csvLine the line.
 *  @param[out] obsKey the key, 0 for a refused duplicate, -1 for a bad line. */
OBS_API void ObsAddFrCsvML(const char* csvLine, int64_t* obsKey);

/** @defgroup ObsAddFrFields ObsAddFrFields
 *  Adds an observation given as loose fields F. An equinox indicator 1-3 rotates to date; types 8 and 9 with
 *  a range above 0 are stored as 18 and 19. Without a satellite number the key is made with the first of the further
 *  ones that is not 0. A character that names no type is stored as type -1.
 *  @param[in] secClass,satNum,senNum,obsTime,elOrDec,azOrRa,range,rangeRate,elRate,azRate,rangeAccel,obsType
 *  @param[in] indicator1,indicator2,altSatNum1,altSatNum2,pos,vel fields F.
 *  @param[in] obsArr the array form, of which only the sigma list is read (elements 40-61: a count of 6, 7 or 21 and
 *             that many values, of which one is not 0).
 *  @return the key, 0 for a refused duplicate; -1 for an equinox indicator other than 0-3, when all three satellite
 *          numbers are 0 or the key cannot be made. */
OBS_API int64_t ObsAddFrFields(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec,
                               double azOrRa, double range, double rangeRate, double elRate, double azRate,
                               double rangeAccel, char obsType, int32_t indicator1, int32_t indicator2,
                               int32_t altSatNum1, int32_t altSatNum2, const double pos[3], const double vel[3],
                               const double obsArr[64]);

/** @defgroup ObsAddFrFieldsML ObsAddFrFieldsML
 *  As ObsAddFrFields, the key handed back through the last argument.
 *  @param[in] secClass,satNum,senNum,obsTime,elOrDec,azOrRa,range,rangeRate,elRate,azRate,rangeAccel,obsType
 *  @param[in] indicator1,indicator2,altSatNum1,altSatNum2,pos,vel fields F.
 *  @param[in] obsArr as ObsAddFrFields.
 *  @param[out] obsKey what ObsAddFrFields returns. */
OBS_API void ObsAddFrFieldsML(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec,
                              double azOrRa, double range, double rangeRate, double elRate, double azRate,
                              double rangeAccel, char obsType, int32_t indicator1, int32_t indicator2,
                              int32_t altSatNum1, int32_t altSatNum2, const double pos[3], const double vel[3],
                              const double obsArr[64], int64_t* obsKey);

/** @defgroup ObsAddFrArray ObsAddFrArray
 *  Adds an observation given in the array form (see ObsDataToArray). Integers are truncated toward zero. Right
 *  ascension and declination with an equinox indicator (element 22) are rotated to date; types 8 and 9 with a
 *  range above 0 are stored as 18 and 19; elevation and azimuth rate are taken for type 4 alone. An equinox indicator
 *  other than 0-3 counts as 0.
 *  Element 40 with elements 41 on is taken as a sigma list when it is 6, 7 or 21 and a value is not 0; when it is 7
 *  and one of elements 23-34 is not 0, these are CSV data; else elements 33-39, if one is not 0, are biases. Sigmas,
 *  CSV data and biases that memory does not suffice for are left out without a message; ObsAddFrArrays refuses the
 *  observation then.
 *  @param[in] obsArr 64 reals.
 *  @return the key, 0 for a refused duplicate, -1 when nothing could be added. */
OBS_API int64_t ObsAddFrArray(const double obsArr[64]);

/** @defgroup ObsAddFrArrayML ObsAddFrArrayML
 *  As ObsAddFrArray, the key handed back through the last argument.
 *  @param[in]  obsArr 64 reals.
 *  @param[out] obsKey what ObsAddFrArray returns. */
OBS_API void ObsAddFrArrayML(const double obsArr[64], int64_t* obsKey);

/** @defgroup ObsAddFrArrays ObsAddFrArrays
 *  Addition. Adds many observations in one call, with the same result as that many calls of ObsAddFrArray, except that
 *  none is stored without its sigmas, CSV data or biases: one for which memory does not suffice is refused.
 *  @param[in]  count   number of observations, 0 or more.
 *  @param[in]  obsArrs count times 64 reals, one observation after the other.
 *  @param[out] keys    what ObsAddFrArray would have returned for each; -1 where memory did not suffice.
 *  @return 0 when each was stored under a key of its own or accepted as a duplicate; 2 otherwise. */
OBS_API int32_t ObsAddFrArrays(int32_t count, const double* obsArrs, int64_t* keys);

/** @defgroup ObsGetLoadCounts ObsGetLoadCounts
 *  Addition. The counts of the latest file load, include files counted in.
 *  Threads: not during a load.
 *  @param[out] loaded,duplicate,bad numbers of observation lines stored, refused as duplicates, and bad.
 *  @return 0, or 2 for a null pointer. */
OBS_API int32_t ObsGetLoadCounts(int64_t* loaded, int64_t* duplicate, int64_t* bad);

/** What the lines of a load were, include files counted in. Each line of a file is one of the six kinds from
 *  `observations` to `passedOver`, so that their sum is `lines`. */
typedef struct ObsLoadLines {
    int32_t size;            /* sizeof(ObsLoadLines) */
    int64_t lines;           /* in all */
    int64_t observations;    /* loaded, duplicate or bad; both cards of a TTY message */
    int64_t comments;        /* "*" in column 1, other lines with "#" there, and blank lines */
    int64_t keywords;        /* lines that begin with a keyword, whether or not it acts */
    int64_t laser;           /* of laser-ranging sessions and blocks, other than ranges */
    int64_t passedOver;      /* none of these: not read at all */
    int64_t zeroed;          /* values, not lines, that were taken as 0 because they could not be read */
    int64_t includesLeftOut; /* files named by OBSFIL and SLROBS lines that could not or may not be read */
} ObsLoadLines;

/** @defgroup ObsGetLoadLines ObsGetLoadLines
 *  Addition. The account of every line of the latest file load.
 *  Threads: not during a load.
 *  @param[in,out] lines its `size` is set by the caller.
 *  @return 0, or 2 for a null pointer or another size. */
OBS_API int32_t ObsGetLoadLines(ObsLoadLines* lines);

/** Kinds of line that ObsSetLoadCallback reports. Zeroed: a value that could not be read and was taken as 0, or that
 *  the card ends inside of or before. Passed over: neither observation, comment nor keyword line. */
#define OBS_LINE_BAD 2
#define OBS_LINE_DUPLICATE 3
#define OBS_LINE_ZEROED 4
#define OBS_LINE_PASSED_OVER 5
/** Kinds that ObsReadLines reports besides: a keyword line; a remark on a line that is taken all the same. */
#define OBS_LINE_KEYWORD 6
#define OBS_LINE_NOTE 7
/** Kinds that a file load reports besides, which no line count holds: a keyword line that cannot be obeyed and changes
 *  nothing; a keyword line whose file could not or may not be read; a SELOB line that acts; why the
 *  line whose report comes next is bad, namely what sensor, site or station is not known (the reason is what it is
 *  called, as "sensor 345"); the file could not be read beyond this line. */
#define OBS_LINE_KEYWORD_FAULT 8
#define OBS_LINE_INCLUDE_LEFT_OUT 9
#define OBS_LINE_SELECTION 10
#define OBS_LINE_UNKNOWN_SENSOR 11
#define OBS_LINE_BROKEN_OFF 12

/** @defgroup ObsSetLoadCallback ObsSetLoadCallback
 *  Addition. Reports each line of a file load that is bad, a duplicate or otherwise worth a message, in the order
 *  of the file.
 *  Threads: not during a load.
 *  @param[in] report called on the loading thread with the kind (OBS_LINE_...), the name of
 *             the file as it was opened, the line's number from 1, and the reason; both
 *             texts end with a NUL and are valid during the call. It must not call the
 *             library, and takes no notice of kinds that it does not know. Null ends the reports.
 *  @param[in] user handed to `report` unchanged. */
OBS_API void ObsSetLoadCallback(void (*report)(int32_t kind, const char* fileName, int64_t lineNumber,
                                               const char* reason, void* user),
                                void* user);

/** @defgroup ObsSetSlrCorrections ObsSetSlrCorrections
 *  Addition. What is applied to laser ranges read from now on; nothing at start. A correction that the file has
 *  applied is not applied again; one that cannot be computed is left out: the models need the weather, the
 *  wavelength, an elevation (above 3 degrees for Mendes-Pavlis, 10 for Marini-Murray) and the station in the sensor
 *  library. The second indicator of a range says what has been applied: a sum of 1 troposphere, 2 centre of mass (by
 *  the file or when it was read); 4 the system delay is still in it.
 *  @param[in] troposphere model of its delay: 0 none, 1 Mendes-Pavlis, 2 Marini-Murray; a delay that the file gives
 *             takes precedence over both.
 *  @param[in] centreOfMass nonzero: to the satellite's centre of mass, by the file or for LAGEOS 1 and 2, LARES
 *             and Ajisai.
 *  @return 0, or 2 for another troposphere. */
OBS_API int32_t ObsSetSlrCorrections(int32_t troposphere, int32_t centreOfMass);

/** The corrections of ObsGetSlrCorrectionCounts, numbered as the second indicator sums them. */
#define OBS_SLR_TROPOSPHERE 1
#define OBS_SLR_CENTRE_OF_MASS 2

/** @defgroup ObsGetSlrCorrectionCounts ObsGetSlrCorrectionCounts
 *  Addition. What became of a correction that ObsSetSlrCorrections asked for, in the latest file load: of the ranges
 *  that were read, duplicates and include files counted in. All three are 0 when it was not asked for.
 *  Threads: not during a load.
 *  @param[in]  correction OBS_SLR_TROPOSPHERE or OBS_SLR_CENTRE_OF_MASS.
 *  @param[out] applied    number of ranges to which it was applied.
 *  @param[out] byFile     to which the file had applied it already.
 *  @param[out] notApplied to which it could not be applied; the log says why.
 *  @return 0, or 2 for a null pointer or another correction. */
OBS_API int32_t ObsGetSlrCorrectionCounts(int32_t correction, int64_t* applied, int64_t* byFile, int64_t* notApplied);

/* -------------------------------------------------------------- parsing ---- */

/** @defgroup ObsB3Parse ObsB3Parse
 *  Takes a B3, B3E, TTY (first card) or CSV line apart; right ascension and declination
 *  are rotated to date. Nothing is stored. The outputs are set to zero or blank first and stay
 *  so after a failure.
 *  @param[in]  b3Card the line.
 *  @param[out] secClass,satNum,senNum,obsTime,elOrDec,azOrRa,range,rangeRate,elRate,azRate,rangeAccel,obsType
 *  @param[out] indicator1,indicator2,altSatNum1,altSatNum2,pos fields F without `vel`.
 *  @return 0, or 2 for a line of another kind or a bad one. */
OBS_API int32_t ObsB3Parse(const char* b3Card, char* secClass, int32_t* satNum, int32_t* senNum, double* obsTime,
                           double* elOrDec, double* azOrRa, double* range, double* rangeRate, double* elRate,
                           double* azRate, double* rangeAccel, char* obsType, int32_t* indicator1, int32_t* indicator2,
                           int32_t* altSatNum1, int32_t* altSatNum2, double pos[3]);

/** @defgroup ObsParse ObsParse
 *  Takes a line, or a TTY pair, into the array form; angles stay in the equinox that
 *  the card states. Nothing is stored.
 *  @param[in]  line1 the line, or the first card of a TTY message.
 *  @param[in]  line2 the second card; blank where there is none.
 *  @param[out] obsArr the array form (see ObsDataToArray), 64 reals, cleared first.
 *  @return 0, or 2 for a line of another kind or a bad one. */
OBS_API int32_t ObsParse(const char* line1, const char* line2, double obsArr[64]);

/** Elements of the facts of a line's columns.
 *
 *  | element | holds                                                                          |
 *  |---------|--------------------------------------------------------------------------------|
 *  | 0       | number of columns or groups of columns in all; 0 for a line without an account |
 *  | 1       | card, 1 or 2                                                                   |
 *  | 2, 3    | first and last column on that card, from 1                                     | */
enum ObsLineColumnFact {
    OBS_LINE_COLUMN_COUNT = 0,
    OBS_LINE_COLUMN_CARD = 1,
    OBS_LINE_COLUMN_FIRST = 2,
    OBS_LINE_COLUMN_LAST = 3
};

/** @defgroup ObsGetLineColumn ObsGetLineColumn
 *  Addition. What the columns of an observation line hold, by its format and type: one group of columns, such as the
 *  range, in each call. A line that begins as a card does but is of no known kind is described as a card. Nothing is
 *  stored. A line is good or bad as a whole (ObsReadLines); the faults tell where to look and are none for a good one,
 *  except where its reader takes a value as 0.
 *  @param[in]  line1 the line, or the first card of a TTY message.
 *  @param[in]  line2 the second card; blank where there is none.
 *  @param[in]  group 0 to one less than there are.
 *  @param[out] name  512 characters: the column of the field (ObsGetColumnInfo), or of a part of the time and the like.
 *  @param[out] form  512 characters: how it is written, with its unit.
 *  @param[out] fault 512 characters: why the text there cannot be taken; blank where it can.
 *  @param[out] facts 4 numbers (OBS_LINE_COLUMN_COUNT to OBS_LINE_COLUMN_LAST).
 *  @return 0, or 2 for a group that there is not (texts blank, `facts` 0 but for the number of groups). Of group 0 of a
 *          line without an account that is not logged. */
OBS_API int32_t ObsGetLineColumn(const char* line1, const char* line2, int32_t group, char name[512], char form[512],
                                 char fault[512], int32_t facts[4]);

/** @defgroup ObsGetLineKind ObsGetLineKind
 *  Addition. What kind of line a line is, looked at by itself.
 *  @param[in]  line the line.
 *  @param[out] kind 512 characters: "B3 card", "B3E card", "ECI card", "TTY message", "CSV line", "RF line", "keyword
 *              line", "comment", "record of a laser-ranging session" (the first), "mark of a block of laser ranges" or
 *              "not an observation".
 *  @return 0, or 2 for a null pointer. */
OBS_API int32_t ObsGetLineKind(const char* line, char kind[512]);

/** Which lines of a text a reading takes, for ObsReadState. A load of a file with TTY_YEAR, OBSFIL or SLROBS lines reads
 *  it twice: in the first pass it takes these and the laser ranges of sections that an SLROBS line introduces, in the
 *  second, which begins with the year that the first ended with, all others. In a file that an OBSFIL line names,
 *  OBSFIL and SLROBS lines mean nothing. */
#define OBS_READ_WHOLE 0 /* all lines, in their order */
#define OBS_READ_FIRST 1
#define OBS_READ_SECOND 2
#define OBS_READ_INCLUDED 3

/** How far a reading of lines has come; what the lines before mean for those that follow. Zeros but for the size at the
 *  start of a text, and `rotateToDate` 1 for records as loads make them. It may be copied and kept. */
typedef struct ObsReadState {
    int32_t size;         /* sizeof(ObsReadState) */
    int32_t ttyYear;      /* of TTY cards, 0 none; TTY_YEAR lines change it */
    int32_t rotateToDate; /* nonzero: right ascension and declination are rotated to date */
    int32_t troposphere;  /* correction of laser ranges, as ObsSetSlrCorrections takes it */
    int32_t centreOfMass; /* the same */
    int32_t addressKeys;  /* a VM_DMA_OBS_ON line was read */
    int32_t laserSection; /* an SLROBS line without a name was read, and no record H9 since */
    int32_t isLast;       /* nonzero: the text ends with these bytes */
    int64_t lines;        /* lines before */
    int64_t offset;       /* bytes before */
    int64_t cutAfter;     /* 0, or reading stops at the first cut at or after that many of the bytes */
    int32_t laserFile;    /* nonzero: a file of laser ranges, as ObsLoadSlrFile reads it */
    int32_t atCut;        /* set by a call: 1 when no session or block of laser ranges goes on after the lines read, */
                          /* 0 when one does, or means more for what follows than the state holds */
    char laser[368];      /* set by a call: what laser ranges before mean for those that follow; blank or 0: nothing */
    int32_t pass;         /* OBS_READ_WHOLE, ...; nothing where `laserFile` is set */
    int32_t reserved;     /* 0 */
    int64_t observations; /* these are set by a call: what the lines that it read are, as ObsLoadLines counts them */
    int64_t comments;
    int64_t keywords;
    int64_t laserLines;
    int64_t passedOver;
    int64_t zeroed;
} ObsReadState;

/** Kinds of file. From OBS_FILE_OTHER on: by a mark or the first line, no observations at all. From OBS_FILE_GUESS on:
 *  no line is known, and the name says what their form resembles.
 *
 *  | kinds   | are                                                                                            |
 *  |---------|------------------------------------------------------------------------------------------------|
 *  | 0, 1, 2 | nothing but comments; observations and keyword lines, for ObsLoadFile; laser ranges, for       |
 *  |         | ObsLoadSlrFile                                                                                 |
 *  | 101-107 | gzip, zip, empty zip, bzip2, xz, zstd, 7z                                                      |
 *  | 108-113 | UTF-16 text, PDF, a program, a document of an office program, tar, SINEX                       |
 *  | 114-117 | TDM, XML or HTML, CSV with semicolons, predictions of laser ranging (CPF)                      |
 *  | 201-207 | binary, MERIT II, IOD, UK, RDE, Earth orientation (finals), JSON                               |
 *  | 208-213 | CSV lines with other fields, Earth orientation (C04), leap seconds, CSV with quotes, cards     |
 *  |         | that do not begin in column 1, a table with tabs                                               |
 *  | 299     | other text                                                                                     | */
#define OBS_FILE_NOTHING 0
#define OBS_FILE_OBSERVATIONS 1
#define OBS_FILE_LASER_RANGES 2
#define OBS_FILE_OTHER 100
#define OBS_FILE_GUESS 200

/** @defgroup ObsIdentifyFile ObsIdentifyFile
 *  Addition. What a file is, by its first 64 KiB. Nothing is loaded, and no file that a line names is looked at.
 *  Threads: any.
 *  @param[in]  fileName name of the file.
 *  @param[out] kind    OBS_FILE_NOTHING to OBS_FILE_LASER_RANGES, or another number of the table.
 *  @param[out] formats sum of 2^format (OBS_FORMAT_...) over the formats of its lines; those that are read alone
 *              count as what writes their observations, B3E and ECI cards as OBS_FORMAT_B3.
 *  @param[out] name    512 characters, the kind in words, such as "a file of observations" or "a gzip file"; blank for
 *              OBS_FILE_NOTHING.
 *  @return 0, 2 for a null pointer, or the system's error number when the file cannot be read (outputs 0 and blank):
 *          as loading, it takes regular files alone. */
OBS_API int32_t ObsIdentifyFile(const char* fileName, int32_t* kind, int32_t* formats, char name[512]);

/** @defgroup ObsIdentifyText ObsIdentifyText
 *  Addition. As ObsIdentifyFile, for the first bytes of a file that are in memory; more than 64 KiB are not looked at.
 *  Threads: any.
 *  @param[in]  bytes   the text; need not end with a NUL.
 *  @param[in]  length  number of bytes, 0 or more.
 *  @param[out] kind    as ObsIdentifyFile.
 *  @param[out] formats as ObsIdentifyFile.
 *  @param[out] name    as ObsIdentifyFile.
 *  @return 0, or 2 for a null pointer or a negative length (outputs unchanged). */
OBS_API int32_t ObsIdentifyText(const char* bytes, int64_t length, int32_t* kind, int32_t* formats, char name[512]);

/** @defgroup ObsReadLines ObsReadLines
 *  Addition. Reads lines of text as a load would, without the store, the log and the settings of the process. Settings
 *  lines act on the state, in their order; SELOB, OBSFIL and SLROBS lines are reported, and files that they name are
 *  not read. A line H1 CRD outside of a laser-ranging section is bad. An unfinished last line, and a first TTY card
 *  without its second, are left for the next call unless `isLast` is set: the state's `offset` is where that begins.
 *  A laser-ranging session or block must be given whole: it ends where the bytes end.
 *
 *  To read a text in pieces, by any process in any order, it is first read once with `cutAfter`, the size of a piece,
 *  and without `observation`: each call ends at a cut, and the state then is what the next piece begins with
 *  (ObsReadStateToText). If `atCut` is 0, more bytes are needed from where the call began, and the state from before
 *  it. A piece is read with `isLast` 0, the last one with 1; together they give what the whole gives.
 *  Threads: any number of calls at once, each on a state of its own.
 *  @param[in] bytes the text; need not end with a NUL.
 *  @param[in] length number of bytes, 0 or more.
 *  @param[in,out] state as it is after the lines read; unchanged on failure.
 *  @param[in] observation unless null called for each observation, in the order of the lines but for laser ranges,
 *             which come when their session ends, with the array form (see ObsDataToArray), valid during the call, the
 *             number of the line from 1 and the number of bytes before it.
 *  @param[in] report unless null called for each other thing to report, with its kind (OBS_LINE_..., no duplicates),
 *             the number of the line and of the bytes before it (0, 0 for what concerns no single line), and the
 *             reason or, for a keyword line, the line; the text ends with a NUL and is valid during the call.
 *  @param[in] user handed to both unchanged.
 *  @return 0, or 2 for a null pointer, a negative length, a state of another size, or memory running out. */
OBS_API int32_t ObsReadLines(
    const char* bytes, int64_t length, ObsReadState* state,
    void (*observation)(const double obsArr[64], int64_t lineNumber, int64_t offset, void* user),
    void (*report)(int32_t kind, int64_t lineNumber, int64_t offset, const char* text, void* user), void* user);

/** @defgroup ObsReadStateToText ObsReadStateToText
 *  Addition. A state as a text of printable characters, for ObsReadStateFromText of the same version of the library.
 *  It holds no `isLast`, `cutAfter` and `atCut`, and no counts.
 *  Threads: any.
 *  @param[in]  state the state.
 *  @param[out] text 512 characters, such as "obs1 year=2024 rotate=1 ..."; blank on failure.
 *  @return 0, or 2 for a null pointer, a state of another size or with a value out of range. */
OBS_API int32_t ObsReadStateToText(const ObsReadState* state, char text[512]);

/** @defgroup ObsReadStateFromText ObsReadStateFromText
 *  Addition. The state of a text; `isLast` and `cutAfter` are 0, `atCut` 1.
 *  Threads: any.
 *  @param[in]  text 512 characters, as ObsReadStateToText gives them.
 *  @param[out] state the state; unchanged on failure.
 *  @return 0, or 2 for a null pointer, or for a text that ObsReadStateToText does not give (logged). */
OBS_API int32_t ObsReadStateFromText(const char* text, ObsReadState* state);

/** @defgroup ObsGetNamedFile ObsGetNamedFile
 *  Addition. The file that an OBSFIL or SLROBS line names, as a load looks for it: as it is given, or else beside the
 *  file that has the line. Whether it is there is not told.
 *  Threads: any.
 *  @param[in]  line the line.
 *  @param[in]  fileName name of the file that has the line.
 *  @param[out] name 512 characters; blank on failure.
 *  @return 0, or 2 for a null pointer, and for another line or one that names no file (not logged). */
OBS_API int32_t ObsGetNamedFile(const char* line, const char* fileName, char name[512]);

/** @defgroup ObsNextCut ObsNextCut
 *  Addition. Where a text may be cut into pieces that are read by themselves: not between the cards of a TTY message,
 *  nor inside a block of laser ranges. Read from states that differ in `lines` and `offset` alone, the pieces give what
 *  the whole gives, if no TTY_YEAR and SLROBS line is in it.
 *  Threads: any.
 *  @param[in] bytes a text, or what is left of it from a cut on.
 *  @param[in] length number of bytes, 0 or more.
 *  @param[in] from offset in it, bytes.
 *  @return the first cut at or after `from`; `length` when there is none; -1 for a null pointer or a place outside. */
OBS_API int64_t ObsNextCut(const char* bytes, int64_t length, int64_t from);

/* --------------------------------------------------------------- reading ---- */

/** @defgroup ObsGetB3Card ObsGetB3Card
 *  Writes a stored observation as a B3 (or ECI) card.
 *  @param[in]  obsKey key of a stored observation.
 *  @param[out] b3Card 512 characters; a B3 card is columns 1-90. Blank on failure.
 *  @return 0, or 2 when no stored observation has this key. */
OBS_API int32_t ObsGetB3Card(int64_t obsKey, char b3Card[512]);

/** @defgroup ObsFieldsToB3Card ObsFieldsToB3Card
 *  Writes loose fields F as a B3 card. An equinox indicator 1-3 rotates to date first.
 *  @param[in] secClass,satNum,senNum,obsTime,elOrDec,azOrRa,range,rangeRate,elRate,azRate,rangeAccel,obsType
 *  @param[in] indicator1,indicator2,altSatNum1,altSatNum2,pos,vel fields F.
 *  @param[out] b3Card 512 characters; blank on failure.
 *  @return 0, or 2 (and a blank card) for an equinox indicator other than 0-3. */
OBS_API int32_t ObsFieldsToB3Card(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec,
                                  double azOrRa, double range, double rangeRate, double elRate, double azRate,
                                  double rangeAccel, char obsType, int32_t indicator1, int32_t indicator2,
                                  int32_t altSatNum1, int32_t altSatNum2, const double pos[3], const double vel[3],
                                  char b3Card[512]);

/** @defgroup ObsGetTTYCard ObsGetTTYCard
 *  Writes a stored observation as a TTY message.
 *  @param[in]  obsKey key of a stored observation.
 *  @param[out] card1,card2 512 characters each; the second is blank for types that need none. Blank on failure.
 *  @return 0, or 2 when no stored observation has this key. */
OBS_API int32_t ObsGetTTYCard(int64_t obsKey, char card1[512], char card2[512]);

/** @defgroup ObsFieldsToTTYCard ObsFieldsToTTYCard
 *  Writes loose fields F as a TTY message. An equinox indicator 1-3 rotates to date first.
 *  @param[in] secClass,satNum,senNum,obsTime,elOrDec,azOrRa,range,rangeRate,elRate,azRate,rangeAccel,obsType
 *  @param[in] indicator1,indicator2,altSatNum1,altSatNum2,pos,vel fields F.
 *  @param[out] card1,card2 512 characters each; the second is blank for types that need none.
 *  @return 0, or 2 (and blank cards) for an equinox indicator other than 0-3. */
OBS_API int32_t ObsFieldsToTTYCard(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec,
                                   double azOrRa, double range, double rangeRate, double elRate, double azRate,
                                   double rangeAccel, char obsType, int32_t indicator1, int32_t indicator2,
                                   int32_t altSatNum1, int32_t altSatNum2, const double pos[3], const double vel[3],
                                   char card1[512], char card2[512]);

/** @defgroup ObsGetCsv ObsGetCsv
 *  Writes a stored observation as a CSV line, from which every real comes back bit for bit (a
 *  negative zero as zero; of times within two days of 1949 December 31 some within their last bits).
 *  @param[in]  obsKey key of a stored observation.
 *  @param[out] csvLine 512 characters; blank on failure.
 *  @return 0, or 2 when no stored observation has this key or CSV cannot carry it (type 7). */
OBS_API int32_t ObsGetCsv(int64_t obsKey, char csvLine[512]);

/** @defgroup ObsFieldsToCsv ObsFieldsToCsv
 *  Writes loose fields F as a CSV line. An equinox indicator 1-3 rotates to date first.
 *  @param[in] secClass,satNum,senNum,obsTime,elOrDec,azOrRa,range,rangeRate,elRate,azRate,rangeAccel,obsType
 *  @param[in] indicator1,indicator2,altSatNum1,altSatNum2,pos,vel fields F.
 *  @param[out] csvLine 512 characters; blank on failure.
 *  @return 0, or 2 (and a blank line) for an equinox indicator other than 0-3 or type 7. */
OBS_API int32_t ObsFieldsToCsv(char secClass, int32_t satNum, int32_t senNum, double obsTime, double elOrDec,
                               double azOrRa, double range, double rangeRate, double elRate, double azRate,
                               double rangeAccel, char obsType, int32_t indicator1, int32_t indicator2,
                               int32_t altSatNum1, int32_t altSatNum2, const double pos[3], const double vel[3],
                               char csvLine[512]);

/** @defgroup ObsGetLines ObsGetLines
 *  Addition. Writes a stored observation as a line, or the cards, of any save form.
 *  @param[in]  obsKey key of a stored observation.
 *  @param[in]  saveForm as ObsSaveFile.
 *  @param[out] line1,line2 512 characters each; the second is blank except for TTY messages that need it. Blank on
 *              failure.
 *  @return 0, or 2 when there is no such form, no stored observation has this key, or the form cannot carry the
 *          observation (an RF line of an unknown sensor: the error of the sensor look-up). */
OBS_API int32_t ObsGetLines(int64_t obsKey, int32_t saveForm, char line1[512], char line2[512]);

/** @defgroup ObsGetCards ObsGetCards
 *  Addition. Writes many stored observations as lines of a save form into one buffer, one after the other in the order
 *  of the keys: each line as a save writes it, ended by a line feed, both cards of a TTY message. An observation for
 *  which there is no room is left out, as are those after it.
 *  @param[in]  count   number of keys, 0 or more.
 *  @param[in]  keys    their keys.
 *  @param[in]  saveForm as ObsSaveFile.
 *  @param[out] buffer  the lines; no NUL at the end.
 *  @param[in]  size    bytes of the buffer; 1026 for each key always suffice, 91 for each B3 card.
 *  @param[out] offsets place in the buffer of each observation's first line, from 0.
 *  @param[out] lengths bytes of its lines, line feeds included; 0 where nothing was written.
 *  @param[out] statuses of each key: 0; 1 no room, or after such a one; 2 no stored observation has it, or the form cannot carry the
 *              observation (an RF line of an unknown sensor: the error of the sensor look-up).
 *  @return 0, or 2 when a status is not 0, or there is no such form (logged once, with how many and the first). */
OBS_API int32_t ObsGetCards(int32_t count, const int64_t* keys, int32_t saveForm, char* buffer, int64_t size,
                            int64_t* offsets, int32_t* lengths, int32_t* statuses);

/** @defgroup ObsGetAllFields ObsGetAllFields
 *  The fields F of a stored observation.
 *  @param[in]  obsKey key of a stored observation.
 *  @param[out] secClass,satNum,senNum,obsTime,elOrDec,azOrRa,range,rangeRate,elRate,azRate,rangeAccel,obsType
 *  @param[out] indicator1,indicator2,altSatNum1,altSatNum2,pos,vel fields F.
 *  @param[out] cleared 128 reals set to zero and not otherwise filled.
 *  @return 0, or 2 when no stored observation has this key (outputs zero or blank). */
OBS_API int32_t ObsGetAllFields(int64_t obsKey, char* secClass, int32_t* satNum, int32_t* senNum, double* obsTime,
                                double* elOrDec, double* azOrRa, double* range, double* rangeRate, double* elRate,
                                double* azRate, double* rangeAccel, char* obsType, int32_t* indicator1,
                                int32_t* indicator2, int32_t* altSatNum1, int32_t* altSatNum2, double pos[3],
                                double vel[3], double cleared[128]);

/** @defgroup ObsDataToArray ObsDataToArray
 *  A stored observation in the array form, elements counted from 0; what is absent is 0:
 *  0 classification (1 "U", 2 "C", 3 "S"); 1 satNum; 2 senNum; 3 obsTime; 4 elOrDec; 5 azOrRa; 6 range;
 *  7 rangeRate; 8 elRate; 9 azRate; 10 rangeAccel; 11 type (18 and 19 as 8 and 9); 12, 13 indicators; 14, 15 further
 *  satellite numbers; 16-18 position, 19-21 velocity (of the sensor for type 7, of the satellite for P and V; for 8,
 *  9, M and O the sensor's position alone); 22 equinox indicator of types with right ascension; 23-31 csvReals 1-9;
 *  32 csvReal10; 33 csvInt1; 34 csvInt2; 35 1 when csvChar is "T"; 33-39 the seven biases where there are no CSV data;
 *  40 number of sigmas, or 7 when there are CSV data; 41 on the sigmas. ObsGetElementInfo names each.
 *  @param[in]  obsKey key of a stored observation.
 *  @param[out] obsArr 64 reals, cleared first.
 *  @return 0, or 2 when no stored observation has this key. */
OBS_API int32_t ObsDataToArray(int64_t obsKey, double obsArr[64]);

/** @defgroup ObsDataToArrays ObsDataToArrays
 *  Addition. The array form of many stored observations in one call.
 *  @param[in]  count   number of keys, 0 or more.
 *  @param[in]  keys    their keys.
 *  @param[out] obsArrs count times 64 reals, one observation after the other; zeros for an unknown key.
 *  @return 0, or 2 when a key is unknown (logged once, with their number and the first). */
OBS_API int32_t ObsDataToArrays(int32_t count, const int64_t* keys, double* obsArrs);

/** @defgroup ObsArrToLines ObsArrToLines
 *  Writes an array form as cards; nothing is stored. Right ascension and declination stay in the array's equinox.
 *  @param[in]  obsArr 64 reals, as ObsDataToArray gives them.
 *  @param[in]  format 0 B3 card, 1 TTY message, 2 CSV line.
 *  @param[out] line1,line2 512 characters each; the second is blank except for TTY messages that need it.
 *  @return 0, or 2 (and blank lines) for another format or an observation that CSV cannot carry (type 7). */
OBS_API int32_t ObsArrToLines(const double obsArr[64], int32_t format, char line1[512], char line2[512]);

/** @defgroup ObsGetElementInfo ObsGetElementInfo
 *  Addition. Names an element of the array form.
 *  @param[in]  element 0 to 63.
 *  @param[out] name,unit 512 characters each, blank where there is none.
 *  @return 0, or 2 for another element. */
OBS_API int32_t ObsGetElementInfo(int32_t element, char name[512], char unit[512]);

/* ---------------------------------------------------------------- fields ---- */

/** @defgroup ObsGetField ObsGetField
 *  One field of a stored observation as text. The fields by index:
 *  1 secClass; 2 satNum; 3 senNum; 4 obsTime; 5 elevation or 6 declination, 7 azimuth or 8 right ascension (each pair
 *  one storage, whatever the type); 9 range; 10 rangeRate; 11 elRate; 12 azRate; 13 rangeAccel; 14 type (its
 *  character); 15, 16 indicators; 17, 18 further satellite numbers; 19-21 sensor position; 22-24 satellite position;
 *  25-33 csvReals 1-9; 34 csvReal10; 35 csvInt1; 36 csvInt2; 37 csvChar. ObsGetFieldInfo names each.
 *  Reals have 15 decimals in up to 35 columns, more are asterisks. Indices 15, 16 and 36 have one column: above 9 or
 *  below 0 an asterisk. 17, 18 and 35 have nine.
 *  @param[in]  obsKey key of a stored observation.
 *  @param[in]  fieldIndex 1 to 37, as listed.
 *  @param[out] value 512 characters, left-adjusted; blank for another index, and for 25-37 when the
 *              observation has no CSV data.
 *  @return 0, or 2 when no stored observation has this key (logged under the name ObsGetAllFields). */
OBS_API int32_t ObsGetField(int64_t obsKey, int32_t fieldIndex, char value[512]);

/** @defgroup ObsSetField ObsSetField
 *  Sets one field of a stored observation from text. Neither ranges of values are checked nor types renumbered. (As
 *  with any change of a stored observation, right ascension and declination that are not of date are then rotated to
 *  date.) A text that is not a number counts as 0. 25-37 change nothing where the observation has no CSV data; an index
 *  that names no field changes nothing.
 *  @param[in] obsKey key of a stored observation.
 *  @param[in] fieldIndex as ObsGetField; 2, 3 and 4 are refused, since they make up the key.
 *  @param[in] value 512 characters.
 *  @return 0; 2 when no stored observation has this key, the field is refused or, for 14, the character names
 *          no type. */
OBS_API int32_t ObsSetField(int64_t obsKey, int32_t fieldIndex, const char* value);

/** @defgroup ObsUpdateFrFields ObsUpdateFrFields
 *  Replaces the fields of a stored observation, all but satellite, sensor and time, by the rules of ObsAddFrFields.
 *  Sigmas, biases, CSV and RF data stay, and so do the vectors of a type 7 that stays one; vectors that the new type
 *  does not use become 0.
 *  @param[in] obsKey key of a stored observation.
 *  @param[in] secClass,elOrDec,azOrRa,range,rangeRate,elRate,azRate,rangeAccel,obsType
 *  @param[in] indicator1,indicator2,altSatNum1,altSatNum2,pos,vel fields F without satellite, sensor and time.
 *  @return 0, or 2 when no stored observation has this key (logged under the name ObsGetAllFields) or for an equinox
 *          indicator other than 0-3. */
OBS_API int32_t ObsUpdateFrFields(int64_t obsKey, char secClass, double elOrDec, double azOrRa, double range,
                                  double rangeRate, double elRate, double azRate, double rangeAccel, char obsType,
                                  int32_t indicator1, int32_t indicator2, int32_t altSatNum1, int32_t altSatNum2,
                                  const double pos[3], const double vel[3]);

/** @defgroup ObsGetFieldReals ObsGetFieldReals
 *  Addition. One field of many stored observations in one call, as reals: integers as they are, characters as their
 *  code, 0 where the observation has no CSV data.
 *  @param[in]  count      number of keys, 0 or more.
 *  @param[in]  keys       their keys.
 *  @param[in]  fieldIndex 1 to 37, as ObsGetField.
 *  @param[out] values     count reals; "not a number" for an unknown key.
 *  @return 0, or 2 for another index (nothing is written) or when a key is unknown (logged once, with their number and
 *          the first). */
OBS_API int32_t ObsGetFieldReals(int32_t count, const int64_t* keys, int32_t fieldIndex, double* values);

/** @defgroup ObsGetFieldInfo ObsGetFieldInfo
 *  Addition. Names a field.
 *  @param[in]  fieldIndex 1 to 37.
 *  @param[out] name,unit,form 512 characters each; `form` is how ObsGetField writes it: A1, I0, I1, I9 or F35.15.
 *  @return 0, or 2 for another index. */
OBS_API int32_t ObsGetFieldInfo(int32_t fieldIndex, char name[512], char unit[512], char form[512]);

/** Forms of the values of a column. */
#define OBS_COLUMN_INTEGER 0
#define OBS_COLUMN_REAL 1
#define OBS_COLUMN_CHARACTER 2

/** Elements of the facts of a column.
 *
 *  | element | holds                                               |
 *  |---------|-----------------------------------------------------|
 *  | 0       | number of columns in all                            |
 *  | 1       | index of the field (ObsGetField); 0: it has none    |
 *  | 2       | sum of 2^type over the types that carry it          |
 *  | 3       | form of its values (OBS_COLUMN_INTEGER ...)         | */
enum ObsColumnFact { OBS_COLUMN_COUNT = 0, OBS_COLUMN_INDEX = 1, OBS_COLUMN_TYPES = 2, OBS_COLUMN_FORM = 3 };

/** @defgroup ObsGetColumnInfo ObsGetColumnInfo
 *  Addition. Names a column: a field under the name that it has in tables for other programs. Every field of the record
 *  that is one number or character has one, whether or not it has an index.
 *  @param[in]  column 0 to one less than there are.
 *  @param[out] name,unit 512 characters each; `unit` is blank where there is none.
 *  @param[out] facts 4 numbers (OBS_COLUMN_COUNT to OBS_COLUMN_FORM).
 *  @return 0, or 2 for another column (outputs blank and 0). */
OBS_API int32_t ObsGetColumnInfo(int32_t column, char name[512], char unit[512], int32_t facts[4]);

/** @defgroup ObsGetColumnReals ObsGetColumnReals
 *  Addition. One column of many stored observations in one call, as reals: integers as they are, characters as their
 *  code (of the type its character's). "Not a number" where the observation has no such value: its type does not carry
 *  it and it is 0, or it lacks the data that only CSV or RF lines have.
 *  @param[in]  count  number of keys, 0 or more.
 *  @param[in]  keys   their keys.
 *  @param[in]  column as ObsGetColumnInfo.
 *  @param[out] values count reals; "not a number" for an unknown key, too.
 *  @return 0, or 2 for another column (nothing is written) or when a key is unknown (logged once, with their number and
 *          the first). */
OBS_API int32_t ObsGetColumnReals(int32_t count, const int64_t* keys, int32_t column, double* values);

/** @defgroup ObsGetTypeInfo ObsGetTypeInfo
 *  Addition. What an observation type is and which fields it carries. A field that a type does not carry is 0 as a
 *  rule; what a CSV line or a caller put there is kept all the same.
 *  @param[in]  obsType  0 to 19, the number of ObsTypeCToI.
 *  @param[out] typeChar its character; a blank for a number that has none (12, 14 to 17).
 *  @param[out] name     512 characters: what it measures; blank where there is none.
 *  @param[out] carried  64 numbers, one for each element of the array form (ObsDataToArray): 0 where the type does not
 *              carry the element; else the index of the field (ObsGetField), which tells elevation (5) from declination
 *              (6) and azimuth (7) from right ascension (8), or -1 for an element without an index. Elements that hold
 *              what only CSV lines have, biases and sigmas are carried by every type.
 *  @return 0, or 2 for another number (outputs blank and 0). */
OBS_API int32_t ObsGetTypeInfo(int32_t obsType, char* typeChar, char name[512], int32_t carried[64]);

/* ---------------------------------------------------------------- states ---- */

/** Elements of the states array: the index where each row begins. The values of a row are given all together or
 *  not at all: the mask, an integer carried as a real, is the sum of the 2^bit of the rows that the observation
 *  determines; all others are 0.
 *
 *  | elements | bit | holds                                  | unit                |
 *  |----------|-----|----------------------------------------|---------------------|
 *  | 0        |     | mask                                   |                     |
 *  | 1        | 0   | time                                   | days since 1950 UTC |
 *  | 2-4      | 1   | satellite position, of date            | km                  |
 *  | 5-7      | 2   | satellite velocity, of date            | km/s                |
 *  | 8-10     | 3   | satellite position, J2000              | km                  |
 *  | 11-13    | 4   | satellite velocity, J2000              | km/s                |
 *  | 14-16    | 5   | sensor position, of date               | km                  |
 *  | 17-19    | 6   | sensor velocity, of date               | km/s                |
 *  | 20-22    | 7   | satellite latitude, longitude, height  | degrees, km         |
 *  | 23-25    | 8   | sensor latitude, longitude, height     | degrees, km         |
 *  | 26-27    | 9   | azimuth, elevation                     | degrees             |
 *  | 28       | 10  | range                                  | km                  |
 *  | 29       | 11  | range rate                             | km/s                |
 *  | 30-31    | 12  | right ascension, declination           | degrees             |
 *  | 32-63    |     | 0                                      |                     |
 *
 *  "Of date" is the true equator and mean equinox of date (TEME), J2000 the mean ones of J2000 (FK5). Latitude is
 *  geodetic on WGS84, longitude east from -180 to 180, height above the ellipsoid. Azimuth counts from north to east,
 *  from 0 to below 360, and so does right ascension, which is of date and as the sensor sees it. Nothing is corrected
 *  for refraction, aberration or light time. */
enum ObsStatesElement {
    OBS_STATES_MASK = 0,
    OBS_STATES_TIME = 1,
    OBS_STATES_SAT_POS = 2,
    OBS_STATES_SAT_VEL = 5,
    OBS_STATES_SAT_POS_J2000 = 8,
    OBS_STATES_SAT_VEL_J2000 = 11,
    OBS_STATES_SEN_POS = 14,
    OBS_STATES_SEN_VEL = 17,
    OBS_STATES_SAT_LAT_LON_HEIGHT = 20,
    OBS_STATES_SEN_LAT_LON_HEIGHT = 23,
    OBS_STATES_AZ_EL = 26,
    OBS_STATES_RANGE = 28,
    OBS_STATES_RANGE_RATE = 29,
    OBS_STATES_RA_DEC = 30
};

/** @defgroup ObsDataToStates ObsDataToStates
 *  What an observation in array form says about where satellite and sensor are, at its own time.
 *
 *  What a type measures is given as it is, and all that follows from it: a direction also in the other pair of
 *  angles; with a range (types 2, 3, 4, 18, 19) the position; with the rates of type 4, in degrees per second, the
 *  velocity (also where they are 0). Types 6 and 16 give a range, 0 a range rate. Types 7, 10 and 11 are positions of
 *  date, 7 and 11 with velocity. Types 8, 9, 18 and 19 carry their sensor's position of date, and in a stored
 *  observation its velocity unless that is 0; their azimuth and elevation are in its horizon on WGS84. For all others
 *  the sensor is that of the sensor library, which turns with the Earth. A type that measures none of these gives its
 *  sensor alone, 13 included, since its values are differences between two sites, not ranges. Vectors of zeros,
 *  ranges of 0 and below, and elevations and declinations beyond 90 degrees count as absent. Without its sensor, or
 *  with one whose place is not known, an observation gives what needs none. Right ascension with an equinox indicator
 *  1-3 is rotated to date first.
 *  @param[in]  obsArr 64 reals, as ObsDataToArray gives them.
 *  @param[out] states 64 reals (OBS_STATES_...), cleared first.
 *  @return 0, or 2 when nothing is determined or the time is not within the years 1 to 9999. */
OBS_API int32_t ObsDataToStates(const double obsArr[64], double states[64]);

/** @defgroup ObsGetStates ObsGetStates
 *  As ObsDataToStates, for a stored observation and any time. At another time than its own a satellite with position
 *  and velocity (types 4, 7, 11) has moved on its two-body orbit, be it through the Earth, the sensor with the Earth,
 *  and all angles and ranges are what would be seen.
 *  @param[in]  obsKey key of a stored observation.
 *  @param[out] states 64 reals (OBS_STATES_...), cleared first.
 *  @param[in]  time   days since 1950 UTC; 0 is the observation's own.
 *  @return 0, or 2 when no stored observation has this key, for a time other than its own when it gives no velocity
 *          or two-body motion cannot be followed to that time, and as ObsDataToStates. */
OBS_API int32_t ObsGetStates(int64_t obsKey, double states[64], double time);

/** @defgroup ObsGetStatesMany ObsGetStatesMany
 *  Addition. As ObsGetStates, for many stored observations in one call. Those of one time that follow one another are
 *  quickest: what depends on the time alone is computed once.
 *  @param[in]  count  number of keys, 0 or more.
 *  @param[in]  keys   their keys.
 *  @param[in]  time   as ObsGetStates, for all of them.
 *  @param[out] states count times 64 reals, one observation after the other; zeros where the status is not 0.
 *  @param[out] statuses of each key, what ObsGetStates gives.
 *  @return 0, or 2 when a status is not 0 (logged once, with how many and the first). */
OBS_API int32_t ObsGetStatesMany(int32_t count, const int64_t* keys, double time, double* states, int32_t* statuses);

/* ----------------------------------------------------------- conversions ---- */

/** @defgroup ObsB3ToCsv ObsB3ToCsv
 *  Converts a B3 or B3E card (either case) into a CSV line. Nothing is stored.
 *  @param[in]  b3Card the card.
 *  @param[out] csvLine 512 characters.
 *  @return 0, or 2 (and a blank line) for a bad card. */
OBS_API int32_t ObsB3ToCsv(const char* b3Card, char csvLine[512]);

/** @defgroup ObsCsvToB3 ObsCsvToB3
 *  Converts a CSV line into a B3 card. Nothing is stored.
 *  @param[in]  csvLine the line.
 *  @param[in]  newSatNum satellite number to write, 1 to 339999; 0 keeps the line's.
 *  @param[out] b3Card 512 characters.
 *  @return 0, or 2 (and a blank card) for a bad line or satellite number. */
OBS_API int32_t ObsCsvToB3(const char* csvLine, int32_t newSatNum, char b3Card[512]);

/** @defgroup ObsCsvToTTY ObsCsvToTTY
 *  Converts a CSV line into a TTY message. Nothing is stored.
 *  @param[in]  csvLine the line.
 *  @param[in]  newSatNum as ObsCsvToB3.
 *  @param[out] card1,card2 512 characters each; the second is blank for types that need none.
 *  @return 0, or 2 (and blank cards) for a bad line or satellite number. */
OBS_API int32_t ObsCsvToTTY(const char* csvLine, int32_t newSatNum, char card1[512], char card2[512]);

/** @defgroup ObsTTYToCsv ObsTTYToCsv
 *  Converts a TTY message into a CSV line; the TTY year must be set. Nothing is stored.
 *  @param[in]  card1,card2 the cards; the second is blank for types that need none.
 *  @param[out] csvLine 512 characters.
 *  @return 0, or 2 (and a blank line) for bad cards. */
OBS_API int32_t ObsTTYToCsv(const char* card1, const char* card2, char csvLine[512]);

/** @defgroup ObsTypeCToI ObsTypeCToI
 *  The number of an observation type.
 *  @param[in] obsTypeChar its character, in either case.
 *  @return 0-9, 10 "P", 11 "V", 13 "R", 18 "M", 19 "O"; -1 and a message for any other. */
OBS_API int32_t ObsTypeCToI(char obsTypeChar);

/** @defgroup ObsTypeIToC ObsTypeIToC
 *  The character of an observation type.
 *  @param[in] obsType its number.
 *  @return the character; a blank and a message for a number that has none. */
OBS_API char ObsTypeIToC(int32_t obsType);

/* ----------------------------------------------------------------- store ---- */

/** @defgroup ObsGetCount ObsGetCount
 *  How many observations the store holds.
 *  @return their number. */
OBS_API int32_t ObsGetCount(void);

/** @defgroup ObsGetLoaded ObsGetLoaded
 *  Lists the keys of all stored observations in an order (|order|):
 *  1 time, sensor, type, elevation; 2 time, elevation; 3 as 1, then satellite;
 *  4 sensor, satellite, time, elevation; 5 sensor, time, elevation; 6 sensor, satellite,
 *  type, time, elevation; 7 satellite, sensor, type, elevation; 8 order of insertion;
 *  9 (0, above 10) ascending key; 10 satellite, sensor, time.
 *  A negative order lists ascending, a positive one descending, except that 9 ascends.
 *  An empty store leaves `keys` as it was.
 *  @param[in]  order as listed.
 *  @param[out] keys  room for ObsGetCount keys. */
OBS_API void ObsGetLoaded(int32_t order, int64_t* keys);

/** @defgroup ObsGetCountGID ObsGetCountGID
 *  How many observations of a group the store holds.
 *  @param[in] gid the group.
 *  @return their number. */
OBS_API int32_t ObsGetCountGID(int32_t gid);

/** @defgroup ObsGetLoadedGID ObsGetLoadedGID
 *  As ObsGetLoaded, for the observations of a group.
 *  @param[in]  gid   the group.
 *  @param[in]  order as ObsGetLoaded.
 *  @param[out] keys  room for ObsGetCountGID keys. */
OBS_API void ObsGetLoadedGID(int32_t gid, int32_t order, int64_t* keys);

/** @defgroup ObsListKeys ObsListKeys
 *  Addition. Lists keys as ObsGetLoaded does, with the room that there is: others may add observations meanwhile.
 *  @param[in]  order as ObsGetLoaded.
 *  @param[in]  useGid nonzero to list the observations of one group alone.
 *  @param[in]  gid that group; not looked at when `useGid` is 0.
 *  @param[in]  room number of keys that `keys` has room for, 0 or more. With 0 `keys` may be null.
 *  @param[out] keys the first `room` keys of the order, or all if there are fewer.
 *  @param[out] count how many there are, whether or not they fit; 0 after a refusal.
 *  @return 0, or 2 when there are more keys than room, for a negative room and when memory does not suffice (each
 *          logged). */
OBS_API int32_t ObsListKeys(int32_t order, int32_t useGid, int32_t gid, int32_t room, int64_t* keys, int32_t* count);

/** @defgroup ObsRemoveGID ObsRemoveGID
 *  Removes the observations of a group, one by one: others may read, and see a part of it, meanwhile.
 *  @param[in] gid the group.
 *  @return 0 (also for an empty group, and when memory did not suffice and nothing was removed, which is logged), or 2
 *          when a removal failed; the rest then stays. */
OBS_API int32_t ObsRemoveGID(int32_t gid);

/** @defgroup ObsRemove ObsRemove
 *  Removes a stored observation.
 *  @param[in] obsKey key of a stored observation.
 *  @return 0, or 2 when no stored observation has this key. */
OBS_API int32_t ObsRemove(int64_t obsKey);

/** @defgroup ObsRemoveKeys ObsRemoveKeys
 *  Addition. Removes many observations in one call; others may read, and see a part of them gone, meanwhile.
 *  @param[in] count number of keys, 0 or more.
 *  @param[in] keys the keys.
 *  @return 0, or 2 when a key is unknown or occurs twice (logged once, with their number and the first); the others
 *          are removed. */
OBS_API int32_t ObsRemoveKeys(int32_t count, const int64_t* keys);

/** @defgroup ObsRemoveAll ObsRemoveAll
 *  Empties the store and gives its memory back to the system, that of the handles of address keys included; their
 *  addresses are never given out again.
 *  @return 0. */
OBS_API int32_t ObsRemoveAll(void);

/* ------------------------------------------------------------- selection ---- */

/** @defgroup ObsGetSelected ObsGetSelected
 *  Lists the keys of the stored observations that meet the criteria given and the global ones (ObsSetSelObs, SELOB
 *  lines). An observation whose type does not carry a quantity does not meet a bound on it.
 *  @param[in] criteria 32 reals, all 0 for the global criteria alone. Pairs low, high (both included; 0, 0 is open, an
 *             infinity leaves one end open): 0-1 time, days since 1950 UTC; 2-3 satNum; 4-5 senNum; 6-7 elevation or
 *             declination, degrees; 8-9 azimuth or right ascension, degrees (low above high goes through 0, and any
 *             angle counts within a turn); 10-11 range, km; 12-13 range rate, km/s. 14 types, the sum of 2^type (0 all;
 *             8 and 9 include 18 and 19); 15 classification (0 all, 1 "U", 2 "C", 3 "S", in either case);
 *             16 nonzero to ask for the group in 17; 18 a number up to 10 of satellites listed in 19-28, of which those
 *             within the pair 2-3 count; 29-31 must be 0.
 *  @param[in]  order as ObsGetLoaded.
 *  @param[out] count number of keys; 0 after a refusal (logged) and for an empty store.
 *  @param[out] keys  room for ObsGetCount keys. */
OBS_API void ObsGetSelected(const double criteria[32], int32_t order, int32_t* count, int64_t* keys);

/** @defgroup ObsResetSelObs ObsResetSelObs
 *  Clears the global criteria: every observation meets them. */
OBS_API void ObsResetSelObs(void);

/** @defgroup ObsSetSelObs ObsSetSelObs
 *  Addition. Replaces the global criteria, as a SELOB line does with the text after the keyword.
 *
 *  A criterion is name=value, name!=value, or name<value with one of < <= > >=. After = and != a value may be a list
 *  with commas, which means any of its members (with !=: none), and each member a range low:high or low..high, both
 *  ends included, either of which may be left out. Criteria are joined by "and" or a blank and by "or", negated by
 *  "not" (which takes precedence over "and", and that over "or") and grouped by parentheses. One list of criteria
 *  joined by "and" has each name with = once. Double quotes may enclose all. A blank text has no criteria: every
 *  observation meets it.
 *  An example: "sat=5,25544 sen=211:220 (time=2024-01-01:2024-01-31 or year<2020) not el<10".
 *
 *  The names: sat (satNum; also A0001 and so on, or the name of a laser target in quotes, "lageos1"); sen (senNum, or
 *  in quotes the description of a sensor of the sensor library, which must be loaded by then); type (number or
 *  character; 8 and 9 include those with a range, M and O); class (U, C, S in either case); time (days since 1950
 *  with a point, or a date: 2024-01-31, 2024-031 or 24031, with a time of day 2024-01-31T12:30:00.5 or 24031123000500
 *  or less of either); year (four digits); el (elevation or declination, degrees); az (azimuth or right ascension,
 *  degrees; 350:10 goes through 0); range (km); rate (range rate, km/s); gid; ind1, ind2 (the indicators). Quotes are
 *  double or single. A number may carry a unit: km, m; km/s, m/s; deg, rad, arcmin, arcsec. A date means all of
 *  its day, hour, minute or second. A colon separates times where neither end has a "T"; ".." always does. Seven
 *  digits that are a date both as YYDDDHH and as YYYYDDD are refused; a SELOB line takes them for YYDDDHH and logs
 *  that as information.
 *
 *  An observation whose type does not carry a quantity meets no criterion about it, != included, and so meets each
 *  such criterion after "not".
 *  @param[in] criteria 512 characters.
 *  @return 0, or 2 for a text that is refused (logged with the column at fault and what is allowed there); the old
 *          criteria then stay. */
OBS_API int32_t ObsSetSelObs(const char* criteria);

/** @defgroup ObsGetSelectedByText ObsGetSelectedByText
 *  Addition. Lists the keys of the stored observations that meet a text of criteria; the global criteria are neither
 *  applied nor changed.
 *  @param[in]  criteria 512 characters, as ObsSetSelObs.
 *  @param[in]  order    as ObsGetLoaded.
 *  @param[out] count    number of keys, or -1 for a text that is refused (logged).
 *  @param[out] keys     room for ObsGetCount keys. */
OBS_API void ObsGetSelectedByText(const char* criteria, int32_t order, int32_t* count, int64_t* keys);

/** @defgroup ObsGetTermCounts ObsGetTermCounts
 *  Addition. A dry run of ObsGetSelectedByText: how many observations it would list, and how many each term drops.
 *  Terms are the criteria and parentheses that "and" or a blank joins, or the whole text where it has an "or" outside
 *  of parentheses.
 *  @param[in]  criteria 512 characters, as ObsSetSelObs.
 *  @param[in]  room     number of elements that each array has room for, 0 or more; with 0 they may be null.
 *  @param[out] selected number of observations that meet all terms.
 *  @param[out] terms    number of terms, which may be above room.
 *  @param[out] firstColumns columns where the terms begin in the text, from 1; after a refusal the first element is
 *              where the fault begins.
 *  @param[out] lastColumns  columns where they end.
 *  @param[out] drops    for each term the number of observations that do not meet it, each term counted by itself.
 *  @return 0, or 2 for a text that is refused (logged; selected and terms are then 0). */
OBS_API int32_t ObsGetTermCounts(const char* criteria, int32_t room, int32_t* selected, int32_t* terms,
                                 int32_t* firstColumns, int32_t* lastColumns, int32_t* drops);

/** @defgroup ObsSelectRows ObsSelectRows
 *  Addition. Which rows of a stream meet a text of criteria, in the same way as the observations of which they are the
 *  export (ObsExportArrow, ObsReadArrow); neither the store nor its settings are looked at. The stream may have any
 *  columns, of which only those that the criteria ask about are read (ObsGetSelectionColumns); these take all that
 *  ObsImportArrow takes for them. A null in ds50, in an angle, range or range rate meets no criterion about it, != included;
 *  in other columns it is what a new record has: 0 or class "U". The criteria file and line ask about the columns of
 *  these names, whatever origins the store keeps; a file's name that no row has is met by none.
 *  Threads: any number of calls at once.
 *  @param[in]  criteria 512 characters, as ObsSetSelObs.
 *  @param[in,out] stream released by this call, whatever its result; it is not touched only when a pointer is null.
 *  @param[in]  room number of rows that `mask` has room for, 0 or more.
 *  @param[out] mask for each row 1 when it meets the criteria, else 0. May be null when `room` is 0.
 *  @param[out] rows number of rows of the stream; 0 on failure, and the mask is then of no use.
 *  @return 0, or 2 for a text that is refused, for a stream that fails, that lacks a column or has more rows than the
 *          room, and for a value that its column cannot hold (logged, with column and row from 0). */
OBS_API int32_t ObsSelectRows(const char* criteria, struct ArrowArrayStream* stream, int64_t room, int8_t* mask,
                              int64_t* rows);

/** @defgroup ObsGetSelectionColumns ObsGetSelectionColumns
 *  Addition. The columns (docs/formats/columns.md) that say whether an observation meets a text of criteria. Time is
 *  that of `ds50`.
 *  @param[in]  criteria 512 characters, as ObsSetSelObs.
 *  @param[out] columns  512 characters: their names with a blank between, in the order of the columns; blank when the
 *              text has no criteria.
 *  @return 0, or 2 for a text that is refused (logged). */
OBS_API int32_t ObsGetSelectionColumns(const char* criteria, char columns[512]);

/** Numbers that ObsMayMeet takes, and texts. */
#define OBS_KNOWN_REALS 6
#define OBS_KNOWN_TEXTS 4

/** @defgroup ObsMayMeet ObsMayMeet
 *  Addition. Whether rows of which no more is known than the least and the greatest values of five columns, as the
 *  statistics of a file tell them, can meet a text of criteria: files of which none can need not be read.
 *  Threads: any number of calls at once.
 *  @param[in] criteria 512 characters, as ObsSetSelObs.
 *  @param[in] reals    least and greatest ds50, sat_num and sen_num; infinities where one is not known.
 *  @param[in] texts    OBS_KNOWN_TEXTS texts that end with a NUL: least and greatest text of the columns type and
 *             sec_class, in the order of their bytes. Null, or a null or empty one of a pair: the pair is not known.
 *  @return 1 when one might meet the criteria; 0 when none can; -1 for a text that is refused, and when a real is not a
 *          number (logged). */
OBS_API int32_t ObsMayMeet(const char* criteria, const double reals[OBS_KNOWN_REALS], const char* const* texts);

/** Number of criteria that ObsGetSelectionCounts counts for. */
#define OBS_CRITERIA 10

/** @defgroup ObsGetSelectionCounts ObsGetSelectionCounts
 *  Addition. A dry run: how many stored observations ObsGetSelected would list, and how many each criterion drops.
 *  @param[in]  criteria 32 reals, as ObsGetSelected.
 *  @param[out] selected number of observations that meet all.
 *  @param[out] dropped  OBS_CRITERIA numbers: observations that do not meet the criterion, each counted by itself, for
 *              time, satellite, sensor, elevation, azimuth, range, range rate, type, classification, group. Terms of
 *              the global criteria that are more than one criterion, or about indicators, are in none of them
 *              (ObsGetTermCounts).
 *  @return 0, or 2 for refused criteria (logged; the numbers are 0). */
OBS_API int32_t ObsGetSelectionCounts(const double criteria[32], int32_t* selected, int32_t dropped[OBS_CRITERIA]);

/** A pass: observations of one satellite by one sensor without a long gap. */
typedef struct ObsPass {
    int32_t satNum;
    int32_t senNum;
    int32_t observations; /* how many */
    int32_t reserved;     /* 0 */
    double firstTime;     /* of the first and the last of them, days since 1950 UTC */
    double lastTime;
} ObsPass;

/** @defgroup ObsGetPasses ObsGetPasses
 *  Addition. The passes of stored observations, by satellite, sensor and time. A pass ends where the time to the next
 *  observation exceeds both 10 minutes and five times the median step, which is that between the observations of this
 *  satellite by this sensor that were asked for. An observation whose time is not a finite number is in none.
 *  @param[in]  count  number of keys, 0 or more; -1 for all stored observations.
 *  @param[in]  keys   their keys, in any order; not looked at, and may be null, when `count` is -1.
 *  @param[in]  room   number of passes that `passes` has room for, 0 or more. With 0 `passes` may be null.
 *  @param[out] passes the first `room` passes, or all if there are fewer.
 *  @param[out] passCount how many there are, whether or not they fit; 0 after another refusal.
 *  @return 0, or 2 when there are more passes than room, for an unknown key or a number out of range, and when memory
 *          does not suffice (each logged). */
OBS_API int32_t ObsGetPasses(int32_t count, const int64_t* keys, int32_t room, ObsPass* passes, int32_t* passCount);

/* --------------------------------------------------------------- columns ---- */

/** The order of ObsExportArrow in which observations are stored: that of insertion, but that new ones take the places of
 *  those that were removed. */
#define OBS_ORDER_STORED 11

/** @defgroup ObsExportArrow ObsExportArrow
 *  Addition. Stored observations as columns, by the Arrow C stream interface (ObsArrow.h): what any Arrow consumer
 *  takes without a copy. docs/formats/columns.md names the columns, their types, units and when they are null.
 *
 *  The stream is a copy of the observations as they were at one moment of this call. It owns its memory and goes on
 *  when they are changed or removed; another call gives another stream. It hands out batches of `batchRows` rows, the
 *  last with what is left, so never an empty one: without observations there is a schema and no batch. What a type
 *  does not measure is null, unless the observation holds something else than 0 there. A "not a number" that it holds
 *  is null as well; how many there are is the value of `nan_count` in the metadata of the schema.
 *
 *  With OBS_ORDER_STORED nothing is sorted and no batch is made before the stream is asked for it, so that all
 *  observations cost no more memory than one batch of them. A batch is a copy as of one moment; what is added, changed
 *  or removed between two batches may be seen or not. The schema has no `nan_count`, and each batch its own dictionaries.
 *  Asking for a batch fails with ENOMEM, or EINVAL where an index of a dictionary cannot number its texts (the stream
 *  tells it), and then does so again.
 *  Threads: readers go on meanwhile; a thread that adds, changes or removes observations waits until all are copied,
 *  with OBS_ORDER_STORED while a batch is. The stream itself may be used by one thread at a time.
 *  @param[in]  count number of keys, 0 or more; -1 for all stored observations.
 *  @param[in]  keys  their keys, whose order the rows have; not looked at, and may be null, when `count` is -1.
 *  @param[in]  order as ObsGetLoaded, or OBS_ORDER_STORED, when `count` is -1.
 *  @param[in]  columns `columnCount` names, texts that end with a NUL, in the order that the columns shall have; all of
 *              docs/formats/columns.md, `file` and `line` only while origins are kept (ObsKeepOrigins). May be null when
 *              `columnCount` is 0.
 *  @param[in]  columnCount number of names; 0 for all columns.
 *  @param[in]  batchRows greatest number of rows of a batch; 0 for 65536.
 *  @param[out] stream what was there before is not released; on failure its `release` is null.
 *  @return 0, or 2 for an unknown key (logged once, with their number and the first), for a name that is none of a
 *          column or occurs twice, a number out of range, and when memory does not suffice. */
OBS_API int32_t ObsExportArrow(int32_t count, const int64_t* keys, int32_t order, const char* const* columns,
                               int32_t columnCount, int32_t batchRows, struct ArrowArrayStream* stream);

/** Numbers that ObsImportArrow counts: rows in all; those that became observations; those refused as duplicates; those
 *  that do not make an observation. */
#define OBS_ARROW_ROWS 0
#define OBS_ARROW_ADDED 1
#define OBS_ARROW_DUPLICATES 2
#define OBS_ARROW_REFUSED 3
#define OBS_ARROW_COUNTS 4

/** @defgroup ObsImportArrow ObsImportArrow
 *  Addition. Adds the rows of a stream as observations. It may have any of the columns of docs/formats/columns.md, in
 *  any order; a missing column, a null and "not a number" are what a new record has there: 0, no sigmas, class "U",
 *  csv_int2 1. Values become those of the record as they are: no type is renumbered and no angle rotated. Rows that are
 *  the export of stored observations with finite numbers make the same observations bit for bit.
 *
 *  Whole numbers may come as integers of any width or as reals, reals as integers or reals of any width but 16 bits,
 *  characters as text or dictionary, times as timestamps of any unit, wherever the value is carried exactly; a type may
 *  come as its number, too. `ds50` takes precedence over `time`; where a row has both they may differ by 1 us at most.
 *  `key` is made anew, `group` kept; `file` and `line` are not looked at.
 *
 *  A column of another name or type, or one that occurs twice, is refused by its name, and then nothing is added; so it
 *  is when the stream fails. A row that does not make an observation is left out, the message naming column and row
 *  (from 0); a call tells the first hundred of them and the number of all.
 *  @param[in,out] stream released by this call, whatever its result; it is not touched only when a pointer is null.
 *  @param[in]  naiveIsUtc nonzero: timestamps without a time zone are UTC; else a column of them is refused.
 *  @param[in]  gid group of rows without one.
 *  @param[out] counts OBS_ARROW_COUNTS numbers (OBS_ARROW_ROWS to OBS_ARROW_REFUSED), 0 when nothing was added.
 *  @param[in]  room number of keys that `keys` has room for, 0 or more.
 *  @param[out] keys for the first `room` rows what ObsAddFrArray would return: the key, 0 for a refused duplicate, -1
 *              for a refused row, and for all after the last row. May be null when `room` is 0.
 *  @return 0 when each row was added or is a duplicate; 2 otherwise. */
OBS_API int32_t ObsImportArrow(struct ArrowArrayStream* stream, int32_t naiveIsUtc, int32_t gid,
                               int64_t counts[OBS_ARROW_COUNTS], int64_t room, int64_t* keys);

/** @defgroup ObsReadArrow ObsReadArrow
 *  Addition. Reads lines of text into columns, as ObsReadLines reads them: without the store, the log and the settings
 *  of the process. The stream is as that of ObsExportArrow; its rows are in the order in which ObsReadLines hands
 *  observations over, duplicates included. `key` is the field key as made of the row's own values, null where they
 *  make none; `group` is null.
 *  Threads: any number of calls at once, each on a state of its own.
 *  @param[in] bytes the text; need not end with a NUL.
 *  @param[in] length number of bytes, 0 or more.
 *  @param[in,out] state as ObsReadLines; unchanged on failure.
 *  @param[in] fileName what the column `file` says, in UTF-8; null or blank: it is null.
 *  @param[in] columns,columnCount as ObsExportArrow; `file` and `line` (the number of the line, from 1) have to be
 *             asked for by name.
 *  @param[in] batchRows as ObsExportArrow.
 *  @param[in] report,user as ObsReadLines.
 *  @param[out] stream as ObsExportArrow.
 *  @return 0, or 2 as ObsReadLines and ObsExportArrow do. */
OBS_API int32_t ObsReadArrow(const char* bytes, int64_t length, ObsReadState* state, const char* fileName,
                             const char* const* columns, int32_t columnCount, int32_t batchRows,
                             void (*report)(int32_t kind, int64_t lineNumber, int64_t offset, const char* text,
                                            void* user),
                             void* user, struct ArrowArrayStream* stream);

/* ---------------------------------------------------------------- saving ---- */

/** @defgroup ObsSaveFile ObsSaveFile
 *  Writes all observations in ascending key order, as they were at one moment (ObsSetProgressCallback has an
 *  exception). The data are flushed to the disk before the file takes the place of an old one, the folder after it. A
 *  file that is appended to gets its last line ended first, and is cut back to its former length when the save fails.
 *  Threads: not beside another load or save. Readers go on meanwhile; a thread that adds, changes or removes
 *  observations waits until all is written: about half a second for a million, into a pipe as long as its reader
 *  takes.
 *  @param[in] fileName name of the file.
 *  @param[in] saveMode 0 creates the file, or replaces it once completely written;
 *             any other value appends.
 *  @param[in] saveForm 0 B3, 1 TTY, 2 CSV, 3 RF; any other writes no line. An
 *             observation that the form cannot carry is left out.
 *  @return 0, or the system's error number when the file cannot be opened. A failing write
 *          is logged with its reason; ObsGetSaveCounts gives it as well. */
OBS_API int32_t ObsSaveFile(const char* fileName, int32_t saveMode, int32_t saveForm);

/** @defgroup ObsSaveFileGID ObsSaveFileGID
 *  As ObsSaveFile, for the observations of one group. No file is touched when the store is empty.
 *  Threads: as ObsSaveFile.
 *  @param[in] fileName name of the file.
 *  @param[in] gid the group.
 *  @param[in] saveMode,saveForm as ObsSaveFile.
 *  @return as ObsSaveFile. */
OBS_API int32_t ObsSaveFileGID(const char* fileName, int32_t gid, int32_t saveMode, int32_t saveForm);

/** @defgroup ObsSaveSlrFile ObsSaveSlrFile
 *  Addition. Writes the ranges of laser stations (types 2 and 6) as a CRD file, version 2, in sessions of one station
 *  and satellite each. Other observations, and what CRD cannot carry, are left out; an information line gives both
 *  counts when all was written. The header of a session states what the second indicators of its ranges state, as a
 *  sum: 1 the troposphere has been applied, 2 the centre of mass, 4 the ranges contain the station's system delay.
 *  @param[in] fileName name of the file.
 *  @param[in] saveMode 0 creates the file, or replaces it once completely written; any other value
 *             appends, the end mark of what is there moving to the new end.
 *  @param[in] dataType 0 full rate, 1 normal points.
 *  @return 0, 2 for another data type, or the system's error number when a file cannot be opened, or that which is
 *          appended to cannot be read. A failing write is logged with its reason. */
OBS_API int32_t ObsSaveSlrFile(const char* fileName, int32_t saveMode, int32_t dataType);

/** @defgroup ObsSaveSlrFileGID ObsSaveSlrFileGID
 *  Addition. As ObsSaveSlrFile, for the observations of one group. No file is touched when the store is empty.
 *  Threads: as ObsSaveFile.
 *  @param[in] fileName name of the file.
 *  @param[in] gid the group.
 *  @param[in] saveMode,dataType as ObsSaveSlrFile.
 *  @return as ObsSaveSlrFile. */
OBS_API int32_t ObsSaveSlrFileGID(const char* fileName, int32_t gid, int32_t saveMode, int32_t dataType);

/** @defgroup ObsGetSaveCounts ObsGetSaveCounts
 *  Addition. What became of the observations of the latest save, a file of laser ranges included: of all, or of its
 *  group's.
 *  Threads: not during a save.
 *  @param[out] written     observations that the file holds, altered ones included.
 *  @param[out] leftOut     observations without a line.
 *  @param[out] altered     observations with a line that does not bring them back: of one of the kinds OBS_SAVE_...
 *              but the first. Rounding to the columns of a form, and fields that the form does not have, are none.
 *  @param[out] systemError 0 when the file is complete and on the disk; else the system's error number of opening,
 *              writing or flushing it, and the other numbers are what was tried. A file that was to be replaced or
 *              appended to is then as it was, unless its folder alone could not be flushed (the log says so).
 *  @return 0, or 2 for a null pointer. */
OBS_API int32_t ObsGetSaveCounts(int64_t* written, int64_t* leftOut, int64_t* altered, int32_t* systemError);

/** What a save did to an observation: no line was written; a line that loading refuses (or, of a TTY message, a value
 *  that it takes as 0); under another sensor's number; as another type or without the values of its type; without a
 *  position or velocity; with another site 1, or without; with a vector component of another exponent. */
#define OBS_SAVE_LEFT_OUT 1
#define OBS_SAVE_UNREADABLE 2
#define OBS_SAVE_SENSOR 3
#define OBS_SAVE_TYPE 4
#define OBS_SAVE_POSITION 5
#define OBS_SAVE_SITE 6
#define OBS_SAVE_EXPONENT 7

/** @defgroup ObsGetSaveCountOf ObsGetSaveCountOf
 *  Addition. How many observations of the latest save are of a kind; one may be of several.
 *  Threads: not during a save.
 *  @param[in] kind OBS_SAVE_...
 *  @return the number, or -1 for another kind. */
OBS_API int64_t ObsGetSaveCountOf(int32_t kind);

/** @defgroup ObsSetSaveCallback ObsSetSaveCallback
 *  Addition. Names each observation that a save leaves out or alters, by ascending key, once for each reason.
 *  Threads: not during a save.
 *  @param[in] report called on the saving thread, when the file is closed, with the key, the kind (OBS_SAVE_...) and
 *             the reason, a text that ends with a NUL and stays valid. It may call the library, but not load or save.
 *             Null ends the reports.
 *  @param[in] user handed to `report` unchanged. */
OBS_API void ObsSetSaveCallback(void (*report)(int64_t obsKey, int32_t kind, const char* reason, void* user),
                                void* user);

/** Numbers of the formats: those of ObsSaveFile, by its save forms, and of ObsSaveSlrFile. */
#define OBS_FORMAT_B3 0
#define OBS_FORMAT_TTY 1
#define OBS_FORMAT_CSV 2
#define OBS_FORMAT_RF 3
#define OBS_FORMAT_CRD_NORMAL_POINTS 4
#define OBS_FORMAT_CRD_FULL_RATE 5

/** Elements of the facts of a format.
 *
 *  | element | holds                                                                                       |
 *  |---------|---------------------------------------------------------------------------------------------|
 *  | 0       | the save form of ObsSaveFile; -1: it does not write the format                              |
 *  | 1       | the data type of ObsSaveSlrFile; -1: it does not write the format                           |
 *  | 2, 3    | least and most lines of an observation; 0: the format has no lines of one observation alone |
 *  | 4       | lines of a file before its first observation                                                |
 *  | 5       | column of the classification on the first line, from 1; 0: none                             |
 *  | 6       | greatest satellite number                                                                   |
 *  | 7       | greatest sensor number; RF lines and CRD files take known sensors alone                     |
 *  | 8       | 1 when lines have the year, else 0                                                          |
 *  | 9       | 1 when lines have what only CSV lines have (CSV data, biases, sigmas of ranges), else 0     |
 *  | 10      | 1 when lines have what only RF lines have (delays, rf, process time, snr, flags), else 0    |
 *  | 11      | sum of 2^type over the types that come back from their lines as what they are               |
 *  | 12-15   | 0                                                                                           | */
enum ObsFormatFact {
    OBS_FORMAT_SAVE_FORM = 0,
    OBS_FORMAT_DATA_TYPE = 1,
    OBS_FORMAT_LEAST_LINES = 2,
    OBS_FORMAT_MOST_LINES = 3,
    OBS_FORMAT_HEADER_LINES = 4,
    OBS_FORMAT_CLASS_COLUMN = 5,
    OBS_FORMAT_MOST_SAT_NUM = 6,
    OBS_FORMAT_MOST_SEN_NUM = 7,
    OBS_FORMAT_YEAR = 8,
    OBS_FORMAT_CSV_FIELDS = 9,
    OBS_FORMAT_RF_FIELDS = 10,
    OBS_FORMAT_TYPES = 11
};

/** @defgroup ObsGetFormatCount ObsGetFormatCount
 *  Addition. How many formats are written; their numbers go from 0.
 *  @return the number of formats. */
OBS_API int32_t ObsGetFormatCount(void);

/** @defgroup ObsGetFormatInfo ObsGetFormatInfo
 *  Addition. What a format that is written can carry.
 *  @param[in]  format      OBS_FORMAT_..., below ObsGetFormatCount.
 *  @param[out] name        512 characters: b3, tty, csv, rf or crd.
 *  @param[out] description 512 characters: what it writes, such as "B3 cards".
 *  @param[out] facts       16 numbers (OBS_FORMAT_SAVE_FORM to OBS_FORMAT_TYPES and after).
 *  @return 0, or 2 for another format (outputs blank and 0). */
OBS_API int32_t ObsGetFormatInfo(int32_t format, char name[512], char description[512], int32_t facts[16]);

/** @defgroup ObsGetFormatPrecision ObsGetFormatPrecision
 *  Addition. Which elements of the array form (ObsDataToArray) a format carries for a type, and how finely: a value is
 *  written to the nearest multiple of a unit or to a number of significant digits, whichever is coarser.
 *  @param[in]  format  OBS_FORMAT_..., below ObsGetFormatCount.
 *  @param[in]  obsType 0 to 19, the number of ObsTypeCToI.
 *  @param[out] units   64 reals, in the elements' units: the last digit; 0 where no unit bounds it, as for integers;
 *              -1 where lines of the type do not have the element.
 *  @param[out] digits  64 numbers: significant digits; 0 where they do not bound it. Of a CSV line they are what is
 *  left
 *              of its reals when it would be too long otherwise.
 *  @return 0, or 2 for another format or type (outputs 0). */
OBS_API int32_t ObsGetFormatPrecision(int32_t format, int32_t obsType, double units[64], int32_t digits[64]);

#ifdef __cplusplus
}
#endif

#endif
