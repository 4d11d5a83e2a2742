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
 *  - Results: 0 success; 2 unknown key or refused input. Functions that add return
 *    the key under which the observation is stored, 0 for a refused duplicate, -1 when
 *    nothing was added.
 *  - A failure is written to the trace log as "Function: reason" and kept as the calling
 *    thread's last error (FamilyGetLastError in ObsFamily.h). It leaves what was there.
 *  - A null pointer where a text, an array or a result is due is refused with a message.
 *  - Threads: any function may be called from any thread. Readers of the store run beside
 *    each other and wait only while it is being changed; changes follow one another.
 *    Loading and saving files, and the settings (key mode, TTY year, callback), must
 *    not be used from two threads at once.
 *
 *  F, the observation field list, in this order: secClass, satNum, senNum, obsTime,
 *  elOrDec, azOrRa, range, rangeRate, elRate, azRate, rangeAccel, obsType, indicator1,
 *  indicator2, altSatNum1, altSatNum2, pos[3], vel[3]. `obsType` is the type's character
 *  ("0"-"9", "P", "V", "R", "M", "O"). For types 5 and 9 the range-rate slot carries the
 *  equinox indicator (0-3). `pos` and `vel` are those of the sensor for types 8, 9, M and
 *  O, of the satellite for P and V, and ignored or zero for the others. */
#ifndef OBS_DLL_EXPORTS_H
#define OBS_DLL_EXPORTS_H

#include <stdint.h>

#if defined(__GNUC__)
#define OBS_API __attribute__((visibility("default")))
#else
#define OBS_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------- frame ---- */

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
 *  @param[in] year calendar year, not checked. */
OBS_API void ObsSetTTYYear(int32_t year);

/** @defgroup GetObsKeyMode GetObsKeyMode
 *  @return this library's key mode: 0 field keys (at start), 1 address keys. */
OBS_API int32_t GetObsKeyMode(void);

/** @defgroup SetObsKeyMode SetObsKeyMode
 *  Sets the key mode of observations added from now on; stored ones keep their keys.
 *  The family's mode (FamilySetAllKeyMode) rules instead while it is switched on.
 *  @param[in] mode 0 field keys, 1 address keys.
 *  @return 0, or 2 for another mode. */
OBS_API int32_t SetObsKeyMode(int32_t mode);

/* ----------------------------------------------------------------- keys ---- */

/** @defgroup ObsFieldsToObsKey ObsFieldsToObsKey
 *  The key of a satellite, sensor and time: T * 10^10 + (satNum mod 10^7) * 10^3 +
 *  (senNum mod 10^3), T being tenths of a second since the start of the year's day count.
 *  The year is not part of the key.
 *  @return the key, or -1 for a negative number or an impossible time. */
OBS_API int64_t ObsFieldsToObsKey(int32_t satNum, int32_t senNum, double obsTime);

/** @defgroup ObsFieldsToObsKeyML ObsFieldsToObsKeyML
 *  As ObsFieldsToObsKey, the key also stored through the last argument. */
OBS_API int64_t ObsFieldsToObsKeyML(int32_t satNum, int32_t senNum, double obsTime, int64_t *obsKey);

/** @defgroup SatNumFrObsKey SatNumFrObsKey
 *  @return the satellite number of the stored observation with this key, -1 when there
 *          is none (not logged). */
OBS_API int32_t SatNumFrObsKey(int64_t obsKey);

/** @defgroup SenNumFrObsKey SenNumFrObsKey
 *  @return the sensor number of the stored observation with this key, -1 when there
 *          is none (not logged). */
OBS_API int32_t SenNumFrObsKey(int64_t obsKey);

/* -------------------------------------------------------------- loading ---- */

/** @defgroup ObsLoadFile ObsLoadFile
 *  Loads a file of observations and keyword lines (OBSFIL, TTY_YEAR, SELOB, SLROBS,
 *  VM_DMA_OBS_ON; "*" in column 1 is a comment). Bad lines are logged and left out; the
 *  counts are logged at the end ("Total observations = ...") and kept for ObsGetLoadCounts.
 *  @param[in] fileName 512 characters.
 *  @return the outcome of the last observation line (0 good or duplicate, 2 bad), or the
 *          system's error number when the file cannot be opened. */
OBS_API int32_t ObsLoadFile(const char *fileName);

/** @defgroup ObsLoadFileGID ObsLoadFileGID
 *  As ObsLoadFile; every observation added belongs to group `gid`. */
OBS_API int32_t ObsLoadFileGID(const char *fileName, int32_t gid);

