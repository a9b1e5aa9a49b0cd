// The loaded library: which build the feature mask selected, and its
// version record.
#include <gtest/gtest.h>

#include <cstdlib>

#include "qelr.h"
#include "standin_core.h"

namespace {

TEST(Frame, VersionRecordFollowsTheFeatureMask) {
  const qelrVersionRecord* v = qelrGetLibVersion();
  ASSERT_NE(v, nullptr);
  const bool s8 = (standinFeatures() & 48) == 48;  // SSSE3 and MOVBE
  EXPECT_STREQ(v->targetCode, s8 ? "s8" : "v8");
  EXPECT_STREQ(v->name, s8 ? "qelRR Mote (s8)" : "qelRR SSSE3 (v8)");
  // CTest names the variant it meant to run: make sure the mask reached us.
  const char* expect = std::getenv("QELR_EXPECT_VARIANT");
  EXPECT_STREQ(v->targetCode, expect ? expect : v->targetCode);
  EXPECT_EQ(v->major, 7);
  EXPECT_EQ(v->minor, 1);
  EXPECT_EQ(v->update, 0);
  EXPECT_EQ(v->revision, 36264);
  EXPECT_STREQ(v->versionText, "7.1.0 (r36264)");
  EXPECT_STREQ(v->buildDate, "Jul 23 2012");
  EXPECT_EQ(v->targetCode[3], 0);
  EXPECT_EQ(qelrGetLibVersion(), v);  // one constant record
}

}  // namespace
