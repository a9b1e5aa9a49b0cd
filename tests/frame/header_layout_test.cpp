// Sizes and offsets of the records a caller lays out in memory.
#include <cstddef>

#include "qelr.h"

static_assert(sizeof(qelStatus) == 4, "qelStatus is a 32-bit value");
static_assert(offsetof(qelrVersionRecord, targetCode) == 16, "version record layout");
