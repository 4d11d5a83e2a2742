/* SPDX-License-Identifier: Apache-2.0 */
/* Loads a deck, lists observations, corrects one, shows it in two formats and saves all.
 *
 *     cc load_list_change.c $(pkg-config --cflags --libs obs) -o load_list_change
 *     ./load_list_change deck.txt all.csv
 *
 * The programs beside this one do the same in C++, Fortran and Python and print the same. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <ObsDllExports.h>
#include <ObsFamily.h>

enum { kText = 512, kRangeField = 9, kBySensorAscending = -4, kCsvForm = 2 };

/* Obs writes texts of 512 characters, blank-padded, without a NUL: this gives the length without the blanks. */
static int length(const char text[kText]) {
    int n = kText;
    while (n > 0 && text[n - 1] == ' ') --n;
    return n;
}

/* Every failure leaves its reason as the thread's last error. */
static void fail(const char* what) {
    char reason[kText];
    FamilyGetLastError(reason);
    fprintf(stderr, "%s: %.*s\n", what, length(reason), reason);
    exit(1);
}

static void list(int64_t key) {
    char secClass, type;
    int32_t satellite, sensor, indicator1, indicator2, altSatNum1, altSatNum2;
    double days, elOrDec, azOrRa, range, rangeRate, elRate, azRate, rangeAccel, pos[3], vel[3], unused[128];
    if (ObsGetAllFields(key, &secClass, &satellite, &sensor, &days, &elOrDec, &azOrRa, &range, &rangeRate, &elRate,
                        &azRate, &rangeAccel, &type, &indicator1, &indicator2, &altSatNum1, &altSatNum2, pos, vel,
                        unused) != 0)
        fail("An observation cannot be read");
    printf("%19lld%10d%7d%5c%18.8f%12.4f%12.4f%12.4f\n", (long long)key, satellite, sensor, type, days, elOrDec, azOrRa,
           range);
}

/* Adds 0.1 km to a range, as for a radar found to measure short. Fields are exchanged as texts; a C string ends
   at its NUL, so it need not be padded. */
static void correctRange(int64_t key) {
    char before[kText], wanted[64], after[kText];
    if (ObsGetField(key, kRangeField, before) != 0) fail("The range cannot be read");
    snprintf(wanted, sizeof wanted, "%.15f", strtod(before, NULL) + 0.1);
    if (ObsSetField(key, kRangeField, wanted) != 0) fail("The range cannot be changed");
    if (ObsGetField(key, kRangeField, after) != 0) fail("The range cannot be read");
    printf("Range before: %.*s km, after: %.*s km\n", length(before), before, length(after), after);
}

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: load_list_change DECK CSV_FILE\n");
        return 2;
    }
    /* The result tells of the last line only; the counts tell of all. Bad lines are left out. */
    int64_t loaded, duplicate, bad;
    ObsLoadFile(argv[1]);
    const int32_t count = ObsGetCount();
    if (count == 0) fail("Nothing was loaded");
    ObsGetLoadCounts(&loaded, &duplicate, &bad);
    printf("%lld observations loaded, %lld duplicate and %lld bad ones left out\n", (long long)loaded,
           (long long)duplicate, (long long)bad);

    int64_t* keys = malloc((size_t)count * sizeof *keys);
    if (keys == NULL) return 1;
    ObsGetLoaded(kBySensorAscending, keys);
    puts("The first by sensor, satellite and time:");
    puts("                key satellite sensor type   days since 1950  el/dec deg   az/ra deg    range km");
    for (int32_t i = 0; i < count && i < 5; ++i) list(keys[i]);

    correctRange(keys[0]);

    /* A conversion needs no stored observation; here its card comes from one. */
    char card[kText], line[kText];
    if (ObsGetB3Card(keys[0], card) != 0) fail("There is no card");
    if (ObsB3ToCsv(card, line) != 0) fail("The card cannot be converted");
    printf("%.*s\n%.*s\n", length(card), card, length(line), line);
    free(keys);

    if (ObsSaveFile(argv[2], 0, kCsvForm) != 0) fail("The file cannot be written");
    printf("%d observations saved\n", count);
    return 0;
}
