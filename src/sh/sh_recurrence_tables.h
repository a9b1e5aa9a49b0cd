// The two factor tables of a recurrence state.
#pragma once

#include <cstdint>

// Fills rows 0 and 1 of recurA (also for orders 0 and 1, where the extra
// entries land in the gap before recurB) and rows 2..order of both tables.
// Entries not written here (rows 0 and 1 of recurB, (l, l) of recurB) are
// expected to be zero already.
void shFillRecurrenceTables(float* recurA, float* recurB, uint32_t order);
