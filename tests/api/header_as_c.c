/* SPDX-License-Identifier: Apache-2.0 */
/* Both public headers in a strict C program, in either order, and one call. */
#include <ObsFamily.h>
#include "ObsDllExports.h"

int main(void) {
    char text[512];
    return ObsInit() == 0 && FamilyGetLastError(text) == 0 ? 0 : 1;
}
