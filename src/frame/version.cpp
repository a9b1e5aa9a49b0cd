#include "frame/qelr_internal.h"

namespace {

// The two records share their version and date texts.
constexpr const char kVersionText[] = "7.1.0 (r36264)";
constexpr const char kBuildDate[] = "Jul 23 2012";

const qelrVersionRecord kVersionV8 = {7, 1, 0, 36264, {'v', '8', 0, 0},
                                      "qelRR SSSE3 (v8)", kVersionText, kBuildDate};
const qelrVersionRecord kVersionS8 = {7, 1, 0, 36264, {'s', '8', 0, 0},
                                      "qelRR Mote (s8)", kVersionText, kBuildDate};

}  // namespace

extern "C" const qelrVersionRecord* qelrGetLibVersion_v8(void) { return &kVersionV8; }
extern "C" const qelrVersionRecord* qelrGetLibVersion_s8(void) { return &kVersionS8; }
