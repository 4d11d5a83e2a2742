// SPDX-License-Identifier: Apache-2.0
/// Visibility of what the sibling libraries offer; everything else in them is hidden.
#pragma once

#define FAMILY_API __attribute__((visibility("default")))
