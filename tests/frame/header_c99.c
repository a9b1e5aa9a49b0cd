/* Compiled as strict C99 with warnings as errors: the header must be C. */
#include "qelr.h"

int qelrHeaderUsableFromC(void);
int qelrHeaderUsableFromC(void) {
  const qelrVersionRecord* version = qelrGetLibVersion();
  return version->major;
}
