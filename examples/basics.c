/* The smallest qelr program: which build the library chose, its version,
 * and one block of rays shaded with the masked arithmetic. */
#include <stdio.h>

#include "qelr.h"

enum { kRays = 8 };

int main(void) {
  const qelrVersionRecord* v = qelrGetLibVersion();
  printf("qelr %s, build %s, variant %s (%s)\n", v->versionText, v->buildDate, v->targetCode, v->name);

  /* Eight rays; rays 2 and 5 missed (triangle index -1), so they are masked. */
  static const int32_t triangle[kRays] = {0, 3, -1, 7, 7, -1, 2, 1};
  float nx[kRays], ny[kRays], nz[kRays], lx[kRays], ly[kRays], lz[kRays];
  float diffuse[kRays], r[kRays], g[kRays], b[kRays], fall[kRays];
  for (int i = 0; i < kRays; ++i) {
    nx[i] = 0.0f; ny[i] = 1.0f; nz[i] = 0.0f;                 /* surface normal */
    lx[i] = 0.1f * (float)i; ly[i] = 0.8f; lz[i] = 0.6f;      /* towards the light */
    r[i] = g[i] = b[i] = 0.0f;
    fall[i] = 1.0f / (1.0f + 0.25f * (float)i);               /* distance falloff */
  }
  const float* const normal[3] = {nx, ny, nz};
  const float* const light[3] = {lx, ly, lz};
  float* const colour[3] = {r, g, b};
  const float lightColour[3] = {1.0f, 0.9f, 0.7f};

  qelStatus s = qelrDot_32f_P3C1M(normal, light, triangle, diffuse, kRays);
  if (s == StatusOk) s = qelrMul_32f_C1IM(fall, triangle, diffuse, kRays);
  if (s == StatusOk) s = qelrAddMulMul_32f_AC1P3IM(lightColour, diffuse, light, triangle, colour, kRays);
  if (s != StatusOk) {
    printf("shading failed: status %d\n", (int)s);
    return 1;
  }
  printf("ray  mask  diffuse   r       g       b\n");
  for (int i = 0; i < kRays; ++i)
    printf("%3d  %4d  %7.4f  %6.4f  %6.4f  %6.4f\n", i, (int)triangle[i], diffuse[i], r[i], g[i], b[i]);
  return 0;
}
