// qelrSHInit_32f: builds a state in the caller's block.
#include <cstdint>

#include "sh/sh_recurrence_tables.h"
#include "sh/sh_state_layout.h"

extern "C" qelStatus qelrSHInit_32f_impl(qelrSHState* state, uint32_t order, int32_t mode) {
  if (!state)
    return StatusNullPointer;
  if (!shModeIsKnown(mode))
    return StatusBadOrder;
  if (mode == SHModeClosedForm && order > kShMaxOrder)
    return StatusBadSize;

  // Clear the whole block first: the pointers of a closed-form state and
  // every table entry not written below are zero.
  const uint32_t bytes = mode == SHModeClosedForm ? kShClosedFormBytes : shRecurrenceStateBytes(order);
  ownZero16(reinterpret_cast<int16_t*>(state), static_cast<int32_t>(bytes / 2));

  qelrSHState header = {};
  header.order = order;
  header.mode = mode;
  if (mode == SHModeRecurrence) {
    const uintptr_t tableA = shAlignUp16(reinterpret_cast<uintptr_t>(state)) + kShHeaderBytes;
    const uintptr_t tableB = shAlignUp16(tableA + 4 * uintptr_t(shTableEntries(order)));
    header.recurA = reinterpret_cast<float*>(tableA);
    header.recurB = reinterpret_cast<float*>(tableB);
    shFillRecurrenceTables(header.recurA, header.recurB, order);
  }
  shWriteHeader(state, header);
  return StatusOk;
}
