/* The smallest qelr program: which build the library chose, and its version. */
#include <stdio.h>

#include "qelr.h"

int main(void) {
  const qelrVersionRecord* v = qelrGetLibVersion();
  printf("qelr %s, build %s, variant %s (%s)\n", v->versionText, v->buildDate, v->targetCode, v->name);
  return 0;
}