/** @defgroup ObsLoadCard ObsLoadCard
 *  Loads one line that is an observation by itself.
 *  @return 0 (also for a duplicate), or 2 for a bad or unrecognised line. */
OBS_API int32_t ObsLoadCard(const char *card);

/** @defgroup ObsLoadTwoCards ObsLoadTwoCards
 *  Loads a TTY pair; any other observation line is taken from the first card.
 *  @return as ObsLoadCard. */
OBS_API int32_t ObsLoadTwoCards(const char *card1, const char *card2);

/** @defgroup ObsAddFrB3Card ObsAddFrB3Card
 *  Adds the observation of a B3 or B3E card (either case).
 *  @return the key, 0 for a refused duplicate, -1 for a bad card. */
OBS_API int64_t ObsAddFrB3Card(const char *b3Card);

/** @defgroup ObsAddFrB3CardML ObsAddFrB3CardML
 *  As ObsAddFrB3Card, the key handed back through the last argument. */
OBS_API void ObsAddFrB3CardML(const char *b3Card, int64_t *obsKey);

/** @defgroup ObsAddFrTTYCards ObsAddFrTTYCards
 *  Adds the observation of a TTY message; the TTY year must be set.
 *  @param[in] card1,card2 the cards; the second is blank for types that need none.
 *  @return the key, 0 for a refused duplicate, -1 for bad cards. */
OBS_API int64_t ObsAddFrTTYCards(const char *card1, const char *card2);

/** @defgroup ObsAddFrTTYCardsML ObsAddFrTTYCardsML
 *  As ObsAddFrTTYCards, the key handed back through the last argument. */
OBS_API void ObsAddFrTTYCardsML(const char *card1, const char *card2, int64_t *obsKey);

/** @defgroup ObsAddFrCsv ObsAddFrCsv
 *  Adds the observation of a CSV line.
 *  @return the key, 0 for a refused duplicate, -1 for a bad line. */
OBS_API int64_t ObsAddFrCsv(const char *csvLine);

/** @defgroup ObsAddFrCsvML ObsAddFrCsvML
 *  As ObsAddFrCsv, the key handed back through the last argument. */
OBS_API void ObsAddFrCsvML(const char *csvLine, int64_t *obsKey);

/** @defgroup ObsGetLoadCounts ObsGetLoadCounts
 *  Addition. The counts of the latest file load, include files counted in.
 *  @param[out] loaded,duplicate,bad numbers of observation lines.
 *  @return 0, or 2 for a null pointer. */
OBS_API int32_t ObsGetLoadCounts(int64_t *loaded, int64_t *duplicate, int64_t *bad);

/** Kinds of line that ObsSetLoadCallback reports. */
#define OBS_LINE_BAD 2
#define OBS_LINE_DUPLICATE 3

/** @defgroup ObsSetLoadCallback ObsSetLoadCallback
 *  Addition. Names each bad or duplicate line of a file load, in the order of the file.
 *  @param[in] report called on the loading thread with the kind (OBS_LINE_...), the name of
 *             the file as it was opened, the line's number from 1, and the reason; both
 *             texts end with a NUL and are valid during the call. It must not call the
 *             library. Null ends the reports.
 *  @param[in] user handed to `report` unchanged. */
OBS_API void ObsSetLoadCallback(void (*report)(int32_t kind, const char *fileName, int64_t lineNumber,
                                               const char *reason, void *user),
                                void *user);

/* -------------------------------------------------------------- parsing ---- */

/** @defgroup ObsB3Parse ObsB3Parse
 *  Takes a B3, B3E, TTY (first card) or CSV line apart; right ascension and declination
 *  are rotated to date. Nothing is stored. Outputs are zero or blank before.
 *  @return 0, or 2 for a line of another kind or a bad one. */
OBS_API int32_t ObsB3Parse(const char *b3Card, char *secClass, int32_t *satNum, int32_t *senNum,
                           double *obsTime, double *elOrDec, double *azOrRa, double *range,
                           double *rangeRate, double *elRate, double *azRate, double *rangeAccel,
                           char *obsType, int32_t *indicator1, int32_t *indicator2,
                           int32_t *altSatNum1, int32_t *altSatNum2, double pos[3]);

/** @defgroup ObsParse ObsParse
 *  Takes a line, or a TTY pair, into the array form; angles stay in the equinox that
 *  the card states. Nothing is stored.
 *  @param[out] obsArr 64 reals, cleared first.
 *  @return 0, or 2 for a line of another kind or a bad one. */
OBS_API int32_t ObsParse(const char *line1, const char *line2, double obsArr[64]);

/* --------------------------------------------------------------- reading ---- */

