// The transforms one direction at a time, in their defining order: evaluate the
// direction's basis as qelrSH_32f does, then scale and add it (forward) or
// take its dot products (inverse), channel by channel.  This form serves
// every call the block form cannot take bit for bit.
#pragma once

#include "sh/sht_jobs.h"

void shtForwardByDirection(const ShtForwardJob& job);
void shtInverseByDirection(const ShtInverseJob& job);
