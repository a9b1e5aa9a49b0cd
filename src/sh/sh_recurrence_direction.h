// The band recurrence for one direction (1 <= order <= 15).
#pragma once

void shRecurrenceOneDirection(const float* recurA, const float* recurB, float x, float y, float z, float* dst,
                              int order);