/** @defgroup ObsGetB3Card ObsGetB3Card
 *  Writes a stored observation as a B3 (or ECI) card.
 *  @param[out] b3Card 512 characters; a B3 card is columns 1-90. Blank on failure.
 *  @return 0, or 2 when no stored observation has this key. */
OBS_API int32_t ObsGetB3Card(int64_t obsKey, char b3Card[512]);

/** @defgroup ObsFieldsToB3Card ObsFieldsToB3Card
 *  Writes loose fields F as a B3 card. An equinox indicator 1-3 rotates to date first.
 *  @return 0, or 2 (and a blank card) for an equinox indicator other than 0-3. */
OBS_API int32_t ObsFieldsToB3Card(char secClass, int32_t satNum, int32_t senNum, double obsTime,
                                  double elOrDec, double azOrRa, double range, double rangeRate,
                                  double elRate, double azRate, double rangeAccel, char obsType,
                                  int32_t indicator1, int32_t indicator2, int32_t altSatNum1,
                                  int32_t altSatNum2, const double pos[3], const double vel[3],
                                  char b3Card[512]);

/** @defgroup ObsGetTTYCard ObsGetTTYCard
 *  Writes a stored observation as a TTY message.
 *  @param[out] card1,card2 512 characters each; the second is blank for types that need none. Blank on failure.
 *  @return 0, or 2 when no stored observation has this key. */
OBS_API int32_t ObsGetTTYCard(int64_t obsKey, char card1[512], char card2[512]);

/** @defgroup ObsFieldsToTTYCard ObsFieldsToTTYCard
 *  Writes loose fields F as a TTY message. An equinox indicator 1-3 rotates to date first.
 *  @return 0, or 2 (and blank cards) for an equinox indicator other than 0-3. */
OBS_API int32_t ObsFieldsToTTYCard(char secClass, int32_t satNum, int32_t senNum, double obsTime,
                                   double elOrDec, double azOrRa, double range, double rangeRate,
                                   double elRate, double azRate, double rangeAccel, char obsType,
                                   int32_t indicator1, int32_t indicator2, int32_t altSatNum1,
                                   int32_t altSatNum2, const double pos[3], const double vel[3],
                                   char card1[512], char card2[512]);

/** @defgroup ObsGetCsv ObsGetCsv
 *  Writes a stored observation as a CSV line, from which every real comes back bit for bit (a
 *  negative zero as zero; of times within two days of 1949 December 31 some within their last bits).
 *  @param[out] csvLine 512 characters; blank on failure.
 *  @return 0, or 2 when no stored observation has this key or CSV cannot carry it (type 7). */
OBS_API int32_t ObsGetCsv(int64_t obsKey, char csvLine[512]);

/** @defgroup ObsFieldsToCsv ObsFieldsToCsv
 *  Writes loose fields F as a CSV line. An equinox indicator 1-3 rotates to date first.
 *  @return 0, or 2 (and a blank line) for an equinox indicator other than 0-3 or type 7. */
OBS_API int32_t ObsFieldsToCsv(char secClass, int32_t satNum, int32_t senNum, double obsTime,
                               double elOrDec, double azOrRa, double range, double rangeRate,
                               double elRate, double azRate, double rangeAccel, char obsType,
                               int32_t indicator1, int32_t indicator2, int32_t altSatNum1,
                               int32_t altSatNum2, const double pos[3], const double vel[3],
                               char csvLine[512]);

/** @defgroup ObsGetAllFields ObsGetAllFields
 *  The fields F of a stored observation.
 *  @param[out] cleared 128 reals set to zero and not otherwise filled.
 *  @return 0, or 2 when no stored observation has this key (outputs zero or blank). */
OBS_API int32_t ObsGetAllFields(int64_t obsKey, char *secClass, int32_t *satNum, int32_t *senNum,
                                double *obsTime, double *elOrDec, double *azOrRa, double *range,
                                double *rangeRate, double *elRate, double *azRate, double *rangeAccel,
                                char *obsType, int32_t *indicator1, int32_t *indicator2,
                                int32_t *altSatNum1, int32_t *altSatNum2, double pos[3],
                                double vel[3], double cleared[128]);

/* ----------------------------------------------------------- conversions ---- */

/** @defgroup ObsB3ToCsv ObsB3ToCsv
 *  Converts a B3 or B3E card (either case) into a CSV line. Nothing is stored.
 *  @return 0, or 2 (and a blank line) for a bad card. */
OBS_API int32_t ObsB3ToCsv(const char *b3Card, char csvLine[512]);

/** @defgroup ObsCsvToB3 ObsCsvToB3
 *  Converts a CSV line into a B3 card. Nothing is stored.
 *  @param[in] newSatNum satellite number to write, 1 to 339999; 0 keeps the line's.
 *  @return 0, or 2 (and a blank card) for a bad line or satellite number. */
OBS_API int32_t ObsCsvToB3(const char *csvLine, int32_t newSatNum, char b3Card[512]);

/** @defgroup ObsCsvToTTY ObsCsvToTTY
 *  As ObsCsvToB3, into a TTY message. */
OBS_API int32_t ObsCsvToTTY(const char *csvLine, int32_t newSatNum, char card1[512], char card2[512]);

/** @defgroup ObsTTYToCsv ObsTTYToCsv
 *  Converts a TTY message into a CSV line; the TTY year must be set. Nothing is stored.
 *  @return 0, or 2 (and a blank line) for bad cards. */
OBS_API int32_t ObsTTYToCsv(const char *card1, const char *card2, char csvLine[512]);

/** @defgroup ObsTypeCToI ObsTypeCToI
 *  @return the observation type of a character: 0-9, 10 "P", 11 "V", 13 "R", 18 "M", 19 "O" (either case); -1 for
 *          any other. */
OBS_API int32_t ObsTypeCToI(char obsTypeChar);

/** @defgroup ObsTypeIToC ObsTypeIToC
 *  @return the character of an observation type; a blank for one that has none. */
OBS_API char ObsTypeIToC(int32_t obsType);

/* ----------------------------------------------------------------- store ---- */

/** @defgroup ObsGetCount ObsGetCount
 *  @return the number of stored observations. */
OBS_API int32_t ObsGetCount(void);

/** @defgroup ObsGetLoaded ObsGetLoaded
 *  Lists the keys of all stored observations in an order (|order|):
 *  1 time, sensor, type, elevation; 2 time, elevation; 3 as 1, then satellite;
 *  4 sensor, satellite, time, elevation; 5 sensor, time, elevation; 6 sensor, satellite,
 *  type, time, elevation; 7 satellite, sensor, type, elevation; 8 order of insertion;
 *  9 (0, above 10) ascending key; 10 satellite, sensor, time.
 *  A negative order lists ascending, a positive one descending, except that 9 ascends.
 *  An empty store leaves `keys` as it was.
 *  @param[out] keys room for ObsGetCount keys. */
OBS_API void ObsGetLoaded(int32_t order, int64_t *keys);

/** @defgroup ObsGetCountGID ObsGetCountGID
 *  @return the number of stored observations of a group; those loaded without one are group 0. */
OBS_API int32_t ObsGetCountGID(int32_t gid);

/** @defgroup ObsGetLoadedGID ObsGetLoadedGID
 *  As ObsGetLoaded, for the observations of a group.
 *  @param[out] keys room for ObsGetCountGID keys. */
OBS_API void ObsGetLoadedGID(int32_t gid, int32_t order, int64_t *keys);

/** @defgroup ObsRemoveGID ObsRemoveGID
 *  Removes the observations of a group, one by one: others may read, and see a part of it, meanwhile.
 *  @return 0 (also for an empty group), or 2 when a removal failed; the rest then stays. */
OBS_API int32_t ObsRemoveGID(int32_t gid);

/** @defgroup ObsRemove ObsRemove
 *  @return 0, or 2 when no stored observation has this key. */
OBS_API int32_t ObsRemove(int64_t obsKey);

/** @defgroup ObsRemoveAll ObsRemoveAll
 *  Empties the store.
 *  @return 0. */
OBS_API int32_t ObsRemoveAll(void);

/* ---------------------------------------------------------------- saving ---- */

/** @defgroup ObsSaveFile ObsSaveFile
 *  Writes all observations in ascending key order.
 *  @param[in] saveMode 0 creates the file, or replaces it once completely written;
 *             any other value appends.
 *  @param[in] saveForm 0 B3, 1 TTY, 2 CSV, 3 RF; any other writes no line. An
 *             observation that the form cannot carry is left out.
 *  @return 0, or the system's error number when the file cannot be opened. A failing write
 *          is logged with its reason. */
OBS_API int32_t ObsSaveFile(const char *fileName, int32_t saveMode, int32_t saveForm);

/** @defgroup ObsSaveFileGID ObsSaveFileGID
 *  As ObsSaveFile, for the observations of one group. An empty store touches no file. */
OBS_API int32_t ObsSaveFileGID(const char *fileName, int32_t gid, int32_t saveMode, int32_t saveForm);

#ifdef __cplusplus
}
#endif

#endif
